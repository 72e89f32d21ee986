// A host's 8-bit text as the UTF-16 that NTLM computes with.
#pragma once

#include <string_view>

#include "net/secret_text.h"

namespace qv {

enum class LetterCase { asGiven, upper };

/// UTF-16, low byte first. The text is read as UTF-8 (RFC 3629) where all of it is, otherwise as Latin-1.
SecretText utf16Of(std::string_view text, LetterCase letterCase = LetterCase::asGiven);

/// The upper case of a letter of the Latin (up to Extended-A, and Extended Additional), Greek, Cyrillic and
/// Armenian alphabets: Unicode's simple mapping, one character for one. All else stays as it is.
char32_t upperCase(char32_t c) noexcept;

}  // namespace qv

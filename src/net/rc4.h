// The stream cipher RC4 (RFC 6229), with which NTLM sends its session key. For nothing else: it is broken.
#pragma once

#include <string_view>

#include "net/secret_text.h"

namespace qv {

/// `bytes` enciphered, or deciphered, under a key of 1 to 256 bytes.
SecretText rc4(std::string_view key, std::string_view bytes);

}  // namespace qv

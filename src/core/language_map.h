// From the name of a language to the name of a charset.
#pragma once

#include <string_view>

namespace qv {

/// Stateless; the names are those of its one table (language_map.cc) and live as long as the program. A
/// charset name labels bytes: nothing is converted here or elsewhere.
class LanguageMap {
 public:
  /// The MIME charset for mail in `language`, a name of the table compared byte for byte; "iso-8859-1" for a
  /// language that is not there. Of several preferences the first counts, in the order of the arguments; it
  /// chooses the language's first charset of that family. Without one, or where the language has none of that
  /// family, it is the language's first charset.
  static std::string_view charsetForLanguage(std::string_view language, bool preferIso, bool preferMicrosoft,
                                             bool preferMac) noexcept;
};

}  // namespace qv

#include "core/language_map.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

TEST(LanguageMap, choosesACharset) {
  constexpr unsigned kIso = 1, kMicrosoft = 2, kMac = 4;
  const struct {
    std::string_view language;
    unsigned preferred;
    std::string_view charset;
  } rows[] = {
      {"French", 0, "iso-8859-1"},
      {"French", kMicrosoft, "windows-1252"},
      {"French", kMac, "x-mac-roman"},
      {"French", kMicrosoft | kMac, "windows-1252"},
      {"French", kIso | kMicrosoft | kMac, "iso-8859-1"},
      {"Russian", 0, "koi-8-r"},
      {"Russian", kIso, "iso-8859-5"},
      {"Cyrillic", kMac, "x-mac-cyrillic"},  // the last of five
      {"Hebrew", kIso, "iso-8859-8"},
      {"Japanese", kIso, "iso-2022-jp"},
      {"English", kMac, "x-mac-roman"},  // not "macintosh"
      {"American English", 0, "us-ascii"},
      {"Unicode", 0, "utf-8"},
      {"Ukrainian", 0, "iso-8859-5"},
      // None of that family.
      {"Bulgarian", kMicrosoft, "iso-8859-5"},
      {"American English", kIso, "us-ascii"},
      {"Unicode", kIso | kMicrosoft, "utf-8"},
      {"Chinese Simplified", kMicrosoft, "gb2312"},
      // No such language.
      {"Klingon", kMac, "iso-8859-1"},
      {"french", kMac, "iso-8859-1"},
      {"French ", 0, "iso-8859-1"},
      {"", 0, "iso-8859-1"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(
        qv::LanguageMap::charsetForLanguage(row.language, (row.preferred & kIso) != 0,
                                            (row.preferred & kMicrosoft) != 0, (row.preferred & kMac) != 0),
        row.charset)
        << row.language << ' ' << row.preferred;
  }
}

}  // namespace

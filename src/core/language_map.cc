#include "core/language_map.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace qv {
namespace {

struct Group {
  std::string_view language;
  std::array<std::string_view, 5> charsets;  ///< the first is the usual one; empty where there are fewer
};
constexpr Group kGroups[] = {
    {"American English", {"us-ascii"}},
    {"Afrikaans", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Albanian", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Arabic", {"iso-8859-6", "windows-1256", "x-mac-arabic", "cp-1256"}},
    {"Baltic", {"iso-8859-4", "windows-1257"}},
    {"Basque", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Bulgarian", {"iso-8859-5"}},
    {"Byelorussian", {"iso-8859-5"}},
    {"Catalan", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Chinese Simplified", {"gb2312", "euc-cn", "cp-936", "euc-tw", "x-mac-chinesesimp"}},
    {"Chinese Traditional", {"big5", "cp-950", "cp-932", "x-mac-chinesetrad"}},
    {"Croatian", {"iso-8859-2", "windows-1250"}},
    {"Cyrillic", {"iso-8859-5", "koi8-r", "windows-1251", "koi8", "x-mac-cyrillic"}},
    {"Czech", {"iso-8859-2", "windows-1250"}},
    {"Danish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Dutch", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"English", {"iso-8859-1", "windows-1252", "x-mac-roman", "macintosh"}},
    {"Esperanto", {"iso-8859-3"}},
    {"Estonian", {"iso-8859-15"}},
    {"Faroese", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Finnish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"French", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Galician", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"German", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Greek", {"iso-8859-7", "windows-1253", "x-mac-greek"}},
    {"Hebrew", {"iso-8859-8", "iso-8859-8-i", "windows-1255", "x-mac-hebrew"}},
    {"Hungarian", {"iso-8859-2", "windows-1250"}},
    {"Icelandic", {"iso-8859-1", "windows-1252", "x-mac-icelandic"}},
    {"Inuit", {"iso-8859-10"}},
    {"Irish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Italian", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Japanese", {"shift_jis", "iso-2022-jp", "euc-jp"}},
    {"Korean", {"euc-kr", "iso-2022-kr", "x-mac-korean"}},
    {"Lapp", {"iso-8859-10"}},
    {"Latvian", {"iso-8859-13", "windows-1257"}},
    {"Lithuanian", {"iso-8859-13", "windows-1257"}},
    {"Macedonian", {"iso-8859-5"}},
    {"Maltese", {"iso-8859-3"}},
    {"Norwegian", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Polish", {"iso-8859-2", "windows-1250"}},
    {"Portuguese", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Romanian", {"iso-8859-2", "windows-1250"}},
    {"Russian", {"koi-8-r", "iso-8859-5"}},
    {"Scottish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Serbian", {"iso-8859-5"}},
    {"Slovak", {"iso-8859-2", "windows-1250"}},
    {"Slovenian", {"iso-8859-2", "windows-1250"}},
    {"Spanish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Swedish", {"iso-8859-1", "windows-1252", "x-mac-roman"}},
    {"Thai", {"tis-620", "windows-874"}},
    {"Turkish", {"iso-8859-9", "windows-1254", "x-mac-turkish"}},
    {"Ukrainian", {"iso-8859-5"}},
    {"Unicode", {"utf-8", "utf-7", "us-ascii"}},
};
static_assert(std::size(kGroups) == 53);

}  // namespace

std::string_view LanguageMap::charsetForLanguage(std::string_view language, bool preferIso,
                                                 bool preferMicrosoft, bool preferMac) noexcept {
  const auto group = std::find_if(std::begin(kGroups), std::end(kGroups),
                                  [&](const Group& each) { return each.language == language; });
  if (group == std::end(kGroups)) return "iso-8859-1";
  // Every name begins with the empty prefix.
  const std::string_view family = preferIso ? "iso" : preferMicrosoft ? "windows" : preferMac ? "x-mac" : "";
  const auto charset = std::find_if(group->charsets.begin(), group->charsets.end(),
                                    [&](std::string_view name) { return name.starts_with(family); });
  return charset == group->charsets.end() ? group->charsets.front() : *charset;
}

}  // namespace qv

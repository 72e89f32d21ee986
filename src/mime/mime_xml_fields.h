// What the XML form of a header knows about fields.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace qv {

/// The days as dates in fields begin with them.
inline constexpr std::string_view kDayNames[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

/// Fields with an XML form of their own.
enum class XmlFieldKind {
  plain,
  address,      ///< one address
  addressList,  ///< addresses, or a description where there is none
  received,
  contentType,
  messageId,
};

/// Of a field by its name in lower case.
inline XmlFieldKind xmlFieldKind(std::string_view name) noexcept {
  struct Row {
    std::string_view name;
    XmlFieldKind kind;
  };
  static constexpr Row kRows[] = {
      {"return-path", XmlFieldKind::address},      {"from", XmlFieldKind::address},
      {"sender", XmlFieldKind::address},           {"reply-to", XmlFieldKind::address},
      {"to", XmlFieldKind::addressList},           {"cc", XmlFieldKind::addressList},
      {"x-rcpt-to", XmlFieldKind::addressList},    {"received", XmlFieldKind::received},
      {"content-type", XmlFieldKind::contentType}, {"message-id", XmlFieldKind::messageId},
  };
  const auto row =
      std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& each) { return each.name == name; });
  return row == std::end(kRows) ? XmlFieldKind::plain : row->kind;
}

}  // namespace qv

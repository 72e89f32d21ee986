// Texts as the content of XML elements.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/string_buffer.h"

namespace qv {

/// Appends a text with "&", "<" and ">" escaped. Quotes, which mean nothing outside a tag, stay
/// (`appendXmlEscaped` escapes them too, for attribute values).
inline void appendXmlContent(std::string_view text, StringBuffer& out) {
  for (std::size_t at; (at = text.find_first_of("&<>")) != std::string_view::npos;) {
    out.append(text.substr(0, at));
    out.append(text[at] == '&' ? "&amp;" : text[at] == '<' ? "&lt;" : "&gt;");
    text.remove_prefix(at + 1);
  }
  out.append(text);
}

}  // namespace qv

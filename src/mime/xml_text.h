// Texts as the content of XML elements.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/string_buffer.h"

namespace qv {

/// Appends a text with "&", "<" and ">" escaped. Quotes, which mean nothing outside a tag, stay
/// (`appendXmlEscaped` escapes them too, for attribute values).
inline void appendXmlContent(std::string_view text, StringBuffer& out) {
  std::size_t done = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c != '&' && c != '<' && c != '>') continue;
    out.append(text.substr(done, at - done)).append(c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;");
    done = at + 1;
  }
  out.append(text.substr(done));
}

}  // namespace qv

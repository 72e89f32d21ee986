// One line of text that shows a whole tree of entities, so that a tree is a row of a table.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "mime/mime_message.h"

namespace qv_test {

/// Text between double quotes, everything but printable ASCII escaped.
inline std::string shown(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    char escaped[5] = {c};
    if (c == '\r' || c == '\n' || c == '\t') {
      std::snprintf(escaped, sizeof escaped, "\\%c", c == '\r' ? 'r' : c == '\n' ? 'n' : 't');
    } else if (c < 0x20 || c > 0x7E) {
      std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
    out += escaped;
  }
  return out + '"';
}

/// content type ('-' without one), [number of fields], the body in quotes when it is not empty, 'q' or 'b'
/// after it for its coding, signed=text, (parts).
inline std::string dumpTree(const qv::MimeMessage2& entity) {
  std::string out(entity.getContentType().empty() ? "-" : entity.getContentType());
  out += '[' + std::to_string(entity.header().getFieldCount()) + ']';
  if (!entity.body().data().empty()) out += shown(entity.body().data().view());
  if (entity.body().coding() == qv::MimeBody::Coding::quotedPrintable) out += 'q';
  if (entity.body().coding() == qv::MimeBody::Coding::base64) out += 'b';
  if (!entity.signedText().empty()) out += " signed=" + shown(entity.signedText());
  for (std::size_t i = 0; i < entity.getNumParts(); ++i) {
    out += (i == 0 ? '(' : ' ') + dumpTree(*entity.getPart(i));
  }
  return entity.getNumParts() == 0 ? out : out + ')';
}

/// The fields of a header as written, separated by " | ".
inline std::string dumpHeader(const qv::MimeHeader& header) {
  std::string out;
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) {
    const std::string line = shown(header.getField(i)->getLine());
    out += (i == 0 ? "" : " | ") + line.substr(1, line.size() - 2);
  }
  return out;
}

}  // namespace qv_test

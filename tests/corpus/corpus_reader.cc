// Reads message files and prints, a JSON line for each, what became of them: the tree, the tree of what was
// written and read again, and the decoded leaves. Names come from standard input, a line each.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/string_buffer.h"
#include "core/text.h"
#include "email/email.h"
#include "email/email_reader.h"
#include "email/line_ends.h"
#include "mime/transfer_coding.h"

namespace {

using qv::Email;

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    char escaped[8];
    if (byte < 0x20 || byte > 0x7E || c == '"' || c == '\\') {
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(byte));
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + '"';
}

std::string base64(std::string_view bytes) {
  return qv::ContentCoding::encodeBase64ToBuffer(bytes).str();
}

/// What is written as it is leaves with uniform line ends, so that is what two trees are compared by.
std::string comparableBody(const Email& entity) {
  const std::string_view bytes = entity.body().data().view();
  if (entity.body().coding() != qv::MimeBody::Coding::raw) return std::string(bytes);
  qv::StringBuffer uniform;
  qv::appendWithCrLf(bytes, uniform);
  return uniform.str();
}

/// An entity a line, indented by its depth: type, coding, content values, length and a checksum of the body,
/// and then its fields.
void dump(const Email& entity, std::size_t depth, std::string& out) {
  const std::string body = comparableBody(entity);
  std::uint64_t sum = 14695981039346656037u;  // FNV-1a
  for (const char c : body) sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
  const std::string indent(2 * depth, ' ');
  out += indent + quoted(entity.contentType()) +
         " coding=" + std::to_string(static_cast<int>(entity.body().coding())) +
         " charset=" + quoted(entity.charset()) + " disposition=" + quoted(entity.disposition()) +
         " filename=" + quoted(entity.filename()) + " body=" + std::to_string(body.size()) + ":" +
         std::to_string(sum) + '\n';
  for (std::size_t n = 0; n < entity.header().getFieldCount(); ++n) {
    out += indent + "| " + quoted(entity.header().getField(n)->getLine()) + '\n';
  }
  for (const auto& part : entity.parts()) dump(*part, depth + 1, out);
}

void leaves(const Email& entity, std::string& out) {
  if (entity.parts().empty()) {
    out += std::string(out.empty() ? "" : ",") + "{\"type\":" + quoted(entity.contentType()) +
           ",\"body\":\"" + base64(entity.body().data().view()) + "\"}";
  }
  for (const auto& part : entity.parts()) leaves(*part, out);
}

std::unique_ptr<Email> read(std::string_view text) {
  return qv::createFromMimeText(text, {.processSecurity = true}, nullptr);
}

/// Lines ended by LF alone become lines of a message.
std::string withCrLf(std::string_view text) {
  qv::StringBuffer out;
  qv::appendWithCrLf(text, out);
  return out.str();
}

void report(const std::string& path, std::string_view text) {
  const auto email = read(text);
  std::string first, again, found;
  dump(*email, 0, first);
  qv::StringBuffer written;
  email->writeMime(written, {});
  dump(*read(written), 0, again);
  leaves(*email, found);
  std::string names;
  for (std::size_t n = 0; n < email->header().getFieldCount(); ++n) {
    names += (n == 0 ? "" : ",") + quoted(email->getHeaderFieldName(n));
  }
  std::cout << "{\"file\":" << quoted(path) << ",\"dump\":" << quoted(first) << ",\"again\":" << quoted(again)
            << ",\"names\":[" << names << "],\"leaves\":[" << found << "]}\n";
}

}  // namespace

int main() {
  for (std::string path; std::getline(std::cin, path);) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      std::cerr << "cannot read " << path << '\n';
      return 1;
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    read(text);  // as it is: whatever line ends it has, it is read without harm
    report(path, withCrLf(text));
  }
}

// Reads message files and prints, a JSON line for each, what became of them: the tree, the tree of what was
// written and read again, the XML document of that and what it reads as, and the decoded leaves. Names come
// from standard input, a line each.
#include <algorithm>
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
#include "email/email_xml.h"
#include "email/line_ends.h"
#include "mime/mime_xml_fields.h"
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

/// A field as the XML form keeps it: its addresses, or its words in any order. Parameters stand behind the
/// rest of a field there, with quotes around them, and with markup escaped in them; what has no value loses
/// its place and its case.
std::string comparableValue(std::string_view name, std::string_view value) {
  std::string out;
  const qv::XmlFieldKind kind = qv::xmlFieldKind(name);
  if (kind == qv::XmlFieldKind::address || kind == qv::XmlFieldKind::addressList) {
    qv::ExtPtrArray<qv::Rfc822Address> addresses;
    if (kind == qv::XmlFieldKind::addressList) qv::Rfc822Address::parseAddressList(value, addresses);
    if (auto one = qv::Rfc822Address::parseAddress(value); one && addresses.empty())
      addresses.append(std::move(one));
    for (const auto& address : addresses) {
      out += ' ' + std::string(address->getDisplayName()) + " <" + std::string(address->getAddress()) + '>';
    }
    return out;
  }
  qv::StringBuffer plain(value);
  plain.replaceAll("&lt;", "<");
  plain.replaceAll("&gt;", ">");
  plain.replaceAll("&quot;", "");
  plain.replaceAll("&amp;", "&");
  plain.toLower();
  plain.removeControls();
  std::string text = plain.str();
  for (char& c : text) {
    if (std::string_view("\r\n\t;=\"").find(c) != std::string_view::npos) c = ' ';
    if (kind == qv::XmlFieldKind::received && (c == '(' || c == ')')) c = ' ';
  }
  std::vector<std::string_view> words = qv::splitText(text, ' ');
  std::erase(words, "date");  // named so where it stands alone
  std::sort(words.begin(), words.end());
  for (const std::string_view word : words) out += ' ' + std::string(word);
  return out;
}

/// A field's name, with one stand-in for all that cannot be in a tag.
std::string comparableName(std::string_view name) {
  std::string out = qv::toLower(qv::trimmed(name));
  for (char& c : out) {
    if (std::string_view("abcdefghijklmnopqrstuvwxyz0123456789-").find(c) == std::string_view::npos) c = '_';
  }
  return out;
}

/// An entity a line: what the XML form carries. The text of a multipart itself is not written, a line on its
/// own loses the white space around it, control bytes are no part of a document, and an entity without fields
/// is left out. Nothing is coded in an empty body.
void dumpForXml(const Email& entity, std::size_t depth, std::string& out) {
  if (entity.header().getFieldCount() == 0) return;
  const std::string indent(2 * depth, ' ');
  out += indent + quoted(entity.contentType()) + " disposition=" + quoted(entity.disposition());
  qv::StringBuffer body(entity.parts().empty() ? comparableBody(entity) : "");
  if (entity.body().coding() == qv::MimeBody::Coding::raw) body.removeControls();
  if (!body.contains("\n")) body.trim();
  const int coding = static_cast<int>(entity.body().coding());
  out += body.empty() ? "\n" : " coding=" + std::to_string(coding) + " body=" + base64(body) + '\n';
  for (std::size_t n = 0; n < entity.header().getFieldCount(); ++n) {
    const std::string name = comparableName(entity.getHeaderFieldName(n));
    const std::string value = comparableValue(name, entity.header().getField(n)->getValue());
    if (!value.empty() && !name.empty()) out += indent + "| " + quoted(name) + quoted(value) + '\n';
  }
  for (const auto& part : entity.parts()) dumpForXml(*part, depth + 1, out);
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
  const auto readAgain = read(written);
  dump(*readAgain, 0, again);
  std::string beforeXml, afterXml;
  const qv::StringBuffer document = qv::emailXmlDocument(*readAgain);
  dumpForXml(*readAgain, 0, beforeXml);
  qv::readEmailsXml(document, nullptr, [&](auto loaded) { dumpForXml(*loaded, 0, afterXml); });
  leaves(*email, found);
  std::string names;
  for (std::size_t n = 0; n < email->header().getFieldCount(); ++n) {
    names += (n == 0 ? "" : ",") + quoted(email->getHeaderFieldName(n));
  }
  std::cout << "{\"file\":" << quoted(path) << ",\"dump\":" << quoted(first) << ",\"again\":" << quoted(again)
            << ",\"before_xml\":" << quoted(beforeXml) << ",\"after_xml\":" << quoted(afterXml)
            << ",\"xml\":\"" << base64(document) << "\""
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

#include "email/email_xml.h"

#include <algorithm>
#include <utility>

#include "core/text.h"
#include "email/email_reader.h"
#include "mime/mime_xml.h"

namespace qv {
namespace {

constexpr std::string_view kDefaultEncoding = "ISO-8859-1";

// As an XML declaration takes it: a charset comes with a message and could be any text.
bool isEncodingName(std::string_view name) noexcept {
  const auto isLetter = [](char c) { return lowerAscii(c) >= 'a' && lowerAscii(c) <= 'z'; };
  const auto isOther = [](char c) { return (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-'; };
  return !name.empty() && isLetter(name.front()) &&
         std::all_of(name.begin(), name.end(), [&](char c) { return isLetter(c) || isOther(c); });
}

bool isOneOf(std::string_view charset, std::initializer_list<std::string_view> names) noexcept {
  return std::any_of(names.begin(), names.end(), [&](auto name) { return equalsNoCase(charset, name); });
}

std::string_view encodingOf(const Email& email) noexcept {
  if (email.utf8Header()) return "utf-8";
  const bool isNamed = isEncodingName(email.charset()) && !isOneOf(email.charset(), {"us-ascii"});
  return isNamed ? email.charset() : kDefaultEncoding;
}

std::string_view encodingOf(std::span<const Email* const> emails) noexcept {
  for (const Email* email : emails) {
    if (email->utf8Header()) return "utf-8";
    const bool isUsual = isOneOf(email->charset(), {"us-ascii", "iso-8859-1", "utf-8"});
    if (isEncodingName(email->charset()) && !isUsual) return email->charset();
  }
  return kDefaultEncoding;
}

StringBuffer prolog(std::string_view encoding) {
  StringBuffer text("<?xml version=\"1.0\" encoding=\"");
  text.append(encoding).append("\" ?>\n");
  return text;
}

// Looks at a piece at a time without stopping in it, which compilers make many bytes at a time of.
bool hasControls(std::string_view text) noexcept {
  constexpr std::size_t kPiece = 4096;
  for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
    unsigned found = 0;
    for (const char c : text.substr(0, kPiece)) {
      found |=
          static_cast<unsigned>(static_cast<unsigned char>(c) < 0x20) & static_cast<unsigned>(!isWhite(c));
    }
    if (found != 0) return true;
  }
  return false;
}

// Null when there is nothing to take off a text.
std::unique_ptr<StringBuffer> withoutControls(std::string_view text) {
  if (!hasControls(text)) return nullptr;
  auto clean = std::make_unique<StringBuffer>(text);
  clean->removeControls();
  return clean;
}

}  // namespace

void writeEmailXml(const Email& email, StringBuffer& out) {
  MimeMessage2 message(email.log());
  {
    StringBuffer text;
    email.writeMime(text, {});
    message.parseWritten(text);
  }
  writeEntityXml(message, out);
}

StringBuffer emailXmlDocument(const Email& email) {
  StringBuffer document = prolog(encodingOf(email));
  writeEmailXml(email, document);
  document.replaceAll("\r\n", "\n");
  return document;
}

void writeBundleXml(std::span<const Email* const> emails, StringBuffer& out) {
  out.append("<email_bundle>\n");
  for (const Email* email : emails) writeEmailXml(*email, out);
  out.append("</email_bundle>\n");
}

StringBuffer bundleXmlDocument(std::span<const Email* const> emails) {
  StringBuffer document = prolog(encodingOf(emails));
  writeBundleXml(emails, document);
  return document;
}

bool readEmailsXml(std::string_view text, CLog* log, const std::function<void(std::unique_ptr<Email>)>& take,
                   const std::function<void()>& begin) {
  ExtPtrArray<MimeMessage2> entities;
  {
    const std::unique_ptr<StringBuffer> clean = withoutControls(text);
    if (!loadMessagesFromXml(clean ? clean->view() : text, kMessageElement, log, entities)) return false;
  }
  if (begin) begin();
  const ReadOptions options{.processSecurity = true, .autoSaveCerts = true, .keepPrivateFields = true};
  for (const auto& entity : entities) {
    if (auto email = createFromMimeObject(std::move(*entity), options, log)) take(std::move(email));
  }
  return true;
}

}  // namespace qv

// Copies of e-mails, and the answers that are made of them.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "email/email.h"
#include "email/email_reader.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// What stands in the block is a line each, whatever a stranger put into it.
StringBuffer onOneLine(std::string_view text) {
  StringBuffer line(text);
  for (const char c : {'\r', '\n', '\0'}) line.removeAll(c);
  return line;
}

// Addresses as they stand in the block. Folds may stand inside encoded words, and words may hide line breaks.
StringBuffer addressLine(const StringBuffer& addresses) {
  StringBuffer line = onOneLine(addresses);
  ContentCoding::decodeQWords(line);
  return onOneLine(line);
}

StringBuffer joined(const Email& email, std::size_t count,
                    StringBuffer (Email::*address)(std::size_t) const) {
  StringBuffer all;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) all.append(", ");
    all.append((email.*address)(i));
  }
  return addressLine(all);
}

// A name with blanks before its ':' (RFC 5322 4.5) is to many readers the name without them, and to none of
// the operations here: "Reply-To : a@h" would pass by all that is said of Reply-To.
void dropDisguisedFields(MimeHeader& header) {
  MimeHeader kept;
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) {
    const MimeField& field = *header.getField(i);
    if (trimmed(field.getName()) == field.getName()) kept.appendField(field.clone());
  }
  if (kept.getFieldCount() != header.getFieldCount()) header = std::move(kept);
}

// The block that stands before the text of an answer: who wrote what, when, to whom.
StringBuffer originalMessageBlock(const Email& email) {
  StringBuffer block("-----Original Message-----\n");
  const auto add = [&block](std::string_view name, const StringBuffer& value) {
    block.append(name).append(": ").append(value).append('\n');
  };
  const StringBuffer to = joined(email, email.numTo(), &Email::getTo);
  const StringBuffer cc = joined(email, email.numCc(), &Email::getCc);
  add("From", onOneLine(email.getFrom()));
  add("Sent", onOneLine(email.getHeaderField("Date")));
  if (!to.empty()) add("To", to);
  if (!cc.empty()) add("CC", cc);
  add("Subject", onOneLine(email.getSubject()));
  return block.append('\n');
}

// The same to be shown by HTML, in which a stranger's text is text.
StringBuffer asHtml(std::string_view block) {
  StringBuffer html;
  appendXmlEscaped(block, html);
  html.replaceAll("\n", "<br>\n");
  return html;
}

// Where the content of an HTML body begins: behind its <body> tag, or at once.
std::size_t contentStart(std::string_view html) {
  constexpr std::string_view kTag = "<body";
  for (std::size_t at = 0; (at = findNoCase(html, kTag, at)) != kNone; at += kTag.size()) {
    const char next = at + kTag.size() < html.size() ? html[at + kTag.size()] : '\0';
    if (!isWhite(next) && next != '>') continue;
    const std::size_t end = html.find('>', at);
    return end == kNone ? 0 : end + 1;
  }
  return 0;
}

bool isHtml(const Email& entity) {
  return equalsNoCase(entity.contentType(), "text/html");
}

// An entity without a type is plain text (RFC 2045 5.2).
bool isText(const Email& entity) {
  return entity.contentType().empty() || startsWithNoCase(entity.contentType(), "text/");
}

// The first text in the order of reading; null when there is none. Attachments are not looked into.
Email* firstText(Email& top) {
  std::vector<Email*> waiting{&top};
  while (!waiting.empty()) {
    Email* entity = waiting.back();
    waiting.pop_back();
    if (entity->isAttachment()) continue;
    const auto& parts = entity->parts();
    if (parts.empty() && isText(*entity)) return entity;
    for (std::size_t i = parts.size(); i-- > 0;) waiting.push_back(parts.at(i));
  }
  return nullptr;
}

// The alternative of that type; null also where the message is none of alternatives.
Email* alternativeOf(Email& top, std::string_view type) {
  if (!equalsNoCase(top.contentType(), "multipart/alternative")) return nullptr;
  const auto isWanted = [type](const std::unique_ptr<Email>& part) {
    return part->isAlternative() && equalsNoCase(part->contentType(), type);
  };
  const auto found = std::find_if(top.parts().begin(), top.parts().end(), isWanted);
  return found == top.parts().end() ? nullptr : found->get();
}

void insertText(Email& leaf, std::size_t at, StringBuffer block) {
  if (isHtml(leaf)) block = asHtml(block);
  const StringBuffer old(leaf.getBody());
  leaf.setBody({}, false);
  // A coding keeps line ends as they are, and readers of its text expect CR LF (RFC 2045 6.7 (4), 6.8).
  if (leaf.body().coding() != MimeBody::Coding::raw) block.replaceAll("\n", "\r\n");
  StringBuffer text;
  text.reserve(old.size() + block.size());
  text.append(old.view().substr(0, at)).append(block).append(old.view().substr(at));
  leaf.setBody(text, false);
}

}  // namespace

// The header is taken over as it stands: of a text only so many lines of it would be read again, and folds
// and encoded words in it would be gone.
std::unique_ptr<Email> Email::cloneEmail() const {
  StringBuffer text;
  writeContent(text);
  std::unique_ptr<Email> copy = createFromMimeText(text, {.keepPrivateFields = true}, log_);
  text.release();
  if (copy == nullptr) return nullptr;
  copy->copyHeaderFrom(*this);
  copy->clearBcc();
  copy->sendSecurity_ = {};
  copy->sendSecurity_.sendSigned = sendSecurity_.sendSigned;
  copy->sendSecurity_.sendEncrypted = sendSecurity_.sendEncrypted;
  copy->serverUidl_ = serverUidl_;
  return copy;
}

void Email::makeReply() {
  beginAnswer("RE: ");
  addTo(getFromName(), getFromAddress());
  renew();
}

void Email::makeForward() {
  beginAnswer("FW: ");
  renew();
}

void Email::beginAnswer(std::string_view subjectPrefix) {
  // What a message says of its own way and its own author, and whom it asks to be told that it was read, is
  // not said of the answer.
  static constexpr std::string_view kLeftOut[] = {
      "x-sender", "x-rcpt-to",        "x-uidl", "status",      "received",
      "From",     "Reply-To",         "Sender", "Return-Path", "Disposition-Notification-To",
      "Bcc",      "Return-Receipt-To"};
  const StringBuffer block = originalMessageBlock(*this);
  setSubject(StringBuffer(subjectPrefix).append(getSubject()));
  putBeforeText(block);
  clearTo();
  clearCc();
  clearBcc();
  // The fields alone: the sender goes on being read until there is a new one.
  for (const std::string_view name : kLeftOut) header().removeField(name);
  dropDisguisedFields(header());
  serverUidl_.clear();
}

void Email::putBeforeText(const StringBuffer& block) {
  if (Email* plain = alternativeOf(*this, "text/plain")) return insertText(*plain, 0, block);
  if (Email* html = alternativeOf(*this, "text/html")) {
    return insertText(*html, contentStart(html->getBody()), block);
  }
  if (Email* text = firstText(*this)) return insertText(*text, 0, block);
  // A message without text gets one: bytes of another kind would be spoiled.
  if (parts_.empty() || !equalsNoCase(contentType_, "multipart/mixed")) {
    if (!convertToMixed(*this)) return;
    if (!disposition_.empty()) {
      parts_.at(0)->setDisposition(disposition_, filename_);
      removeHeaderField("Content-Disposition");
    }
  }
  parts_.insertAt(0, newBodyPart(block, false));
}

/// What a new message begins with.
void Email::renew() {
  setHeaderField("MIME-Version", "1.0");
  setDate(DateParser::makeCurrentDate());
  newMessageId();
  setMailer(defaultMailer());
  setHeaderField("X-Priority", "3 (Normal)");
}

}  // namespace qv

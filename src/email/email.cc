// The model: construction, header fields, content fields. Recipients and the sender are in
// email_addresses.cc.
#include "email/email.h"

#include <algorithm>
#include <utility>

#include "core/text.h"
#include "mime/transfer_coding.h"
#include "platform/host_name.h"
#include "platform/random.h"

namespace qv {
namespace {

// RFC 5322 2.2: printable US-ASCII without the colon.
bool isFieldName(std::string_view name) noexcept {
  return std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7F' && c != ':'; });
}

// What of a host name may stand in a Message-ID (RFC 5322 3.6.4).
std::string hostForMessageId() {
  std::string host = canonicalHostName();
  std::erase_if(host, [](char c) {
    const bool isAlphanumeric = (lowerAscii(c) >= 'a' && lowerAscii(c) <= 'z') || (c >= '0' && c <= '9');
    return !isAlphanumeric && c != '.' && c != '-' && c != '_';
  });
  return host.empty() ? "unknown" : host;
}

// The value as a header field, read like one that was received.
ContentFields readField(std::string_view name, std::string_view value) {
  MimeHeader header;
  header.setHeaderField(name, value);
  return readContentFields(header);
}

ContentTypeParams paramsOf(const ContentFields& fields) {
  return {.type = fields.contentType,
          .name = fields.name,
          .protocol = fields.protocol,
          .micalg = fields.micalg,
          .charset = fields.charset,
          .boundary = fields.boundary,
          .smimeType = fields.smimeType,
          .relatedType = fields.type};
}

bool isMultipartType(std::string_view type) noexcept {
  return startsWithNoCase(type, "multipart");
}
// The types that have a charset.
bool isTextType(std::string_view type) noexcept {
  return startsWithNoCase(type, "text") || startsWithNoCase(type, "message");
}

// What may stand between the quotes of a parameter.
StringBuffer withoutQuotesAndBreaks(std::string_view text) {
  StringBuffer safe(text);
  for (const char unwanted : {'"', '\r', '\n', '\0'}) safe.removeAll(unwanted);
  return safe;
}

}  // namespace

std::string_view originationText(Origination origination) noexcept {
  static constexpr std::string_view kTexts[] = {"unknown",
                                                "copied from POP3 server",
                                                "transferred from POP3 server",
                                                "created new for sending",
                                                "loaded from XML",
                                                "loaded from MBX",
                                                "loaded from Outlook",
                                                "copied header from POP3 server"};
  const auto index = static_cast<std::size_t>(origination);
  return index < std::size(kTexts) ? kTexts[index] : kTexts[0];
}

std::string_view defaultMailer() noexcept {
  return "QuorvelMail 2.9.0 (quorvel e-mail component)";
}

Email::Email(CLog* log, NoFields) : log_(log), emailDate_(universalTimeNow()) {}

Email::Email(CLog* log) : Email(log, NoFields{}) {
  setHeaderField("MIME-Version", "1.0");
  setDate(DateParser::makeCurrentDate());
  newMessageId();
  setContentType("text/plain");
  setTransferEncoding("7bit");
  setMailer(defaultMailer());
  setHeaderField("X-Priority", "3 (Normal)");
}

std::unique_ptr<Email> Email::withoutFields(CLog* log) {
  return std::unique_ptr<Email>(new Email(log, NoFields{}));
}

// Parts are taken out of their parents before they are deleted, so that a deep tree needs no deep stack.
Email::~Email() {
  ExtPtrArray<Email> doomed;
  doomed.swap(parts_);
  while (!doomed.empty()) {
    const std::unique_ptr<Email> entity = doomed.removeAt(doomed.size() - 1);
    while (!entity->parts_.empty()) doomed.append(entity->parts_.removeAt(entity->parts_.size() - 1));
  }
}

void Email::setLog(CLog* log) {
  forEachEntity(*this, [log](Email& entity) { entity.log_ = log; });
}

const ReceivedSecurity& Email::receivedSecurity() const noexcept {
  static const ReceivedSecurity kNone;
  return receivedSecurity_ ? *receivedSecurity_ : kNone;
}

void Email::setReceivedSecurity(ReceivedSecurity received) {
  receivedSecurity_ = std::make_shared<const ReceivedSecurity>(std::move(received));
}

void Email::copyHeaderFrom(const Email& other) {
  if (this == &other) return;
  header_.copyFrom(other.header());
  utf8Header_ = other.utf8Header_;
  for (const auto kind : {&Email::to_, &Email::cc_, &Email::bcc_}) {
    copyRecipients(this->*kind, other.*kind);
  }
  copySender(other);
  emailDate_ = other.emailDate_;
  for (const auto text :
       {&Email::contentType_, &Email::disposition_, &Email::transferEncoding_, &Email::contentId_,
        &Email::nameParam_, &Email::protocolParam_, &Email::micalgParam_, &Email::charset_, &Email::boundary_,
        &Email::smimeType_, &Email::filename_, &Email::relatedType_}) {
    this->*text = other.*text;
  }
  sendSecurity_ = other.sendSecurity_;
}

void Email::getTermValue(std::string_view name, StringBuffer& out) const {
  out.append(getHeaderField(name));
}

StringBuffer Email::rawHeader() const {
  StringBuffer out;
  header().writeHeader(out);
  return out;
}

void Email::removeHeaderField(std::string_view name) {
  struct Mirror {
    std::string_view field;
    void (*clear)(Email&);
  };
  static constexpr Mirror kMirrors[] = {
      {"To", [](Email& e) { forgetRecipients(e.to_); }},
      {"Cc", [](Email& e) { forgetRecipients(e.cc_); }},
      {"From",
       [](Email& e) {
         e.pendingFromName_.clear();
         e.fromAddress_.reset();
       }},
      {"Content-Type",
       [](Email& e) {
         for (StringBuffer* text : {&e.contentType_, &e.nameParam_, &e.protocolParam_, &e.micalgParam_,
                                    &e.charset_, &e.boundary_, &e.smimeType_, &e.relatedType_}) {
           text->clear();
         }
       }},
      {"Content-Disposition",
       [](Email& e) {
         e.disposition_.clear();
         e.filename_.clear();
       }},
      {"Content-Transfer-Encoding", [](Email& e) { e.transferEncoding_.clear(); }},
      {"Content-ID", [](Email& e) { e.contentId_.clear(); }},
  };
  // The name may lie in a field that goes.
  const auto mirror = std::find_if(std::begin(kMirrors), std::end(kMirrors),
                                   [&](const Mirror& m) { return equalsNoCase(m.field, name); });
  header().removeField(name);
  if (mirror != std::end(kMirrors)) mirror->clear(*this);
}

bool Email::addHeaderField(std::string_view name, std::string_view value) {
  struct Setter {
    std::string_view field;
    void (Email::*set)(std::string_view);
  };
  static constexpr Setter kSetters[] = {
      {"Subject", &Email::setSubject},
      {"Content-Transfer-Encoding", &Email::setTransferEncoding},
      {"Content-ID", &Email::setContentId},
      {"Date", &Email::setDate},
      {"From", &Email::setFromField},
      {"Reply-To", &Email::setReplyTo},
      {"To", &Email::setToField},
      {"Cc", &Email::setCcField},
      {"Bcc", &Email::setBccField},
      {"Content-Type", &Email::setContentTypeField},
      {"Content-Disposition", &Email::setDispositionField},
  };
  name = trimmedBlanks(name);
  if (name.empty()) return true;
  if (!isFieldName(name)) {
    logError(log_, "Not a valid header field name.");
    logData(log_, "field_name", name);
    return false;
  }
  const auto setter = std::find_if(std::begin(kSetters), std::end(kSetters),
                                   [&](const Setter& s) { return equalsNoCase(s.field, name); });
  if (setter == std::end(kSetters)) {
    setHeaderField(name, value);
  } else {
    (this->*setter->set)(value);
  }
  return true;
}

void Email::setSubject(std::string_view text) {
  StringBuffer subject(text);
  if (subject.containsNoCase("?Q?")) {
    ContentCoding::decodeQWords(subject);
  } else if (subject.containsNoCase("?B?")) {
    ContentCoding::decodeBWords(subject);
  }
  setHeaderField("Subject", subject);
}

StringBuffer Email::subjectForSending() const {
  const std::string_view subject = getSubject();
  if (charset_.equals("us-ascii")) return subject;
  StringBuffer out;
  ContentCoding::encodeHeaderWords(subject, wordCharset(), out);
  return out;
}

void Email::setReplyTo(std::string_view value) {
  setHeaderField("Reply-To", value);
}

void Email::setDate(std::string_view text) {
  DateParser::parseRfc822Date(text, emailDate_);
  setHeaderField("Date", text);
}

void Email::setTransferEncoding(std::string_view value) {
  transferEncoding_ = trimmed(value);
  setHeaderField("Content-Transfer-Encoding", transferEncoding_);
}

void Email::setContentId(std::string_view value) {
  contentId_ = trimmed(value);
  setHeaderField("Content-ID", contentId_);
}

void Email::newMessageId() {
  setHeaderField("Message-ID", "<QUORVEL-MID-" + newUuid() + "@" + hostForMessageId() + ">");
}

void Email::newContentId() {
  setContentId("<QUORVEL-CID-" + newUuid() + ">");
}

std::string Email::newBoundary() {
  const std::string u = newUuid();
  return "----=_NextPart_" + u.substr(0, 3) + "_" + u.substr(3, 4) + "_" + u.substr(9, 4) + u.substr(14, 4) +
         "." + u.substr(24, 8);
}

std::string Email::newBoundaryFor(std::string_view contentType) {
  std::string_view ending = "_.MIX";
  if (equalsNoCase(contentType, "multipart/alternative")) ending = "_.ALT";
  if (equalsNoCase(contentType, "multipart/related")) ending = "_.REL";
  return newBoundary().append(ending);
}

bool Email::isMultipart() const noexcept {
  return isMultipartType(contentType_);
}

ContentTypeParams Email::getContentTypeParams() const {
  return {.type = contentType_,
          .name = nameParam_,
          .protocol = protocolParam_,
          .micalg = micalgParam_,
          .charset = charset_,
          .boundary = boundary_,
          .smimeType = smimeType_,
          .relatedType = relatedType_};
}

void Email::setContentType(const ContentTypeParams& params) {
  ContentTypeParams safe = safeContentType(params);
  // A reader would decode an encoded word in a boundary and then look for another one.
  const bool isBoundaryUsable = !safe.boundary.empty() && !safe.boundary.contains("=?");
  if (isMultipartType(safe.type) && !parts_.empty() && !isBoundaryUsable) {
    safe.boundary.set(newBoundaryFor(safe.type));
  }
  setHeaderField("Content-Type", formatContentType(safe));
  if (isTextType(safe.type)) {
    charset_ = safe.charset;
    if (charset_.equalsNoCase("default")) charset_.clear();
  }
  contentType_ = std::move(safe.type);
  nameParam_ = std::move(safe.name);
  protocolParam_ = std::move(safe.protocol);
  micalgParam_ = std::move(safe.micalg);
  boundary_ = std::move(safe.boundary);
  smimeType_ = std::move(safe.smimeType);
  relatedType_ = std::move(safe.relatedType);
}

void Email::setContentType(std::string_view type, std::string_view name) {
  ContentTypeParams params{.type = type};
  if (type.find(';') != std::string_view::npos) {
    params = paramsOf(readField("Content-Type", type));
    params.boundary.clear();
  }
  if (!name.empty()) params.name = name;
  setContentType(params);
}

// The field of a single-part entity stays as it was given, with parameters that no member mirrors.
void Email::setContentTypeField(std::string_view value) {
  if (trimmed(value).empty()) return removeHeaderField("Content-Type");
  const ContentTypeParams params = paramsOf(readField("Content-Type", value));
  const bool becomesMultipart = isMultipartType(params.type);
  if (!parts_.empty() && !becomesMultipart) {
    logError(log_, "The content type of an e-mail that has parts must be a multipart type.");
    logData(log_, "content_type", value);
  } else if (!parts_.empty()) {
    setContentType(params);
  } else if (becomesMultipart && !isMultipart()) {
    wrap(*this, params, 0);
  } else {
    setContentType(params);
    setHeaderField("Content-Type", value);
  }
}

void Email::setDisposition(std::string_view disposition, std::string_view filename) {
  disposition_ = withoutQuotesAndBreaks(disposition.substr(0, disposition.find(';')));
  filename_ = withoutQuotesAndBreaks(filename);
  if (disposition_.empty() && filename_.empty()) return removeHeaderField("Content-Disposition");
  setHeaderField("Content-Disposition", disposition_.str() + "; filename=\"" + filename_.str() + "\"");
}

void Email::setDispositionField(std::string_view value) {
  ContentFields fields = readField("Content-Disposition", value);
  disposition_ = std::move(fields.disposition);
  filename_ = std::move(fields.filename);
  setHeaderField("Content-Disposition", value);
}

void Email::applyCharset(std::string_view charset) {
  if (equalsNoCase(contentType_, "multipart/alternative")) {
    for (const auto& part : parts_) {
      if (part->isAlternative() && equalsNoCase(part->contentType_, "text/plain")) {
        return part->applyCharset(charset);
      }
    }
  }
  ContentTypeParams params = getContentTypeParams();
  if (params.type.empty() && parts_.empty()) params.type = "text/plain";
  if (!isTextType(params.type)) return;
  params.charset = charset;
  setContentType(params);
}

void Email::logOrigination(CLog* log) const {
  const LogContext context(log, "uidl_info");
  logData(log, "origination", originationText(origination_));
  for (std::size_t i = 0; i < numHeaderFields(); ++i) {
    const MimeField& field = *header().getField(i);
    for (const std::string_view wanted : {"to", "subject", "cc", "from"}) {
      if (equalsNoCase(field.getName(), wanted)) logData(log, wanted, field.getValue());
    }
  }
}

}  // namespace qv

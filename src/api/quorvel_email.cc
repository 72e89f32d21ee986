#include "api/quorvel_email.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "api/counts.h"
#include "api/public_call.h"
#include "core/file_sys.h"
#include "core/string_buffer.h"
#include "core/text.h"
#include "email/email_reader.h"
#include "email/email_xml.h"
#include "email/line_ends.h"
#include "mime/date_parser.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace qv {

namespace {

constexpr std::string_view kReturnReceipt = "QVX-ReturnReceipt";
constexpr std::string_view kFileDistList = "QVX-FileDistList";
constexpr std::string_view kOutlookDistList = "QVX-OutlookDistList";

double asOleDate(const CalendarTime& time) {
  double date = 0;
  DateParser::calendarToOleDate(time, date);
  return date;
}

/// Every CR removed, every LF made CR LF.
std::string withCrLf(std::string_view text) {
  const auto count = [&](char c) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
  };
  std::string out;
  out.reserve(text.size() - count('\r') + count('\n'));
  for (const char c : text) {
    if (c == '\r') continue;
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

using Add = bool (Email::*)(std::string_view, std::string_view);
using AddMultiple = std::size_t (Email::*)(std::string_view);

Outcome addRecipient(Email& email, Add add, std::string_view name, std::string_view address, CLog* log) {
  name = trimmed(name);
  address = trimmed(address);
  logData(log, "name", name);
  logData(log, "address", address);
  if (address.empty()) {
    logCommonError(log, "No Email Address was provided");
    return Outcome::failedQuietly;
  }
  if ((email.*add)(name, address)) return Outcome::done;
  StringBuffer message("Invalid email address: name = [");
  message.append(name).append("], address = [").append(address).append("]");
  logError(log, message);
  return Outcome::failedQuietly;
}

Outcome addRecipients(Email& email, AddMultiple add, std::string_view list, CLog* log) {
  list = trimmed(list);
  logData(log, "addresses", list);
  if (list.empty()) {
    logCommonError(log, "No Email Address was provided");
    return Outcome::failedQuietly;
  }
  if ((email.*add)(list) > 0) return Outcome::done;
  logError(log, "No valid email addresses in the following string:");
  logError(log, list);
  return Outcome::failedQuietly;
}

/// The alternative at an index that `plainTextAlternativeIndex` or its sibling gave; empty for -1.
std::string bodyOfAlternative(const Email& email, int index) {
  StringBuffer body;
  if (index >= 0) email.getAlternativeBody(static_cast<std::size_t>(index), body);
  return body.str();
}

Outcome addAlternative(Email& email, std::string_view body, bool html) {
  return email.addAlternativePart(email.newBodyPart(body, html)) ? Outcome::done : Outcome::failed;
}

}  // namespace

CQuorvelEmail::CQuorvelEmail()
    : email_(std::make_shared<Email>(log())),
      patterns_(std::make_shared<ReplacePatterns>()),
      handle_({email_, patterns_}) {
  email_->setOrigination(Origination::createdForSending);
}

CQuorvelEmail::CQuorvelEmail(std::unique_ptr<Email> email)
    : email_(std::move(email)),
      patterns_(std::make_shared<ReplacePatterns>()),
      handle_({email_, patterns_}) {}

// Sender, subject, body.

std::string CQuorvelEmail::get_Body() {
  return publicRead(plain("get_Body"), [this](CLog*) { return withCrLf(email_->getBody()); });
}
void CQuorvelEmail::put_Body(std::string_view text) {
  publicCall(plain("put_Body"), [&](CLog*) { email_->setBody(text, false); });
}

std::string CQuorvelEmail::get_ReplyTo() {
  return publicRead(plain("get_ReplyTo"),
                    [this](CLog*) { return std::string(email_->getHeaderField("Reply-To")); });
}
void CQuorvelEmail::put_ReplyTo(std::string_view value) {
  publicCall(plain("put_ReplyTo"), [&](CLog*) { email_->setReplyTo(value); });
}

std::string CQuorvelEmail::get_Subject() {
  return publicRead(plain("get_Subject"), [this](CLog*) { return std::string(email_->getSubject()); });
}
void CQuorvelEmail::put_Subject(std::string_view text) {
  publicCall(plain("put_Subject"), [&](CLog*) { email_->setSubject(text); });
}

std::string CQuorvelEmail::get_From() {
  return publicRead(plain("get_From"), [this](CLog*) { return email_->getFrom().str(); });
}
void CQuorvelEmail::put_From(std::string_view text) {
  publicCall(plain("put_From"), [&](CLog*) { email_->setFrom(text); });
}

// XML and archives.

std::string CQuorvelEmail::GetXml() {
  return publicRead(inContext("GetXml"), [this](CLog*) {
    StringBuffer xml;
    writeEmailXml(*email_, xml);
    return xml.str();
  });
}

void CQuorvelEmail::SaveXml(std::string_view filename) {
  publicCall(inContext("SaveXml"), [&](CLog* log) {
    const std::string_view path = trimmed(filename);
    if (path.empty()) {
      logError(log, "The filename parameter is missing");
      return Outcome::failed;
    }
    std::string reason;
    if (files::replace(path, emailXmlDocument(*email_), reason)) return Outcome::done;
    logError(log, "Failed to write XML file.");
    logError(log, reason);
    return Outcome::failed;
  });
}

std::int32_t CQuorvelEmail::AppendToZip(quorvel::IQuorvelZip4* iZip4) {
  return publicFlag(inContext("AppendToZip"), [&](CLog* log) {
    if (iZip4 == nullptr) {
      logError(log, "Null interface pointer.");
      return Outcome::failedQuietly;
    }
    if (iZip4->AppendEmail(this)) return Outcome::done;
    logError(log, "Method IQuorvelZip4::AppendEmail failed.");
    return Outcome::failedQuietly;
  });
}

std::string CQuorvelEmail::get_FromName() {
  return publicRead(plain("get_FromName"), [this](CLog*) { return std::string(email_->getFromName()); });
}
void CQuorvelEmail::put_FromName(std::string_view name) {
  publicCall(plain("put_FromName"), [&](CLog*) { email_->setFromName(trimmed(name)); });
}

std::string CQuorvelEmail::get_FromAddress() {
  return publicRead(plain("get_FromAddress"),
                    [this](CLog*) { return std::string(email_->getFromAddress()); });
}
void CQuorvelEmail::put_FromAddress(std::string_view address) {
  publicCall(plain("put_FromAddress"), [&](CLog*) { email_->setFromAddress(trimmed(address)); });
}

// Recipients.

std::int32_t CQuorvelEmail::AddTo(std::string_view friendlyName, std::string_view emailAddress) {
  return publicFlag(inContext("AddTo"), [&](CLog* log) {
    return addRecipient(*email_, &Email::addTo, friendlyName, emailAddress, log);
  });
}
std::int32_t CQuorvelEmail::AddCC(std::string_view friendlyName, std::string_view emailAddress) {
  return publicFlag(inContext("AddCC"), [&](CLog* log) {
    return addRecipient(*email_, &Email::addCc, friendlyName, emailAddress, log);
  });
}
std::int32_t CQuorvelEmail::AddBcc(std::string_view friendlyName, std::string_view emailAddress) {
  return publicFlag(inContext("AddBcc"), [&](CLog* log) {
    return addRecipient(*email_, &Email::addBcc, friendlyName, emailAddress, log);
  });
}

std::int32_t CQuorvelEmail::AddMultipleTo(std::string_view commaSeparatedAddresses) {
  return publicFlag(inContext("AddMultipleTo"), [&](CLog* log) {
    return addRecipients(*email_, &Email::addMultipleTo, commaSeparatedAddresses, log);
  });
}
std::int32_t CQuorvelEmail::AddMultipleCC(std::string_view commaSeparatedAddresses) {
  return publicFlag(inContext("AddMultipleCC"), [&](CLog* log) {
    return addRecipients(*email_, &Email::addMultipleCc, commaSeparatedAddresses, log);
  });
}
std::int32_t CQuorvelEmail::AddMultipleBcc(std::string_view commaSeparatedAddresses) {
  return publicFlag(inContext("AddMultipleBcc"), [&](CLog* log) {
    return addRecipients(*email_, &Email::addMultipleBcc, commaSeparatedAddresses, log);
  });
}

void CQuorvelEmail::ClearTo() {
  publicCall(plain("ClearTo"), [this](CLog*) { email_->clearTo(); });
}
void CQuorvelEmail::ClearCC() {
  publicCall(plain("ClearCC"), [this](CLog*) { email_->clearCc(); });
}
void CQuorvelEmail::ClearBcc() {
  publicCall(plain("ClearBcc"), [this](CLog*) { email_->clearBcc(); });
}

std::int32_t CQuorvelEmail::get_NumTo() {
  return publicRead(plain("get_NumTo"), [this](CLog*) { return asCount(email_->numTo()); });
}
std::int32_t CQuorvelEmail::get_NumCC() {
  return publicRead(plain("get_NumCC"), [this](CLog*) { return asCount(email_->numCc()); });
}
std::int32_t CQuorvelEmail::get_NumBcc() {
  return publicRead(plain("get_NumBcc"), [this](CLog*) { return asCount(email_->numBcc()); });
}

std::string CQuorvelEmail::GetTo(std::int32_t index) {
  return publicRead(inContext("GetTo"), [&](CLog*) { return email_->getTo(asIndex(index)).str(); });
}
std::string CQuorvelEmail::GetCC(std::int32_t index) {
  return publicRead(inContext("GetCC"), [&](CLog*) { return email_->getCc(asIndex(index)).str(); });
}
std::string CQuorvelEmail::GetBcc(std::int32_t index) {
  return publicRead(inContext("GetBcc"), [&](CLog*) { return email_->getBcc(asIndex(index)).str(); });
}

// Header fields.

std::string CQuorvelEmail::GetHeaderField(std::string_view fieldName) {
  return publicRead(inContext("GetHeaderField"),
                    [&](CLog*) { return std::string(email_->getHeaderField(trimmed(fieldName))); });
}

std::int32_t CQuorvelEmail::NumHeaderFields() {
  return publicRead(inContext("NumHeaderFields"),
                    [this](CLog*) { return asCount(email_->numHeaderFields()); });
}

std::string CQuorvelEmail::GetHeaderFieldName(std::int32_t index) {
  return publicRead(inContext("GetHeaderFieldName"),
                    [&](CLog*) { return std::string(email_->getHeaderFieldName(asIndex(index))); });
}

void CQuorvelEmail::AddHeaderField(std::string_view fieldName, std::string_view fieldValue) {
  publicCall(plain("AddHeaderField"), [&](CLog*) { email_->addHeaderField(fieldName, fieldValue); });
}

std::string CQuorvelEmail::get_RawHeader() {
  return publicRead(plain("get_RawHeader"), [this](CLog*) { return email_->rawHeader().str(); });
}
void CQuorvelEmail::put_RawHeader(std::string_view) {
  publicCall(inContext("put_RawHeader"), [](CLog* log) {
    logError(log, "This is not supported.");
    return Outcome::failed;
  });
}

std::string CQuorvelEmail::get_Mailer() {
  return publicRead(plain("get_Mailer"),
                    [this](CLog*) { return std::string(email_->getHeaderField("X-Mailer")); });
}
void CQuorvelEmail::put_Mailer(std::string_view value) {
  publicCall(plain("put_Mailer"), [&](CLog*) { email_->setMailer(value); });
}

std::string CQuorvelEmail::get_Uidl() {
  return publicRead(plain("get_Uidl"), [this](CLog*) { return std::string(email_->getUidl()); });
}
std::string CQuorvelEmail::get_ServerUidl() {
  return publicRead(plain("get_ServerUidl"), [this](CLog*) { return std::string(email_->serverUidl()); });
}

std::string CQuorvelEmail::get_OutlookDistList() {
  return publicRead(plain("get_OutlookDistList"),
                    [this](CLog*) { return std::string(email_->getHeaderField(kOutlookDistList)); });
}
void CQuorvelEmail::put_OutlookDistList(std::string_view name) {
  publicCall(plain("put_OutlookDistList"), [&](CLog*) { email_->addHeaderField(kOutlookDistList, name); });
}

std::string CQuorvelEmail::get_FileDistList() {
  return publicRead(plain("get_FileDistList"),
                    [this](CLog*) { return std::string(email_->getHeaderField(kFileDistList)); });
}
void CQuorvelEmail::put_FileDistList(std::string_view path) {
  publicCall(plain("put_FileDistList"), [&](CLog*) { email_->addHeaderField(kFileDistList, path); });
}

std::int32_t CQuorvelEmail::get_ReturnReceipt() {
  return publicRead(plain("get_ReturnReceipt"),
                    [this](CLog*) { return email_->getHeaderField(kReturnReceipt) == "YES" ? 1 : 0; });
}
void CQuorvelEmail::put_ReturnReceipt(std::int32_t wanted) {
  publicCall(plain("put_ReturnReceipt"), [&](CLog*) {
    if (wanted != 0) {
      email_->addHeaderField(kReturnReceipt, "YES");
    } else {
      email_->removeHeaderField(kReturnReceipt);
    }
  });
}

// Dates.

double CQuorvelEmail::get_EmailDate() {
  return publicRead(plain("get_EmailDate"), [this](CLog*) { return asOleDate(email_->emailDate()); });
}
void CQuorvelEmail::put_EmailDate(double) {
  publicCall(inContext("put_EmailDate"), [](CLog* log) {
    logError(log, "The EmailDate property is read-only until a future release of QuorvelMail");
  });
}

double CQuorvelEmail::get_LocalDate() {
  return publicRead(plain("get_LocalDate"), [this](CLog*) {
    CalendarTime local;
    return asOleDate(localFromUniversal(email_->emailDate(), local) ? local : email_->emailDate());
  });
}
void CQuorvelEmail::put_LocalDate(double) {
  publicCall(inContext("put_LocalDate"), [](CLog* log) {
    logError(log, "Not supported.");
    return Outcome::failed;
  });
}

// Alternative bodies.

void CQuorvelEmail::SetHtmlBody(std::string_view html) {
  publicCall(plain("SetHtmlBody"), [&](CLog*) { email_->setHtmlBody(html); });
}

void CQuorvelEmail::AddPlainTextAlternativeBody(std::string_view body) {
  publicCall(inContext("AddPlainTextAlternativeBody"),
             [&](CLog*) { return addAlternative(*email_, body, false); });
}
void CQuorvelEmail::AddHtmlAlternativeBody(std::string_view body) {
  publicCall(inContext("AddHtmlAlternativeBody"), [&](CLog*) { return addAlternative(*email_, body, true); });
}

std::string CQuorvelEmail::GetPlainTextBody() {
  return publicRead(inContext("GetPlainTextBody"), [this](CLog*) {
    return bodyOfAlternative(*email_, email_->plainTextAlternativeIndex());
  });
}
std::string CQuorvelEmail::GetHtmlBody() {
  return publicRead(inContext("GetHtmlBody"),
                    [this](CLog*) { return bodyOfAlternative(*email_, email_->htmlAlternativeIndex()); });
}

std::string CQuorvelEmail::GetAlternativeContentType(std::int32_t index) {
  return publicRead(inContext("GetAlternativeContentType"), [&](CLog*) {
    StringBuffer type;
    email_->getAlternativeContentType(asIndex(index), type);
    return type.str();
  });
}
std::string CQuorvelEmail::GetAlternativeBody(std::int32_t index) {
  return publicRead(inContext("GetAlternativeBody"), [&](CLog*) {
    StringBuffer body;
    email_->getAlternativeBody(asIndex(index), body);
    return body.str();
  });
}
std::int32_t CQuorvelEmail::get_NumAlternatives() {
  return publicRead(inContext("get_NumAlternatives"),
                    [this](CLog*) { return asCount(email_->numAlternatives()); });
}

// Output and facts.

std::string CQuorvelEmail::GetMime() {
  return publicRead(inContext("GetMime"), [this](CLog*) {
    StringBuffer mime;
    email_->writeMime(mime, {});
    return mime.str();
  });
}

// Reading and writing as a whole.

/// Makes this object's e-mail the message of a text.
Outcome CQuorvelEmail::become(std::string_view mimeText, CLog* log) {
  std::shared_ptr<Email> email = createFromMimeText(mimeText, {.processSecurity = true}, log);
  if (email == nullptr) return Outcome::failed;
  handle_.setEmail(email);
  email_ = std::move(email);
  return Outcome::done;
}

std::int32_t CQuorvelEmail::LoadMime(std::string_view mimeText) {
  return publicFlag(inContext("LoadMime"), [&](CLog* log) { return become(mimeText, log); });
}

std::int32_t CQuorvelEmail::LoadEml(std::string_view filename) {
  return publicFlag(inContext("LoadEml"), [&](CLog* log) {
    StringBuffer text;
    if (!text.loadFile(trimmed(filename), log)) return Outcome::failed;
    // A file in which no line ends with CR LF is a text file of a system whose lines end with LF.
    if (findText(text, "\r\n") == std::string_view::npos) {
      StringBuffer lines;
      appendWithCrLf(text, lines);
      text.swap(lines);
    }
    return become(text, log);
  });
}

std::int32_t CQuorvelEmail::SaveEml(std::string_view filename) {
  return publicFlag(inContext("SaveEml"), [&](CLog* log) {
    StringBuffer mime;
    email_->writeMime(mime, {});
    return FileSys::writeWhole(trimmed(filename), mime, log) ? Outcome::done : Outcome::failed;
  });
}

std::string CQuorvelEmail::GenerateFilename() {
  return publicRead(plain("GenerateFilename"), [this](CLog*) { return email_->generateFilename(); });
}

std::int32_t CQuorvelEmail::GetImpl() {
  return publicRead(plain("GetImpl"), [this](CLog*) { return handle_.number(); });
}

std::int32_t CQuorvelEmail::get_Size() {
  return publicRead(inContext("get_Size"), [this](CLog*) { return asCount(email_->size()); });
}

}  // namespace qv

#include "api/quorvel_zip.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "api/quorvel_email.h"
#include "core/text.h"
#include "email/email_reader.h"

namespace qv {

namespace {

/// Fields of which a message has at least one.
constexpr std::string_view kMessageFields[] = {"From",       "To",       "Date",         "Subject",
                                               "Message-ID", "Received", "MIME-Version", "Content-Type",
                                               "Sender",     "Cc",       "Return-Path"};

/// Whether a file's text is a message: a header of nothing but fields, and one among them that messages have.
/// A first line as mailbox files have it is passed over.
bool isMessage(std::string_view text) {
  if (text.starts_with("From ")) text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  bool isKnown = false;
  bool isFirst = true;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, end));
    const bool isContinuation = text.front() == ' ' || text.front() == '\t';
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() || (isFirst && isContinuation)) break;
    isFirst = false;
    if (isContinuation) continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return false;
    const std::string_view name = trimmed(line.substr(0, colon));
    const auto isOfName = [](char c) { return c > ' ' && c < '\x7F'; };
    if (name.empty() || !std::all_of(name.begin(), name.end(), isOfName)) return false;
    isKnown = isKnown || std::any_of(std::begin(kMessageFields), std::end(kMessageFields),
                                     [name](std::string_view known) { return equalsNoCase(name, known); });
  }
  return isKnown;
}

Outcome failWith(CLog* log, std::string_view message, std::string_view path, std::string_view reason) {
  logError(log, message);
  if (!path.empty()) logData(log, "filename", path);
  logError(log, reason);
  return Outcome::failed;
}

}  // namespace

// The archive.

bool CQuorvelZip::closeOrLog(CLog* log) {
  std::string error;
  if (!archive_.isOpen() || archive_.close(error)) return true;
  failWith(log, "Failed to write zip archive", path_, error);
  return false;
}

std::int32_t CQuorvelZip::begin(std::string_view name, Begin how, std::string_view path) {
  return publicFlag(inContext(name), [&](CLog* log) {
    if (!closeOrLog(log)) return Outcome::failed;
    std::string error;
    if (!(archive_.*how)(path, error)) return failWith(log, "Failed to open zip archive", path, error);
    path_ = path;
    ++session_;
    return Outcome::done;
  });
}

std::int32_t CQuorvelZip::Open(std::string_view path) {
  return begin("Open", &ZipArchive::open, path);
}

std::int32_t CQuorvelZip::Create(std::string_view path) {
  return begin("Create", &ZipArchive::create, path);
}

void CQuorvelZip::Close() {
  publicCall(inContext("Close"),
             [&](CLog* log) { return closeOrLog(log) ? Outcome::done : Outcome::failed; });
}

std::int32_t CQuorvelZip::get_NumEntries() {
  return publicRead(plain("get_NumEntries"),
                    [this](CLog*) { return static_cast<std::int32_t>(archive_.count()); });
}

quorvel::Ref<quorvel::IQuorvelZipEntry4> CQuorvelZip::entryAt(std::size_t index) {
  return quorvel::make<CQuorvelZipEntry>(*this, session_, index);
}

quorvel::Ref<quorvel::IQuorvelZipEntry4> CQuorvelZip::GetEntryByIndex(std::int32_t index) {
  return publicRead(plain("GetEntryByIndex"), [&](CLog*) -> quorvel::Ref<quorvel::IQuorvelZipEntry4> {
    const auto place = static_cast<std::size_t>(index);
    if (index < 0 || place >= archive_.count()) return nullptr;
    return entryAt(place);
  });
}

quorvel::Ref<quorvel::IQuorvelZipEntry4> CQuorvelZip::AppendEmail(quorvel::IQuorvelEmail* email) {
  quorvel::Ref<quorvel::IQuorvelZipEntry4> result;
  publicCall(inContext("AppendEmail"), [&](CLog* log) {
    const auto object = email == nullptr ? nullptr : email->as<quorvel::IQuorvelEmail2>();
    if (!object) return failWith(log, "Failed to append to zip archive", path_, "No Email was provided");
    std::string error;
    if (!archive_.append(object->GenerateFilename(), object->GetMime(), error)) {
      return failWith(log, "Failed to append to zip archive", path_, error);
    }
    result = entryAt(archive_.count() - 1);
    return Outcome::done;
  });
  return result;
}

bool CQuorvelZip::readEntry(std::size_t session, std::size_t index, std::string& text, std::string& error) {
  if (isSession(session)) return archive_.read(index, text, error);
  error = "The archive of this entry is closed";
  return false;
}

// An entry.

quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelZipEntry::GetEmail() {
  quorvel::Ref<quorvel::IQuorvelEmail2> result;
  publicCall(inContext("GetEmail"), [&](CLog* log) {
    std::string text, error;
    if (!zip_->readEntry(session_, index_, text, error)) {
      return failWith(log, "Failed to read zip entry", {}, error);
    }
    if (!isMessage(text)) return Outcome::failedQuietly;
    std::unique_ptr<Email> email = createFromMimeText(text, {.processSecurity = true}, log);
    if (email == nullptr) return Outcome::failed;
    result = quorvel::make<CQuorvelEmail>(std::move(email));
    return Outcome::done;
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelZip4> CQuorvelZipEntry::get_ZipFile() {
  return publicRead(plain("get_ZipFile"), [this](CLog*) -> quorvel::Ref<quorvel::IQuorvelZip4> {
    if (!zip_->isSession(session_)) return nullptr;
    return zip_;
  });
}

}  // namespace qv

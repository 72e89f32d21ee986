#include "mailman/mail_man.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "email/email_reader.h"
#include "email/email_xml.h"
#include "mailman/expression.h"
#include "mailman/mbx_file.h"
#include "net/secret_text.h"

namespace qv {

namespace {

/// An exception that the log has already.
struct Logged {};

/// Runs one step; what it throws is logged as `message` and ends the operation.
template <typename Step>
auto guarded(CLog* log, std::string_view message, Step step) {
  try {
    return step();
  } catch (...) {
    logError(log, message);
  }
  throw Logged();
}

/// Runs the steps of an operation; null when one of them threw.
template <typename Steps>
std::unique_ptr<MailBundle> unlessThrown(Steps steps) {
  try {
    return steps();
  } catch (const Logged&) {
    return nullptr;
  }
}

// The steps that copying messages and copying headers share.

constexpr std::string_view kStatFailed = "stat command failed";
constexpr std::string_view kListFailed = "list command failed";

template <typename Fetch>
bool fetchGuarded(CLog* log, Fetch fetch) {
  return guarded(log, "Unexpected exception in importMailMessage (1)", fetch);
}

/// What was fetched last; null when no e-mail could be made of it.
std::unique_ptr<Email> takeEmail(MailOnServer& entry) {
  return std::move(entry.email);
}

/// Collects the e-mails that the filter keeps.
class FilteredBundle {
 public:
  FilteredBundle(std::string_view filter, CLog* log) : log_(log), bundle_(std::make_unique<MailBundle>()) {
    if (!filter.empty()) filter_.emplace(filter);
  }

  void add(std::unique_ptr<Email> email) {
    const bool kept = !filter_ || guarded(log_, "Unexpected exception in expression evaluation",
                                          [&] { return filter_->evaluate(*email); });
    if (!kept) return;
    guarded(log_, "Unexpected exception in importMailMessage (2)",
            [&] { bundle_->append(std::move(email)); });
  }
  std::unique_ptr<MailBundle> take() { return std::move(bundle_); }

 private:
  CLog* log_;
  std::optional<Expression> filter_;
  std::unique_ptr<MailBundle> bundle_;
};

void logFilter(const ReceiveSettings& settings, CLog* log) {
  if (!settings.filter.empty()) logData(log, "filter", settings.filter);
}

std::unique_ptr<PopConn> openForFilter(const ReceiveSettings& settings, CLog* log) {
  std::unique_ptr<PopConn> session = popConnect(settings.pop, log);
  if (session != nullptr) logFilter(settings, log);
  return session;
}

// What the steps of a message count for in progress, in octets.
constexpr std::uint64_t kSessionStep = 300;
constexpr std::uint64_t kMessageStep = 200;
constexpr std::uint64_t kMessageDialogue = 600;  // all steps of a message beside its text
constexpr std::uint64_t kHeader = 700;           // a header whole, and each step of its session
constexpr std::uint64_t kHeaderFetched = 500;

/// The work of copying `count` messages of `totalSize` octets in all, as the server says.
std::int64_t workOfCopying(std::int64_t count, std::int64_t totalSize) {
  const std::int64_t work = totalSize - count * 400 + 600;
  return work >= 0 ? work : (count * 3 + 3) * 200;
}

// Deleting and fetching by unique ids.

struct ServerListing {
  ExtIntArray numbers;
  std::vector<StringBuffer> uidls;
};

/// Ids to be found again. Sorted rather than hashed: they are a server's, which could choose such as share a
/// hash.
class RequestedIds {
 public:
  explicit RequestedIds(std::span<const StringBuffer> uidls) : ids_(uidls.begin(), uidls.end()) {
    std::sort(ids_.begin(), ids_.end());
  }
  /// How often an id is among them.
  std::size_t count(std::string_view uidl) const {
    const auto [first, last] = std::equal_range(ids_.begin(), ids_.end(), uidl);
    return static_cast<std::size_t>(last - first);
  }

 private:
  std::vector<std::string_view> ids_;
};

/// The id as a log may show it: a server could have named a message by the password.
StringBuffer loggable(const StringBuffer& uidl, const PopSettings& pop) {
  SecretMask mask;
  mask.add(pop.password);
  StringBuffer text(uidl);
  mask.hideIn(text);
  return text;
}

void deleteListed(PopConn& session, const ServerListing& listed, const RequestedIds& requested,
                  const PopSettings& pop, CLog* log) {
  for (std::size_t i = 0; i < listed.uidls.size(); ++i) {
    if (requested.count(listed.uidls[i]) == 0) continue;
    const LogContext context(log, "delete");
    if (!session.dele(listed.numbers[i], log)) logError(log, "Failed to delete message from server");
    logData(log, "uidl", loggable(listed.uidls[i], pop));
    logDataLong(log, "id", listed.numbers[i]);
  }
}

}  // namespace

std::unique_ptr<MailBundle> MailMan::copyMail() {
  const std::unique_ptr<PopConn> session = openForFilter(settings_, log_);
  return session == nullptr ? nullptr : copyFrom(*session);
}

std::unique_ptr<MailBundle> MailMan::xferMail() {
  const std::unique_ptr<PopConn> session = openForFilter(settings_, log_);
  if (session == nullptr) return nullptr;
  std::unique_ptr<MailBundle> bundle = copyFrom(*session);
  if (bundle == nullptr) return nullptr;
  // The host gets what was copied, whatever becomes of the deletions.
  try {
    for (std::size_t i = 0; i < bundle->count(); ++i) {
      const std::int32_t number = bundle->at(i)->messageNumber();
      if (number >= 0) session->dele(number, log_);
    }
  } catch (...) {
    logError(log_, "Unexpected exception in deleting transferred mail");
  }
  return bundle;
}

std::unique_ptr<MailBundle> MailMan::copyFrom(PopConn& session) {
  return unlessThrown([&]() -> std::unique_ptr<MailBundle> {
    std::int32_t count = 0;
    std::int32_t totalSize = 0;
    if (!guarded(log_, "Unexpected exception in MailMan::copyMail2 (stat)",
                 [&] { return session.stat(count, totalSize); })) {
      logError(log_, kStatFailed);
      return nullptr;
    }
    ProgressMonitor progress = progressOf(workOfCopying(count, totalSize));
    progress.step(kSessionStep);
    if (!guarded(log_, "Unexpected exception in MailMan::copyMail2 (uidl2)",
                 [&] { return session.listUidls(log_); })) {
      logError(log_, kListFailed);
      return nullptr;
    }
    progress.step(kSessionStep);

    FilteredBundle bundle(settings_.filter, log_);
    const auto wanted = static_cast<std::size_t>(std::max(settings_.maxCount, 0));
    const std::size_t end = std::min(session.mailbox().count(), wanted);
    for (std::size_t i = 0; i < end; ++i) {
      MailOnServer& entry = *session.mailbox().at(i);
      if (entry.size > settings_.sizeLimit) {
        progress.step(static_cast<std::uint64_t>(std::max(entry.size, 0)) + kMessageDialogue);
        continue;
      }
      const bool fetched = fetchGuarded(log_, [&] {
        return session.retrieve(entry.number, settings_.logMailReceivedFilename, log_, &progress,
                                settings_.autoSaveCerts);
      });
      std::unique_ptr<Email> email = fetched ? takeEmail(entry) : nullptr;
      if (email == nullptr) continue;
      bundle.add(std::move(email));
      progress.step(kMessageStep);
    }
    progress.finish();
    return bundle.take();
  });
}

std::unique_ptr<MailBundle> MailMan::copyHeaders(const HeaderRange& range, std::int32_t numBodyLines) {
  const std::unique_ptr<PopConn> session = openForFilter(settings_, log_);
  return session == nullptr ? nullptr : copyHeadersFrom(*session, range, numBodyLines);
}

std::unique_ptr<MailBundle> MailMan::copyHeadersFrom(PopConn& session, const HeaderRange& range,
                                                     std::int32_t numBodyLines) {
  return unlessThrown([&]() -> std::unique_ptr<MailBundle> {
    std::int64_t from = std::max(range.from, 0);
    std::int64_t end = std::int64_t{range.to} + 1;
    if (range.all) {
      std::int32_t count = 0;
      std::int32_t totalSize = 0;
      if (!session.stat(count, totalSize)) {
        logError(log_, kStatFailed);
        return nullptr;
      }
      from = 0;
      end = count;
    }
    end = std::max(end, from);
    ProgressMonitor progress = progressOf((end - from + 1) * std::int64_t{kHeader});
    progress.step(kHeader);
    if (!session.listUidls(log_)) {
      logError(log_, kListFailed);
      return nullptr;
    }
    progress.step(kHeader);

    FilteredBundle bundle(settings_.filter, log_);
    end = std::min(end, static_cast<std::int64_t>(session.mailbox().count()));
    for (; from < end; ++from) {
      MailOnServer& entry = *session.mailbox().at(static_cast<std::size_t>(from));
      const bool fetched = fetchGuarded(log_, [&] {
        return session.top(entry.number, numBodyLines, settings_.logMailReceivedFilename, log_,
                           settings_.autoSaveCerts);
      });
      if (!fetched) continue;
      progress.step(kHeaderFetched);
      std::unique_ptr<Email> email = takeEmail(entry);
      if (email == nullptr) continue;
      bundle.add(std::move(email));
      progress.step(kMessageStep);
    }
    progress.finish();
    return bundle.take();
  });
}

std::int32_t MailMan::checkMail(bool& ok) {
  ok = false;
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return 0;
  std::int32_t count = 0;
  std::int32_t totalSize = 0;
  ok = session->stat(count, totalSize) && count >= 0;
  if (!ok) {
    logError(log_, "Failed to query POP3 server for number of messages");
    return 0;
  }
  logDataLong(log_, "message-count", count);
  return count;
}

bool MailMan::getUidls(std::vector<StringBuffer>& uidls) {
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return false;
  ExtIntArray numbers;
  const bool known = session->getUidls(log_, numbers, uidls);
  if (!known) logError(log_, "Failed to query POP3 server for UIDLs");
  return known;
}

std::unique_ptr<Email> MailMan::fetchEmail(std::string_view uidl) {
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return nullptr;
  ServerListing listed;
  if (!session->getUidls(log_, listed.numbers, listed.uidls)) {
    logError(log_, "Failed to get UIDLs to fetch a specific email");
    return nullptr;
  }
  const auto found = std::find(listed.uidls.begin(), listed.uidls.end(), uidl);
  if (found == listed.uidls.end()) return nullptr;
  const std::int32_t number = listed.numbers[static_cast<std::size_t>(found - listed.uidls.begin())];
  MailOnServer* entry = session->mailbox().find(number);
  if (entry == nullptr) {
    logError(log_, "Unexpected error when fetching expected");
    return nullptr;
  }
  return session->retrieve(number, {}, log_, nullptr, settings_.autoSaveCerts) ? takeEmail(*entry) : nullptr;
}

std::unique_ptr<MailBundle> MailMan::fetchMultiple(const std::vector<StringBuffer>& uidls) {
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return nullptr;
  ServerListing listed;
  if (!session->getUidls(log_, listed.numbers, listed.uidls)) {
    logError(log_, "Failed to get UIDLs to fetch specific emails");
    return nullptr;
  }
  const RequestedIds requested(uidls);
  auto bundle = std::make_unique<MailBundle>();
  // Bounded in all: a server that gives all messages one id would otherwise be asked for each as often.
  std::size_t retries = uidls.size();
  for (std::size_t i = 0; i < listed.uidls.size() && session->isConnected(); ++i) {
    const std::int32_t number = listed.numbers[i];
    for (std::size_t tries = requested.count(listed.uidls[i]); tries > 0; --tries) {
      if (!session->retrieve(number, {}, log_, nullptr, settings_.autoSaveCerts)) {
        if (retries == 0 || !session->isConnected()) break;
        --retries;
        continue;
      }
      std::unique_ptr<Email> email = takeEmail(*session->mailbox().find(number));
      if (email != nullptr) email->setOrigination(Origination::copiedFromPop3);
      bundle->append(std::move(email));
      break;
    }
  }
  return bundle;
}

void MailMan::deleteEmail(std::string_view uidl) {
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return;
  ServerListing listed;
  if (!session->getUidls(log_, listed.numbers, listed.uidls)) {
    logError(log_, "Failed to get UIDLs to delete an email");
    return;
  }
  const StringBuffer requested(uidl);
  deleteListed(*session, listed, RequestedIds({&requested, 1}), settings_.pop, log_);
}

void MailMan::deleteMultiple(const std::vector<StringBuffer>& uidls) {
  const std::unique_ptr<PopConn> session = popConnect(settings_.pop, log_);
  if (session == nullptr) return;
  ServerListing listed;
  if (!session->getUidls(log_, listed.numbers, listed.uidls)) return;
  deleteListed(*session, listed, RequestedIds(uidls), settings_.pop, log_);
}

bool MailMan::verifyPopLogin() {
  return popConnect(settings_.pop, log_) != nullptr;
}

bool MailMan::verifyPopConnection() {
  return popCheckConnection(settings_.pop, log_);
}

std::unique_ptr<MailBundle> MailMan::loadMbx(std::string_view fileName) {
  logFilter(settings_, log_);
  MbxFile file(log_);
  if (!file.open(fileName)) return std::make_unique<MailBundle>();
  auto bundle = unlessThrown([&] {
    FilteredBundle kept(settings_.filter, log_);
    for (std::string_view text; file.next(text);) {
      auto email = createFromMimeText(text, {.processSecurity = true, .autoSaveCerts = true}, log_);
      if (email != nullptr) kept.add(std::move(email));
    }
    return kept.take();
  });
  return bundle != nullptr ? std::move(bundle) : std::make_unique<MailBundle>();
}

std::unique_ptr<MailBundle> MailMan::loadXml(std::string_view text) {
  return unlessThrown([&]() -> std::unique_ptr<MailBundle> {
    FilteredBundle kept(settings_.filter, log_);
    const bool read = readEmailsXml(
        text, log_, [&](std::unique_ptr<Email> email) { kept.add(std::move(email)); },
        [&] { logFilter(settings_, log_); });
    return read ? kept.take() : nullptr;
  });
}

/// The amounts are a server's word or a host's wish, so they are made to fit.
ProgressMonitor MailMan::progressOf(std::int64_t total) const {
  constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return {ProgressMonitor::kMailSender, ProgressMonitor::kReceiving,
          static_cast<std::uint32_t>(std::clamp<std::int64_t>(total, 0, kMost)), sink_};
}

}  // namespace qv

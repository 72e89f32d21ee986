#include "mailman/outbox.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

#include "core/language_map.h"
#include "core/text.h"
#include "email/distribution_list.h"
#include "email/smime_writer.h"

namespace qv {

namespace {

// Progress of the steps around the message itself.
constexpr std::uint64_t kConnectStep = 200;
constexpr std::uint64_t kPrepareStep = 50;
constexpr std::uint64_t kPrepareStepOfBundle = 75;
constexpr std::uint64_t kStepOfUnknownSize = 1000;  // a whole e-mail

constexpr SendReport kSent{.success = true};
constexpr SendReport kFailed{.success = false, .reportError = true};
constexpr SendReport kFailedQuietly{};

std::uint64_t sizeOf(const Email* email) {
  return email == nullptr ? 0 : email->size();
}
std::uint64_t totalFor(const Email* email) {
  return sizeOf(email) * 3 / 2 + 200;
}

void askForReceipt(Email& email) {
  if (email.getHeaderField("QVX-ReturnReceipt") != "YES") return;
  StringBuffer receiver("<");
  receiver.append(email.getFromAddress()).append('>');
  email.setHeaderField("Disposition-Notification-To", receiver);
}

}  // namespace

std::string sendErrorDescription(std::string_view lastError) {
  std::string description(lastError);
  if (findText(lastError, "nable to relay") != std::string_view::npos) {
    description += "\nCheck your SMTP server's relay restrictions";
  }
  return description;
}

/// How far a sending came before an exception that nothing expected.
struct Outbox::Milestones {
  bool openStarted = false;
  bool open = false;
  bool prepared = false;
  bool sendAttempted = false;
  bool cleaningUp = false;
};

/// What is sent for a host's e-mail.
struct Outbox::Prepared {
  Email* email = nullptr;       // the host's own, or the copy; null when it could not be prepared
  std::unique_ptr<Email> copy;  // where something else than the host's e-mail is sent
};

SendReport Outbox::sendEmail(const OutgoingEmail& outgoing) {
  Milestones reached;
  try {
    ProgressMonitor progress = progressOf(totalFor(outgoing.email));
    return sendWatched(outgoing, progress, reached);
  } catch (...) {
    char message[100];
    std::snprintf(message, sizeof message, "Unexpected exception in SendEmail (%d, %d, %d, %d, %d)",
                  reached.openStarted, reached.open, reached.prepared, reached.sendAttempted,
                  reached.cleaningUp);
    logError(log_, message);
    return kFailed;
  }
}

SendReport Outbox::sendWatched(const OutgoingEmail& outgoing, ProgressMonitor& progress,
                               Milestones& reached) {
  progress.step(kConnectStep);
  reached.openStarted = true;
  std::unique_ptr<SmtpConn> session = openSession(settings_.smtp);
  if (session == nullptr) {
    progress.finish();
    return kFailed;
  }
  reached.open = true;
  progress.step(kConnectStep);
  if (outgoing.email == nullptr) {
    logError(log_, "Failed to get internal email object");
    return kFailed;
  }
  Prepared prepared;
  if (!prepareOrLog(outgoing, prepared)) {
    progress.finish();
    return kFailed;
  }
  reached.prepared = true;
  progress.step(kPrepareStep);

  reached.sendAttempted = true;
  SendOutcome outcome;
  const bool sent = send(*session, prepared, &progress, outcome);
  reached.cleaningUp = sent;
  prepared.copy.reset();
  session.reset();
  if (!sent) logError(log_, "Send failed.");
  progress.finish();
  return {.success = sent, .reportError = !sent && (outcome.numAccepted == 0 || outcome.fatal)};
}

SendReport Outbox::sendBundle(const std::vector<OutgoingEmail>& bundle) {
  std::uint64_t total = 0;
  for (const OutgoingEmail& outgoing : bundle) total += sizeOf(outgoing.email);
  ProgressMonitor progress = progressOf(total);
  const auto emailAt = [&](std::size_t index) { return bundle[index]; };
  return sendEach(bundle.size(), emailAt, progress, true);
}

SendReport Outbox::sendBundle(std::size_t count, const EmailAt& emailAt) {
  ProgressMonitor progress = progressOf(2 * kConnectStep + count * kStepOfUnknownSize);
  return sendEach(count, emailAt, progress, false);
}

SendReport Outbox::sendEach(std::size_t count, const EmailAt& emailAt, ProgressMonitor& progress,
                            bool countsBytes) {
  progress.step(kConnectStep);
  std::unique_ptr<SmtpConn> session = openSession(settings_.smtp);
  if (session == nullptr) {
    progress.finish();
    return kFailedQuietly;
  }
  progress.step(kConnectStep);
  bool isComplete = true;
  for (std::size_t index = 0; index < count && isComplete; ++index) {
    isComplete = sendOfBundle(*session, emailAt(index), countsBytes ? &progress : nullptr);
    if (!countsBytes) progress.step(kStepOfUnknownSize);
  }
  session.reset();
  progress.finish();
  return isComplete ? kSent : kFailed;
}

/// Whether the next e-mail of the bundle can be sent. `progress` may be null.
bool Outbox::sendOfBundle(SmtpConn& session, const OutgoingEmail& outgoing, ProgressMonitor* progress) {
  if (outgoing.email == nullptr) {
    logError(log_, "Internal error in SendBundle");
    return false;
  }
  Prepared prepared;
  prepareOrLog(outgoing, prepared);
  if (progress != nullptr) progress->step(kPrepareStepOfBundle);
  SendOutcome outcome;
  const bool sent = send(session, prepared, progress, outcome);
  const bool canGoOn = sent || (prepared.email != nullptr && !outcome.fatal);
  if (!canGoOn) logError(log_, "Send failed.");
  return canGoOn;
}

SendReport Outbox::quickSend(std::string_view from, std::string_view to, std::string_view subject,
                             std::string_view body, std::string_view smtpServer) {
  Email email(log_);
  email.setSubject(subject);
  email.setBody(body, false);
  email.addMultipleTo(to);
  email.setFrom(from);
  const Prepared prepared = prepare({&email});
  if (prepared.email == nullptr) return kFailed;

  ProgressMonitor progress = progressOf(totalFor(prepared.email));
  progress.step(kConnectStep);
  SmtpSettings smtp = settings_.smtp;
  smtp.host = smtpServer;
  smtp.port = 25;
  std::unique_ptr<SmtpConn> session = openSession(smtp);
  if (session == nullptr) {
    progress.finish();
    return kFailed;
  }
  progress.step(kConnectStep);
  progress.step(kPrepareStep);
  SendOutcome outcome;
  const bool sent = send(*session, prepared, &progress, outcome);
  session.reset();
  if (!sent) logError(log_, "Send failed.");
  progress.finish();
  return sent ? kSent : kFailed;
}

bool Outbox::verifySmtpConnection() {
  return smtpCheckConnectivity(settings_.smtp, log_);
}

bool Outbox::verifySmtpLogin() {
  return openSession(settings_.smtp) != nullptr;
}

std::unique_ptr<SmtpConn> Outbox::openSession(const SmtpSettings& smtp) {
  std::unique_ptr<SmtpConn> session;
  try {
    session = smtpConnect(smtp, log_);
  } catch (...) {
    logError(log_, "Unexpected error creating SMTP connection");
    logData(log_, "username", smtp.username);
    logData(log_, "domain", smtp.loginDomain);
    logData(log_, "authMethod", smtp.authMethod);
    logData(log_, "host", smtp.host);
    logDataLong(log_, "port", smtp.port);
  }
  if (session == nullptr) logCommonError(log_, "Failed to connect to SMTP server.");
  return session;
}

// Preparing.

/// Makes the message ready to leave. What it sets stays with the e-mail that is sent.
Outbox::Prepared Outbox::prepare(const OutgoingEmail& outgoing) {
  Prepared prepared{outgoing.email, nullptr};
  if (outgoing.patterns != nullptr && outgoing.patterns->count() != 0) {
    logPatterns(*outgoing.patterns);
    prepared.copy = outgoing.email->copyForSending(*outgoing.patterns);
    prepared.email = prepared.copy.get();
    if (prepared.email == nullptr) return prepared;
  }
  applyDefaultCharset(*prepared.email);
  askForReceipt(*prepared.email);
  prepared.email->makeLineEndsUniform();
  bool failed = false;
  const SigningService& service = settings_.service;
  auto secured = prepareSecurity(*prepared.email, service.isUsed, service.login, log_, failed);
  if (failed) return {};
  if (secured == nullptr) return prepared;
  Email* const sent = secured.get();
  return {sent, std::move(secured)};
}

/// False when preparing broke off; `prepared` then holds no e-mail.
bool Outbox::prepareOrLog(const OutgoingEmail& outgoing, Prepared& prepared) {
  try {
    prepared = prepare(outgoing);
    return true;
  } catch (...) {
    logError(log_, "Unexpected exception in preparing email to send");
    return false;
  }
}

void Outbox::logPatterns(const ReplacePatterns& patterns) {
  if (log_ == nullptr) return;
  for (const auto& pair : patterns) {
    StringBuffer message("Replacing [");
    message.append(pair->name()).append("] with [").append(pair->value()).append(']');
    log_->LogInfo2(message, "SendEmail");
  }
}

void Outbox::applyDefaultCharset(Email& email) const {
  const DefaultCharset& defaults = settings_.defaults;
  const auto prefers = [&](CharsetFamily family) { return defaults.preferred == family; };
  if (!defaults.language.empty()) {
    email.applyCharset(LanguageMap::charsetForLanguage(defaults.language, prefers(CharsetFamily::iso),
                                                       prefers(CharsetFamily::microsoft),
                                                       prefers(CharsetFamily::mac)));
  }
  if (!defaults.charset.empty()) email.applyCharset(defaults.charset);
}

// Sending what was prepared.

/// False also when there is nothing to send. What escapes counts as a failed send that ends the session.
bool Outbox::send(SmtpConn& session, const Prepared& prepared, ProgressMonitor* progress,
                  SendOutcome& outcome) {
  if (prepared.email == nullptr) return false;
  try {
    DistributionList rejected;
    return session.sendEmail(prepared.email, settings_.logMailSentFilename, log_, progress, outcome, rejected,
                             settings_.sendIndividual);
  } catch (...) {
    logError(log_, "Unexpected exception sending email");
    outcome.fatal = true;
    return false;
  }
}

ProgressMonitor Outbox::progressOf(std::uint64_t total) const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return {ProgressMonitor::kMailSender, ProgressMonitor::kSending,
          static_cast<std::uint32_t>(std::min(total, kMost)), sink_};
}

}  // namespace qv

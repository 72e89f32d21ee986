#include "mailman/outbox.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

#include "core/text.h"
#include "email/distribution_list.h"

namespace qv {

namespace {

// Progress of the steps around the message itself.
constexpr std::uint64_t kConnectStep = 200;
constexpr std::uint64_t kPrepareStep = 50;

/// Makes the message ready to leave. What it sets stays with the host's e-mail.
void prepare(Email& email) {
  if (email.getHeaderField("QVX-ReturnReceipt") == "YES") {
    StringBuffer receiver("<");
    receiver.append(email.getFromAddress()).append('>');
    email.setHeaderField("Disposition-Notification-To", receiver);
  }
  email.makeLineEndsUniform();
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

SendReport Outbox::sendEmail(Email* email) {
  Milestones reached;
  try {
    ProgressMonitor progress = progressOf(email);
    return sendWatched(email, progress, reached);
  } catch (...) {
    char message[100];
    std::snprintf(message, sizeof message, "Unexpected exception in SendEmail (%d, %d, %d, %d, %d)",
                  reached.openStarted, reached.open, reached.prepared, reached.sendAttempted,
                  reached.cleaningUp);
    logError(log_, message);
    return {.success = false, .reportError = true};
  }
}

SendReport Outbox::sendWatched(Email* email, ProgressMonitor& progress, Milestones& reached) {
  constexpr SendReport kReported{.success = false, .reportError = true};
  progress.step(kConnectStep);
  reached.openStarted = true;
  std::unique_ptr<SmtpConn> session = openSession(settings_.smtp);
  if (session == nullptr) {
    progress.finish();
    return kReported;
  }
  reached.open = true;
  progress.step(kConnectStep);
  if (email == nullptr) {
    logError(log_, "Failed to get internal email object");
    return kReported;
  }
  if (!prepareOrLog(*email)) {
    progress.finish();
    return kReported;
  }
  reached.prepared = true;
  progress.step(kPrepareStep);

  reached.sendAttempted = true;
  SendOutcome outcome;
  const bool sent = sendOrLog(*session, *email, progress, outcome);
  reached.cleaningUp = sent;
  session.reset();
  progress.finish();
  return {.success = sent, .reportError = !sent && (outcome.numAccepted == 0 || outcome.fatal)};
}

SendReport Outbox::quickSend(std::string_view from, std::string_view to, std::string_view subject,
                             std::string_view body, std::string_view smtpServer) {
  constexpr SendReport kReported{.success = false, .reportError = true};
  Email email(log_);
  email.setSubject(subject);
  email.setBody(body, false);
  email.addMultipleTo(to);
  email.setFrom(from);
  prepare(email);

  ProgressMonitor progress = progressOf(&email);
  progress.step(kConnectStep);
  SmtpSettings smtp = settings_.smtp;
  smtp.host = smtpServer;
  smtp.port = 25;
  std::unique_ptr<SmtpConn> session = openSession(smtp);
  if (session == nullptr) {
    progress.finish();
    return kReported;
  }
  progress.step(kConnectStep);
  progress.step(kPrepareStep);
  SendOutcome outcome;
  const bool sent = sendOrLog(*session, email, progress, outcome);
  session.reset();
  progress.finish();
  return sent ? SendReport{.success = true} : kReported;
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

bool Outbox::prepareOrLog(Email& email) {
  try {
    prepare(email);
    return true;
  } catch (...) {
    logError(log_, "Unexpected exception in preparing email to send");
    return false;
  }
}

bool Outbox::sendOrLog(SmtpConn& session, Email& email, ProgressMonitor& progress, SendOutcome& outcome) {
  bool sent = false;
  try {
    DistributionList rejected;
    sent = session.sendEmail(&email, settings_.logMailSentFilename, log_, &progress, outcome, rejected,
                             settings_.sendIndividual);
  } catch (...) {
    logError(log_, "Unexpected exception sending email");
    outcome.fatal = true;
  }
  if (!sent) logError(log_, "Send failed.");
  return sent;
}

ProgressMonitor Outbox::progressOf(const Email* email) const {
  const std::uint64_t size = email == nullptr ? 0 : email->size();
  const std::uint64_t total =
      std::min<std::uint64_t>(size * 3 / 2 + 200, std::numeric_limits<std::uint32_t>::max());
  return {ProgressMonitor::kMailSender, ProgressMonitor::kSending, static_cast<std::uint32_t>(total), sink_};
}

}  // namespace qv

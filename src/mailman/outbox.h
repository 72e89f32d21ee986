// Preparing e-mails and sending them: what the sending operations of the mail manager share.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"
#include "net/progress_monitor.h"
#include "net/smtp_session.h"

namespace qv {

/// The mail manager's settings for sending.
struct OutboxSettings {
  SmtpSettings smtp{.host = "localhost"};
  StringBuffer logMailSentFilename;
  bool sendIndividual = true;
};

/// What a sending operation came to.
struct SendReport {
  bool success = false;
  /// Whether a failure leaves an error report for the host. It does not when some recipients were accepted
  /// and the session could go on.
  bool reportError = false;
};

/// The text of the host's error report: the log's last error, with a hint when a server would not relay.
std::string sendErrorDescription(std::string_view lastError);

/// Runs inside the public operation's log context and logs everything that happens between the check of the
/// operation's arguments and its result, failures included: the caller adds no entries of its own. Progress
/// goes to the sink on the calling thread.
class Outbox {
 public:
  /// `sink` and `log` may be null. Nothing is owned; settings are read at each call.
  Outbox(const OutboxSettings& settings, FireComEvent* sink, CLog* log) noexcept
      : settings_(settings), sink_(sink), log_(log) {}

  /// Opens a session, prepares the e-mail, sends it and closes the session. `email` is the internal e-mail
  /// of the host's object; null fails with "Failed to get internal email object". Throws nothing.
  SendReport sendEmail(Email* email);
  /// Composes a plain message and sends it through port 25 of `smtpServer`. Its failures are always reported,
  /// with the last error alone.
  SendReport quickSend(std::string_view from, std::string_view to, std::string_view subject,
                       std::string_view body, std::string_view smtpServer);
  /// Whether the server greets and answers. Leaves no error report.
  bool verifySmtpConnection();
  /// Whether the server takes the login of the settings, or lets in without one. Leaves no error report.
  bool verifySmtpLogin();

 private:
  struct Milestones;
  SendReport sendWatched(Email* email, ProgressMonitor& progress, Milestones& reached);
  std::unique_ptr<SmtpConn> openSession(const SmtpSettings& smtp);
  bool prepareOrLog(Email& email);
  bool sendOrLog(SmtpConn& session, Email& email, ProgressMonitor& progress, SendOutcome& outcome);
  ProgressMonitor progressOf(const Email* email) const;

  const OutboxSettings& settings_;
  FireComEvent* sink_;
  CLog* log_;
};

}  // namespace qv

// Preparing e-mails and sending them: what the sending operations of the mail manager share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cert/login_info.h"
#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"
#include "email/replace_patterns.h"
#include "net/progress_monitor.h"
#include "net/smtp_session.h"

namespace qv {

/// Which of the charsets of a language is preferred.
enum class CharsetFamily { none, iso, microsoft, mac };

/// The charset that e-mails are labelled with as they are sent: that of a language, or one by its name. At
/// most one of the two is set; without both every e-mail keeps its own.
struct DefaultCharset {
  StringBuffer language;
  StringBuffer charset;
  CharsetFamily preferred = CharsetFamily::none;
};

/// Who signs and encrypts: the signing service with this login, or this machine alone.
struct SigningService {
  bool isUsed = false;
  LoginInfo login{};
};

/// The mail manager's settings for sending.
struct OutboxSettings {
  SmtpSettings smtp{.host = "localhost"};
  StringBuffer logMailSentFilename;
  bool sendIndividual = true;
  DefaultCharset defaults{};
  SigningService service{};
};

/// An e-mail of the host's. Nothing is owned.
struct OutgoingEmail {
  Email* email = nullptr;  ///< null where the host's object is none of this component's
  /// Null as well as empty: it is sent as it stands.
  const ReplacePatterns* patterns = nullptr;
};

/// Gives the e-mails of a bundle by their index, one after the other. What it gives is used until it is
/// called again.
using EmailAt = std::function<OutgoingEmail(std::size_t index)>;

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

  /// Opens a session, prepares the e-mail, sends it and closes the session. Without an e-mail it fails with
  /// "Failed to get internal email object". With patterns a copy is sent, without any what preparing sets
  /// stays in the e-mail. Throws nothing.
  SendReport sendEmail(const OutgoingEmail& outgoing);
  /// Sends e-mails one after the other in one session. A message that no recipient was accepted for is passed
  /// over; a session that cannot go on, an e-mail that cannot be prepared and one that is missing end it all
  /// without success. A server that cannot be reached leaves no error report.
  SendReport sendBundle(const std::vector<OutgoingEmail>& bundle);
  /// The same with `count` e-mails that are asked for each at its turn, so that no more than one has to be
  /// there at a time. Progress counts e-mails: how large they are is not known before.
  SendReport sendBundle(std::size_t count, const EmailAt& emailAt);
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
  struct Prepared;
  SendReport sendWatched(const OutgoingEmail& outgoing, ProgressMonitor& progress, Milestones& reached);
  SendReport sendEach(std::size_t count, const EmailAt& emailAt, ProgressMonitor& progress, bool countsBytes);
  bool sendOfBundle(SmtpConn& session, const OutgoingEmail& outgoing, ProgressMonitor* progress);
  std::unique_ptr<SmtpConn> openSession(const SmtpSettings& smtp);
  Prepared prepare(const OutgoingEmail& outgoing);
  bool prepareOrLog(const OutgoingEmail& outgoing, Prepared& prepared);
  void logPatterns(const ReplacePatterns& patterns);
  void applyDefaultCharset(Email& email) const;
  bool send(SmtpConn& session, const Prepared& prepared, ProgressMonitor* progress, SendOutcome& outcome);
  ProgressMonitor progressOf(std::uint64_t total) const;

  const OutboxSettings& settings_;
  FireComEvent* sink_;
  CLog* log_;
};

}  // namespace qv

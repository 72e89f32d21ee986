// One client session with an SMTP server (RFC 5321).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "email/distribution_list.h"
#include "email/email.h"
#include "net/progress_monitor.h"
#include "net/secret_text.h"

namespace qv {

/// Where and how to reach a server. Time-outs are seconds; 0 waits as long as it takes.
struct SmtpSettings {
  StringBuffer host{};
  std::int32_t port = 25;
  StringBuffer username{};
  SecretText password{};
  StringBuffer loginDomain{};
  StringBuffer authMethod{};
  std::int32_t connectTimeout = 0;
  std::int32_t readTimeout = 0;
};

/// What became of one `sendEmail`.
struct SendOutcome {
  std::size_t numAccepted = 0;   ///< recipients that the server accepted
  std::size_t numAttempted = 0;  ///< recipients that were offered
  bool fatal = false;            ///< the session can no longer be used
};

/// An open session. Destroying it says QUIT and waits for the answer, where the connection still stands.
class SmtpConn : public QuorvelObject {
 public:
  /// Sends a message; several transactions when it names a distribution list. `email` may be null, which
  /// fails. With a list, the recipients of `email` are used up. `rejected` collects refused addresses.
  virtual bool sendEmail(Email* email, std::string_view sentLogFileName, CLog* log, ProgressMonitor* progress,
                         SendOutcome& outcome, DistributionList& rejected, bool sendIndividual) = 0;
  /// Commands sent and reply lines read, in order; never a login's secrets. Of a long session only the end.
  virtual std::string_view getTranscript() const = 0;
  virtual bool isConnected() const = 0;
};

/// Opens a session: greeting, EHLO or HELO, login. Null, with the reasons in the log, when it fails.
std::unique_ptr<SmtpConn> smtpConnect(const SmtpSettings& settings, CLog* log);
/// Greeting and EHLO or HELO only, then QUIT.
bool smtpCheckConnectivity(const SmtpSettings& settings, CLog* log);

}  // namespace qv

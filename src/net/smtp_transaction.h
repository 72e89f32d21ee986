// One mail transaction of an SMTP session: MAIL FROM, the recipients, the message (RFC 5321 3.3).
#pragma once

#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/distribution_list.h"
#include "email/email.h"
#include "net/progress_monitor.h"
#include "net/smtp_dialogue.h"
#include "net/smtp_session.h"

namespace qv {

/// What the transactions of one e-mail share. `log` and `progress` may be null.
struct SmtpDelivery {
  SmtpDialogue& dialogue;
  std::string_view sentLogFileName;
  CLog* log;
  ProgressMonitor* progress;
  DistributionList& rejected;  ///< gets the addresses that were refused
};

/// Sends `email` as it stands. The counts are added to those of `outcome`; `fatal` is set when the session
/// cannot be used any more. False without `fatal` means that no recipient was accepted.
bool runSmtpTransaction(const SmtpDelivery& delivery, Email& email, SendOutcome& outcome);

}  // namespace qv

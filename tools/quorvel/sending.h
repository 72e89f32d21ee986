// Sending one e-mail through the component, and telling what became of it.
#pragma once

#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/diagnosis.h"
#include "quorvel/progress_bar.h"
#include "quorvel/session.h"

namespace cli {

/// What became of a mail.
struct Outcome {
  Status status = Status::ok;
  std::string report;                ///< of a failure: the error report's text
  bool brokenOff = false;            ///< on the way: some of a list may have the mail all the same
  bool loggedIn = false;             ///< as the log tells it
  std::vector<std::string> refused;  ///< recipients that the server refused
  Entries entries;                   ///< what was logged
};

/// Whether the last operation of a session logged in to an SMTP server.
bool loggedIn(const Entries& entries);

/// Sends; the bar may be null.
Outcome send(Session& session, quorvel::IQuorvelEmail2& email, ProgressBar* bar);

}  // namespace cli

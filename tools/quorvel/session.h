// Sending one e-mail through the component, and telling what became of it.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/progress_bar.h"
#include "quorvel/report.h"

namespace cli {

/// Makes an e-mail, or throws a Failure.
quorvel::Ref<quorvel::IQuorvelEmail2> newEmail();

struct Server {
  std::string host = "localhost";
  std::int32_t port = 25;
  std::int32_t connectTimeout = 30;  ///< seconds; 0 waits as long as it takes
  std::int32_t readTimeout = 30;
  std::string toText() const { return host + ":" + std::to_string(port); }
};

/// What became of a mail.
struct Outcome {
  Status status = Status::ok;
  std::string report;                ///< of a failure: the error report's text
  bool brokenOff = false;            ///< on the way: some of a list may have the mail all the same
  std::vector<std::string> refused;  ///< recipients that the server refused
};

/// A mail manager with the settings of one command.
class Session {
 public:
  explicit Session(const Server& server);

  quorvel::IQuorvelMailMan3& mailMan() noexcept { return *mailMan_; }
  /// Sends; the bar may be null. The log then holds this sending only.
  Outcome send(quorvel::IQuorvelEmail2& email, ProgressBar* bar);
  /// The log as text, an entry a line. `format` is a line format of the log, empty for its own.
  std::string logText(const std::string& format = {});

 private:
  using Entries = std::string (quorvel::IQuorvelLog::*)();
  std::vector<std::string> messages(Entries kind);

  quorvel::Ref<quorvel::IQuorvelMailMan3> mailMan_;
  quorvel::Ref<quorvel::IQuorvelLog2> log_;
};

}  // namespace cli

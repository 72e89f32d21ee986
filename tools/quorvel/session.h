// A mail manager of the component, and reading in its log what became of an operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/progress_bar.h"
#include "quorvel/report.h"
#include "quorvel/server.h"

namespace cli {

/// Makes an e-mail, or throws a Failure.
quorvel::Ref<quorvel::IQuorvelEmail2> newEmail();

/// What an operation logged, an element an entry, without further lines.
struct Entries {
  std::vector<std::string> errors, infos;
};

/// A mail manager with the settings of one command. It logs into the log that all of the process share.
class Session {
 public:
  Session();
  /// Has the time-outs of a server.
  explicit Session(const Server& server);

  quorvel::IQuorvelMailMan3& mailMan() noexcept { return *mailMan_; }
  /// To be called before an operation whose entries are of interest.
  void beginOperation();
  /// The entries since then.
  Entries entries();
  /// The log as text, an entry a line. `format` is a line format of the log, empty for its own.
  std::string logText(const std::string& format = {});

 private:
  using Reader = std::string (quorvel::IQuorvelLog::*)();
  std::vector<std::string> messages(Reader kind);

  quorvel::Ref<quorvel::IQuorvelMailMan3> mailMan_;
  quorvel::Ref<quorvel::IQuorvelLog2> log_;
  std::size_t errorsBefore_ = 0;
  std::size_t infosBefore_ = 0;
};

/// Lets a bar, which may be null, follow what a mail manager does until the end of the scope.
class ShownProgress {
 public:
  /// As events name what is going on.
  enum class Work : std::int32_t { receiving = 1, sending = 2 };
  ShownProgress(quorvel::IQuorvelMailMan3& mailMan, Work work, ProgressBar* bar);
  ~ShownProgress();
  ShownProgress(const ShownProgress&) = delete;
  ShownProgress& operator=(const ShownProgress&) = delete;

 private:
  quorvel::IQuorvelMailMan3& mailMan_;
  ProgressBar* bar_;
  std::int32_t sink_;
};

}  // namespace cli

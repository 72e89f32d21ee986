// A mailbox on a POP3 server, through the component.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/command_line.h"
#include "quorvel/log_options.h"
#include "quorvel/login.h"
#include "quorvel/message_file.h"
#include "quorvel/progress_bar.h"
#include "quorvel/server.h"
#include "quorvel/session.h"

namespace cli {

/// What the command line of every command on a mailbox says.
struct MailboxOptions {
  ServerOptions server;
  LoginOptions login;
  LogOptions log;
};

void addMailboxOptions(CLI::App& command, MailboxOptions& options);

/// Messages that were downloaded, whole or their headers.
struct Download {
  std::vector<Email> emails;   ///< in server order
  std::size_t failed = 0;      ///< messages that could not be downloaded
  bool brokenListing = false;  ///< there may be more messages than the server came to list
  bool isWhole() const noexcept { return failed == 0 && !brokenListing; }
};

/// What became of messages that were to be deleted.
struct Removal {
  std::size_t deleted = 0;
  std::vector<std::string> missing;  ///< ids that the server did not have
  std::vector<std::string> shared;   ///< ids that other messages have too: nothing was deleted
  std::vector<std::string> left;     ///< ids that the server still has
  bool isWhole() const noexcept { return missing.empty() && shared.empty() && left.empty(); }
};

/// Every operation opens a session with the server and closes it. Throws a Failure when the server cannot be
/// used, or does not do what it is asked.
class Mailbox {
 public:
  /// Reads the password. Throws a Failure when it cannot be had, or options make no sense.
  explicit Mailbox(const MailboxOptions& options);

  Mailbox(const Server& server, const std::string& user, std::string_view password);

  Session& session() noexcept { return session_; }
  std::string toText() const { return user_ + " at " + server_.toText(); }

  std::int32_t count();
  /// In server order.
  std::vector<std::string> uidls();
  /// The headers of those that the filter keeps, which is empty for all.
  Download headers(const std::string& filter);
  /// The first `maxCount` messages. A journal gets the text of each as it came. The bar may be null.
  Download copy(std::int32_t maxCount, const std::string& journal, ProgressBar* bar);
  /// Those that the filter keeps, which are then deleted from the server. The bar may be null.
  Download transfer(const std::string& filter, ProgressBar* bar);
  /// Those with these ids.
  Download fetch(const std::vector<std::string>& uidls);
  /// Deletes the messages with these ids, each of which stands here as often as messages are meant by it:
  /// where the server has more of them nothing is deleted, for it cannot be said which.
  Removal remove(const std::vector<std::string>& uidls);

 private:
  Mailbox(const Server& server, const std::string& user) : server_(server), user_(user), session_(server) {}
  Download downloaded(const quorvel::Ref<quorvel::IQuorvelEmailBundle>& bundle);
  std::vector<std::string> uidlsAfterDeletion();
  Failure failure();

  Server server_;
  std::string user_;
  Session session_;
};

/// Tells on standard error what a download lacks.
void warnOfLack(const Download& download);
/// Tells on standard error what was not deleted.
void warnOfRest(const Removal& removal);

}  // namespace cli

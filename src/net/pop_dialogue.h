// The commands and replies that a POP3 session is made of (RFC 1939 3).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "net/progress_monitor.h"
#include "net/secret_text.h"
#include "net/socket.h"

namespace qv {

/// How much of a server's talk is listened to; one that says more is refused. Bytes, but for the entries.
struct PopLimits {
  std::size_t line = QuorvelSocket::kMaxLine;
  std::size_t message = QuorvelSocket::kMaxMultiLine;
  std::size_t listing = QuorvelSocket::kMaxMultiLine;  ///< all lines of one listing
  std::size_t entries = 2'000'000;  ///< lines of one listing: each costs more memory than it has bytes
};

/// One connection. A send or receive that fails ends it; every later step then fails. Each step says in the
/// log, which may be null, why it failed.
class PopDialogue {
 public:
  /// The password is hidden in every reply that is logged.
  PopDialogue(std::unique_ptr<QuorvelSocket> socket, std::string_view password, const PopLimits& limits);

  const PopLimits& limits() const noexcept { return limits_; }
  bool isConnected() const noexcept { return socket_ != nullptr; }
  void close() noexcept { socket_.reset(); }
  /// Whether the server said more than it was asked: what it says next may answer something else than one
  /// thinks.
  bool isOutOfStep() const noexcept { return socket_ != nullptr && socket_->unreadLength() != 0; }

  /// Sends a command, given with its line end.
  bool send(std::string_view command, CLog* log);
  /// Reads one line with its CR LF. The text is valid until the next line is read.
  std::optional<std::string_view> readResponseLine(CLog* log);
  /// Reads one line; a bad one is logged.
  bool checkResponse(CLog* log);
  /// Reads what follows the status line of a multi-line answer, through the line of one dot. Lines that begin
  /// with a dot still have it doubled.
  bool readMultiLine(StringBuffer& text, CLog* log, ProgressMonitor* progress);
  /// Logs, as an error, a line that the server said, with a text before it.
  void logLine(std::string_view before, std::string_view line, CLog* log) const;

 private:
  std::unique_ptr<QuorvelSocket> socket_;
  SecretMask secrets_;
  PopLimits limits_;
  StringBuffer line_;
};

}  // namespace qv

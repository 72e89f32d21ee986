// The commands and replies that an SMTP session is made of (RFC 5321 2.4, 4.2).
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
#include "net/wire_text.h"

namespace qv {

/// One connection, and a record of what went over it. A send or receive that fails ends the connection;
/// every later step then fails. Each step says in the log, which may be null, why it failed. The secrets of a
/// login are kept out of log and transcript, also where the server repeats them.
class SmtpDialogue {
 public:
  /// A command and its line end are shorter than this; a longer one is not sent.
  static constexpr std::size_t kCommandArea = 2000;
  /// Text of all reply lines to one command; a server that sends more is given up.
  static constexpr std::size_t kMaxReply = QuorvelSocket::kMaxLine;
  /// Of a long session the transcript holds the end only, at least this much of it.
  static constexpr std::size_t kTranscriptKept = std::size_t{256} << 10;

  /// How far the server has come with the message that is being sent.
  enum class Phase {
    idle,         ///< no mail transaction
    transaction,  ///< a sender was accepted
    message,      ///< the message's text is being sent: whatever is sent now is part of it
  };

  explicit SmtpDialogue(std::unique_ptr<QuorvelSocket> socket) noexcept : socket_(std::move(socket)) {}

  bool isConnected() const noexcept { return socket_ != nullptr; }
  void disconnect() noexcept { socket_.reset(); }
  QuorvelSocket* socket() const noexcept { return socket_.get(); }
  std::string_view transcript() const noexcept { return transcript_; }
  Phase phase() const noexcept { return phase_; }
  void setPhase(Phase phase) noexcept { phase_ = phase; }
  /// Whether this server is known to hold a transaction open that no recipient came of.
  bool holdsTransactions() const noexcept { return holdsTransactions_; }
  void setHoldsTransactions() noexcept { holdsTransactions_ = true; }

  /// Sends bytes as they are. The transcript gets the first 2,500 of them.
  bool sendCommand(std::string_view bytes, CLog* log, ProgressMonitor* progress = nullptr);
  /// The same for a message.
  bool sendMessage(const WireText& text, CLog* log, ProgressMonitor* progress);
  /// Sends bytes that the transcript must not show.
  bool sendDirect(std::string_view bytes, CLog* log);
  /// Hidden from now on in what the server says, for as long as the dialogue lasts, and in what the
  /// transcript holds already.
  void hide(std::string_view secret);
  /// Reads one line with its CR LF. The text is valid until the next line is read.
  std::optional<std::string_view> readLine(CLog* log);
  /// Reads one line and gives it only when its code is `code`.
  std::optional<std::string_view> readLineWithCode(int code, CLog* log);
  /// Reads all lines of a reply. A reply with another code than `expected` is logged.
  bool readReply(int expected, CLog* log);
  /// Sends `format`, with `argument` in the place of its "%s", and reads the reply.
  bool sendAndCheck(std::string_view format, std::string_view argument, int expected, CLog* log);

 private:
  void record(std::string_view text);

  std::unique_ptr<QuorvelSocket> socket_;
  StringBuffer transcript_;
  StringBuffer line_;
  SecretMask hidden_;
  std::size_t replyLength_ = 0;  // of the lines read since something was sent
  Phase phase_ = Phase::idle;
  bool holdsTransactions_ = false;
};

/// Whether a line is the last one of its reply: any but one with '-' behind the code (RFC 5321 4.2.1).
bool isLastReplyLine(std::string_view line) noexcept;

}  // namespace qv

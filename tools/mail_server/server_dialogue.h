// A server's side of a session that is made of command lines, without the network: bytes in, replies out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mail_server/replies.h"

namespace qv {

/// What the protocols have in common: command lines are cut from what arrives, and a client that makes no
/// sense is sent away. Not safe for several threads at once.
class ServerDialogue {
 public:
  /// A command line, CR LF included, may be this long; RFC 5321 4.5.3.1.4 asks for 512, RFC 2449 4 for 255.
  static constexpr std::size_t kMaxCommandLine = 4096;
  /// So many commands in a row that make no sense end the session: the peer speaks something else.
  static constexpr int kMaxErrorsInARow = 20;

  ServerDialogue() = default;
  virtual ~ServerDialogue() = default;
  ServerDialogue(const ServerDialogue&) = delete;
  ServerDialogue& operator=(const ServerDialogue&) = delete;

  virtual std::string greeting() const = 0;
  /// The last line for a client whose connection is closed upon it.
  virtual std::string farewell(std::string_view why) const = 0;
  /// Takes what the client sent, cut anywhere, and adds the replies to it. Nothing is taken after `ended`.
  void receive(std::string_view bytes, Replies& replies);
  /// The session is over; what is left is to send the replies and close.
  bool ended() const noexcept { return ended_; }

 protected:
  struct Answer {
    std::string text;
    bool makesSense = true;  ///< the command, to this server
  };
  /// Answers a command line, given without its CR LF and free of control characters. Long answers go to
  /// `replies`; the text that is given back goes behind them.
  virtual Answer answer(std::string_view line, Replies& replies) = 0;
  /// A line that no command can be.
  virtual Answer noCommand(std::string_view why) const = 0;
  /// Whether what arrives is no command now, and goes to `receiveText`, which gives how much it took.
  virtual bool takesText() const { return false; }
  virtual std::size_t receiveText(std::string_view bytes, Replies&) { return bytes.size(); }
  void end() noexcept { ended_ = true; }

 private:
  std::size_t receiveCommand(std::string_view bytes, Replies& replies);
  Answer answerAnyLine(std::string_view line, bool tooLong, Replies& replies);

  std::string line_;          // the start of a command line whose end has not come yet
  bool lineTooLong_ = false;  // and is thrown away until its end comes
  bool ended_ = false;
  int errorsInARow_ = 0;
};

/// `words` without control characters: they may quote what the client or the system said, and a reply stays
/// one line.
std::string oneLine(std::string_view words);
/// Takes a word up to the next blank off the front, and the blanks behind it.
std::string_view takeWord(std::string_view& text);

}  // namespace qv

// The server's side of an SMTP session, without the network: bytes in, replies out.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "mail_server/data_decoder.h"
#include "mail_server/server_dialogue.h"

namespace qv {

/// A message as a client handed it over.
struct ReceivedMessage {
  std::string sender;                   ///< "" is the null reverse-path (RFC 5321 4.5.5)
  std::vector<std::string> recipients;  ///< in the order accepted, as they were written
  std::string text;                     ///< byte for byte what was sent; empty when texts are discarded
  std::size_t size = 0;                 ///< of the text, in bytes
  std::string file;                     ///< where the text is kept; empty when it is not
};

/// What a server accepts. Patterns match a whole address, "*" in them any bytes, ignoring ASCII case.
struct SmtpRules {
  std::size_t maxMessageBytes = std::size_t{256} << 20;
  std::size_t maxRecipients = 100'000;  ///< far above the 100 that RFC 5321 4.5.3.1.8 asks for
  bool discardText = false;             ///< texts are counted, not kept in memory
  std::vector<std::string> refusedSenders;
  std::vector<std::string> refusedRecipients;
};

/// One session (RFC 5321) with PIPELINING (RFC 2920), SIZE (RFC 1870) and 8BITMIME (RFC 6152). Nothing is
/// relayed and no trace field is added: the text stays as it came.
class SmtpServerDialogue final : public ServerDialogue {
 public:
  /// Takes charge of a message. True when it is safely kept; `words` then (or the reason why not) goes into
  /// the reply, without line ends.
  using Keep = std::function<bool(ReceivedMessage&, std::string& words)>;

  /// `rules` must outlive the dialogue.
  SmtpServerDialogue(const SmtpRules& rules, Keep keep) : rules_(rules), keep_(std::move(keep)) {}

  std::string greeting() const override;
  std::string farewell(std::string_view why) const override;

 private:
  struct Command;
  static const Command kCommands[];

  Answer answer(std::string_view line, Replies& replies) override;
  Answer noCommand(std::string_view why) const override;
  bool takesText() const override { return inData_; }
  std::size_t receiveText(std::string_view bytes, Replies& replies) override;
  std::string finishData();
  void resetTransaction();

  std::string hello(std::string_view argument);
  std::string extendedHello(std::string_view argument);
  std::string mail(std::string_view argument);
  std::string recipient(std::string_view argument);
  std::string data(std::string_view argument);
  std::string reset(std::string_view argument);
  std::string noop(std::string_view argument);
  std::string verify(std::string_view argument);
  std::string help(std::string_view argument);
  std::string quit(std::string_view argument);
  std::string notImplemented(std::string_view argument);

  const SmtpRules& rules_;
  Keep keep_;
  bool greeted_ = false;        // EHLO or HELO was accepted
  bool inTransaction_ = false;  // MAIL was accepted
  bool inData_ = false;
  ReceivedMessage message_;
  DataDecoder decoder_;
};

/// Whether a pattern of SmtpRules matches an address.
bool matchesPattern(std::string_view pattern, std::string_view address);

}  // namespace qv

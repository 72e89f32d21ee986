// The server's side of a POP3 session, without the network: bytes in, replies out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mail_server/mail_folder.h"
#include "mail_server/server_dialogue.h"

namespace qv {

/// Who may fetch mail; an empty text lets any in.
struct PopRules {
  std::string user;
  std::string password;
};

/// One session (RFC 1939) over a folder of messages, with TOP, UIDL and CAPA (RFC 2449). It sees the messages
/// that are there at the login; those that it deletes go at QUIT. Several sessions may share a folder: a
/// message that another one has deleted is gone.
///
/// QUIRK: sizes are those of the files, which may be a little less than what is sent where lines end in a
/// bare LF: counting would mean reading all messages at each login.
class PopServerDialogue final : public ServerDialogue {
 public:
  /// `rules` and `folder` must outlive the dialogue.
  PopServerDialogue(const PopRules& rules, const MailFolder& folder) : rules_(rules), folder_(folder) {}

  std::string greeting() const override;
  std::string farewell(std::string_view why) const override;

 private:
  struct Command;
  static const Command kCommands[];
  struct Message {
    StoredMessage stored;
    bool deleted = false;
  };

  Answer answer(std::string_view line, Replies& replies) override;
  Answer noCommand(std::string_view why) const override;

  Answer capabilities(std::string_view argument, Replies& replies);
  Answer user(std::string_view argument, Replies& replies);
  Answer pass(std::string_view argument, Replies& replies);
  Answer stat(std::string_view argument, Replies& replies);
  Answer list(std::string_view argument, Replies& replies);
  Answer uniqueIds(std::string_view argument, Replies& replies);
  Answer retrieve(std::string_view argument, Replies& replies);
  Answer top(std::string_view argument, Replies& replies);
  Answer remove(std::string_view argument, Replies& replies);
  Answer reset(std::string_view argument, Replies& replies);
  Answer noop(std::string_view argument, Replies& replies);
  Answer quit(std::string_view argument, Replies& replies);

  using Describe = std::string (*)(const StoredMessage&);
  Answer listBy(Describe describe, std::string_view argument, Replies& replies);
  Message* find(std::string_view number);
  std::string totals() const;
  /// Sends a message, or its header and some lines.
  Answer sendText(const Message& message, const std::size_t* bodyLines, Replies& replies);

  const PopRules& rules_;
  const MailFolder& folder_;
  bool loggedIn_ = false;
  bool hasUser_ = false;
  std::string user_;
  std::vector<Message> messages_;  // message 1 first
};

}  // namespace qv

// A POP3 server on the loopback address that says what a test tells it to.
#pragma once

#include <cstdlib>

#include "support/scripted_server.h"

namespace qv_test {

/// Holds the messages a test gives it and serves them as RFC 1939 has it, but for what a test has it say.
class PopServer {
 public:
  using Reply = Replies::Reply;
  static constexpr char kClose = Replies::kClose;

  /// The texts, whose lines end in CR LF, are the messages 1, 2, ... with the unique ids "id-1", "id-2", ...
  explicit PopServer(const Strings& texts = {}, Reply reply = nullptr,
                     std::size_t cutAfter = std::string::npos)
      : replies_(std::move(reply), cutAfter),
        messages_(numbered(texts)),
        server_([this](Peer& peer) { serve(peer); }) {}
  /// By rules as "STAT=-ERR no|RETR 2=+OK\r\nSubject: x\r\n\r\n.": the replies to what begins so.
  PopServer(const Strings& texts, std::string_view rules) : PopServer(texts, Replies::followRules(rules)) {}

  std::uint16_t port() const { return server_.port(); }
  /// What the clients said, without line ends. Waits for the sessions to end, as the next ones do.
  const Strings& commands() {
    server_.stop();
    return commands_;
  }
  std::size_t count(std::string_view verb) {
    const Strings& all = commands();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [&](const auto& each) { return each.starts_with(verb); }));
  }
  /// The unique ids of the messages that no session has deleted and then said QUIT.
  Strings left() {
    server_.stop();
    Strings ids;
    for (const Message& message : messages_) ids.push_back(message.uidl);
    return ids;
  }
  /// A text as it is sent: its dots doubled, the end marker behind it.
  static std::string multiLine(std::string_view text) {
    std::string lines;
    for (const std::string& line : split(text, '\n')) lines += (line[0] == '.' ? "." : "") + line + "\n";
    return lines + ".\r\n";
  }

 private:
  struct Message {
    std::string uidl, text;
    bool deleted = false;
  };

  static std::vector<Message> numbered(const Strings& texts) {
    std::vector<Message> messages;
    for (const std::string& text : texts)
      messages.push_back({"id-" + std::to_string(messages.size() + 1), text});
    return messages;
  }
  void serve(Peer& peer) {
    replies_.newClient();
    for (Message& message : messages_) message.deleted = false;
    std::string line = "GREETING\r\n";
    do {
      line.resize(line.size() - 2);
      if (line != "GREETING") commands_.push_back(line);
      const auto special = replies_.special(line);
      if (!replies_.send(peer, special ? *special : usualReply(line)) || line == "QUIT") return;
    } while (peer.readThrough("\r\n", line));
  }
  std::string usualReply(const std::string& command) {
    if (command == "STAT") return "+OK " + std::to_string(messages_.size()) + " " + totalSize() + "\r\n";
    if (command == "UIDL") return "+OK\r\n" + listing();
    if (command == "QUIT") std::erase_if(messages_, [](const Message& message) { return message.deleted; });
    const Strings words = split(command, ' ');
    if (words.size() < 2 || (words[0] != "RETR" && words[0] != "TOP" && words[0] != "DELE"))
      return "+OK ready\r\n";
    const auto number = static_cast<std::size_t>(std::atoi(words[1].c_str()));
    if (number < 1 || number > messages_.size()) return "-ERR no such message\r\n";
    Message& message = messages_[number - 1];
    if (words[0] == "RETR") return "+OK\r\n" + multiLine(message.text);
    if (words[0] == "TOP") return "+OK\r\n" + multiLine(topOf(message.text, std::atoi(words[2].c_str())));
    message.deleted = true;
    return "+OK\r\n";
  }
  std::string totalSize() const {
    std::size_t total = 0;
    for (const Message& message : messages_) total += message.text.size();
    return std::to_string(total);
  }
  std::string listing() const {
    std::string lines;
    for (std::size_t i = 0; i < messages_.size(); ++i) {
      lines += std::to_string(i + 1) + " " + messages_[i].uidl + "\r\n";
    }
    return lines + ".\r\n";
  }
  static std::string topOf(const std::string& text, int lines) {
    std::size_t end = text.find("\r\n\r\n");
    if (end == std::string::npos) return text;
    for (end += 4; lines > 0 && end < text.size(); --lines)
      end = std::min(text.find('\n', end), text.size() - 1) + 1;
    return text.substr(0, end);
  }

  Replies replies_;
  std::vector<Message> messages_;
  Strings commands_;
  ScriptedServer server_;  // last: its thread uses the others
};

}  // namespace qv_test

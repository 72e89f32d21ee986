// Servers on the loopback address that say what a test tells them to, byte for byte.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/tcp.h"

namespace qv_test {

using Strings = std::vector<std::string>;

/// The pieces of a row of a table.
inline Strings split(std::string_view text, char delimiter = '|') {
  Strings pieces;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(delimiter, at), text.size());
    pieces.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return pieces;
}

/// The server's end of a connection.
class Peer {
 public:
  explicit Peer(qv::tcp::Handle handle) : handle_(handle) {}
  /// Reads through `terminator`; false when the client is gone.
  bool readThrough(std::string_view terminator, std::string& text) {
    std::size_t at = 0;
    while ((at = buffer_.find(terminator)) == std::string::npos) {
      char bytes[65536];
      const long count = qv::tcp::receive(handle_, bytes, sizeof bytes);
      if (count <= 0) return false;
      buffer_.append(bytes, static_cast<std::size_t>(count));
    }
    text = buffer_.substr(0, at + terminator.size());
    buffer_.erase(0, text.size());
    return true;
  }
  bool send(std::string_view text) {
    while (!text.empty()) {
      const long count = qv::tcp::send(handle_, text.data(), text.size());
      if (count <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }
  /// Reads until the client is gone.
  void drain() {
    char bytes[65536];
    while (qv::tcp::receive(handle_, bytes, sizeof bytes) > 0) {
    }
  }

 private:
  qv::tcp::Handle handle_;
  std::string buffer_;
};

/// Serves one connection after another on a thread of its own; each runs the script from its start.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::function<void(Peer&)> script, std::string_view address = "127.0.0.1",
                          std::uint16_t port = 0)
      : script_(std::move(script)), listener_(qv::tcp::open()) {
    listening_ = qv::tcp::listen(listener_, address, port, 25);
    if (listening_) thread_ = std::thread([this] { serve(); });
  }
  ~ScriptedServer() {
    stop();
    qv::tcp::close(listener_);
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  bool listening() const { return listening_; }
  std::uint16_t port() const { return qv::tcp::localPort(listener_); }
  /// Waits until the connections made so far are served and takes no further one. What the script left behind
  /// may be looked at afterwards.
  void stop() {
    if (!thread_.joinable()) return;
    // Connections that wait to be accepted would be lost with the listener.
    while (qv::tcp::waitReadable(listener_, 0) == qv::tcp::Wait::ready) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    qv::tcp::shutdown(listener_);
    thread_.join();
  }

 private:
  void serve() {
    for (;;) {
      const qv::tcp::Handle client = qv::tcp::accept(listener_);
      if (client == qv::tcp::kNone) return;
      Peer peer(client);
      script_(peer);
      qv::tcp::close(client);
    }
  }

  std::function<void(Peer&)> script_;
  qv::tcp::Handle listener_;
  bool listening_ = false;
  std::thread thread_;
};

/// What a server says to commands: what a test has it say, else the usual.
class Replies {
 public:
  /// Gives the whole reply to a command (without its line end) or, at the start, to "GREETING"; none for the
  /// usual one. After a reply that ends with kClose the connection is closed.
  using Reply = std::function<std::optional<std::string>(std::string_view command)>;
  static constexpr char kClose = '\x04';

  /// Only the first `cutAfter` bytes of all replies to a client are sent, then the connection is closed.
  Replies(Reply reply, std::size_t cutAfter) : reply_(std::move(reply)), cutAfter_(cutAfter) {}
  /// By rules as "EHLO=502 no|RCPT TO:<b@h>=550-no\r\n550 such": the replies to what begins so; their last
  /// line ends come by themselves.
  static Reply followRules(std::string_view rules) {
    return [rules = split(rules)](std::string_view command) -> std::optional<std::string> {
      for (const std::string& rule : rules) {
        const std::size_t at = rule.find('=');
        if (!command.starts_with(rule.substr(0, at))) continue;
        const bool close = rule.ends_with(kClose);
        const std::string reply = rule.substr(at + 1, rule.size() - at - (close ? 2 : 1)) + "\r\n";
        return close ? reply + kClose : reply;
      }
      return std::nullopt;
    };
  }
  /// What was set for this command, if anything.
  std::optional<std::string> special(std::string_view command) const {
    return reply_ ? reply_(command) : std::nullopt;
  }
  void newClient() { left_ = cutAfter_; }
  /// False when the session is over with it.
  bool send(Peer& peer, std::string reply) {
    const bool close = reply.ends_with(kClose) || reply.size() > left_;
    if (reply.ends_with(kClose)) reply.pop_back();
    reply.resize(std::min(reply.size(), left_));
    left_ -= reply.size();
    return peer.send(reply) && !close;
  }

 private:
  Reply reply_;
  std::size_t cutAfter_, left_ = 0;
};

/// An SMTP server that takes everything, but for what a test has it say to commands and to "MESSAGE".
class SmtpServer {
 public:
  using Reply = Replies::Reply;
  static constexpr char kClose = Replies::kClose;

  /// Only the first `cutAfter` bytes of all replies are sent, then the connection is closed.
  explicit SmtpServer(Reply reply = nullptr, std::size_t cutAfter = std::string::npos,
                      std::string_view address = "127.0.0.1", std::uint16_t port = 0)
      : replies_(std::move(reply), cutAfter), server_([this](Peer& peer) { serve(peer); }, address, port) {}
  explicit SmtpServer(std::string_view rules) : SmtpServer(Replies::followRules(rules)) {}

  bool listening() const { return server_.listening(); }
  std::uint16_t port() const { return server_.port(); }
  /// What the clients said: commands without their line ends, and messages with the "\r\n.\r\n" after them.
  const Strings& commands() {
    server_.stop();
    return commands_;
  }
  const Strings& messages() {
    server_.stop();
    return messages_;
  }
  std::size_t count(std::string_view verb) {
    std::size_t found = 0;
    for (const std::string& command : commands()) found += command.starts_with(verb) ? 1 : 0;
    return found;
  }

 private:
  static std::string usualReply(std::string_view command) {
    if (command == "GREETING") return "220 ready\r\n";
    if (command == "DATA") return "354 go on\r\n";
    return command == "QUIT" ? "221 bye\r\n" : "250 ok\r\n";
  }
  void serve(Peer& peer) {
    replies_.newClient();
    std::string text;
    if (!answer(peer, "GREETING")) return;
    while (peer.readThrough(inMessage_ ? "\r\n.\r\n" : "\r\n", text)) {
      const bool isMessage = inMessage_;
      if (!isMessage) text.resize(text.size() - 2);
      (isMessage ? messages_ : commands_).push_back(text);
      if (!answer(peer, isMessage ? "MESSAGE" : text)) return;
    }
  }
  bool answer(Peer& peer, std::string_view command) {
    const std::string reply = replies_.special(command).value_or(usualReply(command));
    inMessage_ = command == "DATA" && reply.starts_with("354");
    return replies_.send(peer, reply);
  }

  Replies replies_;
  bool inMessage_ = false;
  Strings commands_, messages_;
  ScriptedServer server_;  // last: its thread uses the others
};

}  // namespace qv_test

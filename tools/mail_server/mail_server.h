// A small SMTP and POP3 server on the loopback address, for trying things out, for tests and for measuring.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "mail_server/mail_folder.h"
#include "mail_server/pop_server_dialogue.h"
#include "mail_server/server_dialogue.h"
#include "mail_server/smtp_server_dialogue.h"

namespace qv {

struct MailServerOptions {
  SmtpRules rules;
  /// Where POP3 clients find the folder's messages (0: a free port); none: there is no POP3.
  std::optional<std::uint16_t> popPort;
  PopRules popRules;
  std::size_t maxConnections = 64;  ///< of both kinds; one more is refused and closed
  /// RFC 5321 4.5.3.2.7: five minutes without a command, or without taking what is sent, end a session.
  int idleSeconds = 300;
  /// Called for every message once it is kept and before the client hears so; one call at a time, on the
  /// session's thread. It must not call the server.
  std::function<void(const ReceivedMessage&)> onMessage;
};

struct MailServerCounts {
  std::uint64_t connections = 0;
  std::uint64_t messages = 0;
  std::uint64_t bytes = 0;  ///< of the messages' texts
};

/// Accepts any mail from this machine and delivers none, but to whom fetches it by POP3. Sessions run on
/// threads of their own.
class MailServer {
 public:
  MailServer() = default;
  ~MailServer() { stop(); }
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  /// Listens on 127.0.0.1 at `port` (0: a free one) and keeps what it accepts in `folder`, which is made when
  /// missing; an empty `folder`, or discarding texts, keeps no files. POP3 serves what is in `folder`. False,
  /// with the reason in `error`, when it cannot.
  bool start(std::uint16_t port, const std::string& folder, MailServerOptions options = {});
  /// Ends all sessions, wherever they are, and waits for their threads. May start again afterwards.
  void stop();

  std::uint16_t port() const noexcept { return smtp_.port; }
  /// 0 when there is no POP3.
  std::uint16_t popPort() const noexcept { return pop_.port; }
  const std::string& error() const noexcept { return error_; }
  MailServerCounts counts() const noexcept;

 private:
  enum class Protocol { smtp, pop };
  struct Listener {
    Protocol protocol;
    int handle = -1;  // tcp::Handle
    std::uint16_t port = 0;
    std::thread thread{};
  };
  struct Connection {
    int handle;  // tcp::Handle
    bool done = false;
    std::thread thread;
  };

  bool listen(Listener& listener, std::uint16_t port);
  void acceptConnections(const Listener& listener);
  void startSession(Protocol protocol, int handle);
  void removeFinished();
  void converse(Protocol protocol, int handle);
  std::unique_ptr<ServerDialogue> newDialogue(Protocol protocol);
  bool keep(ReceivedMessage& message, std::string& words);

  MailServerOptions options_;
  MailFolder folder_;
  bool keepsFiles_ = false;
  std::string error_;
  Listener smtp_{Protocol::smtp};
  Listener pop_{Protocol::pop};
  std::atomic<bool> stopping_{false};

  std::mutex connectionsMutex_;  // guards the list, and each handle from being closed while it is shut down
  std::list<Connection> connections_;
  std::mutex onMessageMutex_;

  std::atomic<std::uint64_t> numConnections_{0};
  std::atomic<std::uint64_t> numMessages_{0};
  std::atomic<std::uint64_t> numBytes_{0};
};

}  // namespace qv

#include "mail_server/mail_server.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/tcp.h"

namespace qv {

namespace {

constexpr std::size_t kReceiveBytes = 256 * 1024;
constexpr int kBacklog = 128;

bool sendAll(tcp::Handle handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const long taken = tcp::send(handle, bytes.data(), bytes.size());
    if (taken <= 0) return false;  // gone, or does not read
    bytes.remove_prefix(static_cast<std::size_t>(taken));
  }
  return true;
}

}  // namespace

bool MailServer::start(std::uint16_t port, const std::string& folder, MailServerOptions options) {
  stop();
  keepsFiles_ = !folder.empty() && !options.rules.discardText;
  if (!folder.empty() && (keepsFiles_ || options.popPort) && !folder_.open(folder, error_)) {
    error_ = "cannot keep mail in " + folder + ": " + error_;
    return false;
  }
  tcp::startUp();
  pop_.port = 0;
  if (!listen(smtp_, port) || (options.popPort && !listen(pop_, *options.popPort))) {
    stop();
    return false;
  }
  error_.clear();
  options_ = std::move(options);
  stopping_ = false;
  for (Listener* listener : {&smtp_, &pop_}) {
    if (listener->handle == tcp::kNone) continue;
    listener->thread = std::thread([this, listener] { acceptConnections(*listener); });
  }
  return true;
}

bool MailServer::listen(Listener& listener, std::uint16_t port) {
  listener.handle = tcp::open();
  if (listener.handle == tcp::kNone || !tcp::listen(listener.handle, "127.0.0.1", port, kBacklog)) {
    error_ = "cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + tcp::lastErrorText();
    return false;
  }
  listener.port = tcp::localPort(listener.handle);
  return true;
}

void MailServer::stop() {
  stopping_ = true;
  for (Listener* listener : {&smtp_, &pop_}) {
    if (listener->handle == tcp::kNone) continue;
    tcp::shutdown(listener->handle);
    if (listener->thread.joinable()) listener->thread.join();
    tcp::close(std::exchange(listener->handle, tcp::kNone));
  }
  {
    const std::lock_guard lock(connectionsMutex_);
    for (const Connection& connection : connections_) {
      if (!connection.done) tcp::shutdown(connection.handle);
    }
  }
  // Nobody adds to the list any more, and a session only marks itself done.
  for (Connection& connection : connections_) connection.thread.join();
  connections_.clear();
}

MailServerCounts MailServer::counts() const noexcept {
  return {numConnections_, numMessages_, numBytes_};
}

void MailServer::acceptConnections(const Listener& listener) {
  while (!stopping_) {
    const tcp::Handle handle = tcp::accept(listener.handle);
    if (handle == tcp::kNone) {
      // Out of handles, most likely: sessions that end will free some.
      if (!stopping_) std::this_thread::sleep_for(std::chrono::milliseconds(20));
      continue;
    }
    removeFinished();
    ++numConnections_;
    startSession(listener.protocol, handle);
  }
}

void MailServer::startSession(Protocol protocol, tcp::Handle handle) {
  const std::lock_guard lock(connectionsMutex_);
  if (connections_.size() >= options_.maxConnections) {
    sendAll(handle, newDialogue(protocol)->farewell("Too many connections"));
    tcp::close(handle);
    return;
  }
  Connection& connection = connections_.emplace_back(Connection{handle, false, {}});
  try {
    connection.thread = std::thread([this, protocol, &connection] {
      try {
        converse(protocol, connection.handle);
      } catch (const std::exception&) {  // out of memory: this session ends, the server goes on
      }
      const std::lock_guard inner(connectionsMutex_);
      tcp::close(connection.handle);
      connection.done = true;
    });
  } catch (const std::system_error&) {  // no thread to be had
    connections_.pop_back();
    tcp::close(handle);
  }
}

void MailServer::removeFinished() {
  std::list<Connection> finished;
  {
    const std::lock_guard lock(connectionsMutex_);
    for (auto at = connections_.begin(); at != connections_.end();) {
      const auto next = std::next(at);
      if (at->done) finished.splice(finished.end(), connections_, at);
      at = next;
    }
  }
  for (Connection& connection : finished) connection.thread.join();
}

std::unique_ptr<ServerDialogue> MailServer::newDialogue(Protocol protocol) {
  if (protocol == Protocol::pop) return std::make_unique<PopServerDialogue>(options_.popRules, folder_);
  return std::make_unique<SmtpServerDialogue>(
      options_.rules, [this](ReceivedMessage& message, std::string& words) { return keep(message, words); });
}

void MailServer::converse(Protocol protocol, tcp::Handle handle) {
  tcp::setSendTimeout(handle, options_.idleSeconds);
  const std::unique_ptr<ServerDialogue> dialogue = newDialogue(protocol);
  const auto buffer = std::make_unique_for_overwrite<char[]>(kReceiveBytes);
  Replies replies([handle](std::string_view block) { return sendAll(handle, block); });
  replies.add(dialogue->greeting());
  while (replies.flush() && !dialogue->ended()) {
    const tcp::Wait wait = tcp::waitReadable(handle, options_.idleSeconds);
    if (wait == tcp::Wait::timedOut) sendAll(handle, dialogue->farewell("Idle for too long"));
    if (wait != tcp::Wait::ready) return;
    const long received = tcp::receive(handle, buffer.get(), kReceiveBytes);
    if (received <= 0) return;
    dialogue->receive({buffer.get(), static_cast<std::size_t>(received)}, replies);
  }
}

bool MailServer::keep(ReceivedMessage& message, std::string& words) {
  if (keepsFiles_ && !folder_.keep(message, words)) return false;
  words = "Kept";
  if (!message.file.empty()) words += " as " + std::filesystem::path(message.file).filename().string();
  ++numMessages_;
  numBytes_ += message.size;
  if (options_.onMessage) {
    const std::lock_guard lock(onMessageMutex_);
    options_.onMessage(message);
  }
  return true;
}

}  // namespace qv

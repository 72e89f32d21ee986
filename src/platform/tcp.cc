#include "platform/tcp.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <memory>
#include <system_error>

namespace qv::tcp {

namespace {

using SteadyClock = std::chrono::steady_clock;

// The error of the last call that failed on this thread. It is kept aside because errno does not outlive the
// caller's next allocation or log entry, and because a look-up has error numbers of its own.
thread_local int lastSystemError = 0;
thread_local int lastLookupError = 0;

void rememberError(int systemError) {
  lastSystemError = systemError;
  lastLookupError = 0;
}

template <typename Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

constexpr int kForever = -1;

/// Polls one handle; `seconds` may be kForever. Signals do not lengthen the wait.
Wait pollFor(Handle handle, short events, int seconds) {
  const auto end = SteadyClock::now() + std::chrono::seconds(std::max(seconds, 0));
  for (;;) {
    int wait = -1;
    if (seconds != kForever) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - SteadyClock::now()).count();
      wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
    }
    pollfd query{handle, events, 0};
    const int ready = poll(&query, 1, wait);
    if (ready > 0) {
      if ((query.revents & POLLNVAL) == 0) return Wait::ready;
      rememberError(EBADF);
      return Wait::failed;
    }
    if (ready < 0 && errno != EINTR) {
      rememberError(errno);
      return Wait::failed;
    }
    if (ready == 0 && SteadyClock::now() >= end) return Wait::timedOut;
  }
}

bool parseAddress(const std::string& text, in_addr& address) {
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool resolve(std::string_view host, in_addr& address) {
  if (host.empty() || host.find('\0') != std::string_view::npos) {
    rememberError(EINVAL);
    return false;
  }
  const std::string name(host);
  if (parseAddress(name, address)) return true;
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(name.c_str(), nullptr, &wanted, &found);
  if (error != 0) {
    rememberError(error == EAI_SYSTEM ? errno : 0);
    if (error != EAI_SYSTEM) lastLookupError = error;
    return false;
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
  address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  return true;
}

sockaddr_in endpoint(in_addr address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr = address;
  return result;
}

const sockaddr* generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Mail dialogues are short commands and replies; waiting to fill a segment only slows them.
void sendAtOnce(Handle handle) {
  const int on = 1;
  setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

/// Starts a connection on a non-blocking handle and waits for its outcome; gives an error number or 0. The
/// wait is the same for a call that a signal interrupted: the connection goes on being made meanwhile.
int connectAndWait(Handle handle, const sockaddr_in& address, int timeoutSeconds) {
  if (::connect(handle, generic(address), sizeof address) == 0) return 0;
  if (errno != EINPROGRESS && errno != EINTR) return errno;
  switch (pollFor(handle, POLLOUT, timeoutSeconds > 0 ? timeoutSeconds : kForever)) {
    case Wait::timedOut:
      return ETIMEDOUT;
    case Wait::failed:
      return lastSystemError;
    case Wait::ready:
      break;
  }
  int error = 0;
  socklen_t length = sizeof error;
  return getsockopt(handle, SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
}

}  // namespace

bool startUp() {
  return true;
}

Handle open() {
  const Handle handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (handle < 0) rememberError(errno);
  return handle < 0 ? kNone : handle;
}

void close(Handle handle) {
  // Not retried: the handle is gone even when the call was interrupted.
  if (handle != kNone) ::close(handle);
}

bool connect(Handle handle, std::string_view host, std::uint16_t port, int timeoutSeconds) {
  in_addr address{};
  if (!resolve(host, address)) return false;
  const int flags = fcntl(handle, F_GETFL);
  if (flags < 0 || fcntl(handle, F_SETFL, flags | O_NONBLOCK) != 0) {
    rememberError(errno);
    return false;
  }
  const int error = connectAndWait(handle, endpoint(address, port), timeoutSeconds);
  fcntl(handle, F_SETFL, flags);
  if (error != 0) {
    rememberError(error);
    return false;
  }
  sendAtOnce(handle);
  return true;
}

long send(Handle handle, const char* data, std::size_t length, bool moreFollows) {
#ifdef MSG_MORE
  const int flags = MSG_NOSIGNAL | (moreFollows ? MSG_MORE : 0);
#else
  const int flags = MSG_NOSIGNAL;
  static_cast<void>(moreFollows);
#endif
  const ssize_t taken = retryInterrupted([&] { return ::send(handle, data, length, flags); });
  if (taken >= 0) return taken;
  if (errno == EAGAIN || errno == EWOULDBLOCK) return 0;
  rememberError(errno);
  return -1;
}

void sendWhatWaits(Handle handle) {
  sendAtOnce(handle);  // setting it again does
}

void setSendTimeout(Handle handle, int timeoutSeconds) {
  timeval limit{};
  limit.tv_sec = std::max(timeoutSeconds, 0);
  setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Wait waitReadable(Handle handle, int timeoutSeconds) {
  if (handle < 0) {  // poll would skip it and wait
    rememberError(EBADF);
    return Wait::failed;
  }
  return pollFor(handle, POLLIN, std::max(timeoutSeconds, 0));
}

bool isUsable(Handle handle) {
  return waitReadable(handle, 0) != Wait::failed;
}

long receive(Handle handle, char* buffer, std::size_t capacity, bool dontWait) {
  const int flags = dontWait ? MSG_DONTWAIT : 0;
  const ssize_t received = retryInterrupted([&] { return recv(handle, buffer, capacity, flags); });
  if (received >= 0) return received;
  if (dontWait && (errno == EAGAIN || errno == EWOULDBLOCK)) return -2;
  rememberError(errno);
  return -1;
}

bool listen(Handle handle, std::string_view address, std::uint16_t port, int backlog) {
  in_addr local{};
  local.s_addr = htonl(INADDR_ANY);
  if (!address.empty() &&
      (address.find('\0') != std::string_view::npos || !parseAddress(std::string(address), local))) {
    rememberError(EINVAL);
    return false;
  }
  // A server that starts again need not wait for the old connections' remains.
  const int on = 1;
  setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in where = endpoint(local, port);
  if (bind(handle, generic(where), sizeof where) == 0 && ::listen(handle, backlog) == 0) return true;
  rememberError(errno);
  return false;
}

std::uint16_t localPort(Handle handle) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (getsockname(handle, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    rememberError(errno);
    return 0;
  }
  return ntohs(address.sin_port);
}

Handle accept(Handle handle) {
  for (;;) {
    const Handle accepted = retryInterrupted([&] { return accept4(handle, nullptr, nullptr, SOCK_CLOEXEC); });
    if (accepted >= 0) {
      sendAtOnce(accepted);
      return accepted;
    }
    if (errno == ECONNABORTED) continue;  // that peer left while it waited; the next one may be there
    rememberError(errno);
    return kNone;
  }
}

void shutdown(Handle handle) {
  ::shutdown(handle, SHUT_RDWR);
}

std::string lastErrorText() {
  if (lastLookupError != 0) return gai_strerror(lastLookupError);
  return std::system_category().message(lastSystemError);
}

}  // namespace qv::tcp

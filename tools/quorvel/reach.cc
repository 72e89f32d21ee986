#include "quorvel/reach.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

#include "quorvel/system.h"

namespace cli {

namespace {

/// One try at one address: 0, or the error.
int connectTo(const addrinfo& address, int seconds) {
  const Descriptor socket(
      ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol));
  if (socket.get() < 0) return errno;
  if (::connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  pollfd writable{socket.get(), POLLOUT, 0};
  if (poll(&writable, 1, 1000 * seconds) <= 0) return ETIMEDOUT;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

}  // namespace

Reach tryToReach(const Server& server) {
  constexpr std::int32_t kLongest = 5;
  const std::int32_t seconds =
      server.connectTimeout == 0 ? kLongest : std::min(server.connectTimeout, kLongest);
  addrinfo wanted{};
  wanted.ai_family = AF_INET;  // what the component uses
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int unknown = getaddrinfo(server.host.c_str(), std::to_string(server.port).c_str(), &wanted, &found);
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
  if (unknown != 0 || found == nullptr) return {Reach::Kind::unknownHost, gai_strerror(unknown)};
  const int error = connectTo(*found, seconds);
  if (error == 0) return {};
  return {error == ETIMEDOUT ? Reach::Kind::silent : Reach::Kind::refused,
          std::generic_category().message(error)};
}

}  // namespace cli

// TCP connections of the operating system: IPv4, blocking, without any logging.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qv::tcp {

/// A socket handle; `kNone` when there is none. Handles above 1023 are as good as any.
using Handle = int;
inline constexpr Handle kNone = -1;

/// One-time network start-up of the process. Nothing is needed on this platform; always true.
bool startUp();

/// A fresh IPv4 stream socket, or kNone.
Handle open();
void close(Handle handle);

/// Connects to a dotted-quad address (used without a look-up) or a host name (its first IPv4 address).
/// `timeoutSeconds` 0 waits as long as the platform does. Sets TCP_NODELAY. Interrupted calls go on.
bool connect(Handle handle, std::string_view host, std::uint16_t port, int timeoutSeconds);

/// Hands bytes to the network; gives how many it took (0 when it took none now), or -1 on an error.
/// Never raises a signal. Interrupted calls go on.
/// With `moreFollows` the system may let the bytes wait, for a moment at most, to fill a segment with the
/// next.
long send(Handle handle, const char* data, std::size_t length, bool moreFollows = false);
/// Sends what waits for more.
void sendWhatWaits(Handle handle);
/// How long `send` waits for a peer that takes nothing before it gives 0; 0 waits as long as it takes.
void setSendTimeout(Handle handle, int timeoutSeconds);

enum class Wait { ready, timedOut, failed };
/// Waits until the socket is readable (data, or the peer's close), for at most the seconds given.
Wait waitReadable(Handle handle, int timeoutSeconds);
/// Whether a zero-wait readiness query on the handle works.
bool isUsable(Handle handle);

/// Receives up to `capacity` bytes: more than 0, 0 when the peer closed, -1 on an error. With
/// `dontWait` set, takes only what has arrived already and gives -2 when nothing has.
long receive(Handle handle, char* buffer, std::size_t capacity, bool dontWait = false);

/// Binds to a local address ("" means every one) and port (0: a free one) and listens.
bool listen(Handle handle, std::string_view address, std::uint16_t port, int backlog);
/// The port that a listening or connected socket is bound to; 0 when it cannot be had.
std::uint16_t localPort(Handle handle);
/// Accepts one connection; kNone when it fails.
Handle accept(Handle handle);
/// Ends both directions, so that a thread that waits on the handle wakes up.
void shutdown(Handle handle);

/// The platform's words for its last error on this thread.
std::string lastErrorText();

}  // namespace qv::tcp

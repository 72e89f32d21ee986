// One blocking TCP client connection with a receive buffer, on which every session runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "net/progress_monitor.h"
#include "net/text_source.h"
#include "platform/tcp.h"

namespace qv {

/// Bytes that have been received and not yet handed out. Grows geometrically; taking text from the front
/// and searching for a terminator cost no more than the bytes that are new. A large text is handed out in the
/// storage that it arrived in.
class ParseBuffer {
 public:
  static constexpr std::size_t kInitialCapacity = 32000;
  /// A text of this size or more is handed out without being copied, where it can be.
  static constexpr std::size_t kHandedOver = std::size_t{256} << 10;

  void append(std::string_view bytes);
  /// Room for `count` more bytes, for receiving straight into; `commit` says how many arrived. Without a
  /// commit nothing has changed.
  char* prepare(std::size_t count);
  void commit(std::size_t count);
  std::size_t length() const noexcept { return data_.size() - start_; }
  /// Takes everything up to and including the first occurrence of `terminator` off the front into `out`
  /// (replaced). False, and nothing changed, when it is not there. The search resumes where the last one
  /// for the same terminator stopped; a zero byte is a byte like any other. The first `begun` bytes of the
  /// terminator may also be those that were taken just before.
  bool extractThrough(std::string_view terminator, StringBuffer& out, std::size_t begun = 0);
  void clear() noexcept;

 private:
  std::size_t endOfText(std::string_view terminator, std::size_t begun);
  void handOut(std::size_t end, StringBuffer& out);

  StringBuffer data_;
  std::size_t start_ = 0;     // bytes before it have been handed out
  std::size_t searched_ = 0;  // no `searchedFor_` ends before this place
  std::string searchedFor_;
};

/// A new socket is unconnected; after a close or once the peer was found gone it has no handle any more and
/// nothing brings it back. Used by one thread at a time. Every operation that is given a log says there why
/// it failed; the log may be null.
class QuorvelSocket : public QuorvelObject {
 public:
  /// Largest text that `receiveUntil` waits for before it gives up on the peer.
  static constexpr std::size_t kMaxLine = std::size_t{1} << 20;       ///< one reply line: 1 MiB
  static constexpr std::size_t kMaxMultiLine = std::size_t{1} << 30;  ///< multi-line data: 1 GiB

  virtual void close() = 0;
  /// By dotted address or host name. False when the name is unknown or nobody answers there.
  virtual bool connectToHost(std::string_view host, std::int32_t port) = 0;
  /// Whether a zero-wait readiness query works, data waiting or not.
  virtual bool checkSocket() = 0;
  virtual bool receiveExact(char* buffer, std::size_t count, CLog* log) = 0;
  /// Receives 1 to `length` bytes past the receive buffer; `length` becomes the number that arrived.
  virtual bool receiveBytes(char* buffer, std::size_t& length, CLog* log) = 0;
  /// True when every byte was handed to the network. With a monitor the data goes out in chunks of about half
  /// a second of the measured throughput, so that progress is steady on slow lines.
  virtual bool sendText(TextSource& text, CLog* log, ProgressMonitor* progress) = 0;
  /// The same for bytes that stand ready.
  bool sendBytes(std::string_view data, CLog* log, ProgressMonitor* progress) {
    ReadyText text(data);
    return sendText(text, log, progress);
  }
  /// Receives until `terminator` has arrived; `out` then holds the text with it. More than that may be
  /// taken from the network and is kept for the next call; `progress` steps by the bytes taken, in steps of
  /// `chunkSize`; those that were taken by an earlier call count as taken now. A text of more than `limit`
  /// bytes is refused. The first `begun` bytes of the terminator may be the last ones of the text received
  /// before.
  virtual bool receiveUntil(StringBuffer& out, std::string_view terminator, std::size_t chunkSize, CLog* log,
                            ProgressMonitor* progress, std::size_t limit = kMaxLine,
                            std::size_t begun = 0) = 0;
  /// Replaces `out` by the machine's fully qualified name where it has one.
  virtual void getLocalHostName(StringBuffer& out) = 0;
  /// Binds to every local address and listens.
  virtual bool listenOnPort(std::int32_t port) = 0;
  virtual std::unique_ptr<QuorvelSocket> acceptConnection() = 0;
  /// Bytes that the peer sent and nobody has asked for yet, of those that were taken from the network
  /// already.
  virtual std::size_t unreadLength() const noexcept { return 0; }
  virtual tcp::Handle getHandle() const noexcept = 0;
  /// How long a receive waits for data, and a send for a peer that takes none; 0 is as long as it takes.
  virtual void setReadTimeout(std::int32_t seconds) = 0;
  virtual void setConnectTimeout(std::int32_t seconds) = 0;
  /// Forgets the handle without closing it.
  virtual void detachHandle() = 0;
};

/// A new socket, or null when the platform gives none.
std::unique_ptr<QuorvelSocket> createSocket();
/// The process's network start-up, attempted once; every later call is true.
bool initNetworking();

}  // namespace qv

#include "net/socket.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/clock.h"
#include "platform/host_name.h"

namespace qv {

void ParseBuffer::append(std::string_view bytes) {
  if (bytes.empty()) return;
  std::memcpy(prepare(bytes.size()), bytes.data(), bytes.size());
  commit(bytes.size());
}

/// What to reserve for so many bytes. A text that is large already may well become much larger: the block
/// grows in few and big steps then, so that it is seldom moved. Room that is not used costs addresses, no
/// memory.
static std::size_t capacityFor(std::size_t size) {
  if (size <= ParseBuffer::kHandedOver) return ParseBuffer::kInitialCapacity;
  constexpr std::size_t kBig = std::size_t{64} << 20;
  std::size_t capacity = std::size_t{1} << 20;
  while (capacity <= size) capacity *= capacity < kBig ? 4 : 2;
  return capacity;
}

char* ParseBuffer::prepare(std::size_t count) {
  // Room is won back once at least half of the buffer has been handed out, so that no byte moves more often
  // than bytes were taken; and when all that is left was searched in vain, for then it is the beginning of
  // the text that is awaited and goes with it.
  const bool awaited = searched_ == data_.size();
  if (start_ != 0 && (awaited || start_ >= length())) {
    data_.set(data_.view().substr(start_));
    searched_ -= start_;
    start_ = 0;
  }
  data_.reserve(capacityFor(data_.size() + count));
  const std::size_t length = data_.size();
  char* room = data_.extend(count);
  data_.truncate(length);
  return room;
}

void ParseBuffer::commit(std::size_t count) {
  data_.extend(count);
}

bool ParseBuffer::extractThrough(std::string_view terminator, StringBuffer& out, std::size_t begun) {
  const std::size_t end = endOfText(terminator, begun);
  if (end == std::string_view::npos) return false;
  handOut(end, out);
  return true;
}

std::size_t ParseBuffer::endOfText(std::string_view terminator, std::size_t begun) {
  const std::string_view text = data_.view();
  const std::string_view rest = terminator.substr(begun);
  if (begun != 0 && text.substr(start_).starts_with(rest)) return start_ + rest.size();

  std::size_t from = start_;
  if (searchedFor_ == terminator) {
    // The terminator may have begun in what was searched before.
    from = std::max(start_, searched_ - std::min(searched_, terminator.size() - 1));
  } else {
    searchedFor_ = terminator;
  }
  // The byte in the middle is looked for: of the end of a multi-line answer that is its dot, of which a mail
  // has fewer than of line ends.
  const std::size_t middle = terminator.size() / 2;
  for (std::size_t at = from + middle; (at = text.find(terminator[middle], at)) != std::string_view::npos;
       ++at) {
    if (middle > 0 && text[at - 1] != terminator[middle - 1]) continue;  // most of them
    if (text.substr(at - middle).starts_with(terminator)) return at - middle + terminator.size();
  }
  searched_ = text.size();
  return std::string_view::npos;
}

void ParseBuffer::handOut(std::size_t end, StringBuffer& out) {
  const std::string_view text = data_.view().substr(start_, end - start_);
  const std::string_view left = data_.view().substr(end);
  if (start_ != 0 || text.size() < kHandedOver || text.size() < left.size()) {
    out.set(text);
    start_ = searched_ = end;
    return;
  }
  StringBuffer rest(left);
  data_.truncate(end);
  data_.fit();
  out = std::move(data_);
  data_ = std::move(rest);
  start_ = searched_ = 0;
}

void ParseBuffer::clear() noexcept {
  data_.clear();
  start_ = searched_ = 0;
}

namespace {

/// What one receive takes at most; a processor's cache still holds it when it is searched.
constexpr std::size_t kLargestTake = std::size_t{256} << 10;

class QuorvelSocketImpl final : public QuorvelSocket {
 public:
  explicit QuorvelSocketImpl(tcp::Handle handle) noexcept : handle_(handle) {}
  ~QuorvelSocketImpl() override { QuorvelSocketImpl::close(); }
  QuorvelSocketImpl(const QuorvelSocketImpl&) = delete;
  QuorvelSocketImpl& operator=(const QuorvelSocketImpl&) = delete;

  void close() override;
  bool connectToHost(std::string_view host, std::int32_t port) override;
  bool checkSocket() override { return handle_ != tcp::kNone && tcp::isUsable(handle_); }
  bool receiveExact(char* buffer, std::size_t count, CLog* log) override;
  bool receiveBytes(char* buffer, std::size_t& length, CLog* log) override;
  bool sendText(TextSource& text, CLog* log, ProgressMonitor* progress) override;
  bool receiveUntil(StringBuffer& out, std::string_view terminator, std::size_t chunkSize, CLog* log,
                    ProgressMonitor* progress, std::size_t limit, std::size_t begun) override;
  void getLocalHostName(StringBuffer& out) override { out.set(canonicalHostName()); }
  bool listenOnPort(std::int32_t port) override;
  std::unique_ptr<QuorvelSocket> acceptConnection() override;
  std::size_t unreadLength() const noexcept override { return receiveBuffer_.length(); }
  tcp::Handle getHandle() const noexcept override { return handle_; }
  void setReadTimeout(std::int32_t seconds) override;
  void setConnectTimeout(std::int32_t seconds) override { connectTimeoutSeconds_ = std::max(seconds, 0); }
  void detachHandle() override { handle_ = tcp::kNone; }

 private:
  bool sendWhole(std::string_view data, bool moreFollows, CLog* log);
  bool sendNext(TextSource& text, std::size_t most, bool moreFollows, std::size_t& sent, CLog* log);
  bool sendPaced(TextSource& text, CLog* log, ProgressMonitor& progress);
  bool waitForData(CLog* log);
  bool peerClosed(CLog* log);

  tcp::Handle handle_;
  ParseBuffer receiveBuffer_;
  std::int32_t readTimeoutSeconds_ = 0;
  std::int32_t connectTimeoutSeconds_ = 0;
};

bool isPort(std::int32_t port) {
  return port >= 0 && port <= std::numeric_limits<std::uint16_t>::max();
}

void QuorvelSocketImpl::close() {
  if (handle_ != tcp::kNone) tcp::close(handle_);
  handle_ = tcp::kNone;
}

bool QuorvelSocketImpl::connectToHost(std::string_view host, std::int32_t port) {
  return handle_ != tcp::kNone && isPort(port) &&
         tcp::connect(handle_, host, static_cast<std::uint16_t>(port), connectTimeoutSeconds_);
}

void QuorvelSocketImpl::setReadTimeout(std::int32_t seconds) {
  readTimeoutSeconds_ = std::max(seconds, 0);
  if (handle_ != tcp::kNone) tcp::setSendTimeout(handle_, readTimeoutSeconds_);
}

// Sending.

bool QuorvelSocketImpl::sendText(TextSource& text, CLog* log, ProgressMonitor* progress) {
  if (handle_ == tcp::kNone) {
    logError(log, "No socket exists for sending");
    return false;
  }
  if (progress != nullptr) return sendPaced(text, log, *progress);
  std::size_t sent = 0;
  return sendNext(text, std::numeric_limits<std::size_t>::max(), false, sent, log);
}

/// Sends the next bytes of a text, `most` of them where there are so many; `sent` becomes their number.
bool QuorvelSocketImpl::sendNext(TextSource& text, std::size_t most, bool moreFollows, std::size_t& sent,
                                 CLog* log) {
  for (sent = 0; sent < most;) {
    const std::string_view piece = text.next(most - sent);
    if (piece.empty()) break;
    if (!sendWhole(piece, moreFollows, log)) return false;
    sent += piece.size();
  }
  return true;
}

bool QuorvelSocketImpl::sendWhole(std::string_view data, bool moreFollows, CLog* log) {
  while (!data.empty()) {
    const long taken = tcp::send(handle_, data.data(), data.size(), moreFollows);
    const bool timedOut = taken == 0 && readTimeoutSeconds_ > 0;
    if (timedOut) logDataLong(log, "timeout_seconds", readTimeoutSeconds_);
    if (taken < 0 || timedOut) {
      logError(log, "Error sending on socket");
      logDataLong(log, "send_size", static_cast<long>(data.size()));
      return false;
    }
    if (taken == 0) sleepMilliseconds(50);
    data.remove_prefix(static_cast<std::size_t>(taken));
  }
  return true;
}

/// About half a second of the throughput so far, but growing no faster than twofold.
std::size_t nextChunkSize(std::size_t current, std::uint64_t totalSent, std::uint64_t elapsedMs) {
  constexpr std::uint64_t kSmallest = 1000;
  if (elapsedMs <= 10) return kSmallest;  // too short to have measured anything
  return std::clamp<std::uint64_t>(totalSent * 500 / elapsedMs, kSmallest, 2 * current);
}

bool QuorvelSocketImpl::sendPaced(TextSource& text, CLog* log, ProgressMonitor& progress) {
  std::size_t chunkSize = 3000;
  std::uint64_t totalSent = 0;
  std::uint64_t elapsedMs = 0;
  std::uint64_t pending = 0;  // sent, but the network's buffers took it so fast that it says nothing yet
  for (;;) {
    const std::uint64_t start = tickMilliseconds();
    std::size_t sent = 0;
    if (!sendNext(text, chunkSize, true, sent, log)) return false;
    if (sent == 0) break;
    elapsedMs += tickMilliseconds() - start;
    totalSent += sent;
    if (elapsedMs > 20) {
      progress.step(pending / 10 + sent);
      pending -= pending / 10;
    } else {
      pending += sent;
    }
    chunkSize = nextChunkSize(chunkSize, totalSent, elapsedMs);
  }
  tcp::sendWhatWaits(handle_);  // small chunks went out in full segments
  if (pending != 0) progress.step(pending / 2);
  return true;
}

// Receiving.

bool QuorvelSocketImpl::peerClosed(CLog* log) {
  logError(log, "The peer has closed the socket (TCP) connection");
  close();
  return false;
}

bool QuorvelSocketImpl::waitForData(CLog* log) {
  switch (tcp::waitReadable(handle_, readTimeoutSeconds_)) {
    case tcp::Wait::ready:
      return true;
    case tcp::Wait::timedOut:
      logDataLong(log, "timeout_seconds", readTimeoutSeconds_);
      logError(log, "Socket read timeout");
      return false;
    case tcp::Wait::failed:
      break;
  }
  return peerClosed(log);
}

bool QuorvelSocketImpl::receiveBytes(char* buffer, std::size_t& length, CLog* log) {
  const std::size_t capacity = length;
  length = 0;
  if (handle_ == tcp::kNone) {
    logError(log, "This socket is not connected");
    return false;
  }
  if (readTimeoutSeconds_ > 0 && !waitForData(log)) return false;
  const long received = tcp::receive(handle_, buffer, capacity);
  if (received == 0) return peerClosed(log);
  if (received < 0) {
    logError(log, tcp::lastErrorText());
    logError(log, "Failed to receive on the TCP socket");
    return false;
  }
  length = static_cast<std::size_t>(received);
  return true;
}

bool QuorvelSocketImpl::receiveExact(char* buffer, std::size_t count, CLog* log) {
  while (count > 0) {
    std::size_t received = count;
    if (!receiveBytes(buffer, received, log)) return false;
    buffer += received;
    count -= received;
  }
  return true;
}

void stepInChunks(ProgressMonitor* progress, std::size_t amount, std::size_t chunkSize) {
  while (progress != nullptr && amount > 0) {
    const std::size_t chunk = std::min(amount, std::max<std::size_t>(chunkSize, 1));
    progress->step(chunk);
    amount -= chunk;
  }
}

bool QuorvelSocketImpl::receiveUntil(StringBuffer& out, std::string_view terminator, std::size_t chunkSize,
                                     CLog* log, ProgressMonitor* progress, std::size_t limit,
                                     std::size_t begun) {
  out.clear();
  stepInChunks(progress, receiveBuffer_.length(), chunkSize);
  for (;;) {
    const bool complete = receiveBuffer_.extractThrough(terminator, out, begun);
    if (complete && out.size() <= limit) return true;
    if (complete || receiveBuffer_.length() >= limit) {
      out.clear();
      logError(log, "The peer sends a text that is too long, it is refused");
      logDataLong(log, "limit_bytes", static_cast<long>(limit));
      return false;
    }
    // The more of a text has come, the more may be expected to come.
    std::size_t received = std::clamp(receiveBuffer_.length(), ParseBuffer::kInitialCapacity, kLargestTake);
    if (!receiveBytes(receiveBuffer_.prepare(received), received, log)) break;
    receiveBuffer_.commit(received);
    stepInChunks(progress, received, chunkSize);
  }
  logError(log, checkSocket() ? "Failed to read data from socket" : "Socket is no longer readable");
  return false;
}

// Listening.

bool QuorvelSocketImpl::listenOnPort(std::int32_t port) {
  constexpr int kBacklog = 25;
  return handle_ != tcp::kNone && isPort(port) &&
         tcp::listen(handle_, "", static_cast<std::uint16_t>(port), kBacklog);
}

std::unique_ptr<QuorvelSocket> QuorvelSocketImpl::acceptConnection() {
  const tcp::Handle accepted = handle_ == tcp::kNone ? tcp::kNone : tcp::accept(handle_);
  if (accepted == tcp::kNone) return nullptr;
  return std::make_unique<QuorvelSocketImpl>(accepted);
}

}  // namespace

std::unique_ptr<QuorvelSocket> createSocket() {
  const tcp::Handle handle = initNetworking() ? tcp::open() : tcp::kNone;
  if (handle == tcp::kNone) return nullptr;
  return std::make_unique<QuorvelSocketImpl>(handle);
}

bool initNetworking() {
  static std::atomic_flag attempted = ATOMIC_FLAG_INIT;
  return attempted.test_and_set() || tcp::startUp();
}

}  // namespace qv

#include "core/log_operation.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace qv {

namespace {

constexpr std::size_t kFirstBlock = 128;

std::uint32_t shortLength(std::string_view text) {
  return static_cast<std::uint32_t>(
      std::min<std::size_t>(text.size(), std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

void LogOperation::add(const LogEntry& entry) {
  Head head{};
  head.time = entry.time;
  head.textLength = entry.text.size();
  head.keywordLength = shortLength(entry.keyword);
  head.formatLength = shortLength(entry.format);
  head.depth = entry.depth;
  head.kind = entry.kind;
  head.reportErrors = entry.reportErrors;
  if (bytes_.capacity() == 0) bytes_.reserve(kFirstBlock);
  const std::size_t size = sizeof head + entry.text.size() + head.keywordLength + head.formatLength;
  char* out = bytes_.extend(size);
  const auto put = [&out](const void* from, std::size_t length) {
    if (length != 0) std::memcpy(out, from, length);
    out += length;
  };
  put(&head, sizeof head);
  put(entry.text.data(), entry.text.size());
  put(entry.keyword.data(), head.keywordLength);
  put(entry.format.data(), head.formatLength);
  ++count_;
}

std::size_t LogOperation::sizeAt(std::size_t at) const noexcept {
  const Head head = headAt(at);
  return sizeof head + head.textLength + head.keywordLength + head.formatLength;
}

LogEntry LogOperation::entryAt(std::size_t at) const noexcept {
  const Head head = headAt(at);
  const char* texts = bytes_.data() + at + sizeof head;
  LogEntry entry;
  entry.kind = head.kind;
  entry.depth = head.depth;
  entry.reportErrors = head.reportErrors;
  entry.time = head.time;
  entry.text = {texts, head.textLength};
  entry.keyword = {texts + head.textLength, head.keywordLength};
  entry.format = {texts + head.textLength + head.keywordLength, head.formatLength};
  return entry;
}

/// The contexts that are open at a place of the block, outermost first.
class LogOperation::OpenContexts {
 public:
  explicit OpenContexts(const LogOperation& operation) : operation_(operation) {}
  /// Goes over the entry at `at`; gives where the next one begins.
  std::size_t pass(std::size_t at) {
    const Head head = operation_.headAt(at);
    const std::size_t size = operation_.sizeAt(at);
    if (head.kind == LogKind::context) {
      limit(head.depth);
      entries_.push_back({operation_.bytes_.data() + at, size});
    }
    return at + size;
  }
  void limit(std::size_t depth) {
    if (depth < entries_.size()) entries_.resize(depth);
  }
  const std::vector<std::string_view>& entries() const { return entries_; }

 private:
  const LogOperation& operation_;
  std::vector<std::string_view> entries_;
};

/// Leaves the entries of these contexts and everything from the place `from` on.
void LogOperation::keep(const OpenContexts& contexts, std::size_t from) {
  std::size_t size = bytes_.size() - from;
  for (const std::string_view entry : contexts.entries()) size += entry.size();
  GrowableBytes kept;
  if (size != 0) kept.reserve(size);
  const auto put = [&kept](std::string_view bytes) {
    if (!bytes.empty()) std::memcpy(kept.extend(bytes.size()), bytes.data(), bytes.size());
  };
  for (const std::string_view entry : contexts.entries()) put(entry);
  put({bytes_.data() + from, bytes_.size() - from});
  bytes_.swap(kept);
}

std::size_t LogOperation::dropOldest(std::size_t wanted) {
  OpenContexts contexts(*this);
  std::size_t at = 0;
  std::size_t passed = 0;
  std::size_t removed = 0;
  while (removed < wanted && passed + 1 < count_) {
    at = contexts.pass(at);
    ++passed;
    removed = passed - headAt(at).depth;  // the contexts around what stays have to stay
  }
  if (removed == 0) return 0;
  contexts.limit(headAt(at).depth);
  keep(contexts, at);
  count_ -= removed;
  dropped_ += removed;
  return removed;
}

void LogOperation::clear(std::size_t openContexts) {
  OpenContexts contexts(*this);
  for (std::size_t at = 0; at < bytes_.size();) at = contexts.pass(at);
  contexts.limit(openContexts);
  keep(contexts, bytes_.size());
  count_ = contexts.entries().size();
  dropped_ = 0;
}

}  // namespace qv

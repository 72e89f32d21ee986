// What a server says, on its way to the client.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace qv {

/// Collects replies and hands them on in large blocks, so that answers to commands that came together go out
/// together (RFC 2920 3.2) and long ones are never held whole. Once the client is gone everything is dropped.
class Replies {
 public:
  /// Sends all of a block; false when the client is gone.
  using Send = std::function<bool(std::string_view block)>;
  static constexpr std::size_t kBlock = std::size_t{256} << 10;

  explicit Replies(Send send) : send_(std::move(send)) {}

  void add(std::string_view text) {
    if (waiting_.size() + text.size() <= kBlock) {
      if (!gone_) waiting_ += text;
      return;
    }
    flush();
    if (text.size() < kBlock) {
      waiting_ = text;
    } else {
      gone_ = gone_ || !send_(text);
    }
  }
  /// Hands on what waits. False when the client is gone.
  bool flush() {
    gone_ = gone_ || (!waiting_.empty() && !send_(waiting_));
    waiting_.clear();
    return !gone_;
  }
  bool gone() const noexcept { return gone_; }

 private:
  Send send_;
  std::string waiting_;
  bool gone_ = false;
};

}  // namespace qv

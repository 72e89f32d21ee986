// Percent-done notifications of long transfers.
#pragma once

#include <cstdint>

namespace qv {

/// Receives progress; implemented by the public mail manager.
class FireComEvent {
 public:
  virtual ~FireComEvent() = default;
  /// Called on the thread that does the work, in the middle of it. What it throws breaks the operation off.
  virtual void progressEvent(std::int32_t senderId, std::int32_t messageId, std::int32_t param1,
                             std::int32_t param2) = 0;
};

/// Turns amounts of work into percentages: each value is announced at most once and never goes down.
class ProgressMonitor {
 public:
  static constexpr std::int32_t kMailSender = 102;
  static constexpr std::int32_t kReceiving = 1;
  static constexpr std::int32_t kSending = 2;

  /// `sink` may be null and is not owned. A total of 0 reads as 100 percent.
  ProgressMonitor(std::int32_t senderId, std::int32_t messageId, std::uint32_t total,
                  FireComEvent* sink) noexcept
      : senderId_(senderId), messageId_(messageId), total_(total), sink_(sink) {}

  /// More work was done; what goes beyond the total is not counted.
  void step(std::uint64_t amount);
  /// So much work is done in all; work that was counted already stays counted.
  void setDone(std::uint64_t done);
  void finish();
  /// Whether somebody is told, and runs while work is done.
  bool isHeard() const noexcept { return sink_ != nullptr; }
  std::uint32_t total() const noexcept { return total_; }
  std::uint32_t done() const noexcept { return done_; }

 private:
  std::int32_t percent() const noexcept;

  std::int32_t senderId_;
  std::int32_t messageId_;
  std::uint32_t total_;
  std::uint32_t done_ = 0;
  FireComEvent* sink_;
};

}  // namespace qv

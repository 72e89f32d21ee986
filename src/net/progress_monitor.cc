#include "net/progress_monitor.h"

#include <algorithm>

namespace qv {

void ProgressMonitor::step(std::uint64_t amount) {
  setDone(done_ + std::min<std::uint64_t>(amount, total_ - done_));
}

void ProgressMonitor::setDone(std::uint64_t done) {
  const std::int32_t before = percent();
  done_ = std::max(done_, static_cast<std::uint32_t>(std::min<std::uint64_t>(done, total_)));
  const std::int32_t now = percent();
  if (sink_ != nullptr && now > before) sink_->progressEvent(senderId_, messageId_, now, 0);
}

void ProgressMonitor::finish() {
  step(total_ - done_);
}

std::int32_t ProgressMonitor::percent() const noexcept {
  return total_ == 0 ? 100 : static_cast<std::int32_t>(std::uint64_t{done_} * 100 / total_);
}

}  // namespace qv

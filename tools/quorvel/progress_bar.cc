#include "quorvel/progress_bar.h"

#include <algorithm>
#include <iomanip>
#include <string>

namespace cli {

void ProgressBar::show(std::int32_t percent) {
  percent_ = std::clamp(percent, 0, 100);
  if (!animated_) return;
  out_ << '\r';
  draw();
}

void ProgressBar::finish() {
  if (percent_ < 0) return;
  if (!animated_) draw();
  out_ << std::endl;
  percent_ = -1;
}

void ProgressBar::draw() {
  constexpr int kWidth = 40;
  const int done = percent_ * kWidth / 100;
  const auto length = [](int count) { return static_cast<std::size_t>(count); };
  out_ << what_ << " [" << std::string(length(done), '#') << std::string(length(kWidth - done), ' ') << "] "
       << std::setw(3) << percent_ << '%' << std::flush;
}

}  // namespace cli

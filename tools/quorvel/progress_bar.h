// A bar that grows while a mail is sent.
#pragma once

#include <cstdint>
#include <ostream>

namespace cli {

/// An animated bar redraws its line at each call of `show`; another one is drawn once, by `finish`.
class ProgressBar {
 public:
  ProgressBar(std::ostream& out, bool animated) : out_(out), animated_(animated) {}
  void show(std::int32_t percent);
  /// Draws the bar as it stands and ends its line. Nothing when nothing was shown.
  void finish();

 private:
  void draw();

  std::ostream& out_;
  bool animated_;
  std::int32_t percent_ = -1;
};

}  // namespace cli

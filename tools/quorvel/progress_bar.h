// A bar that grows while mail is sent or received.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace cli {

/// An animated bar redraws its line at each call of `show`; another one is drawn once, by `finish`.
class ProgressBar {
 public:
  /// `what` is what goes on, as "sending".
  ProgressBar(std::ostream& out, std::string_view what, bool animated)
      : out_(out), what_(what), animated_(animated) {}
  void show(std::int32_t percent);
  /// Draws the bar as it stands and ends its line. Nothing when nothing was shown.
  void finish();

 private:
  void draw();

  std::ostream& out_;
  std::string what_;
  bool animated_;
  std::int32_t percent_ = -1;
};

}  // namespace cli

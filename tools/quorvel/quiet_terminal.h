// Asking for what nobody shall see.
#pragma once

#include <signal.h>
#include <termios.h>

#include <string_view>

#include "quorvel/system.h"

namespace cli {

/// A terminal that does not show what is typed, until the end of the scope. Signals that end or stop the
/// program (Ctrl-C) wait until then, so that it is never left quiet.
class QuietTerminal {
 public:
  explicit QuietTerminal(int terminal);
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;
  /// False when the terminal would not be quiet.
  bool isQuiet() const noexcept { return changed_; }
  /// True when there is something to read; false when a signal waits.
  bool waitForInput() const;
  void write(std::string_view text) const;

 private:
  int terminal_;
  sigset_t signalsBefore_{};
  Descriptor signals_;
  termios before_{};
  bool changed_ = false;
};

}  // namespace cli

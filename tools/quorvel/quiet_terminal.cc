#include "quorvel/quiet_terminal.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace cli {

namespace {

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) sigaddset(&signals, signal);
  return signals;
}

/// Keeps the signals from acting, and gives a descriptor that can be read while one waits.
int holdEndingSignals(sigset_t& before) {
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, &before);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

}  // namespace

QuietTerminal::QuietTerminal(int terminal)
    : terminal_(terminal), signals_(holdEndingSignals(signalsBefore_)) {
  if (tcgetattr(terminal_, &before_) != 0) return;
  termios quiet = before_;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
  changed_ = tcsetattr(terminal_, TCSAFLUSH, &quiet) == 0;
}

QuietTerminal::~QuietTerminal() {
  if (changed_) tcsetattr(terminal_, TCSAFLUSH, &before_);
  pthread_sigmask(SIG_SETMASK, &signalsBefore_, nullptr);
}

bool QuietTerminal::waitForInput() const {
  std::array<pollfd, 2> sources{{{signals_.get(), POLLIN, 0}, {terminal_, POLLIN, 0}}};
  while (poll(sources.data(), sources.size(), -1) < 0 && errno == EINTR) {
  }
  return sources[0].revents == 0;
}

void QuietTerminal::write(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t written = ::write(terminal_, text.data(), text.size());
    if (written <= 0) return;  // the question is not seen, but may still be answered
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace cli

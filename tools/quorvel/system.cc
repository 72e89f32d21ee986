#include "quorvel/system.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "quorvel/report.h"

namespace cli {

namespace {

sigset_t stopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  return signals;
}

}  // namespace

bool isTerminal(int descriptor) {
  return isatty(descriptor) == 1;
}

std::size_t terminalWidth() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

void holdStopSignals() {
  const sigset_t signals = stopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void waitForStopSignal() {
  const sigset_t signals = stopSignals();
  int received = 0;
  while (sigwait(&signals, &received) != 0) {
  }
}

bool moveToFreeName(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) == 0) {
    ::unlink(from.c_str());
    return true;
  }
  if (errno == EEXIST) return false;
  // Not every file system knows links.
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

Descriptor::~Descriptor() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

TemporaryFolder::TemporaryFolder(const std::string& parent) {
  std::error_code error;
  // Hidden where it stands beside files of the user's.
  std::string name = parent.empty()
                         ? (std::filesystem::temp_directory_path(error) / "quorvel-XXXXXX").string()
                         : parent + "/.quorvel-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw Failure{
        Status::file, "cannot make a temporary folder " + name, std::generic_category().message(errno),
        parent.empty() ? "set TMPDIR to a folder that you may write to" : "may this user write there?"};
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace cli

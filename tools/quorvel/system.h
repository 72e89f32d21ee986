// The little that the program needs of the operating system besides the standard library.
#pragma once

#include <string>

namespace cli {

bool isTerminal(int descriptor);  ///< 1 is standard output, 2 standard error

/// Keeps the signals that ask for an end (Ctrl-C, kill) from ending the process at once; to be called before
/// threads are started, which inherit it.
void holdStopSignals();
/// Waits until one has come.
void waitForStopSignal();

/// A new folder that only this user may enter, removed with all that is in it at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

}  // namespace cli

// The little that the program needs of the operating system besides the standard library.
#pragma once

#include <cstddef>
#include <string>

namespace cli {

bool isTerminal(int descriptor);  ///< 1 is standard output, 2 standard error
/// Columns of the terminal that standard output is; 80 when it does not say.
std::size_t terminalWidth();

/// Keeps the signals that ask for an end (Ctrl-C, kill) from ending the process at once; to be called before
/// threads are started, which inherit it.
void holdStopSignals();
/// Waits until one has come.
void waitForStopSignal();

/// Gives a file another name on the same file system, where that is free; false, with errno, when it is not.
bool moveToFreeName(const std::string& from, const std::string& to);

/// An open file; closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return descriptor_; }  ///< less than 0 when there is none

 private:
  int descriptor_;
};

/// A new folder that only this user may enter, removed with all that is in it at the end.
class TemporaryFolder {
 public:
  /// Below the system's folder for such, or below one that is there.
  explicit TemporaryFolder(const std::string& parent = {});
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

}  // namespace cli

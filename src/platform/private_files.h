// Files that only their owner may read; included by nobody outside this folder.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace qv::private_files {

/// An open file, closed at the end of the scope.
class Handle {
 public:
  explicit Handle(int handle = -1) noexcept : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle();
  bool isOpen() const noexcept { return handle_ >= 0; }
  int get() const noexcept { return handle_; }

 private:
  int handle_;
};

/// Leaves the system's words for an error number. Always false.
bool failed(int error, std::string& text);

/// `flags` and `mode` are those of open(2). Not open, with errno, when it cannot be had.
Handle openAt(const std::string& path, int flags, unsigned mode = 0);
/// Reads all of a regular file. Room is made once, so that no copy of a secret is left behind.
bool readAll(const Handle& file, std::size_t largest, std::string& bytes, std::string& error);
/// The same by its name. A pipe that nobody writes to does not stop the caller.
bool readFile(const std::string& path, std::size_t largest, std::string& bytes, std::string& error);

/// Writes a file of mode 0600 and puts it in the place of `path` when it is whole and on the disk. Where
/// `lock` is not null it gets the new file, locked before anybody can see it.
bool writePrivate(const std::string& path, std::string_view bytes, Handle* lock, std::string& error);

}  // namespace qv::private_files

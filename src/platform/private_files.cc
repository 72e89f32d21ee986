#include "platform/private_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <system_error>

#include "platform/clock.h"

namespace qv::private_files {

namespace {

bool writeAll(const Handle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

Handle::~Handle() {
  if (handle_ >= 0) ::close(handle_);
}

bool failed(int error, std::string& text) {
  text = std::system_category().message(error);
  return false;
}

Handle openAt(const std::string& path, int flags, unsigned mode) {
  if (path.find('\0') != std::string::npos) {
    errno = ENOENT;
    return Handle();
  }
  int handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  while (handle < 0 && errno == EINTR) handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  return Handle(handle);
}

bool readAll(const Handle& file, std::size_t largest, std::string& bytes, std::string& error) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return failed(errno, error);
  if (!S_ISREG(status.st_mode)) {
    error = "not a regular file";
    return false;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > largest) {
    error = "too large";
    return false;
  }
  bytes.resize(size);
  std::size_t received = 0;
  while (received < size) {
    const ssize_t count = ::read(file.get(), bytes.data() + received, size - received);
    if (count == 0) break;
    if (count > 0) {
      received += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return failed(errno, error);
    }
  }
  bytes.resize(received);
  return true;
}

bool readFile(const std::string& path, std::size_t largest, std::string& bytes, std::string& error) {
  const Handle file = openAt(path, O_RDONLY | O_NONBLOCK);
  return file.isOpen() ? readAll(file, largest, bytes, error) : failed(errno, error);
}

bool writePrivate(const std::string& path, std::string_view bytes, Handle* lock, std::string& error) {
  static std::atomic<unsigned> counter{0};
  char suffix[64];
  std::snprintf(suffix, sizeof suffix, ".qv%x-%x-%llx.tmp", static_cast<unsigned>(getpid()), counter++,
                static_cast<unsigned long long>(fastCounter()));
  const std::size_t slash = path.rfind('/');
  const std::string sibling = (slash == std::string::npos ? "" : path.substr(0, slash + 1)) + suffix;
  Handle file = openAt(sibling, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!file.isOpen()) return failed(errno, error);
  const bool isLocked = lock == nullptr || flock(file.get(), LOCK_EX | LOCK_NB) == 0;
  const bool isWritten = isLocked && writeAll(file, bytes) && (fsync(file.get()) == 0 || errno == EINVAL);
  if (!isWritten || rename(sibling.c_str(), path.c_str()) != 0) {
    const int reason = errno;
    unlink(sibling.c_str());
    return failed(reason, error);
  }
  if (lock != nullptr) *lock = std::move(file);
  return true;
}

}  // namespace qv::private_files

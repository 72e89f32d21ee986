#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/clock.h"

namespace qv::files {

namespace {

std::string errorText(int error) {
  return std::system_category().message(error);
}

bool failed(int error, std::string& text) {
  text = errorText(error);
  return false;
}

/// A path as the platform takes it. One with a zero byte would name another file than the caller meant.
class Path {
 public:
  explicit Path(std::string_view path) : text_(path), valid_(path.find('\0') == std::string_view::npos) {}
  bool valid() const { return valid_ && !text_.empty(); }
  const char* c_str() const { return text_.c_str(); }
  const std::string& str() const { return text_; }
  bool status(struct stat& result) const { return valid() && stat(c_str(), &result) == 0; }

 private:
  std::string text_;
  bool valid_;
};

/// An open file, closed at the end of the scope.
class Handle {
 public:
  explicit Handle(int handle) : handle_(handle) {}
  ~Handle() {
    if (handle_ >= 0) ::close(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  bool isOpen() const { return handle_ >= 0; }
  int get() const { return handle_; }
  int release() { return std::exchange(handle_, -1); }
  /// Closes now; gives an error number or 0. A network file system may report a failed write only here.
  int close() { return ::close(release()) == 0 || errno == EINTR ? 0 : errno; }

 private:
  int handle_;
};

int openFile(const Path& path, int flags, mode_t mode = 0) {
  int handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  while (handle < 0 && errno == EINTR) handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  return handle;
}

/// Writes all of `bytes`; gives an error number or 0.
int writeAll(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(handle, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

/// Whether writing to the path must go into what stands there instead of taking its place: devices, pipes,
/// and the names of this process's own streams such as /dev/stdout.
bool isStream(const Path& path, const struct stat& link) {
  if (!S_ISLNK(link.st_mode)) return !S_ISREG(link.st_mode) && !S_ISDIR(link.st_mode);
  struct stat target {};
  if (path.status(target) && !S_ISREG(target.st_mode)) return true;
  char text[6];
  const ssize_t length = readlink(path.c_str(), text, sizeof text);
  return length > 0 && std::string_view(text, static_cast<std::size_t>(length)) == "/proc/";
}

/// A name that no other writer uses, in the directory of `path`.
std::string siblingName(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  char name[64];
  std::snprintf(name, sizeof name, ".qv%x-%x-%llx.tmp", static_cast<unsigned>(getpid()), counter++,
                static_cast<unsigned long long>(fastCounter()));
  return directory + name;
}

/// Writes `bytes` to a new file that is to take the place of one with the status `old` (null when there is
/// none); gives an error number or 0.
int writeSuccessor(int handle, std::string_view bytes, const struct stat* old) {
  Handle file(handle);
  if (const int error = writeAll(handle, bytes)) return error;
  if (old != nullptr) {
    // The owner first: a change of owner may clear mode bits. Only a privileged process can give files away,
    // so a refusal is no failure.
    [[maybe_unused]] const int ignored = fchown(handle, old->st_uid, old->st_gid);
    if (fchmod(handle, old->st_mode & 07777) != 0) return errno;
    // The old text must not be lost before the new one is on the disk. A file that is new has nothing to lose
    // and does not pay for it.
    if (fsync(handle) != 0 && errno != EINVAL && errno != EROFS) return errno;
  }
  return file.close();
}

}  // namespace

bool exists(std::string_view path) {
  struct stat status {};
  return Path(path).status(status);
}

bool isDirectory(std::string_view path) {
  struct stat status {};
  return Path(path).status(status) && S_ISDIR(status.st_mode);
}

std::int64_t size(std::string_view path) {
  struct stat status {};
  return Path(path).status(status) ? status.st_size : -1;
}

std::string currentDirectory() {
  const std::unique_ptr<char, decltype(&std::free)> text(getcwd(nullptr, 0), &std::free);
  return text ? text.get() : "";
}

// The environment is not asked: nothing of the component is configured there.
std::string temporaryDirectory() {
  return P_tmpdir;
}

Reader::~Reader() {
  if (handle_ >= 0) ::close(handle_);
}

bool Reader::open(std::string_view path, std::string& error) {
  if (handle_ >= 0) ::close(handle_);
  handle_ = -1;
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  // Without waiting, so that a pipe nobody writes to cannot stop the caller; regular files do not care.
  Handle file(openFile(name, O_RDONLY | O_NONBLOCK));
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return failed(errno, error);
  if (S_ISDIR(status.st_mode)) return failed(EISDIR, error);
  if (!S_ISREG(status.st_mode)) {
    error = "Not a regular file";
    return false;
  }
  handle_ = file.release();
  return true;
}

std::int64_t Reader::size() const {
  struct stat status {};
  return handle_ >= 0 && fstat(handle_, &status) == 0 ? status.st_size : -1;
}

bool Reader::read(char* buffer, std::size_t capacity, std::size_t& received, std::string& error) {
  received = 0;
  while (received < capacity) {
    const ssize_t count = ::read(handle_, buffer + received, capacity - received);
    if (count == 0) break;
    if (count > 0) {
      received += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return failed(errno, error);
    }
  }
  return true;
}

bool append(std::string_view path, std::string_view bytes, std::string& error) {
  return append(path, std::initializer_list<std::string_view>{bytes}, error);
}

bool append(std::string_view path, std::initializer_list<std::string_view> pieces, std::string& error) {
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  Handle file(openFile(name, O_WRONLY | O_APPEND | O_CREAT, 0666));
  if (!file.isOpen()) return failed(errno, error);
  int result = 0;
  for (const std::string_view piece : pieces) {
    if (result == 0) result = writeAll(file.get(), piece);
  }
  if (result == 0) result = file.close();
  return result == 0 || failed(result, error);
}

bool replace(std::string_view path, std::string_view bytes, std::string& error) {
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  struct stat old {};
  const bool replaces = lstat(name.c_str(), &old) == 0;
  if (replaces && S_ISDIR(old.st_mode)) return failed(EISDIR, error);
  if (replaces && isStream(name, old)) return append(path, bytes, error);
  const bool keepsMode = replaces && S_ISREG(old.st_mode);
  // Taking a file's place asks for the directory's permission only; a file that is write-protected stays.
  if (keepsMode && faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) != 0) return failed(errno, error);

  const mode_t mode = keepsMode ? (old.st_mode & 0777) : 0666;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const Path sibling(siblingName(name.str()));
    const int handle = openFile(sibling, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (handle < 0 && errno == EEXIST) continue;
    if (handle < 0) return failed(errno, error);
    int result = writeSuccessor(handle, bytes, keepsMode ? &old : nullptr);
    if (result == 0 && rename(sibling.c_str(), name.c_str()) != 0) result = errno;
    if (result == 0) return true;
    unlink(sibling.c_str());
    return failed(result, error);
  }
  return failed(EEXIST, error);
}

bool createNew(std::string_view path, std::string_view bytes, bool& existed, std::string& error) {
  existed = false;
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  // With O_EXCL a symbolic link at the end of the path counts as an existing file, whatever it points to.
  Handle file(openFile(name, O_WRONLY | O_CREAT | O_EXCL, 0666));
  if (!file.isOpen()) {
    existed = errno == EEXIST;
    return failed(errno, error);
  }
  int result = writeAll(file.get(), bytes);
  if (result == 0) result = file.close();
  if (result == 0) return true;
  unlink(name.c_str());
  return failed(result, error);
}

bool remove(std::string_view path, std::string& error) {
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  return unlink(name.c_str()) == 0 || failed(errno, error);
}

bool makeDirectory(std::string_view path, std::string& error) {
  const Path name(path);
  if (!name.valid()) return failed(ENOENT, error);
  if (mkdir(name.c_str(), 0777) == 0) return true;
  const int reason = errno;
  return isDirectory(path) || failed(reason, error);
}

}  // namespace qv::files

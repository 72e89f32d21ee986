// Files and directories of the operating system, without any logging.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace qv::files {

/// Paths are byte strings; one that holds a zero byte names nothing. A failure leaves the platform's words
/// in `error` where there is one.

bool exists(std::string_view path);
bool isDirectory(std::string_view path);
/// Size in bytes, -1 when it cannot be had.
std::int64_t size(std::string_view path);
std::string currentDirectory();
std::string temporaryDirectory();

/// A file open for reading from its start. Regular files only; a directory does not open.
class Reader {
 public:
  Reader() = default;
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  bool open(std::string_view path, std::string& error);
  /// Size when opened, -1 when it cannot be had.
  std::int64_t size() const;
  /// Reads up to `capacity` bytes; fewer only at the end of the file. False on an error.
  bool read(char* buffer, std::size_t capacity, std::size_t& received, std::string& error);

 private:
  int handle_ = -1;
};

/// Appends to a file, creating it when missing. Symbolic links are followed.
bool append(std::string_view path, std::string_view bytes, std::string& error);
/// The same for a text in pieces.
bool append(std::string_view path, std::initializer_list<std::string_view> pieces, std::string& error);
/// Writes a new file beside `path` and renames it into place; nothing half-written is left behind. A file
/// that stood there before gives its permissions to the new one and is kept until the new bytes are on the
/// disk; one that is write-protected is not replaced. A symbolic link is replaced itself, never followed to a
/// file; a device, a pipe or a stream name such as /dev/stdout is written to.
bool replace(std::string_view path, std::string_view bytes, std::string& error);
/// Creates a file that does not exist yet (never through a symbolic link); false when it exists.
bool createNew(std::string_view path, std::string_view bytes, bool& existed, std::string& error);
/// Deletes a file; a directory is refused, a symbolic link is deleted itself.
bool remove(std::string_view path, std::string& error);
/// Creates one directory; true also when it is there already.
bool makeDirectory(std::string_view path, std::string& error);

}  // namespace qv::files

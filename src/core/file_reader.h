// Reading a file from its start, with the component's log messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/log.h"
#include "platform/files.h"

namespace qv {

/// Reads a regular file piece by piece. What fails is logged: "Failed to open file", "Failed to get file
/// size", "Failed to read data from file", each with the file's name and the platform's reason; "Failed to
/// read the entire file" with "filesize" and "bytes_received" when it ends before the size it was opened
/// with.
class FileReader {
 public:
  /// `log` may be null and must outlive the reader.
  explicit FileReader(CLog* log) noexcept : log_(log) {}

  bool open(std::string_view filename);
  /// The size when it was opened. Files that the system makes as they are read say 0.
  std::size_t size() const noexcept { return size_; }
  /// Reads `count` bytes, fewer at the end of the file only. False when reading failed or the end came too
  /// early; `received` then tells what was read all the same.
  bool read(char* room, std::size_t count, std::size_t& received);

 private:
  bool fail(std::string_view message, std::string_view reason);

  CLog* log_;
  files::Reader file_;
  std::string name_;
  std::size_t size_ = 0;
  std::size_t total_ = 0;
};

}  // namespace qv

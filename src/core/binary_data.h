// Growable byte data: the bodies of message parts and the contents of files.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/growable_bytes.h"

namespace qv {

class CLog;
class StringBuffer;

/// Owned bytes without a terminator. Copying copies the bytes; moving takes them over.
class BinaryData {
 public:
  BinaryData() noexcept = default;
  explicit BinaryData(std::string_view bytes) { append(bytes); }

  const char* data() const noexcept { return bytes_.data(); }
  char* data() noexcept { return bytes_.data(); }
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.size() == 0; }
  std::string_view view() const noexcept { return {bytes_.data(), bytes_.size()}; }

  /// `bytes` may lie inside this buffer.
  void append(std::string_view bytes) { bytes_.append(bytes); }
  /// Replaces the contents. `bytes` may lie inside this buffer.
  void set(std::string_view bytes) { bytes_.assign(bytes); }
  /// Empties and frees.
  void clear() noexcept { bytes_.release(); }
  /// Takes over the other buffer's bytes and leaves it empty.
  void take(BinaryData& other) noexcept;
  /// The same with the bytes of a text.
  void take(StringBuffer& text) noexcept;

  void reserve(std::size_t capacity) { bytes_.reserve(capacity); }
  /// Adds `count` unwritten bytes and gives the first of them.
  char* extend(std::size_t count) { return bytes_.extend(count); }
  void truncate(std::size_t size) noexcept { bytes_.truncate(size); }

  /// Replaces the contents by those of a file. False, with the reason in the log (which may be null), when
  /// the file cannot be read; the contents are then empty. An empty name logs "Cannot load binary data
  /// file, filename is NULL or empty".
  bool loadFile(std::string_view filename, CLog* log);

 private:
  GrowableBytes bytes_;
};

}  // namespace qv

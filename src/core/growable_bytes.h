// Raw growable storage: the one place where the component's buffers allocate.
#pragma once

#include <cstddef>
#include <string_view>

namespace qv {

/// Owned bytes that grow geometrically and are never zero-filled first: `extend` hands out room that the
/// caller writes. Allocation failure throws std::bad_alloc; sizes that overflow do too.
class GrowableBytes {
 public:
  GrowableBytes() noexcept = default;
  GrowableBytes(const GrowableBytes& other);
  GrowableBytes(GrowableBytes&& other) noexcept;
  GrowableBytes& operator=(const GrowableBytes& other);
  GrowableBytes& operator=(GrowableBytes&& other) noexcept;
  ~GrowableBytes();

  char* data() noexcept { return data_; }
  const char* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  std::size_t capacity() const noexcept { return capacity_; }

  /// Makes room for `capacity` bytes in all, exactly; never shrinks.
  void reserve(std::size_t capacity);
  /// Adds `count` unwritten bytes and gives the first of them. Growth is geometric (amortised constant).
  char* extend(std::size_t count) {
    if (count > capacity_ - size_) grow(count);
    char* room = data_ + size_;
    size_ += count;
    return room;
  }
  /// Adds bytes at the end, with room for `spare` more behind them. `bytes` may lie inside this buffer.
  void append(std::string_view bytes, std::size_t spare = 0);
  /// Replaces the contents, with room for `spare` more behind them. `bytes` may lie inside this buffer.
  void assign(std::string_view bytes, std::size_t spare = 0);
  /// Keeps the first `size` bytes; a larger size changes nothing. Capacity stays.
  void truncate(std::size_t size) noexcept {
    if (size < size_) size_ = size;
  }
  /// Gives back the room beyond the size and `spare` bytes behind it.
  void fit(std::size_t spare = 0) noexcept;
  /// Frees the storage.
  void release() noexcept;
  void swap(GrowableBytes& other) noexcept;

 private:
  void grow(std::size_t count);

  char* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace qv

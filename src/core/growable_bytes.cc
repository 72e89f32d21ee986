#include "core/growable_bytes.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <utility>

#include "platform/memory.h"

namespace qv {

GrowableBytes::GrowableBytes(const GrowableBytes& other) {
  assign({other.data_, other.size_});
}

GrowableBytes::GrowableBytes(GrowableBytes&& other) noexcept {
  swap(other);
}

GrowableBytes& GrowableBytes::operator=(const GrowableBytes& other) {
  if (this != &other) assign({other.data_, other.size_});
  return *this;
}

GrowableBytes& GrowableBytes::operator=(GrowableBytes&& other) noexcept {
  if (this != &other) {
    release();
    swap(other);
  }
  return *this;
}

GrowableBytes::~GrowableBytes() {
  std::free(data_);
}

void GrowableBytes::reserve(std::size_t capacity) {
  if (capacity <= capacity_) return;
  // realloc rather than new: large blocks move by remapping pages, not by copying.
  void* moved = std::realloc(data_, capacity);
  if (moved == nullptr) throw std::bad_alloc();
  data_ = static_cast<char*>(moved);
  capacity_ = capacity;
  constexpr std::size_t kLarge = std::size_t{8} << 20;
  if (capacity >= kLarge) preferLargePages(data_, capacity);
}

void GrowableBytes::grow(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / 2 - size_) throw std::bad_alloc();
  const std::size_t needed = size_ + count;
  const std::size_t grown = capacity_ + capacity_ / 2;
  reserve(needed > grown ? needed : grown);
}

void GrowableBytes::append(std::string_view bytes, std::size_t spare) {
  if (bytes.empty()) return;
  // Growing may move the storage away from under a text that lies in it.
  const std::less<const char*> before;
  const bool inside = data_ != nullptr && !before(bytes.data(), data_) && before(bytes.data(), data_ + size_);
  const std::size_t offset = inside ? static_cast<std::size_t>(bytes.data() - data_) : 0;
  if (bytes.size() + spare > capacity_ - size_) grow(bytes.size() + spare);
  char* room = extend(bytes.size());
  std::memcpy(room, inside ? data_ + offset : bytes.data(), bytes.size());
}

void GrowableBytes::assign(std::string_view bytes, std::size_t spare) {
  GrowableBytes outgrown;  // lives to the end: `bytes` may lie in it
  if (!bytes.empty() && bytes.size() + spare > capacity_) {
    swap(outgrown);
    reserve(bytes.size() + spare);
  }
  if (!bytes.empty()) std::memmove(data_, bytes.data(), bytes.size());
  size_ = bytes.size();
}

void GrowableBytes::fit(std::size_t spare) noexcept {
  if (size_ + spare == 0) return release();
  if (size_ + spare >= capacity_) return;
  void* fitted = std::realloc(data_, size_ + spare);
  if (fitted == nullptr) return;  // as it was
  data_ = static_cast<char*>(fitted);
  capacity_ = size_ + spare;
}

void GrowableBytes::release() noexcept {
  std::free(data_);
  data_ = nullptr;
  size_ = 0;
  capacity_ = 0;
}

void GrowableBytes::swap(GrowableBytes& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
}

}  // namespace qv

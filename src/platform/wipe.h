// Overwriting what must not stay in memory.
#pragma once

#include <cstddef>
#include <string>

namespace qv {

/// Overwrites `size` bytes with zeros, also where the compiler sees that nobody reads them again.
void wipe(void* bytes, std::size_t size) noexcept;

/// A text that is wiped at the end. Whoever lets it grow makes room first, so that no copy is left behind.
struct Secret {
  std::string bytes;
  Secret() = default;
  ~Secret() { wipe(bytes.data(), bytes.size()); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
};

}  // namespace qv

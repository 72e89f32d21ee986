// How counts and indexes cross the public interface, where both are 32-bit integers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace qv {

inline std::int32_t asCount(std::size_t size) {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(size, kMost));
}

/// A negative index is out of range like one that is too large.
inline std::size_t asIndex(std::int32_t index) {
  return index < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(index);
}

}  // namespace qv

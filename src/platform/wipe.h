// Overwriting what must not stay in memory.
#pragma once

#include <cstddef>

namespace qv {

/// Overwrites `size` bytes with zeros, also where the compiler sees that nobody reads them again.
void wipe(void* bytes, std::size_t size) noexcept;

}  // namespace qv

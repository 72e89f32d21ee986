// What the component asks of the operating system's memory.
#pragma once

#include <cstddef>

namespace qv {

/// Tells the system that a large block will be written from front to back, so that it may come in large
/// pages: the first touch of a 50 MB text otherwise costs more than writing it. Only a hint; contents do not
/// change.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace qv

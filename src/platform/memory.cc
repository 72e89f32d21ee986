#include "platform/memory.h"

#include <sys/mman.h>

#include <cstdint>

namespace qv {

void preferLargePages(void* block, std::size_t size) noexcept {
  constexpr std::size_t kLargePage = std::size_t{2} << 20;
  const std::size_t beyond = reinterpret_cast<std::uintptr_t>(block) % kLargePage;
  const std::size_t skipped = beyond == 0 ? 0 : kLargePage - beyond;
  if (size < skipped + kLargePage) return;
  // Whole large pages only, so that no memory is taken beyond the block.
  const std::size_t whole = (size - skipped) / kLargePage * kLargePage;
  ::madvise(static_cast<char*>(block) + skipped, whole, MADV_HUGEPAGE);
}

}  // namespace qv

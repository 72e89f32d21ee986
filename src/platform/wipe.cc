#include "platform/wipe.h"

#include <string.h>

namespace qv {

void wipe(void* bytes, std::size_t size) noexcept {
  if (size != 0) ::explicit_bzero(bytes, size);
}

}  // namespace qv

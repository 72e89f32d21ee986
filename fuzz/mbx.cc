#include <cstddef>
#include <cstdint>

#include "mbx_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkMbx({reinterpret_cast<const char*>(data), size});
  return 0;
}

#include <cstddef>
#include <cstdint>

#include "laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkTree({reinterpret_cast<const char*>(data), size});
  return 0;
}

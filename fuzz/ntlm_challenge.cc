#include <cstddef>
#include <cstdint>

#include "login_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkNtlmChallenge({reinterpret_cast<const char*>(data), size});
  return 0;
}

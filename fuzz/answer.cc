#include <cstddef>
#include <cstdint>

#include "answer_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkAnswer({reinterpret_cast<const char*>(data), size});
  return 0;
}

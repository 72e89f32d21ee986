#include <cstddef>
#include <cstdint>

#include "xml_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkMimeXml({reinterpret_cast<const char*>(data), size});
  return 0;
}

#include <cstddef>
#include <cstdint>

#include "laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  laws::checkHeader(text);
  const std::size_t colon = text.find(':');
  laws::checkSetField(text.substr(0, colon), text.substr(colon == text.npos ? 0 : colon + 1));
  return 0;
}

#include <cstddef>
#include <cstdint>

#include "login_laws.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  laws::checkSmtpLogin({reinterpret_cast<const char*>(data), size});
  return 0;
}

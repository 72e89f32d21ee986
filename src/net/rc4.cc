#include "net/rc4.h"

#include <array>
#include <cstddef>
#include <numeric>
#include <utility>

#include "platform/wipe.h"

namespace qv {

SecretText rc4(std::string_view key, std::string_view bytes) {
  std::array<unsigned char, 256> box;
  std::iota(box.begin(), box.end(), static_cast<unsigned char>(0));
  unsigned char j = 0;
  for (std::size_t i = 0; i < box.size(); ++i) {
    j = static_cast<unsigned char>(j + box[i] + static_cast<unsigned char>(key[i % key.size()]));
    std::swap(box[i], box[j]);
  }
  SecretText out;
  char* to = out.extend(bytes.size());
  unsigned char i = j = 0;
  for (const char c : bytes) {
    j = static_cast<unsigned char>(j + box[++i]);
    std::swap(box[i], box[j]);
    *to++ = static_cast<char>(c ^ box[static_cast<unsigned char>(box[i] + box[j])]);
  }
  wipe(box.data(), box.size());
  return out;
}

}  // namespace qv

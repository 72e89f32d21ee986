#include "core/binary_data.h"

#include <utility>

namespace qv {

void BinaryData::take(BinaryData& other) noexcept {
  if (this == &other) return;
  bytes_ = std::move(other.bytes_);
}

}  // namespace qv

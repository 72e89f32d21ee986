#include "core/binary_data.h"

#include <utility>

#include "core/string_buffer.h"

namespace qv {

void BinaryData::take(BinaryData& other) noexcept {
  if (this == &other) return;
  bytes_ = std::move(other.bytes_);
}

void BinaryData::take(StringBuffer& text) noexcept {
  bytes_ = text.takeBytes();
}

}  // namespace qv

#include "net/md_hash.h"

#include <algorithm>
#include <cstring>

namespace qv {

MdHash::~MdHash() {
  wipe(state_.data(), sizeof state_);
  wipe(pending_.data(), pending_.size());
}

void MdHash::addBlock(const char* bytes) noexcept {
  Block block;
  for (std::size_t i = 0; i < block.size(); ++i) {
    std::uint32_t word = 0;
    for (std::size_t k = 4; k-- > 0;) word = word << 8 | static_cast<unsigned char>(bytes[4 * i + k]);
    block[i] = word;
  }
  compress_(state_, block);
  wipe(block.data(), sizeof block);
}

void MdHash::update(std::string_view bytes) noexcept {
  const std::size_t held = length_ % pending_.size();
  length_ += bytes.size();
  if (held != 0) {
    const std::size_t taken = std::min(bytes.size(), pending_.size() - held);
    std::copy_n(bytes.data(), taken, pending_.data() + held);
    bytes.remove_prefix(taken);
    if (held + taken < pending_.size()) return;
    addBlock(pending_.data());
  }
  for (; bytes.size() >= pending_.size(); bytes.remove_prefix(pending_.size())) addBlock(bytes.data());
  std::copy_n(bytes.data(), bytes.size(), pending_.data());
}

MdDigest MdHash::finish() noexcept {
  // A one bit, zeros up to the last eight bytes of a block, the length in bits (RFC 1321 3.1, 3.2).
  std::array<char, 8> bits;
  for (std::size_t i = 0; i < bits.size(); ++i) bits[i] = static_cast<char>((length_ * 8) >> (8 * i));
  update("\x80");
  constexpr std::array<char, 64> kZeros{};
  update({kZeros.data(), (2 * 64 - bits.size() - length_ % 64) % 64});
  update({bits.data(), bits.size()});
  MdDigest digest;
  for (std::size_t i = 0; i < digest.bytes.size(); ++i) {
    digest.bytes[i] = static_cast<char>(state_[i / 4] >> (8 * (i % 4)));
  }
  return digest;
}

}  // namespace qv

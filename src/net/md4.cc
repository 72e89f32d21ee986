#include "net/md4.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace qv {

namespace {

using Word = std::uint32_t;

/// One of the three rounds (RFC 1320 3.4): its function of three words, its constant, the order in which it
/// takes the words of the block, its four rotations.
struct Round {
  Word (*mix)(Word, Word, Word) noexcept;
  Word constant;
  std::array<unsigned char, 16> order;
  std::array<int, 4> rotations;
};

constexpr std::array<Round, 3> kRounds{{
    {[](Word x, Word y, Word z) noexcept { return (x & y) | (~x & z); },
     0,
     {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
     {3, 7, 11, 19}},
    {[](Word x, Word y, Word z) noexcept { return (x & y) | (x & z) | (y & z); },
     0x5a827999,
     {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15},
     {3, 5, 9, 13}},
    {[](Word x, Word y, Word z) noexcept { return x ^ y ^ z; },
     0x6ed9eba1,
     {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15},
     {3, 9, 11, 15}},
}};

void compressMd4(MdHash::State& state, const MdHash::Block& block) noexcept {
  auto [a, b, c, d] = state;
  for (const Round& round : kRounds) {
    for (std::size_t i = 0; i < block.size(); ++i) {
      const Word sum = a + round.mix(b, c, d) + block[round.order[i]] + round.constant;
      a = d;
      d = c;
      c = b;
      b = std::rotl(sum, round.rotations[i % 4]);
    }
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

MdDigest md4(std::string_view bytes) noexcept {
  MdHash hash(compressMd4);
  hash.update(bytes);
  return hash.finish();
}

}  // namespace qv

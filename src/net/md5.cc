#include "net/md5.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "core/text.h"
#include "mime/hex_digits.h"

namespace qv {

namespace {

using Word = std::uint32_t;

/// One of the four rounds (RFC 1321 3.4): its function of three words, its rotations, and which word of the
/// block each step takes, that of number (first + step * stride) mod 16.
struct Round {
  Word (*mix)(Word, Word, Word) noexcept;
  std::array<int, 4> rotations;
  std::size_t first, stride;
};

constexpr std::array<Round, 4> kRounds{{
    {[](Word x, Word y, Word z) noexcept { return (x & y) | (~x & z); }, {7, 12, 17, 22}, 0, 1},
    {[](Word x, Word y, Word z) noexcept { return (x & z) | (y & ~z); }, {5, 9, 14, 20}, 1, 5},
    {[](Word x, Word y, Word z) noexcept { return x ^ y ^ z; }, {4, 11, 16, 23}, 5, 3},
    {[](Word x, Word y, Word z) noexcept { return y ^ (x | ~z); }, {6, 10, 15, 21}, 0, 7},
}};

/// The whole part of 2^32 * |sin(i + 1)|.
constexpr std::array<Word, 64> kSines{
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

void compressMd5(MdHash::State& state, const MdHash::Block& block) noexcept {
  auto [a, b, c, d] = state;
  for (std::size_t step = 0; step < kSines.size(); ++step) {
    const Round& round = kRounds[step / 16];
    const Word word = block[(round.first + step % 16 * round.stride) % 16];
    const Word sum = a + round.mix(b, c, d) + word + kSines[step];
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, round.rotations[step % 4]);
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

}  // namespace

Md5::Md5() noexcept : MdHash(compressMd5) {}

MdDigest Md5::of(std::string_view bytes) noexcept {
  Md5 hash;
  hash.update(bytes);
  return hash.finish();
}

MdDigest HmacMD5::hmac(std::string_view message, std::string_view key) noexcept {
  std::array<char, 64> pad{};
  const MdDigest shortened = key.size() > pad.size() ? Md5::of(key) : MdDigest();
  if (key.size() > pad.size()) key = shortened;
  std::copy(key.begin(), key.end(), pad.begin());
  const auto keyed = [&pad](char with, std::string_view text) {
    for (char& c : pad) c = static_cast<char>(c ^ with);
    Md5 hash;
    hash.update({pad.data(), pad.size()});
    hash.update(text);
    return hash.finish();
  };
  const MdDigest inner = keyed(0x36, message);
  const MdDigest outer = keyed(0x36 ^ 0x5c, inner);
  wipe(pad.data(), pad.size());
  return outer;
}

SecretText CramMD5::response(std::string_view username, std::string_view password,
                             std::string_view challenge) {
  SecretText text(username);
  text.append(' ');
  const MdDigest digest = HmacMD5::hmac(challenge, password);
  for (const char c : digest.bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text.append(lowerAscii(kHexDigits[byte >> 4])).append(lowerAscii(kHexDigits[byte & 15]));
  }
  return text;
}

}  // namespace qv

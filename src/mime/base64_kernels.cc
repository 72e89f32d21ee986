#include "mime/base64_kernels.h"

#include <array>
#include <bit>
#include <cstdint>

#if defined(__x86_64__) && defined(__GNUC__)
#define QV_HAVE_AVX2_KERNEL 1
#include <immintrin.h>
#endif

namespace qv {
namespace {

constexpr std::size_t kLineBytes = 54;  // make one line of 72 characters
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
static_assert(sizeof kAlphabet == 64 + 1);

// What a character is to the decoder: its 6-bit value, or one of these.
constexpr std::uint8_t kSkipped = 0x40;
constexpr std::uint8_t kEnd = 0x80;

constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kSkipped);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = i;
  values['='] = kEnd;
  values['\0'] = kEnd;
  return values;
}();

unsigned byteAt(const char* bytes) {
  return static_cast<unsigned char>(*bytes);
}
unsigned valueAt(const char* text) {
  return kValues[static_cast<unsigned char>(*text)];
}
char* putByte(unsigned byte, char* out) {
  *out = static_cast<char>(byte);
  return out + 1;
}

// Bytes without line breaks, padding included.
char* encodeRun(const char* bytes, std::size_t size, char* out) {
  const char* const end = bytes + size;
  for (; end - bytes >= 3; bytes += 3) {
    const unsigned group = byteAt(bytes) << 16 | byteAt(bytes + 1) << 8 | byteAt(bytes + 2);
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 0x3F];
    *out++ = kAlphabet[group >> 6 & 0x3F];
    *out++ = kAlphabet[group & 0x3F];
  }
  if (bytes == end) return out;
  const bool two = end - bytes == 2;
  const unsigned group = byteAt(bytes) << 16 | (two ? byteAt(bytes + 1) << 8 : 0);
  *out++ = kAlphabet[group >> 18];
  *out++ = kAlphabet[group >> 12 & 0x3F];
  *out++ = two ? kAlphabet[group >> 6 & 0x3F] : '=';
  *out++ = '=';
  return out;
}

char* lineBreak(char* out) {
  *out++ = '\r';
  *out++ = '\n';
  return out;
}

char* encodePortable(const char* bytes, std::size_t size, bool lines, char* out) {
  if (lines) {
    for (; size >= kLineBytes; bytes += kLineBytes, size -= kLineBytes) {
      out = lineBreak(encodeRun(bytes, kLineBytes, out));
    }
  }
  return encodeRun(bytes, size, out);
}

// A place in a text that is being decoded, always between two groups of 4 characters.
struct Decoding {
  const char* text;
  const char* end;
  char* out;
  bool ended = false;

  // The next group, whatever stands between its characters. At the end of the input: what it completes.
  void group() {
    unsigned bits = 0;
    int count = 0;
    for (; text != end; ++text) {
      const unsigned value = valueAt(text);
      if (value == kEnd) break;
      if (value == kSkipped) continue;
      bits = bits << 6 | value;
      if (++count == 4) break;
    }
    ended = count < 4;
    if (!ended) ++text;
    bits <<= 6 * (4 - count);
    for (int complete = count * 6 / 8, shift = 16; complete > 0; --complete, shift -= 8) {
      out = putByte(bits >> shift & 0xFF, out);
    }
  }
};

char* decodePortable(const char* text, std::size_t size, char* out) {
  Decoding at{text, text + size, out};
  while (!at.ended) {
    while (at.end - at.text >= 4) {
      const unsigned a = valueAt(at.text), b = valueAt(at.text + 1);
      const unsigned c = valueAt(at.text + 2), d = valueAt(at.text + 3);
      if ((a | b | c | d) > 0x3F) break;
      const unsigned bits = a << 18 | b << 12 | c << 6 | d;
      at.out = putByte(bits >> 16, at.out);
      at.out = putByte(bits >> 8 & 0xFF, at.out);
      at.out = putByte(bits & 0xFF, at.out);
      at.text += 4;
    }
    at.group();
  }
  return at.out;
}

#if QV_HAVE_AVX2_KERNEL

[[gnu::target("avx2")]] inline __m256i bothLanes(__m128i table) {
  return _mm256_broadcastsi128_si256(table);
}

// 24 bytes (28 are read) to 32 characters: the method of W. Mula and D. Lemire, "Faster Base64 Encoding and
// Decoding Using AVX2 Instructions" (2018). Groups are spread to 32 bits, their four values moved to bytes,
// and each value gets the distance of its range to the alphabet added.
[[gnu::target("avx2")]] inline void encode24(const char* bytes, char* out) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 12));
  const __m256i spread =
      _mm256_shuffle_epi8(_mm256_set_m128i(high, low),
                          bothLanes(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
  const __m256i upper = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
  const __m256i lower = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003F03F0)),
                                           _mm256_set1_epi32(0x01000010));
  const __m256i values = _mm256_or_si256(upper, lower);
  // 0 for 'a'-'z', 1-10 for the digits, 11 and 12 for '+' and '/', 13 for 'A'-'Z'.
  const __m256i beyond = _mm256_subs_epu8(values, _mm256_set1_epi8(51));
  const __m256i capital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
  const __m256i range = _mm256_or_si256(beyond, _mm256_and_si256(capital, _mm256_set1_epi8(13)));
  const __m256i distance = _mm256_shuffle_epi8(
      bothLanes(_mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                              '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0)),
      range);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_add_epi8(values, distance));
}

[[gnu::target("avx2")]] char* encodeAvx2(const char* bytes, std::size_t size, bool lines, char* out) {
  if (lines) {
    // Two strides and one that ends with the line; the bytes they share come out twice alike.
    for (; size >= kLineBytes + 4; bytes += kLineBytes, size -= kLineBytes) {
      encode24(bytes, out);
      encode24(bytes + 24, out + 32);
      encode24(bytes + kLineBytes - 24, out + 72 - 32);
      out = lineBreak(out + 72);
    }
  } else {
    for (; size >= 28; bytes += 24, size -= 24, out += 32) encode24(bytes, out);
  }
  return encodePortable(bytes, size, lines, out);
}

// 32 characters to 24 bytes (32 are written), by the same authors. Gives a bit for each character outside the
// alphabet; the groups of 4 without one come out right.
[[gnu::target("avx2")]] inline std::uint32_t decode32(const char* text, char* out) {
  const __m256i chars = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
  const __m256i slash = _mm256_set1_epi8('/');  // also the mask of the bits that a shuffle reads
  const __m256i highNibbles = _mm256_and_si256(_mm256_srli_epi32(chars, 4), slash);
  const __m256i lowNibbles = _mm256_and_si256(chars, slash);
  // A character is foreign when its high and its low nibble share a bit in these two tables.
  const __m256i lowClass =
      _mm256_shuffle_epi8(bothLanes(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                  0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A)),
                          lowNibbles);
  const __m256i highClass =
      _mm256_shuffle_epi8(bothLanes(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                                  0x10, 0x10, 0x10, 0x10, 0x10, 0x10)),
                          highNibbles);
  const __m256i own = _mm256_cmpeq_epi8(_mm256_and_si256(lowClass, highClass), _mm256_setzero_si256());
  // From the high nibble (one less for '/') to the distance between character and value.
  const __m256i distance =
      _mm256_shuffle_epi8(bothLanes(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                                  26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0)),
                          _mm256_add_epi8(_mm256_cmpeq_epi8(chars, slash), highNibbles));
  const __m256i values = _mm256_add_epi8(chars, distance);
  const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
  const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i packed = _mm256_shuffle_epi8(
      groups, bothLanes(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                      _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7)));
  return ~static_cast<std::uint32_t>(_mm256_movemask_epi8(own));
}

// Lines of `length` characters, a multiple of 4 and at least 32, each followed by `gap` characters to skip:
// as long as there is another such line its end need not be searched, so that lines overlap in the machine.
[[gnu::target("avx2")]] void decodeLines(Decoding& at, std::ptrdiff_t length, std::ptrdiff_t gap) {
  const char* text = at.text;
  char* out = at.out;
  while (at.end - text >= length + gap && valueAt(text + length) == kSkipped &&
         valueAt(text + length + gap - 1) == kSkipped) {
    std::uint32_t foreign = 0;
    const std::ptrdiff_t last = length - 32;
    for (std::ptrdiff_t i = 0; i < last; i += 32) foreign |= decode32(text + i, out + i / 4 * 3);
    // This stride ends with the line; what it shares with the one before comes out twice alike. It goes last,
    // for each leaves 8 void bytes behind.
    foreign |= decode32(text + last, out + last / 4 * 3);
    if (foreign != 0) break;
    text += length + gap;
    out += length / 4 * 3;
  }
  at.text = text;
  at.out = out;
}

[[gnu::target("avx2")]] char* decodeAvx2(const char* text, std::size_t size, char* out) {
  Decoding at{text, text + size, out};
  const char* lineStart = text;
  while (at.end - at.text >= 32) {
    const std::uint32_t foreign = decode32(at.text, at.out);
    if (foreign == 0) {
      at.text += 32;
      at.out += 24;
      continue;
    }
    const int own = std::countr_zero(foreign);
    at.text += own / 4 * 4;
    at.out += own / 4 * 3;
    if (own % 4 != 0) {
      at.group();
      if (at.ended) return at.out;
      lineStart = at.text;
      continue;
    }
    // As a rule a line ended with a whole group and only its break is in the way.
    const char* lineEnd = at.text;
    while (at.text != at.end && valueAt(at.text) == kSkipped) ++at.text;
    if (at.text == at.end || valueAt(at.text) == kEnd) return at.out;
    const std::ptrdiff_t gap = at.text - lineEnd;
    if (lineEnd - lineStart >= 32 && gap <= 2) decodeLines(at, lineEnd - lineStart, gap);
    lineStart = at.text;
  }
  return decodePortable(at.text, static_cast<std::size_t>(at.end - at.text), at.out);
}

#endif

}  // namespace

std::vector<Base64Kernel> base64Kernels() {
  std::vector<Base64Kernel> kernels{{"portable", encodePortable, decodePortable}};
#if QV_HAVE_AVX2_KERNEL
  if (__builtin_cpu_supports("avx2")) kernels.push_back({"avx2", encodeAvx2, decodeAvx2});
#endif
  return kernels;
}

const Base64Kernel& base64Kernel() {
  static const Base64Kernel kernel = base64Kernels().back();
  return kernel;
}

}  // namespace qv

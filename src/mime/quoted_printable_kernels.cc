#include "mime/quoted_printable_kernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/text.h"
#include "mime/hex_digits.h"

#if defined(__x86_64__) && defined(__GNUC__)
#define QV_HAVE_AVX2_KERNEL 1
#include <immintrin.h>
#endif

namespace qv {
namespace {

using Encoding = QuotedPrintableKernel::Encoding;
using Decoding = QuotedPrintableKernel::Decoding;

// How a byte is written: as itself or as an escape. Four bytes, so that it is copied in one go.
struct Written {
  char text[3];
  char length;
};
static_assert(sizeof(Written) == 4);

constexpr std::array<Written, 256> kWritten = [] {
  std::array<Written, 256> written{};
  for (unsigned i = 0; i < written.size(); ++i) {
    const char c = static_cast<char>(i);
    // RFC 2045 6.7 (1) to (3)
    const bool plain = (i >= 0x20 && i <= 0x7E && c != '=') || c == '\t';
    written[i] = plain ? Written{{c, 0, 0}, 1} : Written{{'=', kHexDigits[i >> 4], kHexDigits[i & 0xF]}, 3};
  }
  return written;
}();

char* put(char c, char* out) {
  const Written& written = kWritten[static_cast<unsigned char>(c)];
  std::memcpy(out, &written, sizeof written);
  return out + written.length;
}

Encoding encodePortable(Encoding at, const char* end, const char* full) {
  const char* in = at.in;
  char* out = at.out;
  for (; in != end && out < full; ++in) {
    if (*in == '\r' || *in == '\n') break;
    if (isBlank(*in) && (end - in == 1 || in[1] == '\r')) break;
    out = put(*in, out);
  }
  return {in, out};
}

// The low 7 bits of a hexadecimal digit to its value, of anything else to more than a byte.
constexpr std::array<std::uint16_t, 256> kDigits = [] {
  std::array<std::uint16_t, 256> digits{};
  for (unsigned i = 0; i < digits.size(); ++i) {
    const char c = low7(static_cast<char>(i));
    digits[i] = static_cast<std::uint16_t>(isHex(c) ? hexValue(c) : 0x100);
  }
  return digits;
}();

// The byte that two digits spell; 0xFF and above are for the byte-wise rules: "=FF" may begin a longer
// escape.
unsigned digitsAt(const char* in) {
  return unsigned{kDigits[static_cast<unsigned char>(in[0])]} << 4 |
         kDigits[static_cast<unsigned char>(in[1])];
}

// Behind an '=': the soft line break in its usual form.
bool lineBreakAt(const char* in) {
  return in[0] == '\r' && in[1] == '\n';
}

Decoding decodePortable(Decoding at, const char* /*begin*/, const char* end) {
  const char* in = at.in;
  char* out = at.out;
  const char* copied = at.copied;
  for (; in != end && *in != '\n'; ++in) {
    if (low7(*in) != '=') {
      *out++ = low7(*in);
      continue;
    }
    if (end - in < 3) break;
    const unsigned byte = digitsAt(in + 1);
    if (byte < 0xFF) {
      *out++ = static_cast<char>(byte);
    } else if (!lineBreakAt(in + 1)) {
      break;
    }
    in += 2;
    copied = in + 1;
  }
  return {in, out, copied};
}

#if QV_HAVE_AVX2_KERNEL

// Both kernels go in strides of 64 bytes: the whole stride is copied, and a set bit in a word marks each byte
// that cannot stay. Only these are visited; behind each the rest is copied again to where it belongs. How
// often that happens makes one branch that is hard to foresee in a stride, not one in every byte.
constexpr int kStride = 64;

[[gnu::target("avx2")]] inline __m256i load(const char* in) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
}
[[gnu::target("avx2")]] inline void store(__m256i bytes, char* out) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), bytes);
}
[[gnu::target("avx2")]] inline __m256i equal(__m256i bytes, char c) {
  return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(c));
}
// As signed numbers, so that the bytes from 0x80 are above nothing.
[[gnu::target("avx2")]] inline __m256i above(__m256i bytes, char c) {
  return _mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(c));
}
[[gnu::target("avx2")]] inline std::uint64_t bits(__m256i first, __m256i second) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(first)) |
         std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(second))} << 32;
}
[[gnu::target("avx2")]] inline void copyStride(const char* in, char* out) {
  store(load(in), out);
  store(load(in + 32), out + 32);
}
[[gnu::target("avx2")]] inline void copyStrideLow7(const char* in, char* out) {
  store(_mm256_and_si256(load(in), _mm256_set1_epi8(0x7F)), out);
  store(_mm256_and_si256(load(in + 32), _mm256_set1_epi8(0x7F)), out + 32);
}

// The bits before the lowest in `stops`.
constexpr std::uint64_t before(std::uint64_t stops) {
  return ~stops & (stops - 1);
}

[[gnu::target("avx2")]] inline __m256i isEscaped(__m256i bytes) {
  const __m256i printable =
      _mm256_andnot_si256(_mm256_or_si256(equal(bytes, '='), equal(bytes, 0x7F)), above(bytes, 0x1F));
  return _mm256_xor_si256(_mm256_or_si256(printable, equal(bytes, '\t')), _mm256_set1_epi8(-1));
}

// CR, LF and a blank before CR.
[[gnu::target("avx2")]] inline __m256i isHard(const char* in) {
  const __m256i bytes = load(in);
  const __m256i blank = _mm256_or_si256(equal(bytes, ' '), equal(bytes, '\t'));
  const __m256i lost = _mm256_and_si256(blank, equal(load(in + 1), '\r'));
  return _mm256_or_si256(lost, _mm256_or_si256(equal(bytes, '\r'), equal(bytes, '\n')));
}

[[gnu::target("avx2")]] Encoding encodeAvx2(Encoding at, const char* end, const char* full) {
  const char* in = at.in;
  char* out = at.out;
  while (end - in >= 2 * kStride && out < full) {
    copyStride(in, out);
    const std::uint64_t hard = bits(isHard(in), isHard(in + 32));
    std::uint64_t escaped = bits(isEscaped(load(in)), isEscaped(load(in + 32)));
    const char* const stop = in + std::countr_zero(hard);
    const char* from = in;  // all before went to before `out`
    for (escaped &= before(hard); escaped != 0; escaped &= escaped - 1) {
      const char* const special = in + std::countr_zero(escaped);
      if (special - from >= full - out) break;
      out = put(*special, out + (special - from));
      from = special + 1;
      copyStride(from, out);
    }
    const std::ptrdiff_t count = std::min(stop - from, std::max<std::ptrdiff_t>(full - out, 0));
    in = from + count;
    out += count;
    if (hard != 0 && in == stop) return {in, out};
  }
  return encodePortable({in, out}, end, full);
}

// LF, unless it is that of a CR LF that follows an LF or what is surely no white space.
[[gnu::target("avx2")]] inline __m256i isLineEnd(const char* in) {
  const __m256i last = load(in - 2);
  const __m256i content = _mm256_or_si256(above(last, ' '), equal(last, '\n'));
  return _mm256_andnot_si256(_mm256_and_si256(content, equal(load(in - 1), '\r')), equal(load(in), '\n'));
}

[[gnu::target("avx2")]] inline __m256i isEscape(const char* in) {
  return equal(_mm256_and_si256(load(in), _mm256_set1_epi8(0x7F)), '=');
}

[[gnu::target("avx2")]] Decoding decodeAvx2(Decoding at, const char* begin, const char* end) {
  const char* in = at.in;
  char* out = at.out;
  const char* copied = at.copied;
  if (in - begin < 2) return at;  // a stride looks two bytes back
  while (end - in >= 3 * kStride) {
    copyStrideLow7(in, out);
    const std::uint64_t lineEnds = bits(isLineEnd(in), isLineEnd(in + 32));
    std::uint64_t escapes = bits(isEscape(in), isEscape(in + 32));
    if ((escapes | lineEnds) == 0) {
      in += kStride;
      out += kStride;
      continue;
    }
    const char* const stop = in + std::countr_zero(lineEnds);
    const char* from = in;  // all before went to before `out`
    for (escapes &= before(lineEnds); escapes != 0; escapes &= escapes - 1) {
      const char* const escape = in + std::countr_zero(escapes);
      const unsigned byte = digitsAt(escape + 1);
      out += escape - from;
      if (byte < 0xFF) {
        *out++ = static_cast<char>(byte);
      } else if (!lineBreakAt(escape + 1)) {
        return {escape, out, copied};
      }
      copied = from = escape + 3;
      copyStrideLow7(from, out);
    }
    in = std::max(from, stop);
    out += in - from;
    if (lineEnds != 0) return {in, out, copied};
  }
  return decodePortable({in, out, copied}, begin, end);
}

#endif

}  // namespace

std::vector<QuotedPrintableKernel> quotedPrintableKernels() {
  std::vector<QuotedPrintableKernel> kernels{{"portable", encodePortable, decodePortable}};
#if QV_HAVE_AVX2_KERNEL
  if (__builtin_cpu_supports("avx2")) kernels.push_back({"avx2", encodeAvx2, decodeAvx2});
#endif
  return kernels;
}

const QuotedPrintableKernel& quotedPrintableKernel() {
  static const QuotedPrintableKernel kernel = quotedPrintableKernels().back();
  return kernel;
}

}  // namespace qv

#include "mailman/mbx_kernels.h"

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#define QV_HAVE_X86_KERNELS 1
#include <immintrin.h>
#endif

namespace qv {
namespace {

using Place = MbxKernel::Place;

constexpr std::size_t kBlock = 64;
static_assert(MbxKernel::kMargin >= 2 * kBlock && kBlock > kMbxSeparator.size());

/// What stands where in a block: bit i is about byte i.
struct Marks {
  std::uint64_t lf = 0;
  std::uint64_t cr = 0;
  std::uint64_t f = 0;  ///< what separators begin with; other places too where that is cheaper
};

/// Looks at a word at a time.
struct PortableMarks {
  static Marks of(const char* block) noexcept {
    Marks marks;
    for (std::size_t at = 0; at < kBlock; at += 8) {
      const std::uint64_t word = wordAt(block + at);
      marks.lf |= bitsOf('\n', word) << at;
      marks.cr |= bitsOf('\r', word) << at;
    }
    marks.f = ~std::uint64_t{0};
    return marks;
  }

 private:
  static std::uint64_t wordAt(const char* bytes) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
      std::uint64_t turned = 0;
      for (int i = 0; i < 8; ++i, word >>= 8) turned = turned << 8 | (word & 0xFF);
      word = turned;
    }
    return word;
  }
  static std::uint64_t bitsOf(unsigned char c, std::uint64_t word) noexcept {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kLow = 0x7F * kOnes;
    const std::uint64_t difference = word ^ c * kOnes;
    // 1 in each byte without a difference; the product brings them together in the uppermost byte.
    const std::uint64_t same = ~(((difference & kLow) + kLow) | difference | kLow) >> 7;
    return same * 0x0102040810204080 >> 56;
  }
};

/// Whether a separator is at one of these places of a block.
[[gnu::always_inline]] inline bool hasSeparator(const char* block, std::uint64_t places) noexcept {
  for (; places != 0; places &= places - 1) {
    const char* const line = block + std::countr_zero(places);
    if (std::memcmp(line, kMbxSeparator.data(), kMbxSeparator.size()) == 0) return true;
  }
  return false;
}

/// Puts a CR before each LF of a block that was copied to `to`; gives where the block would begin now. What
/// is behind a line end is copied again: as much as could be there, for one length is much faster than the
/// right one.
[[gnu::always_inline]] inline char* putCrs(const char* block, std::uint64_t lineEnds, char* to) noexcept {
  for (; lineEnds != 0; lineEnds &= lineEnds - 1, ++to) {
    const int lineEnd = std::countr_zero(lineEnds);
    to[lineEnd] = '\r';
    to[lineEnd + 1] = '\n';
    std::memcpy(to + lineEnd + 2, block + lineEnd + 1, kBlock);
  }
  return to;
}

// Inlined, so that it is compiled for each kernel's instructions.
template <typename MarksOfBlock>
[[gnu::always_inline]] inline Place copyBlocks(Place at, const char* end) noexcept {
  constexpr int kLast = static_cast<int>(kBlock) - 1;
  std::uint64_t lfBefore = 0, crBefore = 0;  // what the block before ended with
  while (end - at.from >= static_cast<std::ptrdiff_t>(MbxKernel::kMargin)) {
    const Marks marks = MarksOfBlock::of(at.from);
    if (hasSeparator(at.from, (marks.lf << 1 | lfBefore) & marks.f)) break;
    const bool isCrLf = marks.lf == (marks.cr << 1 | crBefore);
    if (!isCrLf && (marks.cr | crBefore) != 0) break;
    std::memcpy(at.to, at.from, kBlock);
    if (!isCrLf) at.to = putCrs(at.from, marks.lf, at.to);
    at.from += kBlock;
    at.to += kBlock;
    lfBefore = marks.lf >> kLast;
    crBefore = marks.cr >> kLast;
  }
  // Its LF may be missing.
  return {at.from - crBefore, at.to - crBefore};
}

Place copyPortable(Place at, const char* end) {
  return copyBlocks<PortableMarks>(at, end);
}

#if QV_HAVE_X86_KERNELS

// Every processor of this kind has SSE2.
struct Sse2Marks {
  static Marks of(const char* block) noexcept {
    Marks marks;
    for (std::size_t at = 0; at < kBlock; at += sizeof(__m128i)) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + at));
      marks.lf |= bitsOf('\n', bytes) << at;
      marks.cr |= bitsOf('\r', bytes) << at;
      marks.f |= bitsOf('F', bytes) << at;
    }
    return marks;
  }

 private:
  static std::uint64_t bitsOf(char c, __m128i bytes) noexcept {
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(c))));
  }
};

Place copySse2(Place at, const char* end) {
  return copyBlocks<Sse2Marks>(at, end);
}

struct Avx2Marks {
  [[gnu::target("avx2")]] static Marks of(const char* block) noexcept {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block + 32));
    return {bitsOf('\n', low, high), bitsOf('\r', low, high), bitsOf('F', low, high)};
  }

 private:
  [[gnu::target("avx2")]] static std::uint64_t bitsOf(char c, __m256i low, __m256i high) noexcept {
    const __m256i wanted = _mm256_set1_epi8(c);
    const auto lowBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low, wanted)));
    const auto highBits = static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, wanted)));
    return lowBits | std::uint64_t{highBits} << 32;
  }
};

[[gnu::target("avx2,bmi")]] Place copyAvx2(Place at, const char* end) {
  return copyBlocks<Avx2Marks>(at, end);
}

#endif

}  // namespace

std::vector<MbxKernel> mbxKernels() {
  std::vector<MbxKernel> kernels{{"portable", copyPortable}};
#if QV_HAVE_X86_KERNELS
  kernels.push_back({"sse2", copySse2});
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")) kernels.push_back({"avx2", copyAvx2});
#endif
  return kernels;
}

const MbxKernel& mbxKernel() {
  static const MbxKernel kernel = mbxKernels().back();
  return kernel;
}

}  // namespace qv

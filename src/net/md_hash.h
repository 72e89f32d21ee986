// What MD4 (RFC 1320) and MD5 (RFC 1321) share: blocks of 64 bytes, the padding, a digest of 16 bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/wipe.h"

namespace qv {

/// A digest, or a key that was made from one; overwritten when it goes.
struct MdDigest {
  std::array<char, 16> bytes{};

  MdDigest() noexcept = default;
  MdDigest(const MdDigest&) noexcept = default;
  MdDigest& operator=(const MdDigest&) noexcept = default;
  ~MdDigest() { wipe(bytes.data(), bytes.size()); }
  std::string_view view() const noexcept { return {bytes.data(), bytes.size()}; }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
};

/// A digest being computed. What it has seen of the text is overwritten when it goes.
class MdHash {
 public:
  using State = std::array<std::uint32_t, 4>;
  using Block = std::array<std::uint32_t, 16>;  // 64 bytes as little-endian words
  using Compress = void (*)(State& state, const Block& block) noexcept;

  explicit MdHash(Compress compress) noexcept : compress_(compress) {}
  MdHash(const MdHash&) = delete;
  MdHash& operator=(const MdHash&) = delete;
  ~MdHash();

  void update(std::string_view bytes) noexcept;
  /// The digest of all that was given. Nothing may be given after it.
  MdDigest finish() noexcept;

 private:
  void addBlock(const char* bytes) noexcept;

  Compress compress_;
  State state_{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  std::uint64_t length_ = 0;  // bytes given
  std::array<char, 64> pending_{};
};

}  // namespace qv

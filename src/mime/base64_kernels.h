// The inner loops of base64: one set for every machine, one for those with AVX2.
#pragma once

#include <cstddef>
#include <vector>

namespace qv {

/// One way of doing base64. All ways give the same bytes; they differ in speed only.
struct Base64Kernel {
  /// Room beyond the decoded bytes that `decode` may write to.
  static constexpr std::size_t kDecodeSlack = 8;

  const char* name;
  /// Encodes `size` bytes; gives the end of what was written. With `lines`, CR LF follows every 72nd
  /// character and nothing is added at the end. Writes nothing beyond the characters of the coding.
  char* (*encode)(const char* bytes, std::size_t size, bool lines, char* out);
  /// Decodes up to '=', a zero byte or `size` characters, skipping what is outside the alphabet; gives the
  /// end of the bytes that are complete. `out` has room for 3 bytes per begun 4 characters and
  /// `kDecodeSlack`.
  char* (*decode)(const char* text, std::size_t size, char* out);
};

/// The fastest one this machine can run.
const Base64Kernel& base64Kernel();
/// All that this machine can run, the portable one first.
std::vector<Base64Kernel> base64Kernels();

}  // namespace qv

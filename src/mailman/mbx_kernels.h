// The inner loop of reading mailbox files: one for every machine, others for those with vectors.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace qv {

/// What a line begins with that separates two messages.
inline constexpr std::string_view kMbxSeparator = "From ";

/// One way of copying lines with their ends made CR LF. All ways give the same bytes; they differ in speed
/// only.
struct MbxKernel {
  /// The end of the text that is seen beyond what is copied: texts that are shorter are not touched.
  static constexpr std::size_t kMargin = 128;
  struct Place {
    const char* from;
    char* to;
  };

  const char* name;
  /// Goes on as far as lines end with CR LF or LF, there is no other CR, and no line begins with a separator;
  /// the first line begins before `at.from`. `at.to` has room for twice the text and `kMargin` bytes, which
  /// may all be written. What is left, which can be everything, begins at the result.
  Place (*copy)(Place at, const char* end);
};

/// The fastest one this machine can run.
const MbxKernel& mbxKernel();
/// All that this machine can run, the portable one first.
std::vector<MbxKernel> mbxKernels();

}  // namespace qv

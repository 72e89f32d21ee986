// The inner loops of quoted-printable: one set for every machine, one for those with AVX2.
#pragma once

#include <vector>

namespace qv {

/// One way of going through the greater part of a text. All ways give the same bytes in the end; they differ
/// in how far they get before the byte-wise rules have to look.
struct QuotedPrintableKernel {
  /// Bytes that a kernel may write beyond what it counts.
  static constexpr int kSlack = 64;

  struct Encoding {
    const char* in;
    char* out;
  };
  struct Decoding {
    const char* in;
    char* out;
    const char* copied;  ///< from here to `in` each byte became one byte
  };

  const char* name;
  /// Goes on from `at` until `out` reaches or passes `full`, or before a byte whose coding depends on what
  /// stands around it: CR, LF, a blank that might end a line.
  Encoding (*encode)(Encoding at, const char* end, const char* full);
  /// Goes on from `at` over text that is copied, escapes of two digits and soft line breaks "=" CR LF, until
  /// before an LF, which may have white space to lose, or any other '='. `begin` is that of the whole text.
  /// May stop early.
  Decoding (*decode)(Decoding at, const char* begin, const char* end);
};

/// The fastest one this machine can run.
const QuotedPrintableKernel& quotedPrintableKernel();
/// All that this machine can run, the portable one first.
std::vector<QuotedPrintableKernel> quotedPrintableKernels();

}  // namespace qv

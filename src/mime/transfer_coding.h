// The codings of MIME: base64 and quoted-printable (RFC 2045) and the encoded words of header fields
// (RFC 2047). Everything here is the component's own code.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/binary_data.h"
#include "core/string_buffer.h"

namespace qv {

/// Stateless codec operations. Encoders append to `out`; decoders never fail: they take what the rules give
/// and leave the rest. Every operation is linear in its input, and none fills its output before it writes it.
class ContentCoding {
 public:
  /// Characters on an output line of base64 and quoted-printable.
  static constexpr std::size_t kLineLength = 72;

  // Base64 (RFC 2045 6.8).

  /// Base64 in lines of 72 characters, each ended by CR LF, and a final CR LF. An input whose length is a
  /// multiple of 54 therefore ends with CR LF CR LF. Empty input writes nothing.
  static void encodeBase64Lines(std::string_view bytes, StringBuffer& out);
  /// Base64 on one line, without a line break.
  static void encodeBase64(std::string_view bytes, StringBuffer& out);
  /// The same as a text of its own; empty for empty input.
  static StringBuffer encodeBase64ToBuffer(std::string_view bytes);
  /// The bytes of a base64 text. '=' or a zero byte ends the input; CR, LF, tab, space and every character
  /// outside the alphabet are skipped; a final incomplete group gives only the bytes it completes.
  static BinaryData decodeBase64(std::string_view text);
  /// Room that `encodeBase64Lines` may need: q + (2q / 72) + 3 with q = (4 * length + 8) / 3.
  static constexpr std::size_t estimateBase64Size(std::size_t length) noexcept {
    const std::size_t q = (4 * length + 8) / 3;
    return q + 2 * q / kLineLength + 3;
  }

  // Quoted-printable (RFC 2045 6.7).

  /// Lines of at most about 72 columns, soft breaks "=" CR LF. A '.' or "From " at the start of a line is
  /// escaped, so that no mail system changes it.
  static void encodeQuotedPrintable(std::string_view bytes, StringBuffer& out);
  /// The bytes of a quoted-printable text; it ends at its first zero byte. Looks at the low 7 bits only.
  static BinaryData decodeQuotedPrintable(std::string_view text);

  // Encoded words (RFC 2047). The charset of a word only labels its bytes and is dropped in reading.

  /// Replaces every B (or Q) encoded word by its bytes. A word with an empty charset name stays as it is.
  static void decodeBWords(StringBuffer& text);
  static void decodeQWords(StringBuffer& text);
  /// Decodes B words when the text contains "?B?" and then Q words when it contains "?Q?" (any case).
  static void decodeWords(StringBuffer& text);
  /// The Q coding as written and as read.
  static StringBuffer qEncode(std::string_view bytes);
  static StringBuffer qDecode(std::string_view text);
  /// Writes `text` as Q encoded words of at most 40 characters each, joined by CR LF and a space; nothing for
  /// an empty text. The 40 count before the coding. A charset that is no token of RFC 2047 (empty, or with a
  /// blank, a line break, '?' and the like) would end the word early and is replaced by "us-ascii".
  static void encodeHeaderWords(std::string_view text, std::string_view charset, StringBuffer& out);
};

}  // namespace qv

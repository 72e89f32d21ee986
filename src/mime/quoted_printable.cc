#include "mime/quoted_printable.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "core/text.h"
#include "mime/hex_digits.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

// Room at the end of a buffer, asked for again when the output outgrows the guess.
template <typename Buffer>
class Room {
 public:
  explicit Room(Buffer& out) : out_(out), used_(out.size()) {}

  /// Where to write on, with room for `need` bytes; `at` is where writing got to. `more` is a guess at what
  /// will be written after them.
  char* ensure(char* at, std::size_t need, std::size_t more) {
    if (static_cast<std::size_t>(end_ - at) >= need) return at;
    finish(at);
    start_ = out_.extend(need + more);
    end_ = start_ + need + more;
    return start_;
  }
  void finish(const char* at) {
    used_ += static_cast<std::size_t>(at - start_);
    out_.truncate(used_);
  }

 private:
  Buffer& out_;
  std::size_t used_;
  char* start_ = nullptr;
  char* end_ = nullptr;
};

class Encoder {
 public:
  Encoder(std::string_view bytes, StringBuffer& out)
      : in_(bytes.data()), end_(bytes.data() + bytes.size()), room_(out) {}

  void run(const QuotedPrintableKernel& kernel) {
    ensureRoom();
    startLine();
    while (in_ != end_) {
      ensureRoom();
      const auto got = kernel.encode({in_, at_}, end_, full_);
      in_ = got.in;
      at_ = got.out;
      if (lineBreakAt(in_)) {
        putLineBreak();
        in_ += 2;
        startLine();
        continue;
      }
      if (at_ < full_ && in_ != end_) putHard();
      if (at_ >= full_ && !lineBreakAt(in_)) {  // a soft line break, RFC 2045 6.7 (5)
        *at_++ = '=';
        putLineBreak();
        startLine();
      }
    }
    room_.finish(at_);
  }

 private:
  static constexpr auto kLineLength = static_cast<std::ptrdiff_t>(ContentCoding::kLineLength);
  // A line, what a kernel writes beyond it, two escapes and a soft line break.
  static constexpr std::size_t kMostPerStep =
      ContentCoding::kLineLength + QuotedPrintableKernel::kSlack + 3 * 3;

  void ensureRoom() {
    const auto left = static_cast<std::size_t>(end_ - in_);
    const std::ptrdiff_t columnsLeft = full_ - at_;
    at_ = room_.ensure(at_, kMostPerStep, left + left / 16);  // most text grows little
    full_ = at_ + columnsLeft;
  }

  // Mail systems double or eat a dot and quote a "From " at the start of a line (RFC 2049 3).
  void startLine() {
    full_ = at_ + kLineLength;
    if (in_ == end_) return;
    if (*in_ == '.' || (*in_ == 'F' && end_ - in_ >= 5 && std::memcmp(in_, "From ", 5) == 0)) putEscape();
  }

  // The byte that a kernel stopped at.
  void putHard() {
    const bool endsLine = end_ - in_ == 1 || lineBreakAt(in_ + 1);
    if (isBlank(*in_) && !endsLine) {  // at the end of a line it would be lost on the way (RFC 2045 6.7 (3))
      *at_++ = *in_++;
    } else {
      putEscape();
    }
  }

  bool lineBreakAt(const char* p) const { return end_ - p >= 2 && p[0] == '\r' && p[1] == '\n'; }
  void putLineBreak() {
    *at_++ = '\r';
    *at_++ = '\n';
  }
  void putEscape() {
    const auto byte = static_cast<unsigned char>(*in_++);
    *at_++ = '=';
    *at_++ = kHexDigits[byte >> 4];
    *at_++ = kHexDigits[byte & 0xF];
  }

  const char* in_;
  const char* end_;
  Room<StringBuffer> room_;
  char* at_ = nullptr;
  char* full_ = nullptr;  // where the line is long enough
};

class Decoder {
 public:
  // White space at the end of the last line is as lost as at any other line's.
  Decoder(std::string_view text, BinaryData& out)
      : begin_(text.data()), end_(text.data() + text.size()), room_(out) {
    while (end_ != begin_ && end_[-1] != '\n' && isWhite(low7(end_[-1]))) --end_;
    in_ = copied_ = lineEnd_ = begin_;
  }

  void run(const QuotedPrintableKernel& kernel) {
    ensureRoom();
    while (in_ != end_) {
      const auto got = kernel.decode({in_, at_, copied_}, begin_, end_);
      in_ = got.in;
      at_ = got.out;
      copied_ = got.copied;
      if (in_ == end_) break;
      if (*in_ == '\n') {
        endLine();
      } else if (low7(*in_) == '=') {
        escape();
      } else {
        *at_++ = low7(*in_++);
      }
    }
    room_.finish(at_);
  }

 private:
  void ensureRoom() {
    const auto left = static_cast<std::size_t>(end_ - in_);
    at_ = room_.ensure(at_, left + 2 + QuotedPrintableKernel::kSlack, left / 16);
  }

  // Takes back the white space before the LF, if it was copied, and breaks the line.
  void endLine() {
    const char* content = in_;
    while (content != copied_ && content[-1] != '\n' && isWhite(low7(content[-1]))) --content;
    at_ -= in_ - content;
    *at_++ = '\r';
    *at_++ = '\n';
    copied_ = ++in_;
    ensureRoom();  // a bare LF has become two bytes
  }

  void escape() {
    findLineEnd();
    if (++in_ == contentEnd_) {  // a soft line break
      in_ = lineEnd_ == end_ ? end_ : lineEnd_ + 1;
    } else {
      *at_++ = readByte();
    }
    copied_ = in_;
  }

  // Once for all of a line's escapes: none of them stands in its white end.
  void findLineEnd() {
    if (in_ < lineEnd_) return;
    const void* lf = std::memchr(in_, '\n', static_cast<std::size_t>(end_ - in_));
    lineEnd_ = contentEnd_ = lf == nullptr ? end_ : static_cast<const char*>(lf);
    while (isWhite(low7(contentEnd_[-1]))) --contentEnd_;  // the '=' stops it
  }

  // The byte that stands behind an '='.
  char readByte() {
    const auto digit = [](char c) { return hexValue(low7(c)); };
    const std::ptrdiff_t left = contentEnd_ - in_;
    if (left == 1) return static_cast<char>(digit(*in_++) << 4);
    unsigned byte = digit(in_[0]) << 4 | digit(in_[1]);
    in_ += 2;
    // QUIRK: "=FFFFFFE9" is 0xE9, written by programs that take a byte for a negative number.
    if (byte == 0xFF && left >= 8 && std::all_of(in_, in_ + 4, [](char c) { return low7(c) == 'F'; })) {
      byte = digit(in_[4]) << 4 | digit(in_[5]);
      in_ += 6;
    }
    return static_cast<char>(byte);
  }

  const char* begin_;
  const char* end_;
  const char* in_;
  const char* copied_;                // from here to in_ each byte became one byte
  const char* lineEnd_;               // LF of the last line that was looked at, or the end
  const char* contentEnd_ = nullptr;  // of that line
  Room<BinaryData> room_;
  char* at_ = nullptr;
};

}  // namespace

void encodeQuotedPrintable(std::string_view bytes, const QuotedPrintableKernel& kernel, StringBuffer& out) {
  if (!bytes.empty()) Encoder(bytes, out).run(kernel);
}

BinaryData decodeQuotedPrintable(std::string_view text, const QuotedPrintableKernel& kernel) {
  BinaryData out;
  text = text.substr(0, text.find('\0'));
  if (!text.empty()) Decoder(text, out).run(kernel);
  return out;
}

}  // namespace qv

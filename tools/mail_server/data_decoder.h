// The text of a message in what follows DATA.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qv {

/// Finds the end of the data and undoes dot-stuffing (RFC 5321 4.1.1.4, 4.5.2), in pieces of any size.
///
/// Only CR LF ends a line, and only CR LF "." CR LF ends the data (RFC 5321 2.3.8, 4.1.1.4): a bare CR or LF
/// is a byte of the text, so that two readers of one stream cannot disagree about where a message ends.
class DataDecoder {
 public:
  /// Takes bytes up to and including the end of the data and gives how many it took; the rest are commands.
  /// The text, its last line end included, is appended to `text`, or only counted when `text` is null.
  std::size_t feed(std::string_view bytes, std::string* text);
  bool ended() const noexcept { return state_ == State::ended; }
  /// Bytes of text so far.
  std::size_t size() const noexcept { return size_; }

 private:
  // Where the next byte stands. Data that starts with "." CR LF is an empty message, so the start is a
  // line's.
  enum class State { lineStart, afterDot, afterDotCr, inLine, ended };

  State state_ = State::lineStart;
  bool afterCr_ = false;  // inLine only: the byte before was CR
  std::size_t size_ = 0;
};

}  // namespace qv

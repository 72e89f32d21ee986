// The text of a message as a multi-line answer.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mail_server/replies.h"

namespace qv {

/// Writes a text, in pieces of any size, as RFC 1939 3 has it: every line ends in CR LF, a dot at the start
/// of a line is doubled, a line of one dot ends it all. What needs no change is handed on as it lies.
class MultiLineEncoder {
 public:
  explicit MultiLineEncoder(Replies& out) : out_(out) {}
  void feed(std::string_view bytes);
  /// Ends the last line, if need be, and the answer.
  void finish();

 private:
  Replies& out_;
  bool atLineStart_ = true;
  bool afterCr_ = false;  // the byte before was CR
};

/// Finds where a message's header and the first lines of its body end, in pieces of any size.
class TopOfMessage {
 public:
  explicit TopOfMessage(std::size_t bodyLines) : linesLeft_(bodyLines) {}
  /// How many of the bytes belong to it; fewer than all of them when the end was met.
  std::size_t feed(std::string_view bytes);
  bool ended() const noexcept { return !inHeader_ && linesLeft_ == 0; }

 private:
  bool inHeader_ = true;
  std::string lineStart_;  // two bytes of the line, which tell an empty one
  std::size_t linesLeft_;
};

}  // namespace qv

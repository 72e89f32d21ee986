// What the line ends of a text are like: what has to change before it may be written into a message.
#pragma once

#include <cstddef>
#include <string_view>

namespace qv {

struct LineFacts {
  std::size_t bareLfs = 0;  ///< LF without a CR before it
  std::size_t loneCrs = 0;  ///< CR without an LF behind it
  std::size_t dots = 0;     ///< dots that begin a line, the first one included
};

/// Looks over a text that comes in pieces, each once, at a few bytes a cycle.
class LineScan {
 public:
  /// `before` stands in front of the text: by default a line end, as at the start of a body.
  explicit LineScan(char before = '\n') noexcept : last_(before) {}
  void add(std::string_view piece) noexcept;
  /// Of everything that was added, as a text that ends there.
  LineFacts facts() const noexcept;

 private:
  LineFacts facts_;
  char last_;  // the byte before the next piece
};

LineFacts lineFactsOf(std::string_view text) noexcept;

}  // namespace qv

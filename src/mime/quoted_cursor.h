// Going over a field's text piece by piece, past what stands in quotes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "core/string_buffer.h"

namespace qv {

/// A text from one double quote to the next is passed as a whole: nothing in it is punctuation. There is no
/// escape character; a quote without a second one is an ordinary character. The text must outlive the cursor.
class QuotedCursor {
 public:
  explicit QuotedCursor(std::string_view text) noexcept : text_(text) {}

  bool atEnd() const noexcept { return at_ == text_.size(); }
  /// What is left.
  std::string_view rest() const noexcept { return text_.substr(at_); }
  bool isAt(char c) const noexcept { return !atEnd() && text_[at_] == c; }
  /// Skips these characters, none of which is a quote, and gives what was skipped.
  std::string_view skip(std::string_view characters) noexcept {
    std::size_t end = at_;
    while (end < text_.size() && isOneOf(text_[end], characters)) ++end;
    return take(end);
  }
  /// Reads to the next of these characters outside quotes, to the end when there is none.
  std::string_view readTo(std::string_view ends) noexcept {
    std::size_t end = at_;
    while (end < text_.size() && !isOneOf(text_[end], ends)) {
      const bool isQuote = text_[end] == '"';
      const std::size_t closing = isQuote ? text_.find('"', end + 1) : std::string_view::npos;
      end = closing == std::string_view::npos ? end + 1 : closing + 1;
    }
    return take(end);
  }

 private:
  // Cheaper than a search, as there are few.
  static bool isOneOf(char c, std::string_view characters) noexcept {
    return std::any_of(characters.begin(), characters.end(), [c](char each) { return c == each; });
  }
  std::string_view take(std::size_t end) noexcept {
    const std::size_t start = std::exchange(at_, std::min(end, text_.size()));
    return text_.substr(start, at_ - start);
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

/// Appends a piece that a cursor read, without the quotes around quoted texts.
inline void appendUnquoted(std::string_view piece, StringBuffer& out) {
  for (std::size_t open = 0, close = 0;; piece.remove_prefix(close + 1)) {
    open = piece.find('"');
    close = open == std::string_view::npos ? open : piece.find('"', open + 1);
    if (close == std::string_view::npos) break;
    out.append(piece.substr(0, open)).append(piece.substr(open + 1, close - open - 1));
  }
  out.append(piece);
}

}  // namespace qv

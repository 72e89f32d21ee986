// How the log shows the bytes that were logged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qv {

/// What is logged may hold any bytes, also such as a hostile server chose. What the log gives back is always
/// valid UTF-8 without control characters, so that one entry can neither look like two nor steer a terminal,
/// and fits into XML 1.0:
///  - valid UTF-8 and tabs are kept;
///  - CR LF, CR and LF become `lineBreak`;
///  - every other control (C0, DEL, C1), the line separators U+2028 and U+2029, the non-characters U+FFFE and
///    U+FFFF, and every byte that is no UTF-8 are shown as "\x" and two upper-case hexadecimal digits a byte.
/// With `markup` set, "&", "<", ">" and the double quote are escaped.
struct VisibleStyle {
  std::string_view lineBreak;
  bool markup = false;
};

void appendVisible(std::string_view text, const VisibleStyle& style, std::string& out);

/// A message without the line breaks at its end, such as those of a server's reply: they would only add empty
/// lines.
constexpr std::string_view withoutEndingBreaks(std::string_view message) noexcept {
  return message.substr(0, message.find_last_not_of("\r\n") + 1);
}

/// The error messages of one operation, one to a line, for telling a host why it failed. However many there
/// are, the first and the last 32 KiB of them stay. Takes text as `appendVisible` makes it.
class LogErrorText {
 public:
  void add(std::string_view message);
  std::string text() const;
  /// Empties and frees.
  void clear() noexcept;

 private:
  std::string text_;
  std::size_t headEnd_ = 0;  // where bytes were taken out
  std::size_t leftOut_ = 0;  // and how many
};

/// Length of the valid UTF-8 sequence (RFC 3629) that begins at `position`; 0 when there is none.
std::size_t utf8SequenceAt(std::string_view text, std::size_t position) noexcept;

}  // namespace qv

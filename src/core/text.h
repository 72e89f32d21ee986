// Looking at 8-bit text: ASCII case folding (A-Z only, no locale), trimming, searching.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qv {

constexpr char lowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
constexpr char upperAscii(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}
constexpr bool isBlank(char c) noexcept {
  return c == ' ' || c == '\t';
}
constexpr bool isWhite(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool startsWithNoCase(std::string_view text, std::string_view prefix) noexcept;
inline bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && startsWithNoCase(a, b);
}
/// Position of the first occurrence of `what` at or after `from`, or npos. Linear in the text for the short
/// fixed texts it is used with.
std::size_t findNoCase(std::string_view text, std::string_view what, std::size_t from = 0) noexcept;
/// As `std::string_view::find`, but by the platform's fast substring search (linear time in the worst case).
std::size_t findText(std::string_view text, std::string_view what, std::size_t from = 0) noexcept;

std::string_view trimmed(std::string_view text) noexcept;        ///< space, tab, CR, LF off both ends
std::string_view trimmedBlanks(std::string_view text) noexcept;  ///< space, tab off both ends
std::string toLower(std::string_view text);
std::string toUpper(std::string_view text);

/// Whether a text holds CR, LF or NUL, which may stand in no command line and no envelope address.
bool hasLineBreakOrNul(std::string_view text) noexcept;

}  // namespace qv

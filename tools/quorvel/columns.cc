#include "quorvel/columns.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace cli {

namespace {

struct Range {
  std::uint32_t first, last;
  std::size_t width;
};

// What does not take one column: marks that sit on the letter before, and the wide letters of East Asia.
constexpr std::array<Range, 14> kOtherWidths = {{
    {0x0300, 0x036F, 0},
    {0x200B, 0x200F, 0},
    {0xFE00, 0xFE0F, 0},
    {0x1100, 0x115F, 2},
    {0x2E80, 0x303E, 2},
    {0x3041, 0xA4CF, 2},
    {0xA960, 0xA97F, 2},
    {0xAC00, 0xD7A3, 2},
    {0xF900, 0xFAFF, 2},
    {0xFE30, 0xFE6F, 2},
    {0xFF00, 0xFF60, 2},
    {0xFFE0, 0xFFE6, 2},
    {0x1F300, 0x1FAFF, 2},
    {0x20000, 0x3FFFD, 2},
}};

struct Character {
  std::size_t bytes;
  std::size_t width;
};

/// The first character of a text that is not empty.
Character firstOf(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t bytes = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
  if (bytes == 1 || bytes > text.size()) return {1, 1};
  std::uint32_t code = lead & (0xFFU >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {1, 1};
    code = code << 6 | (next & 0x3FU);
  }
  const auto* range = std::find_if(kOtherWidths.begin(), kOtherWidths.end(), [code](const Range& row) {
    return row.first <= code && code <= row.last;
  });
  return {bytes, range == kOtherWidths.end() ? 1 : range->width};
}

/// The bytes that fit into a width; `used` gets what they take of it.
std::size_t bytesWithin(std::string_view text, std::size_t width, std::size_t& used) {
  std::size_t at = 0;
  used = 0;
  while (at < text.size()) {
    const Character next = firstOf(text.substr(at));
    if (used + next.width > width) break;
    used += next.width;
    at += next.bytes;
  }
  return at;
}

}  // namespace

std::size_t widthOf(std::string_view text) {
  std::size_t used = 0;
  bytesWithin(text, std::string_view::npos, used);
  return used;
}

std::string fitted(std::string_view text, std::size_t width) {
  constexpr std::string_view kMore = "...";
  std::size_t used = 0;
  if (bytesWithin(text, width, used) == text.size()) {
    return std::string(text).append(width - used, ' ');
  }
  const std::size_t dots = std::min(kMore.size(), width);
  std::string cut(text.substr(0, bytesWithin(text, width - dots, used)));
  return cut.append(kMore.substr(0, dots)).append(width - dots - used, ' ');
}

}  // namespace cli

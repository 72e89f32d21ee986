#include "net/utf16.h"

#include <cstddef>

#include "core/log_text.h"

namespace qv {

namespace {

/// Small letters with the same distance to their capitals: every one from `first` to `last`, or every second.
struct LetterRange {
  char32_t first, last;
  unsigned stride;
  int distance;
};

constexpr LetterRange kSmallLetters[] = {
    // Latin
    {0x61, 0x7A, 1, -32},
    {0xB5, 0xB5, 1, 743},
    {0xE0, 0xF6, 1, -32},
    {0xF8, 0xFE, 1, -32},
    {0xFF, 0xFF, 1, 121},
    {0x101, 0x12F, 2, -1},
    {0x131, 0x131, 1, -232},
    {0x133, 0x137, 2, -1},
    {0x13A, 0x148, 2, -1},
    {0x14B, 0x177, 2, -1},
    {0x17A, 0x17E, 2, -1},
    {0x17F, 0x17F, 1, -300},
    // Greek
    {0x371, 0x373, 2, -1},
    {0x377, 0x377, 1, -1},
    {0x37B, 0x37D, 1, 130},
    {0x3AC, 0x3AC, 1, -38},
    {0x3AD, 0x3AF, 1, -37},
    {0x3B1, 0x3C1, 1, -32},
    {0x3C2, 0x3C2, 1, -31},
    {0x3C3, 0x3CB, 1, -32},
    {0x3CC, 0x3CC, 1, -64},
    {0x3CD, 0x3CE, 1, -63},
    {0x3D0, 0x3D0, 1, -62},
    {0x3D1, 0x3D1, 1, -57},
    {0x3D5, 0x3D5, 1, -47},
    {0x3D6, 0x3D6, 1, -54},
    {0x3D7, 0x3D7, 1, -8},
    {0x3D9, 0x3EF, 2, -1},
    {0x3F0, 0x3F0, 1, -86},
    {0x3F1, 0x3F1, 1, -80},
    {0x3F2, 0x3F2, 1, 7},
    {0x3F3, 0x3F3, 1, -116},
    {0x3F5, 0x3F5, 1, -96},
    {0x3F8, 0x3F8, 1, -1},
    {0x3FB, 0x3FB, 1, -1},
    // Cyrillic
    {0x430, 0x44F, 1, -32},
    {0x450, 0x45F, 1, -80},
    {0x461, 0x481, 2, -1},
    {0x48B, 0x4BF, 2, -1},
    {0x4C2, 0x4CE, 2, -1},
    {0x4CF, 0x4CF, 1, -15},
    {0x4D1, 0x52F, 2, -1},
    // Armenian
    {0x561, 0x586, 1, -48},
    // Latin Extended Additional
    {0x1E01, 0x1E95, 2, -1},
    {0x1E9B, 0x1E9B, 1, -59},
    {0x1EA1, 0x1EFF, 2, -1},
};

bool isUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8SequenceAt(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

/// The character of one valid sequence.
char32_t utf8Character(std::string_view sequence) {
  constexpr unsigned char kLeadBits[] = {0x7F, 0x1F, 0x0F, 0x07};
  char32_t c = static_cast<unsigned char>(sequence[0]) & kLeadBits[sequence.size() - 1];
  for (const char next : sequence.substr(1)) c = c << 6 | (static_cast<unsigned char>(next) & 0x3F);
  return c;
}

void appendUnit(char32_t unit, SecretText& out) {
  out.append(static_cast<char>(unit)).append(static_cast<char>(unit >> 8));
}

void appendCharacter(char32_t c, SecretText& out) {
  if (c >= 0x10000) {
    appendUnit(0xD800 + ((c - 0x10000) >> 10), out);
    c = 0xDC00 + ((c - 0x10000) & 0x3FF);
  }
  appendUnit(c, out);
}

}  // namespace

char32_t upperCase(char32_t c) noexcept {
  for (const LetterRange& range : kSmallLetters) {
    if (c < range.first) return c;
    if (c <= range.last) {
      return (c - range.first) % range.stride != 0 ? c : c + static_cast<char32_t>(range.distance);
    }
  }
  return c;
}

SecretText utf16Of(std::string_view text, LetterCase letterCase) {
  const bool utf8 = isUtf8(text);
  SecretText out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8 ? utf8SequenceAt(text, at) : 1;
    const char32_t c = utf8 ? utf8Character(text.substr(at, length)) : static_cast<unsigned char>(text[at]);
    appendCharacter(letterCase == LetterCase::upper ? upperCase(c) : c, out);
    at += length;
  }
  return out;
}

}  // namespace qv

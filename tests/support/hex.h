// Bytes as hexadecimal digits, as published test vectors give them.
#pragma once

#include <string>
#include <string_view>

namespace qv_test {

inline std::string hexOf(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
    text += "0123456789abcdef"[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

/// Blanks between the digits are skipped.
inline std::string bytesOf(std::string_view digits) {
  std::string bytes;
  unsigned value = 1;  // a one in front of the digits that make a byte
  for (const char c : digits) {
    if (c == ' ') continue;
    value = value * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    if (value < 0x100) continue;
    bytes += static_cast<char>(value);
    value = 1;
  }
  return bytes;
}

}  // namespace qv_test

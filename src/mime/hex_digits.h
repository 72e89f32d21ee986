// Bytes and hexadecimal digits as the codings of MIME write and read them.
#pragma once

namespace qv {

/// A byte without its top bit.
constexpr char low7(char c) noexcept {
  return static_cast<char>(c & 0x7F);
}

/// Upper case, as RFC 2045 6.7 (1) and RFC 2047 4.2 ask.
inline constexpr char kHexDigits[] = "0123456789ABCDEF";

constexpr bool isHex(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

/// The value of a digit of either case; 0 for any other character.
constexpr unsigned hexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  return 0;
}

}  // namespace qv

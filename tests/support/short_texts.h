// Every short text over an alphabet that is chosen to be nasty, and random longer ones.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qv_test {

/// Calls `check` with every text of up to `longest` of the alphabet's bytes, the empty one included.
template <typename Check>
void forEachShortText(std::string_view alphabet, std::size_t longest, Check check) {
  std::vector<std::size_t> digits;
  std::string text;
  for (;;) {
    check(text);
    std::size_t i = 0;
    while (i < digits.size() && digits[i] + 1 == alphabet.size()) {
      text[i] = alphabet[digits[i] = 0];
      ++i;
    }
    if (i < digits.size()) {
      text[i] = alphabet[++digits[i]];
    } else if (digits.size() < longest) {
      digits.push_back(0);
      text += alphabet[0];
    } else {
      return;
    }
  }
}

/// A text of `size` bytes, each from one of the alphabet.
inline std::string randomText(std::mt19937& random, std::string_view alphabet, std::size_t size) {
  std::string text(size, '\0');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

/// The bytes in storage of exactly their size, so that a sanitizer sees what is read beyond them.
inline std::vector<char> exactly(std::string_view text) {
  return {text.begin(), text.end()};
}
inline std::string_view viewOf(const std::vector<char>& bytes) {
  return {bytes.data(), bytes.size()};
}

}  // namespace qv_test

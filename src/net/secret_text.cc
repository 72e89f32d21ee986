#include "net/secret_text.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"
#include "mime/hex_digits.h"
#include "mime/transfer_coding.h"
#include "platform/wipe.h"

namespace qv {

void SecretText::makeRoom(std::size_t count) {
  const std::size_t size = text_.size();
  if (count <= capacity_ - size) return;
  StringBuffer larger;
  const std::size_t capacity = std::max(size + count, 2 * capacity_);
  larger.reserve(capacity);
  larger.append(text_);
  text_.swap(larger);
  capacity_ = capacity;
  if (size != 0) wipe(larger.extend(0) - size, size);
}

SecretText& SecretText::append(std::string_view text) {
  if (!text.empty()) std::memcpy(extend(text.size()), text.data(), text.size());
  return *this;
}

SecretText& SecretText::appendBase64(std::string_view bytes) {
  makeRoom((bytes.size() + 2) / 3 * 4);
  ContentCoding::encodeBase64(bytes, text_);
  return *this;
}

char* SecretText::extend(std::size_t count) {
  makeRoom(count);
  return text_.extend(count);
}

void SecretText::clear() noexcept {
  if (capacity_ == 0) return;
  wipe(text_.extend(0) - text_.size(), text_.size());
  text_.release();
  capacity_ = 0;
}

void SecretText::swap(SecretText& other) noexcept {
  text_.swap(other.text_);
  std::swap(capacity_, other.capacity_);
}

namespace {

/// So many bytes at the start of a secret tell its coded forms: more than what all packages of a login
/// method may have in common, and little enough to find a form that was cut off.
constexpr std::size_t kTellingBytes = 12;
/// Shorter pieces of base64 are found in plain words.
constexpr std::size_t kTellingCharacters = 4;

bool isWordCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c & 0x80) != 0;
}

bool isCodedCharacter(char c) {
  return (isWordCharacter(c) && (c & 0x80) == 0) || c == '+' || c == '/' || c == '=';
}

bool isWord(std::string_view text, std::size_t begin, std::size_t end) {
  return (begin == 0 || !isWordCharacter(text[begin - 1])) &&
         (end == text.size() || !isWordCharacter(text[end]));
}

}  // namespace

void SecretMask::add(std::string_view secret) {
  if (secret.empty()) return;
  addSpelling(secret, secret.size() < kShort ? Around::word : Around::nothing);
  const std::string_view start = secret.substr(0, kTellingBytes);
  addBase64(start);
  addHexadecimal(start);
}

void SecretMask::addSpelling(std::string_view text, Around around) {
  spellings_.push_back({SecretText(text), around});
}

// Where a text stands in what is coded decides its characters: there are three ways, by the number of bytes
// before it in its group of three. The characters that it shares with its neighbours are not known.
void SecretMask::addBase64(std::string_view start) {
  for (std::size_t before = 0; before < 3; ++before) {
    SecretText bytes(std::string_view("\0\0", before));
    bytes.append(start);
    SecretText coded;
    coded.appendBase64(bytes);
    const std::size_t first = (before * 8 + 5) / 6;
    const std::size_t last = bytes.size() * 8 / 6;
    if (last >= first + kTellingCharacters) {
      addSpelling(coded.view().substr(first, last - first), Around::coded);
    } else if (before == 0) {
      addSpelling(coded, Around::coded);
    }
  }
}

void SecretMask::addHexadecimal(std::string_view start) {
  SecretText upper, lower;
  for (const char c : start) {
    const auto byte = static_cast<unsigned char>(c);
    for (const char digit : {kHexDigits[byte >> 4], kHexDigits[byte & 15]}) {
      upper.append(digit);
      lower.append(lowerAscii(digit));
    }
  }
  const Around around = upper.size() < kShort ? Around::word : Around::coded;
  addSpelling(upper, around);
  if (lower.view() != upper.view()) addSpelling(lower, around);
}

void SecretMask::hideIn(StringBuffer& text) const {
  for (const Spelling& spelling : spellings_) hideSpelling(spelling, text);
}

void SecretMask::hideSpelling(const Spelling& spelling, StringBuffer& text) {
  const std::string_view in = text;
  const std::string_view what = spelling.text;
  StringBuffer out;
  std::size_t copied = 0;
  for (std::size_t at = findText(in, what); at != std::string_view::npos;) {
    std::size_t begin = at;
    std::size_t end = at + what.size();
    if (spelling.around == Around::word && !isWord(in, begin, end)) {
      at = findText(in, what, at + 1);
      continue;
    }
    if (spelling.around == Around::coded) {
      while (begin > copied && isCodedCharacter(in[begin - 1])) --begin;
      while (end < in.size() && isCodedCharacter(in[end])) ++end;
    }
    out.append(in.substr(copied, begin - copied)).append(kMask);
    copied = end;
    at = findText(in, what, end);
  }
  if (copied == 0) return;
  out.append(in.substr(copied));
  text.swap(out);
}

}  // namespace qv

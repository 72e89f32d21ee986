#include "core/string_list.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/text.h"

namespace qv {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr char kEscape = '%';
constexpr char kEnd = ',';  // of a serialized text

std::string withLineEnds(std::string_view text, std::string_view lineEnd) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    if (text[i] == '\r' || text[i] == '\n') {
      result += lineEnd;
    } else {
      result += text[i];
    }
  }
  return result;
}

constexpr bool standsForItself(char c) noexcept {
  return c > ' ' && c < '\x7F' && c != kEscape && c != kEnd;
}

/// Takes one byte off the front of a serialized text; false when none is written there.
bool takeByte(std::string_view& encoded, char& byte) {
  byte = encoded.front();
  encoded.remove_prefix(1);
  if (byte != kEscape) return standsForItself(byte);
  if (encoded.size() < 2) return false;
  const std::string_view digits(kHexDigits);
  const std::size_t high = digits.find(upperAscii(encoded[0]));
  const std::size_t low = digits.find(upperAscii(encoded[1]));
  encoded.remove_prefix(2);
  byte = static_cast<char>(high * 16 + low);
  return high < 16 && low < 16;
}

bool takeText(std::string_view& encoded, std::string& text) {
  while (!encoded.empty() && encoded.front() != kEnd) {
    char byte = '\0';
    if (!takeByte(encoded, byte)) return false;
    text += byte;
  }
  if (encoded.empty()) return false;
  encoded.remove_prefix(1);
  return true;
}

}  // namespace

void StringList::insertAt(std::int32_t index, std::string_view text) {
  if (index >= 0 && static_cast<std::size_t>(index) <= texts_.size()) {
    insertBefore(static_cast<std::size_t>(index), text);
  }
}

void StringList::insertBefore(std::size_t index, std::string_view text) {
  std::string stored = asStored(text);
  std::size_t* occurrences = unique_ ? &occurrencesOf(stored) : nullptr;
  if (occurrences != nullptr && *occurrences > 0) return;
  texts_.insert(texts_.begin() + static_cast<std::ptrdiff_t>(index), std::move(stored));
  if (occurrences != nullptr) ++*occurrences;
}

std::string StringList::asStored(std::string_view text) const {
  if (trim_) text = trimmed(text);
  if (lineEnds_ == LineEnds::asTheyAre) return std::string(text);
  return withLineEnds(text, lineEnds_ == LineEnds::crLf ? "\r\n" : "\n");
}

std::size_t& StringList::occurrencesOf(const std::string& text) {
  if (!counted_) {
    occurrences_.clear();  // a count that was broken off
    for (const std::string& each : texts_) ++occurrences_[each];
    counted_ = true;
  }
  return occurrences_[text];
}

void StringList::forgetOne(const std::string& text) noexcept {
  if (!counted_) return;
  const auto known = occurrences_.find(text);
  if (--known->second == 0) occurrences_.erase(known);
}

void StringList::clear() noexcept {
  texts_.clear();
  occurrences_.clear();
}

bool StringList::contains(std::string_view text) const {
  if (!counted_) return find(text, 0) != kNotFound;
  const auto known = occurrences_.find(text);
  return known != occurrences_.end() && known->second > 0;
}

std::int32_t StringList::find(std::string_view text, std::int32_t beginIndex) const {
  const auto begin = static_cast<std::size_t>(std::max(beginIndex, 0));
  if (begin >= texts_.size()) return kNotFound;
  const auto found = std::find(texts_.begin() + static_cast<std::ptrdiff_t>(begin), texts_.end(), text);
  return found == texts_.end() ? kNotFound : static_cast<std::int32_t>(found - texts_.begin());
}

void StringList::remove(std::string_view text) {
  const std::string unwanted(text);  // the text may be one of those that go
  std::erase(texts_, unwanted);
  occurrences_.erase(unwanted);
}

void StringList::removeAt(std::int32_t index) {
  if (!isIndex(index)) return;
  const auto where = texts_.begin() + index;
  forgetOne(*where);
  texts_.erase(where);
}

std::string_view StringList::at(std::int32_t index) const noexcept {
  return isIndex(index) ? std::string_view(texts_[static_cast<std::size_t>(index)]) : std::string_view();
}

std::string_view StringList::last() const noexcept {
  return texts_.empty() ? std::string_view() : std::string_view(texts_.back());
}

std::string StringList::pop() {
  if (texts_.empty()) return {};
  std::string text = std::move(texts_.back());
  texts_.pop_back();
  forgetOne(text);
  return text;
}

void StringList::setUnique(bool unique) noexcept {
  unique_ = unique;
  if (unique) return;
  counted_ = false;
  occurrences_.clear();
}

std::string StringList::serialize() const {
  std::string encoded;
  for (const std::string& text : texts_) {
    for (const char c : text) {
      if (standsForItself(c)) {
        encoded += c;
      } else {
        const auto byte = static_cast<unsigned char>(c);
        encoded += {kEscape, kHexDigits[byte >> 4], kHexDigits[byte & 0x0F]};
      }
    }
    encoded += kEnd;
  }
  return encoded;
}

bool StringList::appendSerialized(std::string_view encoded) {
  encoded = trimmed(encoded);
  std::vector<std::string> texts;
  while (!encoded.empty()) {
    if (!takeText(encoded, texts.emplace_back())) return false;
  }
  for (const std::string& text : texts) append(text);
  return true;
}

}  // namespace qv

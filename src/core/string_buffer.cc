#include "core/string_buffer.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "core/text.h"

namespace qv {

bool StringBuffer::contains(std::string_view text) const noexcept {
  return findText(view(), text) != std::string_view::npos;
}

bool StringBuffer::containsNoCase(std::string_view text) const noexcept {
  return findNoCase(view(), text) != std::string_view::npos;
}

bool StringBuffer::equalsNoCase(std::string_view text) const noexcept {
  return qv::equalsNoCase(view(), text);
}

void StringBuffer::makeRoom(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / 2 - size()) throw std::bad_alloc();
  const std::size_t grown = bytes_.capacity() + bytes_.capacity() / 2;
  bytes_.reserve(std::max({size() + count + 1, grown, kInitialCapacity}));
}

void StringBuffer::reserve(std::size_t size) {
  if (size == std::numeric_limits<std::size_t>::max()) throw std::bad_alloc();
  if (size < bytes_.capacity()) return;
  bytes_.reserve(size + 1);
  bytes_.data()[this->size()] = '\0';
}

StringBuffer& StringBuffer::append(std::string_view text) {
  if (text.empty()) return *this;
  if (bytes_.capacity() == 0) makeRoom(text.size());
  bytes_.append(text, 1);
  bytes_.data()[size()] = '\0';
  return *this;
}

StringBuffer& StringBuffer::appendNumber(long long number) {
  char digits[24];
  const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  return append({digits, static_cast<std::size_t>(end - digits)});
}

void StringBuffer::set(std::string_view text) {
  bytes_.assign(text, 1);
  if (bytes_.capacity() != 0) bytes_.data()[size()] = '\0';
}

void StringBuffer::trim() {
  set(trimmed(view()));
}
void StringBuffer::trimBlanks() {
  set(trimmedBlanks(view()));
}
void StringBuffer::trimEnd() {
  std::size_t end = size();
  while (end > 0 && isWhite(bytes_.data()[end - 1])) --end;
  truncate(end);
}

void StringBuffer::toLower() noexcept {
  std::transform(bytes_.data(), bytes_.data() + size(), bytes_.data(), lowerAscii);
}

void StringBuffer::toUpper() noexcept {
  std::transform(bytes_.data(), bytes_.data() + size(), bytes_.data(), upperAscii);
}

std::size_t StringBuffer::replaceAll(std::string_view what, std::string_view with) {
  if (what.empty()) return 0;
  StringBuffer result;
  std::size_t count = 0;
  std::size_t done = 0;
  for (std::size_t at; (at = findText(view(), what, done)) != std::string_view::npos; ++count) {
    result.append(view().substr(done, at - done)).append(with);
    done = at + what.size();
  }
  if (count == 0) return 0;
  result.append(view().substr(done));
  swap(result);
  return count;
}

void StringBuffer::removeAll(char c) noexcept {
  char* end = std::remove(bytes_.data(), bytes_.data() + size(), c);
  truncate(static_cast<std::size_t>(end - bytes_.data()));
}

void StringBuffer::cutAtFirst(char c) noexcept {
  truncate(view().find(c));
}
void StringBuffer::cutAtLast(char c) noexcept {
  truncate(view().rfind(c));
}

void StringBuffer::removeControls() noexcept {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 && !isWhite(c); };
  char* end = std::remove_if(bytes_.data(), bytes_.data() + size(), isControl);
  truncate(static_cast<std::size_t>(end - bytes_.data()));
}

std::vector<std::string_view> splitText(std::string_view text, char delimiter, std::size_t limit) {
  std::vector<std::string_view> pieces;
  while (!text.empty() && pieces.size() < limit) {
    const std::size_t end = std::min(text.find(delimiter), text.size());
    if (end > 0) pieces.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return pieces;
}

std::vector<std::string_view> splitOutsideQuotes(std::string_view text, char delimiter) {
  std::vector<std::string_view> pieces;
  std::size_t start = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      quoted = !quoted;
    } else if (text[i] == delimiter && !quoted) {
      pieces.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

void appendXmlEscaped(std::string_view text, StringBuffer& out) {
  std::size_t done = 0;
  for (std::size_t at; (at = text.find_first_of("&<>\"", done)) != std::string_view::npos; done = at + 1) {
    out.append(text.substr(done, at - done));
    switch (text[at]) {
      case '&':
        out.append("&amp;");
        break;
      case '<':
        out.append("&lt;");
        break;
      case '>':
        out.append("&gt;");
        break;
      default:
        out.append("&quot;");
        break;
    }
  }
  out.append(text.substr(done));
}

}  // namespace qv

#include "core/log_text.h"

#include <array>

namespace qv {

namespace {

enum class ByteClass : unsigned char { plain, markup, lineBreak, other };

constexpr std::array<ByteClass, 256> makeByteClasses() {
  std::array<ByteClass, 256> classes{};
  for (unsigned c = 0; c < 256; ++c) classes[c] = c < 0x20 || c >= 0x7F ? ByteClass::other : ByteClass::plain;
  classes['\t'] = ByteClass::plain;
  for (const unsigned c : {0x0Du, 0x0Au}) classes[c] = ByteClass::lineBreak;
  for (const char c : {'&', '<', '>', '"'}) classes[static_cast<unsigned char>(c)] = ByteClass::markup;
  return classes;
}

constexpr std::array<ByteClass, 256> kByteClasses = makeByteClasses();

ByteClass classOf(char c) {
  return kByteClasses[static_cast<unsigned char>(c)];
}

std::string_view escapeFor(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return "&quot;";
  }
}

void appendHex(std::string_view bytes, std::string& out) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0x0F]};
  }
}

/// Whether a valid sequence of two bytes or more may be shown as it is.
bool isShowable(std::string_view sequence) {
  if (sequence.size() == 2) return !(sequence[0] == '\xC2' && sequence[1] < '\xA0');  // C1 controls
  return sequence != "\xE2\x80\xA8" && sequence != "\xE2\x80\xA9" &&                  // line separators
         sequence != "\xEF\xBF\xBE" && sequence != "\xEF\xBF\xBF";                    // not in XML
}

bool isTailByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

constexpr std::size_t kErrorTextKept = 32 * 1024;            // at each end
constexpr std::size_t kErrorTextBound = 4 * kErrorTextKept;  // room, so that cutting is seldom

}  // namespace

std::size_t utf8SequenceAt(std::string_view text, std::size_t position) noexcept {
  const auto byteAt = [&](std::size_t offset) -> unsigned {
    const std::size_t index = position + offset;
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
  };
  const auto isTail = [&](std::size_t offset) { return (byteAt(offset) & 0xC0) == 0x80; };
  const unsigned first = byteAt(0);
  if (first < 0x80) return position < text.size() ? 1 : 0;
  // RFC 3629 4: the second byte's range keeps out overlong forms, surrogates and what is above U+10FFFF.
  if (first >= 0xC2 && first <= 0xDF) return isTail(1) ? 2 : 0;
  const unsigned second = byteAt(1);
  if (first >= 0xE0 && first <= 0xEF) {
    const unsigned low = first == 0xE0 ? 0xA0 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : 0xBF;
    return second >= low && second <= high && isTail(2) ? 3 : 0;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    const unsigned low = first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xF4 ? 0x8F : 0xBF;
    return second >= low && second <= high && isTail(2) && isTail(3) ? 4 : 0;
  }
  return 0;
}

void appendVisible(std::string_view text, const VisibleStyle& style, std::string& out) {
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t end = i;
    while (end < text.size() && (classOf(text[end]) == ByteClass::plain ||
                                 (!style.markup && classOf(text[end]) == ByteClass::markup))) {
      ++end;
    }
    out.append(text.substr(i, end - i));
    i = end;
    if (i == text.size()) return;
    std::size_t length = 1;
    switch (classOf(text[i])) {
      case ByteClass::markup:
        out.append(escapeFor(text[i]));
        break;
      case ByteClass::lineBreak:
        if (text.substr(i, 2) == "\r\n") length = 2;
        out.append(style.lineBreak);
        break;
      default: {
        const std::size_t sequence = utf8SequenceAt(text, i);
        if (sequence > 1) length = sequence;
        const std::string_view bytes = text.substr(i, length);
        if (sequence > 1 && isShowable(bytes)) {
          out.append(bytes);
        } else {
          appendHex(bytes, out);
        }
      }
    }
    i += length;
  }
}

void LogErrorText::add(std::string_view message) {
  if (!text_.empty()) text_ += '\n';
  text_ += message;
  if (text_.size() <= kErrorTextBound) return;
  // No UTF-8 sequence is cut through.
  if (headEnd_ == 0) {
    headEnd_ = kErrorTextKept;
    while (headEnd_ > 0 && isTailByte(text_[headEnd_])) --headEnd_;
  }
  std::size_t tail = text_.size() - kErrorTextKept;
  while (tail > headEnd_ && isTailByte(text_[tail])) --tail;
  leftOut_ += tail - headEnd_;
  text_.erase(headEnd_, tail - headEnd_);
  if (text_.capacity() > 2 * kErrorTextBound) text_.shrink_to_fit();
}

std::string LogErrorText::text() const {
  if (leftOut_ == 0) return text_;
  const std::string note = "\n[... " + std::to_string(leftOut_) + " bytes left out ...]\n";
  return text_.substr(0, headEnd_) + note + text_.substr(headEnd_);
}

void LogErrorText::clear() noexcept {
  text_ = std::string();
  headEnd_ = 0;
  leftOut_ = 0;
}

}  // namespace qv

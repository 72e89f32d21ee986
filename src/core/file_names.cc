#include "core/file_names.h"

#include "core/text.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr bool isLetter(char c) noexcept {
  return lowerAscii(c) >= 'a' && lowerAscii(c) <= 'z';
}

// A ':' separates drives and streams on some systems; a quote would not survive in a header field.
constexpr bool mayStandInName(char c) noexcept {
  return static_cast<unsigned char>(c) >= 0x20 && c != '\x7F' && c != ':' && c != '"';
}

// Some systems drop dots and blanks at the end of a name, which would then be another one.
std::string_view withoutTail(std::string_view name) noexcept {
  return name.substr(0, name.find_last_not_of(". ") + 1);
}

// At most `size` bytes, not ending inside a UTF-8 sequence.
std::string_view cutTo(std::string_view text, std::size_t size) noexcept {
  if (text.size() <= size) return text;
  constexpr std::size_t kMostContinuations = 3;
  std::size_t end = size;
  while (end > 0 && size - end < kMostContinuations && (text[end] & 0xC0) == 0x80) --end;
  return withoutTail(text.substr(0, end));
}

}  // namespace

std::string safeFileName(std::string_view received) {
  const std::size_t separator = received.find_last_of("/\\");
  if (separator != kNone) received.remove_prefix(separator + 1);
  if (received.size() >= 2 && isLetter(received[0]) && received[1] == ':') received.remove_prefix(2);
  std::string name;
  for (const char c : received) {
    if (mayStandInName(c)) name += c;
  }
  return uniqueFileName(withoutTail(name), 1);
}

std::string uniqueFileName(std::string_view name, std::uint64_t number) {
  constexpr std::size_t kMaxExtension = 64;  // of a name that must be cut; a longer one says nothing
  const std::string digits = number > 1 ? std::to_string(number) : "";
  std::string_view stem = name.substr(0, name.rfind('.'));
  std::string_view extension = name.substr(stem.size());
  if (name.size() + digits.size() > kMaxFileName) {
    if (extension.size() > kMaxExtension) {
      stem = name;
      extension = {};
    }
    stem = cutTo(stem, kMaxFileName - digits.size() - extension.size());
  }
  return std::string(stem).append(digits).append(extension);
}

}  // namespace qv

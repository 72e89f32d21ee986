#include "core/text.h"

#include <algorithm>
#include <cstring>

// The address sanitizers' memmem looks at the whole rest of a text at each call, so that a loop of searches
// would be quadratic.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QV_SANITIZED 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QV_SANITIZED 1
#endif
#if !QV_SANITIZED && (defined(__GLIBC__) || defined(__APPLE__) || defined(__FreeBSD__))
#define QV_HAVE_MEMMEM 1
#endif

namespace qv {
namespace {

template <typename Drop>
std::string_view trimmedOf(std::string_view text, Drop drop) noexcept {
  while (!text.empty() && drop(text.back())) text.remove_suffix(1);
  while (!text.empty() && drop(text.front())) text.remove_prefix(1);
  return text;
}

template <typename Map>
std::string mapped(std::string_view text, Map map) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), map);
  return result;
}

// The next place of one character, remembered until the search passes it, so that two searches side by side
// read the text no more than twice.
class NextOf {
 public:
  NextOf(std::string_view text, char c) noexcept : text_(text), c_(c) {}
  std::size_t from(std::size_t start) noexcept {
    if (!known_ || at_ < start) {
      at_ = text_.find(c_, start);
      known_ = true;
    }
    return at_;
  }

 private:
  std::string_view text_;
  char c_;
  std::size_t at_ = 0;
  bool known_ = false;
};

}  // namespace

bool startsWithNoCase(std::string_view text, std::string_view prefix) noexcept {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (lowerAscii(text[i]) != lowerAscii(prefix[i])) return false;
  }
  return true;
}

std::size_t findNoCase(std::string_view text, std::string_view what, std::size_t from) noexcept {
  if (from > text.size() || what.size() > text.size() - from) return std::string_view::npos;
  if (what.empty()) return from;
  NextOf lower(text, lowerAscii(what[0]));
  NextOf upper(text, upperAscii(what[0]));
  for (;;) {
    const std::size_t at = std::min(lower.from(from), upper.from(from));
    if (at == std::string_view::npos || startsWithNoCase(text.substr(at), what)) return at;
    from = at + 1;
  }
}

std::size_t findText(std::string_view text, std::string_view what, std::size_t from) noexcept {
  if (from > text.size() || what.size() > text.size() - from) return std::string_view::npos;
  if (what.empty()) return from;
#if QV_HAVE_MEMMEM
  // As long as its first character is rare, nothing is faster than looking for that alone. The text that is
  // passed so pays for each try that fails, and when it no longer does, memmem takes over.
  std::size_t credit = 1024;
  const std::size_t price = 32 + what.size();
  while (credit >= price) {
    const void* first = std::memchr(text.data() + from, what[0], text.size() - from);
    if (first == nullptr) return std::string_view::npos;
    const auto at = static_cast<std::size_t>(static_cast<const char*>(first) - text.data());
    if (what.size() > text.size() - at) return std::string_view::npos;
    if (std::memcmp(text.data() + at, what.data(), what.size()) == 0) return at;
    credit += at - from;
    credit -= price;
    from = at + 1;
  }
  const void* at = memmem(text.data() + from, text.size() - from, what.data(), what.size());
  return at == nullptr ? std::string_view::npos
                       : static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
#else
  return text.find(what, from);
#endif
}

std::string_view trimmed(std::string_view text) noexcept {
  return trimmedOf(text, isWhite);
}
std::string_view trimmedBlanks(std::string_view text) noexcept {
  return trimmedOf(text, isBlank);
}

std::string toLower(std::string_view text) {
  return mapped(text, lowerAscii);
}
std::string toUpper(std::string_view text) {
  return mapped(text, upperAscii);
}

bool hasLineBreakOrNul(std::string_view text) noexcept {
  return std::any_of(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

}  // namespace qv

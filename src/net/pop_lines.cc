#include "net/pop_lines.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::string_view kOk = "+OK";
constexpr std::string_view kWhite = " \t\r\n\v\f";

void skipWhite(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhite), text.size()));
}

/// Takes a decimal number, signed or not, and the white space before it off the front. What 64 bits do not
/// hold reads as the largest or smallest that they do.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
  skipWhite(text);
  const bool negative = text.starts_with('-');
  if (!negative && text.starts_with('+')) text.remove_prefix(1);
  if (!negative && text.starts_with('-')) return std::nullopt;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::invalid_argument) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  using Limits = std::numeric_limits<std::int64_t>;
  if (error == std::errc{}) return number;
  return negative ? Limits::min() : Limits::max();
}

std::int32_t nearest(std::int64_t number) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}

}  // namespace

bool isPopOk(std::string_view line) noexcept {
  return startsWithNoCase(line, kOk);
}

std::optional<PopStatus> readPopStatus(std::string_view line) noexcept {
  if (!line.starts_with(kOk)) return std::nullopt;
  line.remove_prefix(kOk.size());
  const auto count = takeNumber(line);
  const auto totalSize = count ? takeNumber(line) : std::nullopt;
  if (!totalSize) return std::nullopt;
  return PopStatus{nearest(*count), nearest(*totalSize)};
}

std::optional<PopListed> readPopListed(std::string_view line) noexcept {
  const auto number = takeNumber(line);
  if (!number || nearest(*number) != *number) return std::nullopt;
  skipWhite(line);
  const std::string_view uidl = line.substr(0, line.find_first_of(kWhite));
  if (uidl.empty()) return std::nullopt;
  return PopListed{nearest(*number), uidl};
}

}  // namespace qv

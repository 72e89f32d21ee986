#include "mailman/mbx_file.h"

#include <algorithm>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kSeparator = "From ";

/// Whether CR and LF stand in pairs only. Without a branch in the loop, so that it becomes vector code.
bool hasCrLfOnly(std::string_view text) noexcept {
  if (text.empty()) return true;
  unsigned char odd = 0;
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    odd = static_cast<unsigned char>(odd | ((text[i] == '\r') != (text[i + 1] == '\n') ? 1 : 0));
  }
  return odd == 0 && text.front() != '\n' && text.back() != '\r';
}

/// Whether a separator stands here, CRs aside.
bool isSeparator(std::string_view text) noexcept {
  std::size_t matched = 0;
  for (const char c : text) {
    if (c == '\r') continue;
    if (c != kSeparator[matched]) return false;
    if (++matched == kSeparator.size()) return true;
  }
  return false;
}

void appendLfAsCrLf(std::string_view text, StringBuffer& out) {
  for (std::size_t end = text.find('\n'); end != kNone; end = text.find('\n')) {
    out.append(text.substr(0, end)).append("\r\n");
    text.remove_prefix(end + 1);
  }
  out.append(text);
}

}  // namespace

std::string_view MbxReader::textFrom(std::size_t begin) {
  if (begin >= oddEnd_) {
    // A separator right behind `begin` counts: the line end before it belongs to the line above.
    const std::size_t found = findText(text_, "\nFrom ", begin - 1);
    at_ = found == kNone ? text_.size() : found + 1;
    const std::string_view part = text_.substr(begin, at_ - begin);
    if (hasCrLfOnly(part)) return part;
    if (part.find('\r') == kNone) {
      uniform_.clear();
      appendLfAsCrLf(part, uniform_);
      return uniform_;
    }
    oddEnd_ = at_;
  }
  return oddTextFrom(begin);
}

std::string_view MbxReader::oddTextFrom(std::size_t begin) {
  const std::string_view part = text_.substr(begin, oddEnd_ - begin);
  at_ = oddEnd_;
  uniform_.clear();
  for (std::size_t i = 0; i < part.size();) {
    if (isSeparator(part.substr(i))) {
      at_ = begin + i;
      break;
    }
    const std::size_t end = std::min(part.find('\n', i), part.size());
    for (; i < end; ++i) {
      if (part[i] != '\r') uniform_.append(part[i]);
    }
    if (i++ < part.size()) uniform_.append("\r\n");
  }
  return uniform_;
}

bool MbxReader::next(std::string_view& message) {
  while (at_ < text_.size()) {
    const std::size_t lineEnd = text_.find('\n', at_);
    if (lineEnd == kNone) break;
    message = textFrom(lineEnd + 1);
    if (!message.empty()) return true;
  }
  at_ = text_.size();
  message = {};
  return false;
}

}  // namespace qv

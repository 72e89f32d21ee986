#include "email/line_ends.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

}  // namespace

void appendWithCrLf(std::string_view text, StringBuffer& out) {
  std::size_t done = 0;
  for (std::size_t at = text.find('\n'); at != kNone; at = text.find('\n', at + 1)) {
    if (at > 0 && text[at - 1] == '\r') continue;
    out.append(text.substr(done, at - done)).append("\r\n");
    done = at + 1;
  }
  out.append(text.substr(done));
}

void appendWithoutLoneCr(std::string_view text, BinaryData& out) {
  std::size_t done = 0;
  for (std::size_t at = text.find('\r'); at != kNone; at = text.find('\r', at + 1)) {
    if (at + 1 < text.size() && text[at + 1] == '\n') continue;
    out.append(text.substr(done, at + 1 - done));
    out.append("\n");
    done = at + 1;
  }
  out.append(text.substr(done));
}

}  // namespace qv

#include "mail_server/multi_line_encoder.h"

#include <algorithm>

namespace qv {

void MultiLineEncoder::feed(std::string_view bytes) {
  std::size_t handedOn = 0;
  const auto handOnTo = [&](std::size_t end) {
    out_.add(bytes.substr(handedOn, end - handedOn));
    handedOn = end;
  };
  for (std::size_t at = 0; at < bytes.size();) {
    if (atLineStart_ && bytes[at] == '.') {
      handOnTo(at);
      out_.add(".");
    }
    const std::size_t lineFeed = bytes.find('\n', at);
    atLineStart_ = lineFeed != std::string_view::npos;
    if (!atLineStart_) {
      afterCr_ = bytes.back() == '\r';
      break;
    }
    if (!(lineFeed > 0 ? bytes[lineFeed - 1] == '\r' : afterCr_)) {
      handOnTo(lineFeed);
      out_.add("\r");
    }
    at = lineFeed + 1;
    afterCr_ = false;
  }
  handOnTo(bytes.size());
}

void MultiLineEncoder::finish() {
  out_.add(atLineStart_ ? ".\r\n" : "\r\n.\r\n");
}

std::size_t TopOfMessage::feed(std::string_view bytes) {
  std::size_t at = 0;
  while (at < bytes.size() && !ended()) {
    const std::size_t lineFeed = std::min(bytes.find('\n', at), bytes.size());
    lineStart_.append(bytes.substr(at, std::min(lineFeed - at, 2 - lineStart_.size())));
    if (lineFeed == bytes.size()) return lineFeed;
    if (!inHeader_) --linesLeft_;
    if (lineStart_.empty() || lineStart_ == "\r") inHeader_ = false;
    lineStart_.clear();
    at = lineFeed + 1;
  }
  return at;
}

}  // namespace qv

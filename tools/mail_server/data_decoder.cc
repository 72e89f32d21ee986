#include "mail_server/data_decoder.h"

#include <cstring>

namespace qv {

std::size_t DataDecoder::feed(std::string_view bytes, std::string* text) {
  std::size_t at = 0;
  std::size_t kept = 0;  // what stands before it has been handed on, or is no text
  const auto add = [&](std::string_view piece) {
    size_ += piece.size();
    if (text != nullptr) text->append(piece);
  };

  while (at < bytes.size() && state_ != State::ended) {
    switch (state_) {
      case State::lineStart:
        state_ = State::inLine;
        afterCr_ = false;
        if (bytes[at] == '.') {
          state_ = State::afterDot;
          add(bytes.substr(kept, at - kept));
          kept = ++at;
        }
        break;
      case State::afterDot:
        state_ = State::inLine;
        if (bytes[at] == '\r') {
          state_ = State::afterDotCr;
          kept = ++at;
        }
        break;
      case State::afterDotCr:
        if (bytes[at] == '\n') {
          state_ = State::ended;
          kept = ++at;
        } else {
          add("\r");
          state_ = State::inLine;
          afterCr_ = true;
        }
        break;
      case State::inLine: {
        const void* found = std::memchr(bytes.data() + at, '\n', bytes.size() - at);
        if (found == nullptr) {
          afterCr_ = bytes.back() == '\r';
          at = bytes.size();
          break;
        }
        const auto lineFeed = static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data());
        if (lineFeed > at ? bytes[lineFeed - 1] == '\r' : afterCr_) state_ = State::lineStart;
        afterCr_ = false;
        at = lineFeed + 1;
        break;
      }
      case State::ended:
        break;
    }
  }
  add(bytes.substr(kept, at - kept));
  return at;
}

}  // namespace qv

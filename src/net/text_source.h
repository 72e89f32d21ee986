// Text that is made while it is sent.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/string_buffer.h"

namespace qv {

/// Gives a text piece by piece.
class TextSource {
 public:
  virtual ~TextSource() = default;
  /// The next bytes, 1 to `most` of them, valid until the next call; none at the end of the text.
  virtual std::string_view next(std::size_t most) = 0;
};

/// Appends what is left of a text, or its next `most` bytes.
inline void appendFrom(TextSource& text, StringBuffer& out, std::size_t most = std::string_view::npos) {
  while (most > 0) {
    const std::string_view piece = text.next(most);
    if (piece.empty()) return;
    out.append(piece);
    most -= piece.size();
  }
}

/// A text that stands ready.
class ReadyText final : public TextSource {
 public:
  explicit ReadyText(std::string_view text) noexcept : rest_(text) {}
  std::string_view next(std::size_t most) override {
    const std::string_view piece = rest_.substr(0, most);
    rest_.remove_prefix(piece.size());
    return piece;
  }

 private:
  std::string_view rest_;
};

}  // namespace qv

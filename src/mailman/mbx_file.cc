#include "mailman/mbx_file.h"

#include <algorithm>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::string_view kBehindLine = "\nFrom ";

/// Whether a separator's beginning ends a message's text.
bool endsWithSeparator(std::string_view text) noexcept {
  return text.ends_with(kBehindLine) || text == kMbxSeparator;
}

/// Whether what follows a message's text could make it end with one.
bool mayBecomeSeparator(std::string_view text) noexcept {
  for (std::size_t size = 0; size < kMbxSeparator.size(); ++size) {
    if (text.ends_with(kBehindLine.substr(0, size + 1)) || text == kMbxSeparator.substr(0, size)) return true;
  }
  return false;
}

}  // namespace

/// Copies text behind that of a message, making its line ends uniform.
class MbxReader::Copy {
 public:
  /// Makes room for what the piece can become: twice its size when it is nothing but LFs, and what is copied
  /// too far. Pages that are not written cost nothing.
  Copy(std::string_view piece, StringBuffer& text)
      : text_(text),
        end_(piece.data() + piece.size()),
        at_{piece.data(), text.extend(2 * piece.size() + MbxKernel::kMargin)} {}
  ~Copy() { text_.truncate(made().size()); }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;

  std::string_view made() const noexcept {
    return {text_.view().data(), static_cast<std::size_t>(at_.to - text_.view().data())};
  }
  std::string_view left() const noexcept { return {at_.from, static_cast<std::size_t>(end_ - at_.from)}; }
  /// True when the line's end is there.
  bool skipLine() noexcept {
    const std::size_t lineEnd = left().find('\n');
    at_.from = lineEnd == std::string_view::npos ? end_ : at_.from + lineEnd + 1;
    return lineEnd != std::string_view::npos;
  }
  /// Copies up to a separator, or what else the kernel leaves.
  void copyMost(const MbxKernel& kernel) {
    if (!mayBecomeSeparator(made())) at_ = kernel.copy(at_, end_);
  }
  bool copyOdd() noexcept;

 private:
  StringBuffer& text_;
  const char* const end_;
  MbxKernel::Place at_;
};

/// Copies some bytes, whatever they are. True when a separator began: it is taken off again.
bool MbxReader::Copy::copyOdd() noexcept {
  for (std::size_t count = std::min(MbxKernel::kMargin, left().size()); count > 0; --count) {
    const char c = *at_.from++;
    if (c == '\r') continue;
    if (c == '\n') *at_.to++ = '\r';
    *at_.to++ = c;
    if (c != kMbxSeparator.back() || !endsWithSeparator(made())) continue;
    at_.to -= kMbxSeparator.size();
    return true;
  }
  return false;
}

bool MbxReader::read(std::string_view& piece) {
  if (isComplete_) text_.clear();
  isComplete_ = false;
  if (piece.empty()) return false;
  Copy copy(piece, text_);
  while (!copy.left().empty() && !isComplete_) {
    if (inSeparator_) inSeparator_ = !copy.skipLine();
    if (inSeparator_) break;
    copy.copyMost(kernel_);
    inSeparator_ = copy.copyOdd();
    isComplete_ = inSeparator_ && !copy.made().empty();
  }
  piece = copy.left();
  return isComplete_;
}

bool MbxReader::finish() noexcept {
  if (isComplete_) text_.clear();
  isComplete_ = !text_.empty();
  return isComplete_;
}

bool MbxFile::open(std::string_view fileName) {
  if (fileName.empty()) logError(log_, "filename is missing");
  return !fileName.empty() && file_.open(fileName);
}

bool MbxFile::next(std::string_view& message) {
  constexpr std::size_t kPiece = std::size_t{256} << 10;  // stays in the processor's caches
  bool isThere = reader_.read(piece_);
  for (; !isThere && state_ == State::reading; isThere = reader_.read(piece_)) {
    bytes_.truncate(0);
    char* const room = bytes_.extend(kPiece);
    std::size_t received = 0;
    if (!file_.read(room, kPiece, received)) {
      state_ = State::brokenOff;
    } else if (received < kPiece) {
      state_ = State::atEnd;
    }
    piece_ = {room, received};
  }
  if (!isThere && state_ == State::atEnd) isThere = reader_.finish();
  message = isThere ? reader_.message() : std::string_view();
  return isThere;
}

}  // namespace qv

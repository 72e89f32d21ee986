#include "mailman/mbx_file.h"

#include <algorithm>
#include <cstring>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kSeparator = "From ";

/// What one look at a message tells.
struct Sight {
  std::size_t end = kNone;  ///< of the message: where the next separator begins; kNone at the end of the text
  bool hasCr = false;
  bool isOdd = false;  ///< CR and LF do not stand in pairs only
};

/// Looks at the message that begins at `begin`, behind a line end. A separator right there ends it.
Sight lookAt(std::string_view text, std::size_t begin) noexcept {
  constexpr std::size_t kBlock = 128;
  const char* const bytes = text.data();
  const std::size_t last = text.size() - 1;  // pairs begin before it
  Sight sight;
  unsigned char odd = 0, cr = 0;
  for (std::size_t at = begin - 1; at < last;) {
    // Without a branch, so that it becomes vector code; what makes a line begin with 'F' is looked at closer.
    if (at + kBlock <= last) {
      unsigned char f = 0, oddHere = 0, crHere = 0;
      for (std::size_t i = at; i < at + kBlock; ++i) {
        f = static_cast<unsigned char>(f | ((bytes[i] == '\n') & (bytes[i + 1] == 'F')));
        oddHere = static_cast<unsigned char>(oddHere | ((bytes[i] == '\r') ^ (bytes[i + 1] == '\n')));
        crHere = static_cast<unsigned char>(crHere | (bytes[i] == '\r'));
      }
      if (f == 0) {
        odd |= oddHere;
        cr |= crHere;
        at += kBlock;
        continue;
      }
    }
    for (const std::size_t end = std::min(at + kBlock, last); at < end; ++at) {
      if (bytes[at] == '\n' && text.substr(at + 1).starts_with(kSeparator)) {
        sight.end = at + 1;
        sight.hasCr = cr != 0;
        sight.isOdd = odd != 0;
        return sight;
      }
      odd = static_cast<unsigned char>(odd | ((bytes[at] == '\r') != (bytes[at + 1] == '\n')));
      cr = static_cast<unsigned char>(cr | (bytes[at] == '\r'));
    }
  }
  const bool endsWithCr = bytes[last] == '\r' && last >= begin;
  sight.hasCr = cr != 0 || endsWithCr;
  sight.isOdd = odd != 0 || endsWithCr;
  return sight;
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

/// Appends a text without CRs, its LFs made CR LF.
void appendLfAsCrLf(std::string_view text, StringBuffer& out) {
  // Lines of mail are shorter than this: a copy of one fixed length is several times faster than one that
  // must look at a length, and what it copies too much is written over.
  constexpr std::size_t kStride = 80;
  const std::size_t before = out.size();
  char* const start = out.extend(2 * text.size() + kStride);  // pages that are not written cost nothing
  char* to = start;
  const char* from = text.data();
  const char* const end = from + text.size();
  while (from < end) {
    const auto left = static_cast<std::size_t>(end - from);
    const auto* lineEnd = static_cast<const char*>(std::memchr(from, '\n', left));
    const auto length = lineEnd == nullptr ? left : static_cast<std::size_t>(lineEnd - from);
    if (length <= kStride && left >= kStride) {
      std::memcpy(to, from, kStride);
    } else {
      std::memcpy(to, from, length);
    }
    to += length;
    from += length + 1;
    if (lineEnd == nullptr) break;
    *to++ = '\r';
    *to++ = '\n';
  }
  out.truncate(before + static_cast<std::size_t>(to - start));
}

}  // namespace

std::string_view MbxReader::textFrom(std::size_t begin) {
  if (begin >= oddEnd_) {
    const Sight sight = lookAt(text_, begin);
    at_ = std::min(sight.end, text_.size());
    const std::string_view part = text_.substr(begin, at_ - begin);
    if (!sight.isOdd) return part;
    if (!sight.hasCr) {
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

bool MbxFile::open(std::string_view fileName) {
  if (fileName.empty()) logError(log_, "filename is missing");
  return !fileName.empty() && file_.open(fileName);
}

bool MbxFile::next(std::string_view& message) {
  while (!reader_.next(message)) {
    if (!readPiece()) return false;
  }
  return true;
}

/// Reads until there is a separator behind at least one message, or the file ends.
bool MbxFile::readPiece() {
  constexpr std::size_t kPiece = std::size_t{256} << 10;  // stays in the processor's caches
  constexpr std::string_view kBehindLine = "\nFrom ";
  if (hasEnded_) return false;
  const std::size_t rest = bytes_.size() - pieceEnd_;
  if (rest != 0) std::memmove(bytes_.data(), bytes_.data() + pieceEnd_, rest);
  bytes_.truncate(rest);
  for (std::size_t separator = kNone; separator == kNone && !hasEnded_;) {
    // As much again as is there: a message of any length is moved a few times only.
    const std::size_t before = bytes_.size();
    const std::size_t wanted = std::max(kPiece, before);
    std::size_t received = 0;
    const bool isWhole = file_.read(bytes_.extend(wanted), wanted, received);
    bytes_.truncate(before + received);
    hasEnded_ = !isWhole || received < wanted;
    const std::size_t searched = before - std::min(before, kBehindLine.size());
    separator = std::string_view(bytes_.data(), bytes_.size()).substr(searched).rfind(kBehindLine);
    pieceEnd_ = separator == kNone ? 0 : searched + separator + 1;
    if (isWhole && hasEnded_) pieceEnd_ = bytes_.size();
  }
  reader_ = MbxReader({bytes_.data(), pieceEnd_});
  return true;
}

}  // namespace qv

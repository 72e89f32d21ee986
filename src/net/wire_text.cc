#include "net/wire_text.h"

#include <algorithm>
#include <cstring>

#include "mime/transfer_coding.h"

namespace qv {

namespace {

// Fields that tell the component what to do never leave the machine.
constexpr std::string_view kPrivatePrefix = "QVX-";

// What is changed at a time: whole lines of base64, and a size that stays in the cache.
constexpr std::size_t kBytesOfLine = ContentCoding::kLineLength / 4 * 3;
constexpr std::size_t kPiece = 1200 * kBytesOfLine;
constexpr std::size_t kLineEnd = 2;

std::size_t base64Size(std::size_t count) noexcept {
  return (count + 2) / 3 * 4 + count / kBytesOfLine * kLineEnd + kLineEnd;
}

// Most lines of mail are shorter than this: a copy of a fixed length is several times faster than one that
// must look at a length, and what it copies too much is written over.
constexpr std::size_t kStride = 80;

char* copyPart(char* to, const char* from, const char* partEnd, const char* end) noexcept {
  const auto length = static_cast<std::size_t>(partEnd - from);
  if (length <= kStride && static_cast<std::size_t>(end - from) >= kStride) {
    std::memcpy(to, from, kStride);
  } else {
    std::memcpy(to, from, length);
  }
  return to + length;
}

// At worst every byte of a piece is a line end or a dot that gets another byte.
constexpr std::size_t kRoom = 2 * kPiece + kStride;

// Writes lines with what they need, and gives the end; `before` stands in front of them. There is room for
// `kStride` bytes more.
char* writeLines(std::string_view text, char before, bool crLf, char* to) noexcept {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (;;) {
    if (at != end && *at == '.' && before == '\n') *to++ = '.';
    const auto* const lf =
        static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
    if (lf == nullptr) break;
    if (lf != at) before = lf[-1];
    to = copyPart(to, at, lf, end);
    if (crLf && before != '\r') *to++ = '\r';
    *to++ = before = '\n';
    at = lf + 1;
  }
  return copyPart(to, at, end, end);
}

}  // namespace

WireText::WireText(const Email& email, bool mayReadBodies) {
  std::vector<OutsideBody> outside;
  if (mayReadBodies) {
    outside = email.writeMimeAround(text_, kPrivatePrefix);
  } else {
    email.writeMime(text_, kPrivatePrefix);
  }
  std::size_t written = 0;
  const auto addWritten = [&](std::size_t end) {
    const std::string_view bytes = text_.view().substr(written, end - written);
    addText(bytes, lineFactsOf(bytes), Form::asItIs);
    written = end;
  };
  for (const OutsideBody& place : outside) {
    addWritten(place.at);
    const MimeBody& body = *place.body;
    if (body.coding() == MimeBody::Coding::base64) {
      addBase64(body.data().view());
    } else {
      addText(body.data().view(), body.lineFacts(), Form::crLf);
    }
  }
  addWritten(text_.size());
}

std::size_t WireText::addedTo(const LineFacts& facts, Form form) noexcept {
  return facts.dots + (form == Form::crLf ? facts.bareLfs : 0);
}

void WireText::addText(std::string_view bytes, const LineFacts& facts, Form form) {
  const std::size_t added = addedTo(facts, form);
  runs_.push_back({bytes, form, added});
  size_ += bytes.size() + added;
}

void WireText::addBase64(std::string_view bytes) {
  const std::size_t size = base64Size(bytes.size());
  runs_.push_back({bytes, Form::base64, size - bytes.size()});
  size_ += size;
}

StringBuffer WireText::whole() const {
  StringBuffer out;
  out.reserve(size_);
  Reader reader(*this);
  appendFrom(reader, out);
  return out;
}

WireText::Reader::Reader(const WireText& text) : text_(text) {
  const bool changes =
      std::any_of(text.runs_.begin(), text.runs_.end(), [](const Run& run) { return run.added != 0; });
  if (changes) changed_.reserve(kRoom + 1);
}

std::string_view WireText::Reader::next(std::size_t most) {
  if (prepared_.empty()) prepareMore();
  const std::string_view piece = prepared_.substr(0, most);
  prepared_.remove_prefix(piece.size());
  return piece;
}

void WireText::Reader::prepareMore() {
  for (; run_ < text_.runs_.size(); ++run_, at_ = 0) {
    const Run& run = text_.runs_[run_];
    if (at_ == run.bytes.size()) continue;
    const std::string_view piece = run.added != 0 ? run.bytes.substr(at_, kPiece) : run.bytes;
    if (run.added == 0) {
      prepared_ = piece;
    } else if (run.form == Form::base64) {
      prepareBase64(piece, at_ + piece.size() == run.bytes.size());
    } else {
      prepareLines(piece, at_ == 0 ? '\n' : run.bytes[at_ - 1], run);
    }
    at_ += piece.size();
    return;
  }
}

void WireText::Reader::prepareBase64(std::string_view bytes, bool isLast) {
  changed_.clear();
  ContentCoding::encodeBase64Lines(bytes, changed_);
  if (!isLast) changed_.truncate(changed_.size() - kLineEnd);
  prepared_ = changed_;
}

void WireText::Reader::prepareLines(std::string_view piece, char before, const Run& run) {
  const bool isRare = run.added < run.bytes.size() / kPiece;  // most pieces can be handed out as they are
  if (isRare) {
    LineScan scan(before);
    scan.add(piece);
    if (addedTo(scan.facts(), run.form) == 0) {
      prepared_ = piece;
      return;
    }
  }
  changed_.clear();
  char* const to = changed_.extend(kRoom);
  changed_.truncate(static_cast<std::size_t>(writeLines(piece, before, run.form == Form::crLf, to) - to));
  prepared_ = changed_;
}

}  // namespace qv

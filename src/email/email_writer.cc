// Writing a message as text, and facts about it.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "core/text.h"
#include "email/email.h"
#include "email/line_ends.h"
#include "platform/clock.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Whether a body is long enough to be left where it lies, and can be written piece by piece.
bool canStayOutside(const MimeBody& body) noexcept {
  constexpr std::size_t kLarge = std::size_t{64} << 10;
  return body.data().size() >= kLarge && body.coding() != MimeBody::Coding::quotedPrintable;
}

// Room for the text of a tree. Bodies that are not base64 get some for line ends and escapes.
std::size_t estimatedSize(const Email& top, bool withLargeBodies) {
  constexpr std::size_t kPerEntity = 120;  // delimiter, empty line, line ends
  std::size_t size = 0;
  Email::forEachEntity(top, [&](const Email& entity) {
    size += kPerEntity + entity.header().getExactSize();
    if (!withLargeBodies && canStayOutside(entity.body())) return;
    const std::size_t body = entity.body().getEstimatedEncodedSize();
    const bool isBase64 = entity.body().coding() == MimeBody::Coding::base64;
    size += body + (isBase64 ? 0 : body / 8);
  });
  return size;
}

// The fields that say how to read the content of an entity.
bool isContentField(const MimeField& field) noexcept {
  constexpr std::string_view kNames[] = {"Content-Type", "Content-Transfer-Encoding", "Content-Disposition",
                                         "Content-ID"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&](std::string_view name) { return equalsNoCase(field.getName(), name); });
}

// Also with blanks before the ':' (RFC 5322 4.5), which servers and readers take for the same field.
bool isBcc(const MimeField& field) noexcept {
  return equalsNoCase(trimmedBlanks(field.getName()), "Bcc");
}

bool hasBccField(const MimeHeader& header) noexcept {
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) {
    if (isBcc(*header.getField(i))) return true;
  }
  return false;
}

// Which fields of the top entity are written.
enum class TopFields { all, content };

// Walks down a tree and writes it into one buffer, all of it or with the large bodies left outside. What is
// open stands in a list instead of on the call stack.
class TreeWriter {
 public:
  TreeWriter(StringBuffer& out, std::string_view excludePrefix, TopFields topFields,
             std::vector<OutsideBody>* outside)
      : out_(out), excludePrefix_(excludePrefix), topFields_(topFields), outside_(outside) {}

  /// False when a boundary turned up in what it separates; `newBoundaries` makes that impossible.
  bool write(const Email& top, bool newBoundaries) {
    newBoundaries_ = newBoundaries;
    open_.clear();
    if (!writeEntity(top)) return false;
    while (!open_.empty()) {
      Multipart& current = open_.back();
      if (current.next < current.entity->parts().size()) {
        out_.append("--").append(current.boundary).append("\r\n");
        if (!writeEntity(*current.entity->parts().at(current.next++))) return false;
      } else {
        out_.append("--").append(current.boundary).append("--\r\n");
        open_.pop_back();
        if (!open_.empty()) out_.append("\r\n");
      }
    }
    return true;
  }

 private:
  struct Multipart {
    const Email* entity;
    std::size_t next;  // part to write
    std::string boundary;
  };

  bool writeEntity(const Email& entity) {
    const std::size_t start = out_.size();
    std::string boundary;
    if (!entity.parts().empty()) boundary = boundaryFor(entity);
    writeHeader(entity, boundary);
    out_.append("\r\n\r\n");
    if (entity.parts().empty()) return writeBody(entity, start);
    if (holdsBoundary(out_.view().substr(start))) return false;
    open_.push_back({&entity, 0, std::move(boundary)});
    const std::size_t preamble = out_.size();
    out_.append("This is a multi-part message in MIME format.\r\n\r\n");
    return !holdsBoundary(out_.view().substr(preamble));
  }

  // Base64 cannot hold the "--" of a delimiter and is not searched: attachments are most of a large message.
  bool writeBody(const Email& entity, std::size_t start) {
    const MimeBody& body = entity.body();
    const std::size_t bodyStart = out_.size();
    if (holdsBoundary(out_.view().substr(start))) return false;
    if (outside_ != nullptr && canStayOutside(body)) {
      outside_->push_back({bodyStart, &body});
      if (body.coding() == MimeBody::Coding::raw && holdsBoundary(body.data().view())) return false;
    } else if (body.coding() == MimeBody::Coding::raw && body.lineFacts().bareLfs != 0) {
      appendWithCrLf(body.data().view(), out_);
    } else {
      body.getEncodedBody(out_);
    }
    const bool isBase64 = body.coding() == MimeBody::Coding::base64;
    if (!isBase64 && holdsBoundary(out_.view().substr(bodyStart))) return false;
    if (!open_.empty()) out_.append("\r\n");
    return true;
  }

  // A boundary that came out of encoded words may hold line breaks, which no field can tell to a reader.
  std::string boundaryFor(const Email& entity) const {
    const bool isUsable = entity.isMultipart() && !entity.boundary().empty() &&
                          !hasLineBreakOrNul(entity.boundary()) && !newBoundaries_;
    return isUsable ? std::string(entity.boundary()) : Email::newBoundaryFor(entity.contentType());
  }

  void writeHeader(const Email& entity, std::string_view boundary) {
    const bool isOwnBoundary = boundary.empty() || (entity.isMultipart() && boundary == entity.boundary());
    const bool hasBcc = !excludePrefix_.empty() && hasBccField(entity.header());
    const bool isPartial = topFields_ == TopFields::content && open_.empty();
    if (isOwnBoundary && !hasBcc && !isPartial) {
      entity.header().writeHeader(out_, excludePrefix_);
      return;
    }
    MimeHeader header;
    for (std::size_t i = 0; i < entity.numHeaderFields(); ++i) {
      const MimeField& field = *entity.header().getField(i);
      if (hasBcc && isBcc(field)) continue;
      if (!isPartial || isContentField(field)) header.appendField(field.clone());
    }
    if (!isOwnBoundary) {
      ContentTypeParams params = entity.getContentTypeParams();
      if (!entity.isMultipart()) params.type = "multipart/mixed";
      params.boundary = boundary;
      const StringBuffer value = formatContentType(params);
      if (!header.replaceInPlace("Content-Type", value)) header.setHeaderField("Content-Type", value);
    }
    header.writeHeader(out_, excludePrefix_);
  }

  // Whether the boundary of a multipart that is open occurs in what stands inside it. None has a line break
  // in it, so that a header and its body can be asked one after the other.
  bool holdsBoundary(std::string_view written) const noexcept {
    if (newBoundaries_) return false;
    for (const Multipart& multipart : open_) {
      if (findText(written, multipart.boundary) != kNone) return true;
    }
    return false;
  }

  StringBuffer& out_;
  std::string_view excludePrefix_;
  TopFields topFields_;
  std::vector<OutsideBody>* outside_;  // null when all is written
  bool newBoundaries_ = false;
  std::vector<Multipart> open_;
};

// Characters of an address that may stand in a file name, without its comments.
std::string fileNamePart(std::string_view address) {
  constexpr std::size_t kMostCharacters = 40;
  constexpr std::string_view kDropped = ":\"/\\|";
  std::string kept;
  std::size_t depth = 0;
  for (char c : address.substr(0, kMostCharacters)) {
    if (c == '(') {
      ++depth;
      continue;
    }
    // The parenthesis that closes a comment stays.
    if (c == ')' && depth > 0) --depth;
    if (depth > 0) continue;
    if (c == '<') c = '(';
    if (c == '>') c = ')';
    const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == '\x7F';
    if (!isControl && kDropped.find(c) == kNone) kept += c;
  }
  return kept;
}

void writeTree(const Email& top, StringBuffer& out, std::string_view excludePrefix, TopFields topFields,
               std::vector<OutsideBody>* outside = nullptr) {
  const std::size_t start = out.size();
  const std::size_t estimate = estimatedSize(top, outside == nullptr);
  // Small texts behind a large one leave the growing to the buffer: exact room for each would copy it each
  // time.
  if (estimate > start) out.reserve(start + estimate);
  TreeWriter writer(out, excludePrefix, topFields, outside);
  if (writer.write(top, false)) return;
  out.truncate(start);
  if (outside != nullptr) outside->clear();
  writer.write(top, true);
}

}  // namespace

void Email::writeMime(StringBuffer& out, std::string_view excludePrefix) const {
  writeTree(*this, out, excludePrefix, TopFields::all);
}

std::vector<OutsideBody> Email::writeMimeAround(StringBuffer& out, std::string_view excludePrefix) const {
  std::vector<OutsideBody> outside;
  writeTree(*this, out, excludePrefix, TopFields::all, &outside);
  return outside;
}

/// The same with the content fields alone of this entity's own.
void Email::writeContent(StringBuffer& out) const {
  writeTree(*this, out, {}, TopFields::content);
}

void Email::makeLineEndsUniform() {
  forEachEntity(*this, [](Email& entity) {
    MimeBody& body = entity.body_;
    if (body.coding() != MimeBody::Coding::raw || body.lineFacts().loneCrs == 0) return;
    BinaryData uniform;
    appendWithoutLoneCr(body.data().view(), uniform);
    body.setRawData(std::move(uniform));
  });
}

std::size_t Email::size() const {
  std::size_t size = 0;
  forEachEntity(*this, [&size](const Email& entity) {
    size += entity.header().getExactSize() + entity.body_.data().size();
  });
  return size;
}

std::string Email::generateFilename() const {
  std::array<char, 64> rest;
  std::snprintf(rest.data(), rest.size(), "_%04d%02d%02d_%02d%02d%02d%s_%x.qve", emailDate_.year,
                emailDate_.month, emailDate_.day, emailDate_.hour, emailDate_.minute, emailDate_.second,
                numAttachments() > 0 ? "_A" : "", static_cast<unsigned>(fastCounter() & 0xFFFF));
  return fileNamePart(getFromAddress()) + rest.data();
}

}  // namespace qv

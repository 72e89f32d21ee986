#include "mime/mime_body.h"

#include <utility>

#include "core/text.h"
#include "mime/transfer_coding.h"

namespace qv {

void MimeBody::setFromEncoded(std::string_view transferEncoding, std::string_view text) {
  if (equalsNoCase(transferEncoding, "base64")) {
    setForBase64(ContentCoding::decodeBase64(text));
  } else if (equalsNoCase(transferEncoding, "quoted-printable")) {
    setForQuotedPrintable(ContentCoding::decodeQuotedPrintable(text));
  } else {
    setRaw(text);
  }
}

void MimeBody::setRaw(std::string_view text) {
  changeData().set(text);
  coding_ = Coding::raw;
}

void MimeBody::setComposed(std::string_view text) {
  constexpr std::size_t kInCache = std::size_t{32} << 10;
  BinaryData bytes;  // `text` may be what this body holds
  LineScan scan;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); at += kInCache) {
    const std::string_view piece = text.substr(at, kInCache);
    bytes.append(piece);
    scan.add(piece);
  }
  setRawData(std::move(bytes));
  facts_ = scan.facts();
  factsKnown_ = true;
}

void MimeBody::setRawData(BinaryData bytes) {
  changeData() = std::move(bytes);
  coding_ = Coding::raw;
}

void MimeBody::takeData(MimeBody& other) {
  if (this != &other) changeData().take(other.changeData());
  coding_ = other.coding_ = Coding::raw;
}

void MimeBody::setForBase64(BinaryData bytes) {
  changeData() = std::move(bytes);
  coding_ = Coding::base64;
}

void MimeBody::setForQuotedPrintable(BinaryData bytes) {
  changeData() = std::move(bytes);
  coding_ = Coding::quotedPrintable;
}

void MimeBody::copyFrom(const MimeBody& other) {
  *this = other;
}

void MimeBody::clear() {
  changeData().clear();
  coding_ = Coding::raw;
}

const LineFacts& MimeBody::lineFacts() const noexcept {
  if (!factsKnown_) facts_ = lineFactsOf(data_.view());
  factsKnown_ = true;
  return facts_;
}

void MimeBody::getEncodedBody(StringBuffer& out) const {
  switch (coding_) {
    case Coding::raw:
      getRawBody(out);
      break;
    case Coding::quotedPrintable:
      ContentCoding::encodeQuotedPrintable(data_.view(), out);
      break;
    case Coding::base64:
      ContentCoding::encodeBase64Lines(data_.view(), out);
      break;
  }
}

void MimeBody::getRawBody(StringBuffer& out) const {
  out.append(data_.view());
}

std::size_t MimeBody::getEstimatedEncodedSize() const noexcept {
  const std::size_t size = data_.empty() ? 100 : data_.size();
  return coding_ == Coding::base64 ? ContentCoding::estimateBase64Size(size) : size;
}

}  // namespace qv

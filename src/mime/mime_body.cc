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
  data_.set(text);
  coding_ = Coding::raw;
}

void MimeBody::setRawData(BinaryData bytes) {
  data_ = std::move(bytes);
  coding_ = Coding::raw;
}

void MimeBody::takeData(MimeBody& other) {
  if (this != &other) data_.take(other.data_);
  coding_ = other.coding_ = Coding::raw;
}

void MimeBody::setForBase64(BinaryData bytes) {
  data_ = std::move(bytes);
  coding_ = Coding::base64;
}

void MimeBody::setForQuotedPrintable(BinaryData bytes) {
  data_ = std::move(bytes);
  coding_ = Coding::quotedPrintable;
}

void MimeBody::copyFrom(const MimeBody& other) {
  data_ = other.data_;
  coding_ = other.coding_;
}

void MimeBody::clear() {
  data_.clear();
  coding_ = Coding::raw;
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

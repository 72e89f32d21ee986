#include "mime/mime_message.h"

#include <utility>

#include "core/text.h"
#include "mime/transfer_coding.h"

namespace qv {

MimeMessage2::~MimeMessage2() {
  deleteParts();
}

void MimeMessage2::clear() {
  content_ = {};
  signedText_ = {};
  header_.clear();
  body_.clear();
  deleteParts();
  modified_ = false;
  utf8Header_ = false;
}

// Takes the tree apart part by part, so that a deep one costs no stack.
void MimeMessage2::deleteParts() {
  ExtPtrArray<MimeMessage2> doomed;
  doomed.swap(parts_);
  while (!doomed.empty()) {
    const std::unique_ptr<MimeMessage2> part = doomed.removeAt(doomed.size() - 1);
    while (!part->parts_.empty()) doomed.append(part->parts_.removeAt(part->parts_.size() - 1));
  }
}

std::string_view MimeMessage2::getCharset() const noexcept {
  const bool labelled =
      startsWithNoCase(content_.contentType, "text") || startsWithNoCase(content_.contentType, "message");
  return labelled ? std::string_view(content_.charset) : std::string_view{};
}

StringBuffer MimeMessage2::getDecodedField(std::string_view name) const {
  StringBuffer value(header_.getHeaderField(name));
  ContentCoding::decodeWords(value);
  return value;
}

void MimeMessage2::getToAddresses(ExtPtrArray<Rfc822Address>& out) const {
  Rfc822Address::parseAddressList(getDecodedField("To"), out);
}

void MimeMessage2::getCcAddresses(ExtPtrArray<Rfc822Address>& out) const {
  Rfc822Address::parseAddressList(getDecodedField("Cc"), out);
}

void MimeMessage2::addPart(std::unique_ptr<MimeMessage2> part) {
  parts_.append(std::move(part));
  modified_ = true;
}

void MimeMessage2::replaceByContent(MimeMessage2& content) {
  ExtPtrArray<MimeMessage2> parts;  // `content` may stand among the parts that go
  parts.swap(content.parts_);
  MimeBody body = std::move(content.body_);
  for (const std::string_view field : {"content-disposition", "content-type", "content-transfer-encoding"}) {
    header_.removeField(field);
  }
  header_.mergeFrom(content.header_);
  content_ = readContentFields(header_);
  utf8Header_ = utf8Header_ || content.utf8Header_;
  deleteParts();
  parts_.swap(parts);
  body_ = std::move(body);
  modified_ = true;
}

bool MimeMessage2::isMultipart() const noexcept {
  return startsWithNoCase(content_.contentType, "multipart");
}

bool MimeMessage2::isMultipartSigned() const noexcept {
  return equalsNoCase(content_.contentType, "multipart/signed");
}

bool MimeMessage2::isPkcs7() const noexcept {
  return equalsNoCase(content_.contentType, "application/x-pkcs7-mime") ||
         equalsNoCase(content_.contentType, "application/pkcs7-mime");
}

bool MimeMessage2::isPkcs7Enveloped() const noexcept {
  return isPkcs7() && !content_.smimeType.equals("signed-data");
}

bool MimeMessage2::isPkcs7SignedData() const noexcept {
  return isPkcs7() && content_.smimeType.equals("signed-data");
}

void MimeMessage2::setContentType(const ContentTypeParams& params) {
  modified_ = true;
  // The same texts as in the field, so that the two never differ.
  ContentTypeParams safe = safeContentType(params);
  header_.setHeaderField("content-type", formatContentType(safe));
  content_.contentType = std::move(safe.type);
  content_.name = std::move(safe.name);
  content_.protocol = std::move(safe.protocol);
  content_.micalg = std::move(safe.micalg);
  content_.charset = std::move(safe.charset);
  content_.boundary = std::move(safe.boundary);
  content_.smimeType = std::move(safe.smimeType);
  content_.type = std::move(safe.relatedType);
}

}  // namespace qv

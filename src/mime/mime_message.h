// The tree of entities that a message text is read into (RFC 2045, RFC 2046).
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "mime/content_fields.h"
#include "mime/mime_body.h"
#include "mime/mime_header.h"
#include "mime/rfc822_address.h"

namespace qv {

/// A slice of a text that several entities share: copied once at most, however deep the layers nest.
struct TextSlice {
  std::string_view view{};
  std::shared_ptr<const StringBuffer> owner{};  ///< null: the text outlives the entities by itself
};

/// One entity. Parsing never fails: it takes what its rules give and leaves the rest empty. Reading is
/// linear in the text at every level; levels beyond kMaxNesting stay undivided.
class MimeMessage2 final : public QuorvelObject {
 public:
  explicit MimeMessage2(CLog* log) : log_(log) {}
  ~MimeMessage2() override;

  void clear();
  /// Clears and reads a message text. The text need not outlive the call; it must not lie in this entity.
  /// `depth` is how far below the top of its tree this entity stands; it counts toward kMaxNesting.
  void parseMime(std::string_view text, std::size_t depth = 0);
  /// The same; signed texts share the text instead of being copied from it.
  void parseMime(const TextSlice& text);
  /// The same for a text that this component wrote itself: a header has all its lines, however many.
  void parseWritten(std::string_view text);
  /// Clears and reads the header only; a body, where there is one, becomes "(multipart MIME message)".
  /// The text must not lie in this entity.
  void parseHeaderOnly(std::string_view text);

  const ContentFields& content() const noexcept { return content_; }
  ContentFields& content() noexcept { return content_; }
  std::string_view getContentType() const noexcept { return content_.contentType; }
  std::string_view getDisposition() const noexcept { return content_.disposition; }
  std::string_view getTransferEncoding() const noexcept { return content_.transferEncoding; }
  std::string_view getContentId() const noexcept { return content_.contentId; }
  std::string_view getName() const noexcept { return content_.name; }
  std::string_view getProtocol() const noexcept { return content_.protocol; }
  std::string_view getMicalg() const noexcept { return content_.micalg; }
  std::string_view getBoundary() const noexcept { return content_.boundary; }
  std::string_view getSmimeType() const noexcept { return content_.smimeType; }
  std::string_view getFilename() const noexcept { return content_.filename; }
  /// The charset of a text or message entity; empty for every other type.
  std::string_view getCharset() const noexcept;
  /// A field's value with its encoded words decoded.
  StringBuffer getDecodedField(std::string_view name) const;
  void getToAddresses(ExtPtrArray<Rfc822Address>& out) const;
  void getCcAddresses(ExtPtrArray<Rfc822Address>& out) const;
  void writeHeaderTo(StringBuffer& out) const { header_.writeHeader(out); }

  std::size_t getNumParts() const noexcept { return parts_.size(); }
  MimeMessage2* getPart(std::size_t index) const noexcept { return parts_.at(index); }
  void addPart(std::unique_ptr<MimeMessage2> part);
  ExtPtrArray<MimeMessage2>& parts() noexcept { return parts_; }

  bool isMultipart() const noexcept;
  bool isMultipartSigned() const noexcept;
  bool isPkcs7Enveloped() const noexcept;
  bool isPkcs7SignedData() const noexcept;

  /// Stores the parameters (see `safeContentType`), rebuilds the "content-type" field and marks the entity
  /// modified.
  void setContentType(const ContentTypeParams& params);
  void copyBodyFrom(const MimeMessage2& other) { body_.copyFrom(other.body_); }
  MimeBody& body() noexcept { return body_; }
  const MimeBody& body() const noexcept { return body_; }
  MimeHeader& header() noexcept { return header_; }
  const MimeHeader& header() const noexcept { return header_; }

  /// The exact text of the first part of a multipart/signed entity; empty otherwise.
  std::string_view signedText() const noexcept { return signedText_.view; }
  bool modified() const noexcept { return modified_; }
  void setModified(bool modified) noexcept { modified_ = modified; }
  /// Whether a header field held UTF-8 encoded words when it was read.
  bool utf8Header() const noexcept { return utf8Header_; }
  /// Becomes what a layer of this entity held: takes over its body, its parts and its fields, which replace
  /// those of the same names, and loses its own content fields. What is left of `content` is only good for
  /// deleting.
  void replaceByContent(MimeMessage2& content);
  CLog* log() const noexcept { return log_; }

 private:
  friend class MimeParser;
  bool isPkcs7() const noexcept;
  void deleteParts();

  TextSlice signedText_;
  bool modified_ = false;
  bool utf8Header_ = false;
  CLog* log_;
  MimeBody body_;
  MimeHeader header_;
  ExtPtrArray<MimeMessage2> parts_;
  ContentFields content_;
};

}  // namespace qv

// The component's model of a message, and at the same time of one of its entities.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "core/term_source.h"
#include "email/security.h"
#include "mime/content_fields.h"
#include "mime/date_parser.h"
#include "mime/mime_body.h"
#include "mime/mime_header.h"
#include "mime/rfc822_address.h"

namespace qv {

class ReplacePatterns;

/// A body that a text was written around.
struct OutsideBody {
  std::size_t at;  ///< its place: it belongs in front of this byte of the text
  const MimeBody* body;
};

/// Where a message came from. The numbers are part of the public interface and never change.
enum class Origination : std::int32_t {
  unknown = 0,
  copiedFromPop3 = 1,
  transferredFromPop3 = 2,
  createdForSending = 3,
  loadedFromXml = 4,
  loadedFromMbx = 5,
  loadedFromOutlook = 6,
  headerFromPop3 = 7,
};
/// Its text, as "created new for sending".
std::string_view originationText(Origination origination) noexcept;

/// The banner of the X-Mailer field.
std::string_view defaultMailer() noexcept;

/// The top-level Email is the whole message; every sub-part (a body alternative, an attachment, a related
/// item, a nested multipart) is an Email of its own that carries only its Content-* fields and what an
/// operation adds. Texts are 8-bit and never converted between character sets.
///
/// Invariant: members that mirror a header field (content type and its parameters, disposition, filename,
/// transfer encoding, content id, sender, recipients) and the field change together.
///
/// Used by one thread at a time.
class Email final : public QuorvelObject, public ExpressionTermSource {
 public:
  /// A new message with its default fields: MIME-Version, Date, Message-ID, Content-Type,
  /// Content-Transfer-Encoding, X-Mailer, X-Priority. `log` may be null and is not owned.
  explicit Email(CLog* log);
  /// The same members without any header field; the date is now.
  static std::unique_ptr<Email> withoutFields(CLog* log);
  ~Email() override;
  Email(const Email&) = delete;
  Email& operator=(const Email&) = delete;

  CLog* log() const noexcept { return log_; }
  /// For this entity and everything below it.
  void setLog(CLog* log);

  // Header fields.
  std::string_view getHeaderField(std::string_view name) const { return header().getHeaderField(name); }
  void getTermValue(std::string_view name, StringBuffer& out) const override;
  /// Removes every field of that name and appends the new one; an empty value only removes. Touches the
  /// header alone: members that mirror the field are set by their own operations or `addHeaderField`.
  void setHeaderField(std::string_view name, std::string_view value) { header().setHeaderField(name, value); }
  /// Removes every field of that name and empties the members that mirror it.
  void removeHeaderField(std::string_view name);
  /// Sets a field whatever its name, through the operation that keeps the members equal; an empty value
  /// removes it, an empty name does nothing. Recipients of "Bcc" are added to their list and stand in no
  /// field. False, with a log entry, for a name that cannot name a field: only the printable characters of
  /// US-ASCII other than ':' can (RFC 5322 2.2). A Content-Type that is not multipart changes nothing but the
  /// log where there are parts; a multipart one makes what a single-part entity holds its first part.
  bool addHeaderField(std::string_view name, std::string_view value);
  std::size_t numHeaderFields() const { return header().getFieldCount(); }
  std::string_view getHeaderFieldName(std::size_t index) const { return header().getFieldName(index); }
  StringBuffer rawHeader() const;
  /// Reads right until recipients are next added; ask again then.
  MimeHeader& header() {
    refreshRecipientFields();
    return header_;
  }
  const MimeHeader& header() const {
    refreshRecipientFields();
    return header_;
  }
  bool utf8Header() const noexcept { return utf8Header_; }
  void setUtf8Header(bool utf8) noexcept { utf8Header_ = utf8; }

  void setSubject(std::string_view text);
  std::string_view getSubject() const { return getHeaderField("Subject"); }
  /// The subject as a session records it: encoded words unless the charset is us-ascii.
  StringBuffer subjectForSending() const;
  void setReplyTo(std::string_view value);
  void setMailer(std::string_view value) { setHeaderField("X-Mailer", value); }
  /// The field is the text as it stands; the member changes when the text is a date.
  void setDate(std::string_view text);
  void setTransferEncoding(std::string_view value);
  void setContentId(std::string_view value);
  void newMessageId();
  void newContentId();
  /// 41 characters, random; the caller appends "_.MIX", "_.ALT" or "_.REL".
  static std::string newBoundary();
  /// With the ending that belongs to a multipart type: "_.ALT", "_.REL", "_.MIX" for every other one.
  static std::string newBoundaryFor(std::string_view contentType);
  const CalendarTime& emailDate() const noexcept { return emailDate_; }
  void setEmailDate(const CalendarTime& time) noexcept { emailDate_ = time; }
  std::string_view getUidl() const { return getHeaderField("X-UIDL"); }
  /// The unique id by which the message is found again on the server that it came from: the one that the
  /// server gave, whatever the message itself says; without one, the field.
  std::string_view uidlOnServer() const { return serverUidl_.empty() ? getUidl() : serverUidl_.view(); }
  std::string_view serverUidl() const noexcept { return serverUidl_; }
  void setServerUidl(std::string_view uidl) { serverUidl_ = uidl; }

  // Sender and recipients. Indexes are 0-based; out of range reads as empty.
  /// From the text of one address; nothing changes when it holds none.
  void setFrom(std::string_view text);
  StringBuffer getFrom() const;
  void setFromName(std::string_view name);
  std::string_view getFromName() const noexcept;
  void setFromAddress(std::string_view address);
  std::string_view getFromAddress() const noexcept;
  // Adding recipients costs the same however many there are: the "To" and "Cc" fields move to the end of the
  // header at once, and their values are written when the header is next looked at.
  /// False when `address` is empty or holds no mailbox (as "<>").
  bool addTo(std::string_view name, std::string_view address) { return addRecipient(to_, name, address); }
  bool addCc(std::string_view name, std::string_view address) { return addRecipient(cc_, name, address); }
  bool addBcc(std::string_view name, std::string_view address) { return addRecipient(bcc_, name, address); }
  /// Adds the valid addresses of a list that are not there yet; gives how many valid ones the list held.
  std::size_t addMultipleTo(std::string_view list) { return addRecipients(to_, list); }
  std::size_t addMultipleCc(std::string_view list) { return addRecipients(cc_, list); }
  std::size_t addMultipleBcc(std::string_view list) { return addRecipients(bcc_, list); }
  void clearTo() { clearRecipients(to_); }
  void clearCc() { clearRecipients(cc_); }
  void clearBcc() { clearRecipients(bcc_); }
  std::size_t numTo() const noexcept { return to_.list.size(); }
  std::size_t numCc() const noexcept { return cc_.list.size(); }
  std::size_t numBcc() const noexcept { return bcc_.list.size(); }
  StringBuffer getTo(std::size_t index) const { return fullForm(to_, index); }
  StringBuffer getCc(std::size_t index) const { return fullForm(cc_, index); }
  StringBuffer getBcc(std::size_t index) const { return fullForm(bcc_, index); }
  std::string_view getToAddr(std::size_t index) const noexcept { return bareAddress(to_, index); }
  std::string_view getCcAddr(std::size_t index) const noexcept { return bareAddress(cc_, index); }
  std::string_view getBccAddr(std::size_t index) const noexcept { return bareAddress(bcc_, index); }

  // Content type and its kin. Quotes, line breaks and NULs in a parameter are left out, so that no value ends
  // its field or begins another parameter; an entity with parts always gets a boundary.
  void setContentType(const ContentTypeParams& params);
  /// `type` may carry parameters, as in "text/plain; charset=utf-8".
  void setContentType(std::string_view type, std::string_view name = {});
  /// The eight stored values.
  ContentTypeParams getContentTypeParams() const;
  std::string_view contentType() const noexcept { return contentType_; }
  std::string_view charset() const noexcept { return charset_; }
  std::string_view boundary() const noexcept { return boundary_; }
  std::string_view nameParam() const noexcept { return nameParam_; }
  std::string_view disposition() const noexcept { return disposition_; }
  std::string_view filename() const noexcept { return filename_; }
  std::string_view transferEncoding() const noexcept { return transferEncoding_; }
  std::string_view contentId() const noexcept { return contentId_; }
  void setDisposition(std::string_view disposition, std::string_view filename);
  /// Labels the text with a charset, where the message's layout has one place for it: a text or message
  /// entity, or the text/plain alternative of a multipart/alternative. Nothing changes elsewhere.
  void applyCharset(std::string_view charset);
  bool isMultipart() const noexcept;

  // Body and layout (email_layout.cc). The multipart shapes nest in one order: related outermost, then mixed,
  // then alternative, then the texts.
  /// Replaces the text: the text/html alternative when `asHtml` or the text holds "<html>" and "<body>", the
  /// text/plain one otherwise, where there are alternatives; else the first text. It is written in the coding
  /// that the entity's Content-Transfer-Encoding names.
  void setBody(std::string_view text, bool asHtml);
  /// The bytes of the first leaf.
  std::string_view getBody() const noexcept;
  void setHtmlBody(std::string_view html);
  /// Wrap what an entity holds into a new first child. `depth` says how many levels stand above `target`.
  /// False, with a log entry and nothing changed, when the tree would grow beyond kMaxNesting.
  static bool convertToMixed(Email& target, std::size_t depth = 0);
  static bool convertToAlternative(Email& target, std::size_t depth = 0);
  static bool convertToRelated(Email& target, std::size_t depth = 0);
  static void setRelatedType(Email& target, std::string_view type);
  std::unique_ptr<Email> newBodyPart(std::string_view text, bool html) const;
  /// An entity with its Content-Type (text/plain) and Content-Transfer-Encoding (7bit) only.
  static std::unique_ptr<Email> newEmptyPart(CLog* log);
  /// Takes off the fields of a whole message: Date, X-Mailer, X-Priority, MIME-Version, Message-ID.
  void stripHeaderLines();
  /// Appends a part to a multipart entity. A body that stands in that entity itself, where it would no longer
  /// be written, becomes a text part before it.
  void addPart(std::unique_ptr<Email> part);
  /// The entity where the way down the first children from here meets `type`, or ends.
  const Email& findNode(std::string_view type) const noexcept;
  Email& findNode(std::string_view type) noexcept {
    return const_cast<Email&>(std::as_const(*this).findNode(type));
  }
  /// Calls `visit` for an entity and all below it, parents first, without recursion.
  template <typename Entity, typename Visit>
  static void forEachEntity(Entity& top, Visit visit) {
    std::vector<Entity*> waiting{&top};
    while (!waiting.empty()) {
      Entity* entity = waiting.back();
      waiting.pop_back();
      visit(*entity);
      for (std::size_t i = entity->parts_.size(); i-- > 0;) waiting.push_back(entity->parts_.at(i));
    }
  }
  MimeBody& body() noexcept { return body_; }
  const MimeBody& body() const noexcept { return body_; }
  ExtPtrArray<Email>& parts() noexcept { return parts_; }
  const ExtPtrArray<Email>& parts() const noexcept { return parts_; }

  // Attachments (attachments.cc, file_parts.cc): the children of the first multipart/mixed whose disposition
  // is "attachment" or "inline". How hosts reach and save them is in email_items.h.
  std::size_t numAttachments() const noexcept;
  /// Null when out of range.
  Email* getAttachment(std::size_t index) noexcept;
  /// All of them in order.
  std::vector<Email*> attachments();
  /// False when out of range.
  bool dropAttachment(std::size_t index);
  /// Everything of those dispositions, wherever it stands. Multiparts stay, also with nothing left in them.
  void dropAttachments();
  /// With its encoded words decoded. It may be any text: see `safeFileName` before a file is made from it.
  static StringBuffer getAttachmentFilename(const Email& part);
  /// Names a part in its Content-Type and Content-Disposition; one without a disposition stays as it is.
  static void setAttachmentFilename(Email& part, std::string_view name);
  /// A part with the bytes of a file, as "text" types in quoted-printable, as others in base64. An empty
  /// `contentType` means that of the file's extension. Null, the reason logged, for a file that is not there
  /// or cannot be opened.
  static std::unique_ptr<Email> createAttachmentFromFile(std::string_view path, std::string_view contentType,
                                                         CLog* log);
  /// The same with a new Content-ID instead of a disposition.
  static std::unique_ptr<Email> createRelatedFromFile(std::string_view path, std::string_view contentType,
                                                      CLog* log);
  /// Attaches a file; `contentTypeOut` gets its content type. False with nothing changed when no part can be
  /// made of it, or when the tree would grow beyond kMaxNesting.
  bool addAttachment(std::string_view path, std::string_view contentType, StringBuffer& contentTypeOut);
  /// Whether the disposition is "attachment" (RFC 2183 2.2), which never is the text of a message.
  bool isAttachment() const noexcept;

  // Related items (same sources): the children of the first multipart/related behind its root.
  std::size_t numRelatedItems() const noexcept;
  /// Null when out of range.
  Email* getRelatedItem(std::size_t index) noexcept;
  /// Makes the message related and appends the part. False with nothing changed when the tree would grow
  /// beyond kMaxNesting.
  bool addRelatedItem(std::unique_ptr<Email> part);

  // Alternatives (alternatives.cc): the children of the first multipart/alternative that count as such.
  /// Whether the entity counts as an alternative where its parent is multipart/alternative.
  bool isAlternative() const noexcept { return !isMultipart() && !isAttachment(); }
  /// Adds an alternative, or replaces the text of the one that has its content type.
  /// False, with nothing changed, where the e-mail is nested too deeply.
  bool addAlternativePart(std::unique_ptr<Email> part);
  std::size_t numAlternatives() const noexcept;
  /// Set `out`; of a message without alternatives the text itself, whatever the index. False, with a log
  /// entry and `out` untouched, when the index is out of range.
  bool getAlternativeContentType(std::size_t index, StringBuffer& out) const;
  bool getAlternativeBody(std::size_t index, StringBuffer& out) const;
  /// Position of the first text/plain (text/html) alternative; -1, with a log entry, when there is none.
  int plainTextAlternativeIndex() const;
  int htmlAlternativeIndex() const;

  // Output and facts (email_writer.cc).
  /// Appends the entity as RFC 822/MIME text with CR LF line ends throughout, leaving out the fields whose
  /// name begins with `excludePrefix` (any case). A text with an exclusion is one that leaves the machine: it
  /// never has a "Bcc" field either (RFC 5322 3.6.3). Rendered straight into `out`, at any nesting.
  ///
  /// No body can end or add a part: where a boundary occurs in what it separates, the text is written with
  /// new boundaries throughout.
  void writeMime(StringBuffer& out, std::string_view excludePrefix) const;
  /// The same without the large bodies that are raw or base64, which are not copied: gives them in the order
  /// of their places. Good until the e-mail changes.
  std::vector<OutsideBody> writeMimeAround(StringBuffer& out, std::string_view excludePrefix) const;
  /// Makes every lone CR in the bodies that are written as they are a CR LF, so that none is sent.
  void makeLineEndsUniform();
  /// Bytes of all header fields and of the bodies before any coding.
  std::size_t size() const;
  /// A file name for this message, ending ".qve", without characters that a path would mind.
  std::string generateFilename() const;

  // Copies and answers (reply.cc, replace_patterns.cc). Each is linear in the message.
  /// A copy that shares nothing with this e-mail: header fields, private ones too, sender, To and Cc
  /// recipients, and the tree, whose bodies come with CR LF line ends where they are written as they are. It
  /// has no Bcc recipients and an unknown origination. Null, with a log entry, when memory runs out.
  std::unique_ptr<Email> cloneEmail() const;
  /// A clone with the Bcc recipients, so that they get the message too, and with the patterns applied.
  std::unique_ptr<Email> copyForSending(const ReplacePatterns& patterns) const;
  /// Turns a clone into the answer to its message: "RE: " before the subject, who wrote what when in front of
  /// the text, addressed to the sender alone. The sender goes on being read as before, but stands in no
  /// field, until a new one is set. Attachments and related items stay.
  void makeReply();
  /// The same with "FW: ", addressed to nobody.
  void makeForward();
  /// Replaces in every text, subject, sender and recipient, here and in every part. One pass over each for
  /// each pattern; what was put in by one pattern is found by those behind it.
  void applyReplacePatterns(const ReplacePatterns& patterns);

  // Security (smime_writer.h, smime_reader.h).
  /// What is asked for when the e-mail is sent. A clone has its two flags only.
  SendSecurity& sendSecurity() noexcept { return sendSecurity_; }
  const SendSecurity& sendSecurity() const noexcept { return sendSecurity_; }
  /// What reading the message found.
  const ReceivedSecurity& receivedSecurity() const noexcept;
  void setReceivedSecurity(ReceivedSecurity received);

  /// Takes over the sender and the recipients of another message: From, To, Cc and Bcc, and the fields that
  /// show them as they stand there.
  void copyAddressesFrom(const Email& other);
  /// Takes over the header of another message: its fields, recipients, sender, date and what mirrors them,
  /// and what is asked for when it is sent. Body and parts stay.
  void copyHeaderFrom(const Email& other);

  Origination origination() const noexcept { return origination_; }
  void setOrigination(Origination origination) noexcept { origination_ = origination; }
  std::int32_t messageNumber() const noexcept { return messageNumber_; }
  void setMessageNumber(std::int32_t number) noexcept { messageNumber_ = number; }
  /// Logs, in a context "uidl_info", where the message came from and who it is between.
  void logOrigination(CLog* log) const;

 private:
  friend class EmailReader;  // fills a new entity with what was received (email_reader.h)
  struct NoFields {};
  Email(CLog* log, NoFields);

  /// One kind of recipients. The field is stale from a change of the list to the next look at the header: it
  /// stands at its place, with a stand-in for its value.
  struct Recipients {
    std::string_view field;  // empty for those that stand in no field
    ExtPtrArray<Rfc822Address> list{};
    mutable bool stale = false;
    // The first numKnown addresses of the list, lower-cased. A search tree and no hash table: addresses of a
    // received message are its sender's choice, who could choose colliding ones.
    std::set<std::string> known{};
    std::size_t numKnown = 0;
  };
  bool addRecipient(Recipients& recipients, std::string_view name, std::string_view address);
  std::size_t addRecipients(Recipients& recipients, std::string_view list);
  static void forgetRecipients(Recipients& recipients);
  static void copyRecipients(Recipients& to, const Recipients& from);
  void copySender(const Email& other);
  void clearRecipients(Recipients& recipients);
  void setRecipients(Recipients& recipients, std::string_view list);
  static StringBuffer fullForm(const Recipients& recipients, std::size_t index);
  static std::string_view bareAddress(const Recipients& recipients, std::size_t index) noexcept;
  void markStale(const Recipients& recipients);
  void refreshRecipientFields() const {
    if (to_.stale) refreshField(to_);
    if (cc_.stale) refreshField(cc_);
  }
  void refreshField(const Recipients& recipients) const;
  void appendHeaderForm(const Rfc822Address& address, StringBuffer& out) const;
  std::string_view wordCharset() const noexcept { return charset_.empty() ? "us-ascii" : charset_.view(); }

  void fromChanged();
  void setFromField(std::string_view value);
  void setToField(std::string_view value) { setRecipients(to_, value); }
  void setCcField(std::string_view value) { setRecipients(cc_, value); }
  void setBccField(std::string_view value);
  void setContentTypeField(std::string_view value);
  void setDispositionField(std::string_view value);

  void writeContent(StringBuffer& out) const;
  void beginAnswer(std::string_view subjectPrefix);
  void putBeforeText(const StringBuffer& block);
  void renew();
  void replaceHere(const ReplacePatterns& patterns);

  static bool wrap(Email& target, const ContentTypeParams& shape, std::size_t depth);
  void setText(std::string_view text);
  const Email& firstLeaf() const noexcept;
  bool isAttachedOrInline() const noexcept;
  const Email* mixedNode() const noexcept;
  const Email* alternativeNode() const noexcept;
  const Email* alternative(std::size_t index) const noexcept;
  const Email* findAlternative(std::size_t index, std::string_view errorMessage) const;
  int alternativeIndex(std::string_view type) const;

  CLog* log_;
  MimeBody body_;
  mutable MimeHeader header_;  // only refreshField changes it in a const operation
  bool utf8Header_ = false;
  ExtPtrArray<Email> parts_;
  Recipients to_{.field = "To"}, cc_{.field = "Cc"}, bcc_{.field = {}};
  StringBuffer pendingFromName_;
  std::unique_ptr<Rfc822Address> fromAddress_;
  CalendarTime emailDate_;
  StringBuffer contentType_;
  StringBuffer disposition_;
  StringBuffer transferEncoding_;
  StringBuffer contentId_;
  StringBuffer nameParam_, protocolParam_, micalgParam_, charset_, boundary_, smimeType_;
  StringBuffer filename_;
  StringBuffer relatedType_;
  Origination origination_ = Origination::unknown;
  std::int32_t messageNumber_ = -1;
  StringBuffer serverUidl_;
  SendSecurity sendSecurity_;
  std::shared_ptr<const ReceivedSecurity> receivedSecurity_;  // null where nothing was opened
};

}  // namespace qv

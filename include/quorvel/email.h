// One e-mail: composed by the host, or read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/object.h>

namespace quorvel {

class IQuorvelCert;
class IQuorvelCert2;
class IQuorvelZip4;

/// Created as "QuorvelMail.QuorvelEmail". An index out of range, and a field or part that is not there, reads
/// as an empty text.
class QUORVEL_API IQuorvelEmail : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelEmail";

  /// The first text of the message, with CR LF line ends when it is read.
  virtual std::string get_Body() = 0;
  virtual void put_Body(std::string_view text) = 0;
  virtual std::string get_ReplyTo() = 0;
  virtual void put_ReplyTo(std::string_view value) = 0;
  virtual std::string get_Subject() = 0;
  virtual void put_Subject(std::string_view text) = 0;
  /// The sender in full: "name" <address>. What holds no address changes nothing.
  virtual std::string get_From() = 0;
  virtual void put_From(std::string_view text) = 0;
  /// 1, or 0 when the address is empty. The name may be empty.
  virtual std::int32_t AddTo(std::string_view friendlyName, std::string_view emailAddress) = 0;
  virtual std::int32_t AddCC(std::string_view friendlyName, std::string_view emailAddress) = 0;
  /// A Bcc recipient stands in no header field and in no text.
  virtual std::int32_t AddBcc(std::string_view friendlyName, std::string_view emailAddress) = 0;
  virtual void ClearTo() = 0;
  virtual void ClearCC() = 0;
  virtual void ClearBcc() = 0;
  virtual std::int32_t get_NumTo() = 0;
  virtual std::int32_t get_NumCC() = 0;
  virtual std::int32_t get_NumBcc() = 0;
  virtual std::string GetTo(std::int32_t index) = 0;
  virtual std::string GetCC(std::int32_t index) = 0;
  virtual std::string GetBcc(std::int32_t index) = 0;
  virtual std::string GetHeaderField(std::string_view fieldName) = 0;
  virtual std::string get_RawHeader() = 0;
  /// Not supported: fails with an error report.
  virtual void put_RawHeader(std::string_view text) = 0;
  virtual std::string get_Mailer() = 0;
  virtual void put_Mailer(std::string_view value) = 0;
  /// 1, or 0 when the list holds no valid address. An address that is there already is not added twice.
  virtual std::int32_t AddMultipleTo(std::string_view commaSeparatedAddresses) = 0;
  virtual std::int32_t AddMultipleCC(std::string_view commaSeparatedAddresses) = 0;
  virtual std::int32_t AddMultipleBcc(std::string_view commaSeparatedAddresses) = 0;
  /// A file name for this message, ending ".qve".
  virtual std::string GenerateFilename() = 0;
  virtual std::int32_t get_NumAttachments() = 0;
  /// Attaches a file and gives the content type that belongs to its extension. A file that cannot be read
  /// fails with an error report and changes nothing.
  virtual std::string AddFileAttachment(std::string_view filename) = 0;
  /// Removes every part that is an attachment or inline, wherever it stands.
  virtual void DropAttachments() = 0;
  /// The instant of the Date field in universal time. Setting it changes nothing.
  virtual double get_EmailDate() = 0;
  virtual void put_EmailDate(double date) = 0;
  /// The same in local time. Setting it is not supported and fails with an error report.
  virtual double get_LocalDate() = 0;
  virtual void put_LocalDate(double date) = 0;
  // Attachments by index. One that is out of range is logged; it reads as empty and is 0 otherwise. What a
  // received message says its attachment is called may be any text: saving makes a safe name of it.
  virtual std::string GetAttachmentFilename(std::int32_t index) = 0;
  virtual std::int32_t SetAttachmentFilename(std::int32_t index, std::string_view filename) = 0;
  virtual std::int32_t DropSingleAttachment(std::int32_t index) = 0;
  virtual Bytes GetAttachmentData(std::int32_t index) = 0;
  /// Writes a new file in a directory, which is created when missing. Its name is the attachment's, without
  /// what could lead elsewhere, and with a number where that is taken; the attachment then has that name.
  virtual std::int32_t SaveAttachedFile(std::int32_t index, std::string_view directory) = 0;
  /// 1 when all were saved. Goes on after a failure.
  virtual std::int32_t SaveAllAttachments(std::string_view directory) = 0;
  /// The text without CRs, up to its first NUL.
  virtual std::string GetAttachmentString(std::int32_t index) = 0;
  /// Stores this message in an archive.
  virtual std::int32_t AppendToZip(IQuorvelZip4* iZip4) = 0;
  virtual std::string get_FromName() = 0;
  virtual void put_FromName(std::string_view name) = 0;
  /// What holds no '@' changes nothing.
  virtual std::string get_FromAddress() = 0;
  virtual void put_FromAddress(std::string_view address) = 0;
  // Mail merge. As the e-mail is sent, each pattern is replaced in a copy of it: in every text, the subject,
  // the sender and the recipients, in the order of the patterns. The e-mail itself stays as it is.
  /// A pattern that is there already gets the new text and moves to the end. 0 when it is empty.
  virtual std::int32_t SetReplacePattern(std::string_view pattern, std::string_view replaceString) = 0;
  virtual std::int32_t get_NumReplacePatterns() = 0;
  virtual std::string GetReplacePattern(std::int32_t index) = 0;
  virtual std::string GetReplaceString(std::int32_t index) = 0;
  /// What takes the place of a pattern, which is compared byte by byte.
  virtual std::string GetReplaceString2(std::string_view pattern) = 0;
  /// The Content-ID field, with its angle brackets.
  virtual std::string GetAttachmentContentID(std::int32_t index) = 0;
  /// The text with CR LF line ends.
  virtual std::string GetAttachmentStringCrLf(std::int32_t index) = 0;
};

class QUORVEL_API IQuorvelEmail2 : public IQuorvelEmail {
 public:
  using Base = IQuorvelEmail;
  static constexpr std::string_view kInterfaceName = "IQuorvelEmail2";

  /// The message as an XML element; what it holds is what GetMime shows.
  virtual std::string GetXml() = 0;
  /// Writes an XML document of the message, replacing the file. Fails with an error report.
  virtual void SaveXml(std::string_view filename) = 0;
  /// The whole message as RFC 822/MIME text with CR LF line ends.
  virtual std::string GetMime() = 0;
  virtual std::int32_t NumHeaderFields() = 0;
  virtual std::string GetHeaderFieldName(std::int32_t index) = 0;
  virtual std::string GetPlainTextBody() = 0;
  virtual std::string GetHtmlBody() = 0;
  virtual std::string GetAlternativeContentType(std::int32_t index) = 0;
  virtual std::string GetAlternativeBody(std::int32_t index) = 0;
  virtual std::int32_t get_NumAlternatives() = 0;
  /// Replaces the alternative of that type when there is one.
  virtual void AddPlainTextAlternativeBody(std::string_view body) = 0;
  virtual void AddHtmlAlternativeBody(std::string_view body) = 0;
  // What reading the message found of signed and encrypted layers (docs/secure-mail.md). Validity says that a
  // text is what the holder of some key signed, not whose key that is.
  virtual std::int32_t get_ReceivedEncrypted() = 0;
  virtual std::int32_t get_ReceivedSigned() = 0;
  /// The first signer's name as the certificate has it.
  virtual std::string get_SignedBy() = 0;
  /// 0 when a signature did not fit. Also 1 without any: see `ReceivedSigned`, `WhollySigned`.
  virtual std::int32_t get_SignaturesValid() = 0;
  /// 0 when something stayed closed.
  virtual std::int32_t get_Decrypted() = 0;
  /// Whose key opened the first layer.
  virtual std::string get_EncryptedBy() = 0;
  // What is asked for when it is sent.
  virtual std::int32_t get_SendSigned() = 0;
  virtual void put_SendSigned(std::int32_t wanted) = 0;
  virtual std::int32_t get_SendEncrypted() = 0;
  virtual void put_SendEncrypted(std::int32_t wanted) = 0;
  /// Adds a file that the HTML body refers to and gives the Content-ID to refer to it by ("cid:" and this),
  /// without angle brackets. A file that cannot be read fails with an error report and changes nothing.
  virtual std::string AddRelatedContent(std::string_view filename) = 0;
  virtual std::int32_t get_NumRelatedItems() = 0;
  /// As SaveAttachedFile. Without a file name the item's other names are taken, at last "relatedItem0".
  virtual std::int32_t SaveRelatedItem(std::int32_t index, std::string_view directory) = 0;
  virtual void SetHtmlBody(std::string_view html) = 0;
  /// The X-UIDL field, which a message may also have brought along; `ServerUidl` is the server's word.
  virtual std::string get_Uidl() = 0;
  /// Replaces every field of that name, and the members that it stands for; an empty value removes it.
  virtual void AddHeaderField(std::string_view fieldName, std::string_view fieldValue) = 0;
  virtual std::string get_OutlookDistList() = 0;
  virtual void put_OutlookDistList(std::string_view name) = 0;
  /// The path of a text file of addresses, one a line, that the e-mail is sent to.
  virtual std::string get_FileDistList() = 0;
  virtual void put_FileDistList(std::string_view path) = 0;
  // Related items by index, as attachments.
  virtual std::string GetRelatedContentID(std::int32_t index) = 0;
  virtual std::string GetRelatedStringCrLf(std::int32_t index) = 0;
  virtual std::string GetRelatedFilename(std::int32_t index) = 0;
  virtual std::string GetRelatedString(std::int32_t index) = 0;
  virtual Bytes GetRelatedData(std::int32_t index) = 0;
  /// A number by which the component knows this e-mail; of no meaning to a host.
  virtual std::int32_t GetImpl() = 0;
  // The certificate to encrypt for (else that of the first To address) and the one to sign with (else that of
  // the sender). Reading one that was not set, and setting what is none, fail with an error report.
  virtual Ref<IQuorvelCert> GetEncryptCert() = 0;
  virtual void SetEncryptCert(IQuorvelCert* cert) = 0;
  virtual Ref<IQuorvelCert> GetSigningCert() = 0;
  virtual void SetSigningCert(IQuorvelCert* cert) = 0;
  /// Reads a file, as for an HTML body; the e-mail does not change. Fails with an error report.
  virtual std::string GetFileContent(std::string_view filename) = 0;
  // The cipher of an encrypted message; RC4 at first. Triple DES is the strongest of them.
  virtual void SetAlgorithmRC2() = 0;
  virtual void SetAlgorithmRC4() = 0;
  virtual void SetAlgorithmDES() = 0;
  virtual void SetAlgorithm3DES() = 0;
  /// Bytes of the header fields and of the bodies before any transfer coding.
  virtual std::int32_t get_Size() = 0;
  virtual std::int32_t get_ReturnReceipt() = 0;
  virtual void put_ReturnReceipt(std::int32_t wanted) = 0;
  /// A copy to pass on: "FW: " before the subject, who wrote what when in front of the text, no recipients.
  /// The sender goes on being read as before until it is set anew.
  virtual Ref<IQuorvelEmail2> CreateForward() = 0;
  /// The same to answer, with "RE: ": addressed to the sender alone.
  virtual Ref<IQuorvelEmail2> CreateReply() = 0;
  /// As AddFileAttachment, with a content type of the caller's; an empty one means that of the extension.
  virtual void AddFileAttachment2(std::string_view filename, std::string_view contentType) = 0;
  /// A copy that shares nothing with this e-mail. It has no Bcc recipients and no replace patterns.
  virtual Ref<IQuorvelEmail2> Clone() = 0;
};

class QUORVEL_API IQuorvelEmail3 : public IQuorvelEmail2 {
 public:
  using Base = IQuorvelEmail2;
  static constexpr std::string_view kInterfaceName = "IQuorvelEmail3";

  /// This e-mail becomes the message of a MIME text, whose signed and encrypted layers are opened. Private
  /// fields ("QVX-") in it are left out. These three give 1, or fail with an error report and change nothing.
  virtual std::int32_t LoadMime(std::string_view mimeText) = 0;
  /// The same with a file's text.
  virtual std::int32_t LoadEml(std::string_view filename) = 0;
  /// Writes what GetMime gives to a file, which is replaced as a whole.
  virtual std::int32_t SaveEml(std::string_view filename) = 0;
  /// 1 when one good layer with a signer held the whole message, all of its text and attachments: no foreign
  /// text stands beside what was signed. The subject and the addresses are not part of that.
  virtual std::int32_t get_WhollySigned() = 0;
  /// 1 when the whole message came encrypted and was opened.
  virtual std::int32_t get_WhollyEncrypted() = 0;
  /// The unique id under which the POP3 server listed this message, whatever the message says itself; empty
  /// when it came from elsewhere.
  virtual std::string get_ServerUidl() = 0;
  // The signed and encrypted layers that reading met, one by one, from the outside in. Of an index out of
  // range everything is 0, empty or null.
  virtual std::int32_t get_NumSecurityLayers() = 0;
  /// "signed" or "encrypted".
  virtual std::string GetLayerKind(std::int32_t index) = 0;
  /// 1 when its signatures are good, or it was decrypted. Else it stays as it came, a part like others.
  virtual std::int32_t GetLayerOpened(std::int32_t index) = 0;
  /// 1 when it held the whole message, 0 when it held a part of it.
  virtual std::int32_t GetLayerWhole(std::int32_t index) = 0;
  /// The certificate of its signer, or the one whose key opened it. Null when it was not opened, and of a
  /// signature without signers.
  virtual Ref<IQuorvelCert2> GetLayerCert(std::int32_t index) = 0;
};

}  // namespace quorvel

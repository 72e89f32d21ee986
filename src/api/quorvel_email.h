// The public e-mail object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/certificate.h>
#include <quorvel/email.h>
#include <quorvel/zip.h>

#include "api/email_handles.h"
#include "api/object_base.h"
#include "api/public_call.h"
#include "email/email.h"
#include "email/email_items.h"
#include "email/replace_patterns.h"

namespace qv {

/// Owns one top-level `Email` and hands every operation to it.
class CQuorvelEmail final : public ObjectBase<quorvel::IQuorvelEmail3> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelEmail";

  /// A new message, created for sending.
  CQuorvelEmail();
  /// One that was received; not null.
  explicit CQuorvelEmail(std::unique_ptr<Email> email);
  std::string_view className() const noexcept override { return kClassName; }

  std::string get_Body() override;
  void put_Body(std::string_view text) override;
  std::string get_ReplyTo() override;
  void put_ReplyTo(std::string_view value) override;
  std::string get_Subject() override;
  void put_Subject(std::string_view text) override;
  std::string get_From() override;
  void put_From(std::string_view text) override;
  std::int32_t AddTo(std::string_view friendlyName, std::string_view emailAddress) override;
  std::int32_t AddCC(std::string_view friendlyName, std::string_view emailAddress) override;
  std::int32_t AddBcc(std::string_view friendlyName, std::string_view emailAddress) override;
  void ClearTo() override;
  void ClearCC() override;
  void ClearBcc() override;
  std::int32_t get_NumTo() override;
  std::int32_t get_NumCC() override;
  std::int32_t get_NumBcc() override;
  std::string GetTo(std::int32_t index) override;
  std::string GetCC(std::int32_t index) override;
  std::string GetBcc(std::int32_t index) override;
  std::string GetHeaderField(std::string_view fieldName) override;
  std::string get_RawHeader() override;
  void put_RawHeader(std::string_view text) override;
  std::string get_Mailer() override;
  void put_Mailer(std::string_view value) override;
  std::int32_t AddMultipleTo(std::string_view commaSeparatedAddresses) override;
  std::int32_t AddMultipleCC(std::string_view commaSeparatedAddresses) override;
  std::int32_t AddMultipleBcc(std::string_view commaSeparatedAddresses) override;
  std::string GenerateFilename() override;
  std::int32_t get_NumAttachments() override;
  std::string AddFileAttachment(std::string_view filename) override;
  void DropAttachments() override;
  double get_EmailDate() override;
  void put_EmailDate(double date) override;
  double get_LocalDate() override;
  void put_LocalDate(double date) override;
  std::string GetAttachmentFilename(std::int32_t index) override;
  std::int32_t SetAttachmentFilename(std::int32_t index, std::string_view filename) override;
  std::int32_t DropSingleAttachment(std::int32_t index) override;
  quorvel::Bytes GetAttachmentData(std::int32_t index) override;
  std::int32_t SaveAttachedFile(std::int32_t index, std::string_view directory) override;
  std::int32_t SaveAllAttachments(std::string_view directory) override;
  std::string GetAttachmentString(std::int32_t index) override;
  std::int32_t AppendToZip(quorvel::IQuorvelZip4* iZip4) override;
  std::string get_FromName() override;
  void put_FromName(std::string_view name) override;
  std::string get_FromAddress() override;
  void put_FromAddress(std::string_view address) override;
  std::int32_t SetReplacePattern(std::string_view pattern, std::string_view replaceString) override;
  std::int32_t get_NumReplacePatterns() override;
  std::string GetReplacePattern(std::int32_t index) override;
  std::string GetReplaceString(std::int32_t index) override;
  std::string GetReplaceString2(std::string_view pattern) override;
  std::string GetAttachmentContentID(std::int32_t index) override;
  std::string GetAttachmentStringCrLf(std::int32_t index) override;
  std::string GetXml() override;
  void SaveXml(std::string_view filename) override;

  std::string GetMime() override;
  std::int32_t NumHeaderFields() override;
  std::string GetHeaderFieldName(std::int32_t index) override;
  std::string GetPlainTextBody() override;
  std::string GetHtmlBody() override;
  std::string GetAlternativeContentType(std::int32_t index) override;
  std::string GetAlternativeBody(std::int32_t index) override;
  std::int32_t get_NumAlternatives() override;
  void AddPlainTextAlternativeBody(std::string_view body) override;
  void AddHtmlAlternativeBody(std::string_view body) override;
  std::int32_t get_ReceivedEncrypted() override;
  std::int32_t get_ReceivedSigned() override;
  std::string get_SignedBy() override;
  std::int32_t get_SignaturesValid() override;
  std::int32_t get_Decrypted() override;
  std::string get_EncryptedBy() override;
  std::int32_t get_SendSigned() override;
  void put_SendSigned(std::int32_t wanted) override;
  std::int32_t get_SendEncrypted() override;
  void put_SendEncrypted(std::int32_t wanted) override;
  std::string AddRelatedContent(std::string_view filename) override;
  std::int32_t get_NumRelatedItems() override;
  std::int32_t SaveRelatedItem(std::int32_t index, std::string_view directory) override;
  void SetHtmlBody(std::string_view html) override;
  std::string get_Uidl() override;
  void AddHeaderField(std::string_view fieldName, std::string_view fieldValue) override;
  std::string get_OutlookDistList() override;
  void put_OutlookDistList(std::string_view name) override;
  std::string get_FileDistList() override;
  void put_FileDistList(std::string_view path) override;
  std::string GetRelatedContentID(std::int32_t index) override;
  std::string GetRelatedStringCrLf(std::int32_t index) override;
  std::string GetRelatedFilename(std::int32_t index) override;
  std::string GetRelatedString(std::int32_t index) override;
  quorvel::Bytes GetRelatedData(std::int32_t index) override;
  std::int32_t GetImpl() override;
  quorvel::Ref<quorvel::IQuorvelCert> GetEncryptCert() override;
  void SetEncryptCert(quorvel::IQuorvelCert* cert) override;
  quorvel::Ref<quorvel::IQuorvelCert> GetSigningCert() override;
  void SetSigningCert(quorvel::IQuorvelCert* cert) override;
  std::string GetFileContent(std::string_view filename) override;
  void SetAlgorithmRC2() override;
  void SetAlgorithmRC4() override;
  void SetAlgorithmDES() override;
  void SetAlgorithm3DES() override;
  std::int32_t get_Size() override;
  std::int32_t get_ReturnReceipt() override;
  void put_ReturnReceipt(std::int32_t wanted) override;
  quorvel::Ref<quorvel::IQuorvelEmail2> CreateForward() override;
  quorvel::Ref<quorvel::IQuorvelEmail2> CreateReply() override;
  void AddFileAttachment2(std::string_view filename, std::string_view contentType) override;
  quorvel::Ref<quorvel::IQuorvelEmail2> Clone() override;

  std::int32_t LoadMime(std::string_view mimeText) override;
  std::int32_t LoadEml(std::string_view filename) override;
  std::int32_t SaveEml(std::string_view filename) override;
  std::int32_t get_WhollySigned() override;
  std::int32_t get_WhollyEncrypted() override;
  std::int32_t get_NumSecurityLayers() override;
  std::string GetLayerKind(std::int32_t index) override;
  std::int32_t GetLayerOpened(std::int32_t index) override;
  std::int32_t GetLayerWhole(std::int32_t index) override;
  quorvel::Ref<quorvel::IQuorvelCert2> GetLayerCert(std::int32_t index) override;
  std::string get_ServerUidl() override;

 private:
  quorvel::Ref<quorvel::IQuorvelEmail2> copy(std::string_view name, void (Email::*change)());
  Outcome become(std::string_view mimeText, CLog* log);
  void setAlgorithm(std::string_view name, EncryptAlgorithm algorithm);
  std::string attach(std::string_view name, std::string_view filename, std::string_view contentType);
  template <typename Read>
  std::string readItem(std::string_view name, ItemKind kind, std::int32_t index, Read read);
  quorvel::Bytes itemData(std::string_view name, ItemKind kind, std::int32_t index);

  std::shared_ptr<Email> email_;  // shared with an operation that is sending it, as the next
  std::shared_ptr<ReplacePatterns> patterns_;
  EmailHandle handle_;
};

}  // namespace qv

// The public mail manager.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/mail_man.h>
#include <quorvel/outgoing.h>

#include "api/event_source.h"
#include "api/object_base.h"
#include "api/public_call.h"
#include "api/quorvel_email_bundle.h"
#include "mailman/mail_man.h"
#include "mailman/outbox.h"
#include "net/progress_monitor.h"

namespace qv {

/// Keeps the settings and lets the outbox do the sending and the engine the receiving. Progress reaches the
/// host's sinks through it.
class CQuorvelMailMan final : public ObjectBase<quorvel::IQuorvelMailMan3>,
                              public FireComEvent,
                              public EventSource {
 public:
  static constexpr std::string_view kClassName = "CQuorvelMailMan";

  std::string_view className() const noexcept override { return kClassName; }

  std::string get_SmtpHost() override;
  void put_SmtpHost(std::string_view host) override;
  std::int32_t SendEmail(quorvel::IQuorvelEmail* email) override;
  std::int32_t SendBundle(quorvel::IQuorvelEmailBundle* bundle) override;
  std::string get_MailHost() override;
  void put_MailHost(std::string_view host) override;
  std::string get_PopUsername() override;
  void put_PopUsername(std::string_view username) override;
  std::string get_PopPassword() override;
  void put_PopPassword(std::string_view password) override;
  std::int32_t get_SmtpPort() override;
  void put_SmtpPort(std::int32_t port) override;
  std::int32_t get_MailPort() override;
  void put_MailPort(std::int32_t port) override;
  std::int32_t get_MaxCount() override;
  void put_MaxCount(std::int32_t count) override;
  std::int32_t get_SizeLimit() override;
  void put_SizeLimit(std::int32_t bytes) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle> CopyMail() override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle> TransferMail() override;
  std::string get_DefaultLanguage() override;
  void put_DefaultLanguage(std::string_view language) override;
  std::int32_t CheckMail() override;
  std::string get_DefaultCharset() override;
  void put_DefaultCharset(std::string_view charset) override;
  std::int32_t get_PreferIsoCharset() override;
  void put_PreferIsoCharset(std::int32_t prefer) override;
  std::int32_t get_PreferMicrosoftCharset() override;
  void put_PreferMicrosoftCharset(std::int32_t prefer) override;
  std::int32_t get_PreferMacCharset() override;
  void put_PreferMacCharset(std::int32_t prefer) override;
  void StartMailWatch(std::int32_t waitSeconds) override;
  void StopMailWatch() override;
  std::string get_Version() override;
  quorvel::Ref<quorvel::IQuorvelLog> GetLog() override;
  std::int32_t QuickSend(std::string_view from, std::string_view to, std::string_view subject,
                         std::string_view body, std::string_view smtpServer) override;

  quorvel::Ref<quorvel::IQuorvelEmailBundle> LoadMbx(std::string_view mbxFileName) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle> LoadOutlookFolder(std::string_view folderPath) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle> LoadXmlFile(std::string_view folderPath) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle> LoadXmlString(std::string_view xmlString) override;
  std::string get_Filter() override;
  void put_Filter(std::string_view expression) override;
  void SendViaOutlook(quorvel::IQuorvelEmail2* iEmail) override;
  std::string get_SmtpUsername() override;
  void put_SmtpUsername(std::string_view username) override;
  std::string get_SmtpPassword() override;
  void put_SmtpPassword(std::string_view password) override;
  void ImportCertificates(std::string_view filename) override;
  std::string get_LogMailSentFilename() override;
  void put_LogMailSentFilename(std::string_view filename) override;
  std::string get_LogMailReceivedFilename() override;
  void put_LogMailReceivedFilename(std::string_view filename) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle2> GetAllHeaders(std::int32_t numBodyLines) override;
  void DeleteEmail(quorvel::IQuorvelEmail2* email) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle2> GetHeaders(std::int32_t numBodyLines, std::int32_t fromIndex,
                                                         std::int32_t toIndex) override;
  quorvel::Ref<quorvel::IQuorvelEmail2> GetFullEmail(quorvel::IQuorvelEmail2* email) override;
  void DeleteBundle(quorvel::IQuorvelEmailBundle2* bundle) override;
  void DeleteMultiple(quorvel::IQvStringArray* uidlArray) override;
  quorvel::Ref<quorvel::IQuorvelEmail2> FetchEmail(std::string_view uidl) override;
  quorvel::Ref<quorvel::IQuorvelEmailBundle2> FetchMultiple(quorvel::IQvStringArray* uidlArray) override;
  std::int32_t VerifyPopConnection() override;
  std::int32_t VerifyPopLogin() override;
  std::int32_t VerifySmtpConnection() override;
  std::int32_t VerifySmtpLogin() override;
  std::string get_SmtpLoginDomain() override;
  void put_SmtpLoginDomain(std::string_view domain) override;
  std::string get_OutlookContactsFolder() override;
  void put_OutlookContactsFolder(std::string_view folder) override;
  std::int32_t get_AutoAddContacts() override;
  void put_AutoAddContacts(std::int32_t add) override;
  std::string get_SmtpAuthMethod() override;
  void put_SmtpAuthMethod(std::string_view method) override;
  std::int32_t get_SendIndividual() override;
  void put_SendIndividual(std::int32_t individual) override;
  void UseQuorvelService(std::string_view username, std::string_view domain,
                         std::string_view password) override;
  void NoQuorvelService() override;
  std::int32_t get_AutoSaveCerts() override;
  void put_AutoSaveCerts(std::int32_t save) override;
  quorvel::Ref<quorvel::IQvStringArray> GetUidls() override;
  void SaveXmlLog(std::string_view filename) override;

  std::int32_t get_ConnectTimeout() override;
  void put_ConnectTimeout(std::int32_t seconds) override;
  std::int32_t get_ReadTimeout() override;
  void put_ReadTimeout(std::int32_t seconds) override;
  std::int32_t MatchFilter(quorvel::IQuorvelEmail2* email) override;
  std::string ExplainFilter(quorvel::IQuorvelEmail2* email) override;

  /// Raises `MessageProc` on every connected sink.
  void progressEvent(std::int32_t senderId, std::int32_t messageId, std::int32_t param1,
                     std::int32_t param2) override;

 private:
  std::int32_t prefers(std::string_view name, CharsetFamily family);
  void setPreferred(std::string_view name, CharsetFamily family, std::int32_t prefer);
  template <typename Send>
  std::int32_t send(const Operation& operation, Send use);
  template <typename Receive>
  Outcome receive(const Operation& operation, Receive use);
  template <typename Collect>
  quorvel::Ref<CQuorvelEmailBundle> getMail(std::string_view name, std::string_view step,
                                            Origination origination, Collect collect);

  template <typename Load>
  quorvel::Ref<CQuorvelEmailBundle> load(std::string_view name, Origination origination,
                                         std::string_view noBundle, Load load);

  OutboxSettings settings_;
  ReceiveSettings receiving_;
  StringBuffer outlookContactsFolder_{"Personal Folders/Contacts"};
  bool autoAddContacts_ = false;
};

}  // namespace qv

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
#include "mailman/outbox.h"
#include "net/progress_monitor.h"

namespace qv {

/// Keeps the settings and lets the outbox do the sending. Progress reaches the host's sinks through it.
class CQuorvelMailMan final : public ObjectBase<quorvel::IQuorvelMailMan3>,
                              public FireComEvent,
                              public EventSource {
 public:
  static constexpr std::string_view kClassName = "CQuorvelMailMan";

  std::string_view className() const noexcept override { return kClassName; }

  std::string get_SmtpHost() override;
  void put_SmtpHost(std::string_view host) override;
  std::int32_t SendEmail(quorvel::IQuorvelEmail* email) override;
  std::int32_t get_SmtpPort() override;
  void put_SmtpPort(std::int32_t port) override;
  std::string get_Version() override;
  quorvel::Ref<quorvel::IQuorvelLog> GetLog() override;
  std::int32_t QuickSend(std::string_view from, std::string_view to, std::string_view subject,
                         std::string_view body, std::string_view smtpServer) override;

  std::string get_SmtpUsername() override;
  void put_SmtpUsername(std::string_view username) override;
  std::string get_SmtpPassword() override;
  void put_SmtpPassword(std::string_view password) override;
  std::string get_LogMailSentFilename() override;
  void put_LogMailSentFilename(std::string_view filename) override;
  std::int32_t VerifySmtpConnection() override;
  std::string get_SmtpLoginDomain() override;
  void put_SmtpLoginDomain(std::string_view domain) override;
  std::string get_SmtpAuthMethod() override;
  void put_SmtpAuthMethod(std::string_view method) override;
  std::int32_t get_SendIndividual() override;
  void put_SendIndividual(std::int32_t individual) override;
  void SaveXmlLog(std::string_view filename) override;

  std::int32_t get_ConnectTimeout() override;
  void put_ConnectTimeout(std::int32_t seconds) override;
  std::int32_t get_ReadTimeout() override;
  void put_ReadTimeout(std::int32_t seconds) override;

  /// Raises `MessageProc` on every connected sink.
  void progressEvent(std::int32_t senderId, std::int32_t messageId, std::int32_t param1,
                     std::int32_t param2) override;

 private:
  template <typename Send>
  std::int32_t send(const Operation& operation, Send use);

  OutboxSettings settings_;
};

}  // namespace qv

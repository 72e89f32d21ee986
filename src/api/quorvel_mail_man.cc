#include "api/quorvel_mail_man.h"

#include <algorithm>
#include <memory>

#include "api/component.h"
#include "api/email_handles.h"
#include "api/public_call.h"
#include "api/quorvel_log.h"

namespace qv {

namespace {

Outcome outcomeOf(const SendReport& report) {
  if (report.success) return Outcome::done;
  return report.reportError ? Outcome::failed : Outcome::failedQuietly;
}

}  // namespace

// Settings.

std::string CQuorvelMailMan::get_SmtpHost() {
  return publicRead(plain("get_SmtpHost"), [this](CLog*) { return settings_.smtp.host.str(); });
}
void CQuorvelMailMan::put_SmtpHost(std::string_view host) {
  publicCall(plain("put_SmtpHost"), [&](CLog*) { settings_.smtp.host = host; });
}

std::int32_t CQuorvelMailMan::get_SmtpPort() {
  return publicRead(plain("get_SmtpPort"), [this](CLog*) { return settings_.smtp.port; });
}
void CQuorvelMailMan::put_SmtpPort(std::int32_t port) {
  publicCall(plain("put_SmtpPort"), [&](CLog*) { settings_.smtp.port = port; });
}

std::string CQuorvelMailMan::get_SmtpUsername() {
  return publicRead(plain("get_SmtpUsername"), [this](CLog*) { return settings_.smtp.username.str(); });
}
void CQuorvelMailMan::put_SmtpUsername(std::string_view username) {
  publicCall(plain("put_SmtpUsername"), [&](CLog*) { settings_.smtp.username = username; });
}

std::string CQuorvelMailMan::get_SmtpPassword() {
  return publicRead(plain("get_SmtpPassword"), [this](CLog*) { return settings_.smtp.password.str(); });
}
void CQuorvelMailMan::put_SmtpPassword(std::string_view password) {
  publicCall(plain("put_SmtpPassword"), [&](CLog*) { settings_.smtp.password = password; });
}

std::string CQuorvelMailMan::get_SmtpLoginDomain() {
  return publicRead(plain("get_SmtpLoginDomain"), [this](CLog*) { return settings_.smtp.loginDomain.str(); });
}
void CQuorvelMailMan::put_SmtpLoginDomain(std::string_view domain) {
  publicCall(plain("put_SmtpLoginDomain"), [&](CLog*) { settings_.smtp.loginDomain = domain; });
}

std::string CQuorvelMailMan::get_SmtpAuthMethod() {
  return publicRead(plain("get_SmtpAuthMethod"), [this](CLog*) { return settings_.smtp.authMethod.str(); });
}
void CQuorvelMailMan::put_SmtpAuthMethod(std::string_view method) {
  publicCall(plain("put_SmtpAuthMethod"), [&](CLog*) { settings_.smtp.authMethod = method; });
}

std::string CQuorvelMailMan::get_LogMailSentFilename() {
  return publicRead(plain("get_LogMailSentFilename"),
                    [this](CLog*) { return settings_.logMailSentFilename.str(); });
}
void CQuorvelMailMan::put_LogMailSentFilename(std::string_view filename) {
  publicCall(plain("put_LogMailSentFilename"), [&](CLog*) { settings_.logMailSentFilename = filename; });
}

std::int32_t CQuorvelMailMan::get_SendIndividual() {
  return publicRead(plain("get_SendIndividual"), [this](CLog*) { return settings_.sendIndividual ? 1 : 0; });
}
void CQuorvelMailMan::put_SendIndividual(std::int32_t individual) {
  publicCall(plain("put_SendIndividual"), [&](CLog*) { settings_.sendIndividual = individual != 0; });
}

std::int32_t CQuorvelMailMan::get_ConnectTimeout() {
  return publicRead(plain("get_ConnectTimeout"), [this](CLog*) { return settings_.smtp.connectTimeout; });
}
void CQuorvelMailMan::put_ConnectTimeout(std::int32_t seconds) {
  publicCall(plain("put_ConnectTimeout"), [&](CLog*) {
    settings_.smtp.connectTimeout = receiving_.pop.connectTimeout = std::max(seconds, 0);
  });
}

std::int32_t CQuorvelMailMan::get_ReadTimeout() {
  return publicRead(plain("get_ReadTimeout"), [this](CLog*) { return settings_.smtp.readTimeout; });
}
void CQuorvelMailMan::put_ReadTimeout(std::int32_t seconds) {
  publicCall(plain("put_ReadTimeout"),
             [&](CLog*) { settings_.smtp.readTimeout = receiving_.pop.readTimeout = std::max(seconds, 0); });
}

std::string CQuorvelMailMan::get_Version() {
  return publicRead(plain("get_Version"), [](CLog*) { return std::string(component::kVersion); });
}

// Sending.

/// Runs `use` on an outbox of its own. A sink may change the settings and let go of this object meanwhile:
/// the outbox has a copy of the settings as they are now, and the object stays until the operation is over.
template <typename Send>
std::int32_t CQuorvelMailMan::send(const Operation& operation, Send use) {
  const quorvel::Ref<CQuorvelMailMan> stay(this);
  return publicFlag(operation, [&](CLog* log) {
    const OutboxSettings settings = settings_;
    return use(Outbox(settings, this, log), log);
  });
}

std::int32_t CQuorvelMailMan::SendEmail(quorvel::IQuorvelEmail* email) {
  Operation operation = onServer("SendEmail");
  operation.describe = sendErrorDescription;
  return send(operation, [&](Outbox outbox, CLog* log) {
    if (email == nullptr) {
      logError(log, "Email parameter is NULL in SendEmail");
      return Outcome::failed;
    }
    const std::shared_ptr<Email> message = internalEmail(*email);
    return outcomeOf(outbox.sendEmail({message.get()}));
  });
}

std::int32_t CQuorvelMailMan::QuickSend(std::string_view from, std::string_view to, std::string_view subject,
                                        std::string_view body, std::string_view smtpServer) {
  return send(onServer("QuickSend"), [&](Outbox outbox, CLog*) {
    return outcomeOf(outbox.quickSend(from, to, subject, body, smtpServer));
  });
}

std::int32_t CQuorvelMailMan::VerifySmtpConnection() {
  return send(onServer("VerifySmtpConnection"), [](Outbox outbox, CLog*) {
    return outbox.verifySmtpConnection() ? Outcome::done : Outcome::failedQuietly;
  });
}

std::int32_t CQuorvelMailMan::VerifySmtpLogin() {
  return send(onServer("VerifySmtpLogin"), [](Outbox outbox, CLog*) {
    return outbox.verifySmtpLogin() ? Outcome::done : Outcome::failedQuietly;
  });
}

void CQuorvelMailMan::progressEvent(std::int32_t senderId, std::int32_t messageId, std::int32_t param1,
                                    std::int32_t param2) {
  fire(senderId, messageId, param1, param2);
}

// The log.

quorvel::Ref<quorvel::IQuorvelLog> CQuorvelMailMan::GetLog() {
  quorvel::Ref<quorvel::IQuorvelLog> result;
  publicCall(plain("GetLog"), [&](CLog* log) {
    auto store = log->GetInterface();
    if (!store) return Outcome::failed;
    result = quorvel::make<CQuorvelLog>(std::move(store));
    return Outcome::done;
  });
  return result;
}

void CQuorvelMailMan::SaveXmlLog(std::string_view filename) {
  publicCall(inContext("SaveXmlLog"), [&](CLog* log) {
    if (log->SaveXml(false, filename)) return Outcome::done;
    logError(log, "Failed to save XML log");
    return Outcome::failed;
  });
}

}  // namespace qv

#include "api/quorvel_mail_man.h"

#include <algorithm>
#include <memory>
#include <vector>

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

OutgoingEmail outgoing(const InternalEmail& email) {
  return {email.email.get(), email.patterns.get()};
}

/// Sends the e-mails of a bundle of the component's, which are all there and keep their order whatever a sink
/// does to the bundle meanwhile.
SendReport sendOwn(Outbox& outbox, const CQuorvelEmailBundle& bundle) {
  std::vector<InternalEmail> messages;
  for (const PersistedEmail& entry : bundle.entries()) messages.push_back(emailToSend(*entry.email));
  std::vector<OutgoingEmail> emails;
  emails.reserve(messages.size());
  for (const InternalEmail& message : messages) emails.push_back(outgoing(message));
  return outbox.sendBundle(emails);
}

/// Sends those of a host's own bundle, which may make each of them as it is asked for.
SendReport sendForeign(Outbox& outbox, quorvel::IQuorvelEmailBundle& bundle) {
  const quorvel::Ref<quorvel::IQuorvelEmailBundle> stay(&bundle);
  InternalEmail current;
  const auto emailAt = [&](std::size_t index) {
    const auto email = bundle.GetEmail(static_cast<std::int32_t>(index));
    current = email ? emailToSend(*email) : InternalEmail{};
    return outgoing(current);
  };
  return outbox.sendBundle(static_cast<std::size_t>(std::max(bundle.get_MessageCount(), 0)), emailAt);
}

void failWith(const Operation& operation, void (*logFailure)(CLog*, std::string_view),
              std::string_view message) {
  publicCall(operation, [&](CLog* log) {
    logFailure(log, message);
    return Outcome::failed;
  });
}

constexpr std::string_view kNoLonger = "This method is no longer available and is not supported.";

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

// The charset of what is sent.

std::string CQuorvelMailMan::get_DefaultLanguage() {
  return publicRead(plain("get_DefaultLanguage"),
                    [this](CLog*) { return settings_.defaults.language.str(); });
}
void CQuorvelMailMan::put_DefaultLanguage(std::string_view language) {
  publicCall(plain("put_DefaultLanguage"), [&](CLog*) {
    settings_.defaults.language = language;
    settings_.defaults.charset.clear();
  });
}

std::string CQuorvelMailMan::get_DefaultCharset() {
  return publicRead(plain("get_DefaultCharset"), [this](CLog*) { return settings_.defaults.charset.str(); });
}
void CQuorvelMailMan::put_DefaultCharset(std::string_view charset) {
  publicCall(plain("put_DefaultCharset"), [&](CLog*) {
    settings_.defaults.charset = charset;
    settings_.defaults.language.clear();
  });
}

std::int32_t CQuorvelMailMan::prefers(std::string_view name, CharsetFamily family) {
  return publicRead(plain(name), [&](CLog*) { return settings_.defaults.preferred == family ? 1 : 0; });
}
void CQuorvelMailMan::setPreferred(std::string_view name, CharsetFamily family, std::int32_t prefer) {
  publicCall(plain(name),
             [&](CLog*) { settings_.defaults.preferred = prefer != 0 ? family : CharsetFamily::none; });
}

std::int32_t CQuorvelMailMan::get_PreferIsoCharset() {
  return prefers("get_PreferIsoCharset", CharsetFamily::iso);
}
void CQuorvelMailMan::put_PreferIsoCharset(std::int32_t prefer) {
  setPreferred("put_PreferIsoCharset", CharsetFamily::iso, prefer);
}

std::int32_t CQuorvelMailMan::get_PreferMicrosoftCharset() {
  return prefers("get_PreferMicrosoftCharset", CharsetFamily::microsoft);
}
void CQuorvelMailMan::put_PreferMicrosoftCharset(std::int32_t prefer) {
  setPreferred("put_PreferMicrosoftCharset", CharsetFamily::microsoft, prefer);
}

std::int32_t CQuorvelMailMan::get_PreferMacCharset() {
  return prefers("get_PreferMacCharset", CharsetFamily::mac);
}
void CQuorvelMailMan::put_PreferMacCharset(std::int32_t prefer) {
  setPreferred("put_PreferMacCharset", CharsetFamily::mac, prefer);
}

// The signing service.

void CQuorvelMailMan::UseQuorvelService(std::string_view username, std::string_view domain,
                                        std::string_view password) {
  publicCall(onServer("UseQuorvelService"), [&](CLog* log) {
    settings_.service = {.isUsed = true, .login = {username, domain, password}};
    logData(log, "quorvel_service_user", username);
    logData(log, "quorvel_service_domain", domain);
  });
}

void CQuorvelMailMan::NoQuorvelService() {
  publicCall(inContext("NoQuorvelService"), [this](CLog*) { settings_.service.isUsed = false; });
}

// What there was once, or is not yet.

void CQuorvelMailMan::StartMailWatch(std::int32_t) {
  failWith(inContext("StartMailWatch"), logCommonError, kNoLonger);
}
void CQuorvelMailMan::StopMailWatch() {
  failWith(inContext("StopMailWatch"), logCommonError, kNoLonger);
}
void CQuorvelMailMan::ImportCertificates(std::string_view) {
  failWith(inContext("ImportCertificates"), logError, "This method is not yet implemented.");
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::LoadOutlookFolder(std::string_view) {
  failWith(inContext("LoadOutlookFolder"), logError, "Failed to get mail. (4)");
  return nullptr;
}
void CQuorvelMailMan::SendViaOutlook(quorvel::IQuorvelEmail2* iEmail) {
  failWith(
      inContext("SendViaOutlook"), logError,
      iEmail == nullptr ? "Email parameter is NULL in SendViaOutlook" : "Internal error in SendViaOutlook");
}

std::string CQuorvelMailMan::get_OutlookContactsFolder() {
  return publicRead(plain("get_OutlookContactsFolder"),
                    [this](CLog*) { return outlookContactsFolder_.str(); });
}
void CQuorvelMailMan::put_OutlookContactsFolder(std::string_view folder) {
  publicCall(plain("put_OutlookContactsFolder"), [&](CLog*) { outlookContactsFolder_ = folder; });
}

std::int32_t CQuorvelMailMan::get_AutoAddContacts() {
  return publicRead(plain("get_AutoAddContacts"), [this](CLog*) { return autoAddContacts_ ? 1 : 0; });
}
void CQuorvelMailMan::put_AutoAddContacts(std::int32_t add) {
  publicCall(plain("put_AutoAddContacts"), [&](CLog*) { autoAddContacts_ = add != 0; });
}

// Sending.

/// Runs `use` on an outbox of its own. A sink may change the settings and let go of this object meanwhile:
/// the outbox has a copy of the settings as they are now, and the object stays until the operation is over.
template <typename Send>
std::int32_t CQuorvelMailMan::send(const Operation& operation, Send use) {
  const quorvel::Ref<CQuorvelMailMan> stay(this);
  return publicFlag(operation, [&](CLog* log) {
    const OutboxSettings settings = settings_;
    return use(Outbox(settings, hasSinks() ? this : nullptr, log), log);
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
    const InternalEmail message = emailToSend(*email);
    return outcomeOf(outbox.sendEmail(outgoing(message)));
  });
}

std::int32_t CQuorvelMailMan::SendBundle(quorvel::IQuorvelEmailBundle* bundle) {
  return send(onServer("SendBundle"), [&](Outbox outbox, CLog* log) {
    if (bundle == nullptr) {
      logError(log, "Bundle parameter is NULL in SendBundle");
      return Outcome::failed;
    }
    const auto* own = dynamic_cast<const CQuorvelEmailBundle*>(bundle);
    return outcomeOf(own != nullptr ? sendOwn(outbox, *own) : sendForeign(outbox, *bundle));
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

// The mail manager's work on a POP3 server.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/email_handles.h"
#include "api/public_call.h"
#include "api/quorvel_email.h"
#include "api/quorvel_email_bundle.h"
#include "api/quorvel_mail_man.h"
#include "api/qv_string_array.h"
#include "mailman/expression.h"

namespace qv {

namespace {

/// Runs one step of an operation. What it throws is logged under the step's name, and gives nothing.
template <typename Step>
auto attempt(CLog* log, std::string_view name, Step step) -> decltype(step()) {
  try {
    return step();
  } catch (...) {
    logError(log, "Unexpected exception in " + std::string(name));
    return nullptr;
  }
}

Outcome failWith(CLog* log, std::string_view message, Outcome how = Outcome::failed) {
  logError(log, message);
  return how;
}

enum class Order { asTheyAre, reversed };

/// Hands the e-mails over to a bundle for the host.
void moveEmails(MailBundle& from, CQuorvelEmailBundle& to, Order order, const Origination* mark, CLog* log) {
  while (from.count() != 0) {
    const std::size_t place = order == Order::reversed ? from.count() - 1 : 0;
    std::unique_ptr<Email> email = attempt(log, "extractEmail", [&] { return from.take(place); });
    if (email == nullptr) return;
    if (mark != nullptr) email->setOrigination(*mark);
    auto object = attempt(log, "createEmail", [&] { return quorvel::make<CQuorvelEmail>(std::move(email)); });
    if (object) to.append(std::move(object));
  }
}

/// The ids of a bundle's e-mails, in its order. The bundle may be the host's own.
std::vector<StringBuffer> uidlsOf(quorvel::IQuorvelEmailBundle2& bundle) {
  std::vector<StringBuffer> uidls;
  const auto add = [&uidls](quorvel::IQuorvelEmail2& email) {
    const std::shared_ptr<Email> message = internalEmail(email);
    if (message != nullptr && !message->uidlOnServer().empty()) uidls.emplace_back(message->uidlOnServer());
  };
  if (const auto* own = dynamic_cast<const CQuorvelEmailBundle*>(&bundle)) {
    for (std::size_t i = 0; i < own->entries().size(); ++i) {
      const auto email = own->entries()[i].email;
      add(*email);
    }
    return uidls;
  }
  const std::int32_t count = bundle.get_MessageCount();
  for (std::int32_t i = 0; i < count; ++i) {
    const auto email = bundle.GetEmail(i).as<quorvel::IQuorvelEmail2>();
    if (email) add(*email);
  }
  return uidls;
}

std::unique_ptr<MailBundle> loadXmlOrLog(MailMan& engine, std::string_view text, CLog* log) {
  std::unique_ptr<MailBundle> emails = engine.loadXml(text);
  if (emails == nullptr) logError(log, "Failed to create email bundle from XML");
  return emails;
}

}  // namespace

// Settings.

std::string CQuorvelMailMan::get_MailHost() {
  return publicRead(plain("get_MailHost"), [this](CLog*) { return receiving_.pop.host.str(); });
}
void CQuorvelMailMan::put_MailHost(std::string_view host) {
  publicCall(plain("put_MailHost"), [&](CLog*) { receiving_.pop.host = host; });
}

std::int32_t CQuorvelMailMan::get_MailPort() {
  return publicRead(plain("get_MailPort"), [this](CLog*) { return receiving_.pop.port; });
}
void CQuorvelMailMan::put_MailPort(std::int32_t port) {
  publicCall(plain("put_MailPort"), [&](CLog*) { receiving_.pop.port = port; });
}

std::string CQuorvelMailMan::get_PopUsername() {
  return publicRead(plain("get_PopUsername"), [this](CLog*) { return receiving_.pop.username.str(); });
}
void CQuorvelMailMan::put_PopUsername(std::string_view username) {
  publicCall(plain("put_PopUsername"), [&](CLog*) { receiving_.pop.username = username; });
}

std::string CQuorvelMailMan::get_PopPassword() {
  return publicRead(plain("get_PopPassword"), [this](CLog*) { return receiving_.pop.password.str(); });
}
void CQuorvelMailMan::put_PopPassword(std::string_view password) {
  publicCall(plain("put_PopPassword"), [&](CLog*) { receiving_.pop.password = password; });
}

std::int32_t CQuorvelMailMan::get_MaxCount() {
  return publicRead(plain("get_MaxCount"), [this](CLog*) { return receiving_.maxCount; });
}
void CQuorvelMailMan::put_MaxCount(std::int32_t count) {
  publicCall(plain("put_MaxCount"), [&](CLog*) { receiving_.maxCount = count; });
}

std::int32_t CQuorvelMailMan::get_SizeLimit() {
  return publicRead(plain("get_SizeLimit"), [this](CLog*) { return receiving_.sizeLimit; });
}
void CQuorvelMailMan::put_SizeLimit(std::int32_t bytes) {
  publicCall(plain("put_SizeLimit"), [&](CLog*) { receiving_.sizeLimit = bytes; });
}

std::string CQuorvelMailMan::get_Filter() {
  return publicRead(plain("get_Filter"), [this](CLog*) { return receiving_.filter.str(); });
}
void CQuorvelMailMan::put_Filter(std::string_view expression) {
  publicCall(plain("put_Filter"), [&](CLog*) { receiving_.filter = expression; });
}

std::string CQuorvelMailMan::get_LogMailReceivedFilename() {
  return publicRead(plain("get_LogMailReceivedFilename"),
                    [this](CLog*) { return receiving_.logMailReceivedFilename.str(); });
}
void CQuorvelMailMan::put_LogMailReceivedFilename(std::string_view filename) {
  publicCall(plain("put_LogMailReceivedFilename"),
             [&](CLog*) { receiving_.logMailReceivedFilename = filename; });
}

std::int32_t CQuorvelMailMan::get_AutoSaveCerts() {
  return publicRead(plain("get_AutoSaveCerts"), [this](CLog*) { return receiving_.autoSaveCerts ? 1 : 0; });
}
void CQuorvelMailMan::put_AutoSaveCerts(std::int32_t save) {
  publicCall(plain("put_AutoSaveCerts"), [&](CLog*) { receiving_.autoSaveCerts = save != 0; });
}

// Operations.

/// Runs `use` on an engine of its own. A sink may change the settings and let go of this object meanwhile:
/// the engine has a copy of the settings as they are now, and the object stays until the operation is over.
template <typename Receive>
Outcome CQuorvelMailMan::receive(const Operation& operation, Receive use) {
  const quorvel::Ref<CQuorvelMailMan> stay(this);
  return publicCall(operation, [&](CLog* log) {
    const ReceiveSettings settings = receiving_;
    return use(MailMan(settings, this, log), log);
  });
}

template <typename Collect>
quorvel::Ref<CQuorvelEmailBundle> CQuorvelMailMan::getMail(std::string_view name, std::string_view step,
                                                           Origination origination, Collect collect) {
  quorvel::Ref<CQuorvelEmailBundle> result;
  receive(onServer(name), [&](MailMan engine, CLog* log) {
    const std::unique_ptr<MailBundle> emails = attempt(log, step, [&] { return collect(engine); });
    if (emails == nullptr) return failWith(log, "Failed to get mail.", Outcome::failedQuietly);
    auto bundle = attempt(log, "createEmptyBundle", [] { return quorvel::make<CQuorvelEmailBundle>(); });
    if (!bundle) return failWith(log, "Failed to get mail. (2)");
    if (emails->count() == 0) logInfo(log, "No messages found on the POP3 server.");
    moveEmails(*emails, *bundle, Order::asTheyAre, &origination, log);
    result = std::move(bundle);
    return Outcome::done;
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::CopyMail() {
  return getMail("CopyMail", "m_mailman.copyMail.", Origination::copiedFromPop3,
                 [](MailMan& engine) { return engine.copyMail(); });
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::TransferMail() {
  return getMail("TransferMail", "m_mailman.xferMail.", Origination::transferredFromPop3,
                 [](MailMan& engine) { return engine.xferMail(); });
}

quorvel::Ref<quorvel::IQuorvelEmailBundle2> CQuorvelMailMan::GetAllHeaders(std::int32_t numBodyLines) {
  return getMail("GetAllHeaders", "m_mailman.copyHeaders.", Origination::headerFromPop3,
                 [=](MailMan& engine) { return engine.copyHeaders({.all = true}, numBodyLines); });
}

quorvel::Ref<quorvel::IQuorvelEmailBundle2> CQuorvelMailMan::GetHeaders(std::int32_t numBodyLines,
                                                                        std::int32_t fromIndex,
                                                                        std::int32_t toIndex) {
  const HeaderRange range{.all = false, .from = fromIndex, .to = toIndex};
  return getMail("GetHeaders", "m_mailman.copyHeaders.", Origination::headerFromPop3,
                 [=](MailMan& engine) { return engine.copyHeaders(range, numBodyLines); });
}

std::int32_t CQuorvelMailMan::CheckMail() {
  std::int32_t count = -1;
  receive(onServer("CheckMail"), [&](MailMan engine, CLog*) {
    bool known = false;
    const std::int32_t counted = engine.checkMail(known);
    if (known) count = counted;
    return known ? Outcome::done : Outcome::failed;
  });
  return count;
}

quorvel::Ref<quorvel::IQvStringArray> CQuorvelMailMan::GetUidls() {
  quorvel::Ref<quorvel::IQvStringArray> result;
  receive(onServer("GetUidls"), [&](MailMan engine, CLog* log) {
    std::vector<StringBuffer> uidls;
    if (!engine.getUidls(uidls)) return Outcome::failed;
    result = createStringArray(uidls, log);
    return result ? Outcome::done : Outcome::failed;
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelMailMan::FetchEmail(std::string_view uidl) {
  quorvel::Ref<quorvel::IQuorvelEmail2> result;
  receive(onServer("FetchEmail"), [&](MailMan engine, CLog* log) {
    if (uidl.empty()) return failWith(log, "This email does not have a UIDL", Outcome::failedQuietly);
    std::unique_ptr<Email> email = engine.fetchEmail(uidl);
    if (email == nullptr) {
      logData(log, "uidl", uidl);
      return failWith(log, "Failed to fetch email from mail server", Outcome::failedQuietly);
    }
    email->setOrigination(Origination::copiedFromPop3);
    result = attempt(log, "createEmail", [&] { return quorvel::make<CQuorvelEmail>(std::move(email)); });
    return result ? Outcome::done
                  : failWith(log, "Failed to create IQuorvelEmail object", Outcome::failedQuietly);
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmail2> CQuorvelMailMan::GetFullEmail(quorvel::IQuorvelEmail2* email) {
  quorvel::Ref<quorvel::IQuorvelEmail2> result;
  receive(inContext("GetFullEmail"), [&](MailMan engine, CLog* log) {
    if (email == nullptr) return failWith(log, "Parameter is NULL");
    const std::shared_ptr<Email> header = internalEmail(*email);
    if (header == nullptr) return failWith(log, "Failed to get UIDL", Outcome::failedQuietly);
    const StringBuffer uidl = header->uidlOnServer();
    if (uidl.empty()) {
      header->logOrigination(log);
      return failWith(log, "This email does not have a UIDL", Outcome::failedQuietly);
    }
    std::unique_ptr<Email> whole = engine.fetchEmail(uidl);
    if (whole == nullptr) {
      logData(log, "uidl", uidl);
      return failWith(log, "Failed to fetch email from mail server", Outcome::failedQuietly);
    }
    result = attempt(log, "createEmail", [&] { return quorvel::make<CQuorvelEmail>(std::move(whole)); });
    return result ? Outcome::done
                  : failWith(log, "Failed to create IQuorvelEmail object", Outcome::failedQuietly);
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmailBundle2> CQuorvelMailMan::FetchMultiple(
    quorvel::IQvStringArray* uidlArray) {
  quorvel::Ref<CQuorvelEmailBundle> result;
  receive(onServer("FetchMultiple"), [&](MailMan engine, CLog* log) {
    if (uidlArray == nullptr) return failWith(log, "UIDL array input parameter is NULL");
    const std::vector<StringBuffer> uidls = textsOf(*uidlArray);
    std::unique_ptr<MailBundle> emails;
    if (!uidls.empty()) {
      emails = engine.fetchMultiple(uidls);
      if (emails == nullptr) {
        return failWith(log, "Failed to fetch emails by UIDL from mail server", Outcome::failedQuietly);
      }
    }
    result = quorvel::make<CQuorvelEmailBundle>();
    if (emails != nullptr) moveEmails(*emails, *result, Order::asTheyAre, nullptr, log);
    return Outcome::done;
  });
  return result;
}

void CQuorvelMailMan::DeleteEmail(quorvel::IQuorvelEmail2* email) {
  receive(inContext("DeleteEmail"), [&](MailMan engine, CLog* log) {
    if (email == nullptr) return failWith(log, "Parameter is NULL");
    const std::shared_ptr<Email> message = internalEmail(*email);
    if (message == nullptr) return failWith(log, "Failed to get internal email object");
    const StringBuffer uidl = message->uidlOnServer();
    if (uidl.empty()) {
      message->logOrigination(log);
      return failWith(
          log, "UIDL not present in email header, cannot delete from mail server without this information");
    }
    engine.deleteEmail(uidl);
    return Outcome::done;
  });
}

void CQuorvelMailMan::DeleteBundle(quorvel::IQuorvelEmailBundle2* bundle) {
  receive(inContext("DeleteBundle"), [&](MailMan engine, CLog* log) {
    if (bundle == nullptr) return failWith(log, "bundle input parameter is NULL");
    const std::vector<StringBuffer> uidls = uidlsOf(*bundle);
    if (bundle->get_MessageCount() != 0) engine.deleteMultiple(uidls);
    return Outcome::done;
  });
}

void CQuorvelMailMan::DeleteMultiple(quorvel::IQvStringArray* uidlArray) {
  receive(onServer("DeleteMultiple"), [&](MailMan engine, CLog* log) {
    if (uidlArray == nullptr) return failWith(log, "UIDL array input parameter is NULL");
    const std::vector<StringBuffer> uidls = textsOf(*uidlArray);
    if (!uidls.empty()) engine.deleteMultiple(uidls);
    return Outcome::done;
  });
}

std::int32_t CQuorvelMailMan::VerifyPopConnection() {
  const Outcome outcome = receive(onServer("VerifyPopConnection"), [](MailMan engine, CLog*) {
    return engine.verifyPopConnection() ? Outcome::done : Outcome::failedQuietly;
  });
  return outcome == Outcome::done ? 1 : 0;
}

std::int32_t CQuorvelMailMan::VerifyPopLogin() {
  const Outcome outcome = receive(onServer("VerifyPopLogin"), [](MailMan engine, CLog*) {
    return engine.verifyPopLogin() ? Outcome::done : Outcome::failedQuietly;
  });
  return outcome == Outcome::done ? 1 : 0;
}

// Loading.

/// What `load` gives, as a bundle with the last e-mail first; when it gives none, it has logged why.
template <typename Load>
quorvel::Ref<CQuorvelEmailBundle> CQuorvelMailMan::load(std::string_view name, Origination origination,
                                                        std::string_view noBundle, Load load) {
  quorvel::Ref<CQuorvelEmailBundle> result;
  receive(inContext(name), [&](MailMan engine, CLog* log) {
    const std::unique_ptr<MailBundle> emails = load(engine, log);
    if (emails == nullptr) return Outcome::failed;
    auto bundle = attempt(log, "createEmptyBundle", [] { return quorvel::make<CQuorvelEmailBundle>(); });
    if (!bundle) return failWith(log, noBundle);
    moveEmails(*emails, *bundle, Order::reversed, &origination, log);
    result = std::move(bundle);
    return Outcome::done;
  });
  return result;
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::LoadMbx(std::string_view mbxFileName) {
  return load("LoadMbx", Origination::loadedFromMbx, "Failed to get mail. (3)",
              [&](MailMan& engine, CLog*) { return engine.loadMbx(mbxFileName); });
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::LoadXmlFile(std::string_view folderPath) {
  return load("LoadXmlFile", Origination::loadedFromXml, "Failed to get mail. (4)",
              [&](MailMan& engine, CLog* log) -> std::unique_ptr<MailBundle> {
                StringBuffer text;
                if (!text.loadFile(folderPath, log)) return nullptr;
                return loadXmlOrLog(engine, text, log);
              });
}

quorvel::Ref<quorvel::IQuorvelEmailBundle> CQuorvelMailMan::LoadXmlString(std::string_view xmlString) {
  return load("LoadXmlString", Origination::loadedFromXml, "Failed to get mail. (4)",
              [&](MailMan& engine, CLog* log) { return loadXmlOrLog(engine, xmlString, log); });
}

// The filter.

std::int32_t CQuorvelMailMan::MatchFilter(quorvel::IQuorvelEmail2* email) {
  return publicFlag(inContext("MatchFilter"), [&](CLog* log) {
    if (email == nullptr) return failWith(log, "Parameter is NULL");
    const std::shared_ptr<Email> message = internalEmail(*email);
    if (message == nullptr) return failWith(log, "Failed to get internal email object");
    const bool kept = receiving_.filter.empty() || Expression(receiving_.filter).evaluate(*message);
    return kept ? Outcome::done : Outcome::failedQuietly;
  });
}

std::string CQuorvelMailMan::ExplainFilter(quorvel::IQuorvelEmail2* email) {
  std::string text;
  publicCall(inContext("ExplainFilter"), [&](CLog* log) {
    if (email == nullptr) return failWith(log, "Parameter is NULL");
    const std::shared_ptr<Email> message = internalEmail(*email);
    if (message == nullptr) return failWith(log, "Failed to get internal email object");
    if (!receiving_.filter.empty()) text = explainExpression(Expression(receiving_.filter), *message);
    return Outcome::done;
  });
  return text;
}

}  // namespace qv

#include "net/smtp_session.h"

#include <utility>

#include "net/command_text.h"
#include "net/smtp_auth.h"
#include "net/smtp_dialogue.h"
#include "net/smtp_transaction.h"
#include "net/socket.h"

namespace qv {

namespace {

/// Recipients of one transaction when a list is not sent to each of its members alone.
constexpr std::size_t kListBatch = 100;

class SmtpConnImpl final : public SmtpConn {
 public:
  explicit SmtpConnImpl(std::unique_ptr<QuorvelSocket> socket) noexcept : dialogue_(std::move(socket)) {}
  ~SmtpConnImpl() override;
  SmtpConnImpl(const SmtpConnImpl&) = delete;
  SmtpConnImpl& operator=(const SmtpConnImpl&) = delete;

  /// Hidden from now on in all that the server says.
  void hide(std::string_view secret) { dialogue_.hide(secret); }
  bool readGreeting(CLog* log);
  bool sendHello(std::string_view verb, CLog* log);
  /// False when the server does not know EHLO; `offered` gets the login methods that it names.
  bool readEhloReply(AuthFlags& offered, CLog* log);
  bool helo(CLog* log);
  /// Empty when the session can go on, otherwise what the log is to say once it is closed.
  std::string_view logIn(const AuthFlags& methods, const SmtpSettings& settings, CLog* log) {
    return qv::logIn(dialogue_, methods,
                     {settings.username, settings.password, settings.loginDomain, settings.readTimeout}, log);
  }

  bool sendEmail(Email* email, std::string_view sentLogFileName, CLog* log, ProgressMonitor* progress,
                 SendOutcome& outcome, DistributionList& rejected, bool sendIndividual) override;
  std::string_view getTranscript() const override { return dialogue_.transcript(); }
  bool isConnected() const override { return dialogue_.isConnected(); }

 private:
  static bool sendToList(const SmtpDelivery& delivery, Email& email, const DistributionList& list,
                         bool sendIndividual, SendOutcome& outcome);

  SmtpDialogue dialogue_;
};

SmtpConnImpl::~SmtpConnImpl() {
  // Within a message QUIT would be one of its lines; there only the end of the connection ends it.
  if (!dialogue_.isConnected() || dialogue_.phase() == SmtpDialogue::Phase::message) return;
  try {
    dialogue_.sendAndCheck("QUIT\r\n", {}, 221, nullptr);
  } catch (...) {  // a farewell; nothing depends on it
  }
}

// Opening.

bool SmtpConnImpl::readGreeting(CLog* log) {
  if (dialogue_.readReply(220, log)) return true;
  logCommonError(log, "Failed to get initial response");
  logCommonError(log, "The SMTP server may be denying access for this domain.");
  return false;
}

bool SmtpConnImpl::sendHello(std::string_view verb, CLog* log) {
  StringBuffer name;
  if (dialogue_.isConnected()) dialogue_.socket()->getLocalHostName(name);
  if (name.empty()) name = "localhost";
  StringBuffer command(verb);
  command.append(' ').append(name).append("\r\n");
  if (isCommandText(name, "local host name", log) && dialogue_.sendDirect(command, log)) return true;
  logError(log, "Failed to send Hello");
  return false;
}

bool SmtpConnImpl::readEhloReply(AuthFlags& offered, CLog* log) {
  for (;;) {
    const auto line = dialogue_.readLineWithCode(250, log);
    if (!line) return false;
    addOfferedMethods(line->substr(4), offered);
    if (isLastReplyLine(*line)) return true;
  }
}

bool SmtpConnImpl::helo(CLog* log) {
  if (!sendHello("HELO", log)) return false;
  if (dialogue_.readReply(250, log)) return true;
  logError(log, "Failed to get response to Hello");
  return false;
}

StringBuffer serverMessage(std::string_view before, const SmtpSettings& settings,
                           std::string_view after = {}) {
  StringBuffer message(before);
  message.append(settings.host).append(':').appendNumber(settings.port).append(after);
  return message;
}

/// A session whose server has greeted; null when there is none.
std::unique_ptr<SmtpConnImpl> openGreeted(const SmtpSettings& settings, CLog* log) {
  if (!isCommandText(settings.host, "host name", log)) return nullptr;
  std::unique_ptr<QuorvelSocket> socket = createSocket();
  if (socket == nullptr) {
    logError(log, "No socket");
    return nullptr;
  }
  socket->setConnectTimeout(settings.connectTimeout);
  socket->setReadTimeout(settings.readTimeout);
  if (!socket->connectToHost(settings.host, settings.port)) {
    logCommonError(log, "Failed to connect");
    return nullptr;
  }
  auto session = std::make_unique<SmtpConnImpl>(std::move(socket));
  // Whether it is sent or not: the server may know it all the same, and repeat it in any reply.
  session->hide(settings.password);
  return session->readGreeting(log) ? std::move(session) : nullptr;
}

bool hasHost(const SmtpSettings& settings, CLog* log) {
  if (settings.host.empty()) logError(log, "No hostname");
  return !settings.host.empty();
}

}  // namespace

std::unique_ptr<SmtpConn> smtpConnect(const SmtpSettings& settings, CLog* log) {
  const LogContext context(log, "SMTP_Connect");
  if (!hasHost(settings, log)) return nullptr;
  logInfo(log, serverMessage("Connecting to SMTP server ", settings));
  logData(log, "smtp_host", settings.host);
  logDataLong(log, "smtp_port", settings.port);
  if (!settings.loginDomain.empty()) logData(log, "domain", settings.loginDomain);
  logData(log, "smtp_user", settings.username.empty() ? "NULL" : settings.username.view());
  if (!settings.authMethod.empty()) logData(log, "trying_auth_method", settings.authMethod);

  auto session = openGreeted(settings, log);
  if (session == nullptr || !session->sendHello("EHLO", log)) return nullptr;
  AuthFlags methods;
  const bool extended = session->readEhloReply(methods, log);
  if (extended) {
    applyAuthMethod(methods, settings.authMethod);
    const std::string_view failure = session->logIn(methods, settings, log);
    if (!failure.empty()) {
      session.reset();
      logInfo(log, failure);
      return nullptr;
    }
  } else {
    // A server this old knows no login (RFC 4954 3).
    logData(log, "login_method", "NONE");
    if (!session->helo(log)) return nullptr;
  }
  logInfo(log,
          serverMessage(extended ? "CONNECTED to ESMTP server " : "CONNECTED to SMTP server ", settings));
  return session;
}

bool smtpCheckConnectivity(const SmtpSettings& settings, CLog* log) {
  if (!hasHost(settings, log)) return false;
  logInfo(log, serverMessage("Checking connectivity to SMTP server ", settings));
  logData(log, "smtp_host", settings.host);
  logDataLong(log, "smtp_port", settings.port);
  const auto session = openGreeted(settings, log);
  if (session == nullptr || !session->sendHello("EHLO", log)) return false;
  AuthFlags ignored;
  if (!session->readEhloReply(ignored, log) && !session->helo(log)) return false;
  logInfo(log, serverMessage("ESMTP server ", settings, " is reachable"));
  return true;
}

// Sending.

namespace {

bool SmtpConnImpl::sendEmail(Email* email, std::string_view sentLogFileName, CLog* log,
                             ProgressMonitor* progress, SendOutcome& outcome, DistributionList& rejected,
                             bool sendIndividual) {
  outcome = {};
  if (email == nullptr) {
    logError(log, "email argument to SmtpConnImpl is NULL");
    outcome.fatal = true;
    return false;
  }
  DistributionList list;
  const std::string_view listFile = email->getHeaderField("QVX-FileDistList");
  if (!listFile.empty()) list.loadFromFile(listFile, log);

  const SmtpDelivery delivery{dialogue_, sentLogFileName, log, progress, rejected};
  const bool sent = list.count() == 0 ? runSmtpTransaction(delivery, *email, outcome)
                                      : sendToList(delivery, *email, list, sendIndividual, outcome);
  if (!sent) return false;
  StringBuffer message("Mail sent to ");
  message.appendNumber(static_cast<long long>(outcome.numAccepted)).append(" recipient");
  logInfo(log, message.append(outcome.numAccepted < 2 ? "" : "s"));
  return true;
}

bool SmtpConnImpl::sendToList(const SmtpDelivery& delivery, Email& email, const DistributionList& list,
                              bool sendIndividual, SendOutcome& outcome) {
  email.clearTo();
  email.clearCc();
  email.clearBcc();
  const std::size_t batch = sendIndividual ? 1 : kListBatch;
  for (std::size_t next = 0; next < list.count();) {
    for (std::size_t end = next + batch; next < end && next < list.count(); ++next) {
      sendIndividual ? email.addTo({}, list.getAddress(next)) : email.addBcc({}, list.getAddress(next));
    }
    // Members that are all refused do not keep the message from the others.
    runSmtpTransaction(delivery, email, outcome);
    sendIndividual ? email.clearTo() : email.clearBcc();
    if (outcome.fatal) return false;
  }
  return true;
}

}  // namespace

}  // namespace qv

#include "net/pop_session.h"

#include <algorithm>
#include <utility>

#include "email/email_reader.h"
#include "net/command_text.h"
#include "net/mail_journal.h"
#include "net/pop_connection.h"
#include "net/pop_dialogue.h"
#include "net/pop_lines.h"
#include "net/secret_text.h"
#include "net/socket.h"

namespace qv {

namespace {

class PopConnImpl final : public PopConn {
 public:
  explicit PopConnImpl(PopDialogue dialogue) : dialogue_(std::move(dialogue)) {}
  ~PopConnImpl() override;
  PopConnImpl(const PopConnImpl&) = delete;
  PopConnImpl& operator=(const PopConnImpl&) = delete;

  bool readGreeting(CLog* log);
  bool login(std::string_view username, std::string_view password, CLog* log);

  std::size_t messageCount() const noexcept override { return mailbox_.count(); }
  MailBox& mailbox() noexcept override { return mailbox_; }
  bool stat(std::int32_t& count, std::int32_t& totalSize) override;
  bool listUidls(CLog* log) override {
    return orBreakOff([&] { return list(log, nullptr, nullptr); });
  }
  bool getUidls(CLog* log, ExtIntArray& numbers, std::vector<StringBuffer>& uidls) override {
    return orBreakOff([&] { return list(log, &numbers, &uidls); });
  }
  bool retrieve(std::int32_t number, std::string_view receivedLogFileName, CLog* log,
                ProgressMonitor* progress, bool autoSaveCerts) override;
  bool top(std::int32_t number, std::int32_t numBodyLines, std::string_view receivedLogFileName, CLog* log,
           bool autoSaveCerts) override;
  bool dele(std::int32_t number, CLog* log) override;
  bool quit(CLog* log) override;
  bool isConnected() const noexcept override { return dialogue_.isConnected(); }

 private:
  /// Runs a step that reads a long answer. What escapes from it leaves the answer half read and the
  /// connection of no use: without a QUIT, so that nothing is deleted that nobody may have got.
  template <typename Step>
  bool orBreakOff(Step step) {
    try {
      return step();
    } catch (...) {
      dialogue_.close();
      throw;
    }
  }
  bool list(CLog* log, ExtIntArray* numbers, std::vector<StringBuffer>* uidls);
  MailOnServer* fetchable(std::int32_t number, std::string_view noSocket, CLog* log) const;
  /// Sends a command and reads the text that answers it.
  bool fetchText(std::string_view verb, std::string_view arguments, StringBuffer& text, CLog* log,
                 ProgressMonitor* progress);
  /// The entry of a message that a command can be about.
  MailOnServer* find(std::int32_t number) const { return number < 1 ? nullptr : mailbox_.find(number); }

  PopDialogue dialogue_;
  MailBox mailbox_;
  bool saidQuit_ = false;
};

void logError(CLog* log, std::string_view before, std::string_view verb, std::string_view after) {
  StringBuffer message(before);
  logError(log, message.append(verb).append(after));
}

PopConnImpl::~PopConnImpl() {
  if (!dialogue_.isConnected() || saidQuit_) return;
  try {
    PopConnImpl::quit(nullptr);
  } catch (...) {  // a farewell; the server decides what becomes of the deletions
  }
}

// Opening.

bool PopConnImpl::readGreeting(CLog* log) {
  if (dialogue_.checkResponse(log)) return true;
  logError(log, "Failed to get POP server's hello");
  return false;
}

bool PopConnImpl::login(std::string_view username, std::string_view password, CLog* log) {
  constexpr std::size_t kLongest = 1000;
  if (username.size() > kLongest || password.size() > kLongest || !dialogue_.isConnected()) return false;
  StringBuffer command("USER ");
  command.append(username).append("\r\n");
  if (!dialogue_.send(command, log) || !dialogue_.checkResponse(log)) return false;
  SecretText secret("PASS");
  if (!password.empty()) secret.append(' ').append(password);
  secret.append("\r\n");
  return dialogue_.send(secret, log) && dialogue_.checkResponse(log);
}

bool PopConnImpl::stat(std::int32_t& count, std::int32_t& totalSize) {
  if (!dialogue_.send("STAT\r\n", nullptr)) return false;
  const auto line = dialogue_.readResponseLine(nullptr);
  const auto status = line ? readPopStatus(*line) : std::nullopt;
  if (!status) return false;
  count = status->count;
  totalSize = status->totalSize;
  return true;
}

/// A connection to the server; null when there is none.
std::unique_ptr<QuorvelSocket> openSocket(const PopSettings& settings, CLog* log) {
  std::unique_ptr<QuorvelSocket> socket = createSocket();
  if (socket == nullptr) {
    logError(log, "Failed to create TCP/IP socket");
    return nullptr;
  }
  socket->setConnectTimeout(settings.connectTimeout);
  socket->setReadTimeout(settings.readTimeout);
  if (socket->connectToHost(settings.host, settings.port)) return socket;
  logCommonError(log, "Failed to connect to POP3 server");
  return nullptr;
}

/// Whether a setting that must be there is.
bool isGiven(std::string_view setting, std::string_view failure, CLog* log) {
  if (setting.empty()) logCommonError(log, failure);
  return !setting.empty();
}

bool hasHost(const PopSettings& settings, CLog* log) {
  return isGiven(settings.host, "Hostname is missing for POP connection", log);
}

}  // namespace

std::unique_ptr<PopConn> popConnectOn(std::unique_ptr<QuorvelSocket> socket, const PopSettings& settings,
                                      CLog* log, const PopLimits& limits) {
  auto session = std::make_unique<PopConnImpl>(PopDialogue(std::move(socket), settings.password, limits));
  if (!session->readGreeting(log)) return nullptr;
  if (!session->login(settings.username, settings.password, log)) {
    logCommonError(log, "Failed to login to POP3 server: login name and/or password is invalid");
    return nullptr;
  }
  std::int32_t count = 0;
  std::int32_t totalSize = 0;
  if (!session->stat(count, totalSize)) {
    logError(log, "Failed to get POP3 server status");
    return nullptr;
  }
  logInfo(log, "Login successful");
  return session;
}

std::unique_ptr<PopConn> popConnect(const PopSettings& settings, CLog* log) {
  const LogContext context(log, "pop3-connect");
  if (!hasHost(settings, log) ||
      !isGiven(settings.username, "User name is missing for POP connection", log) ||
      !isCommandText(settings.host, "host name", log) ||
      !isCommandText(settings.username, "user name", log) ||
      !isCommandText(settings.password, "password", log)) {
    return nullptr;
  }
  logInfo(log, "Attempting to connect and log into POP3 server");
  logData(log, "hostname", settings.host);
  logDataLong(log, "port", settings.port);
  logData(log, "username", settings.username);
  std::unique_ptr<QuorvelSocket> socket = openSocket(settings, log);
  return socket == nullptr ? nullptr : popConnectOn(std::move(socket), settings, log);
}

bool popCheckConnection(const PopSettings& settings, CLog* log) {
  if (!hasHost(settings, log) || !isCommandText(settings.host, "host name", log)) return false;
  logInfo(log, "Checking connection for POP3 server");
  logData(log, "hostname", settings.host);
  logDataLong(log, "port", settings.port);
  std::unique_ptr<QuorvelSocket> socket = openSocket(settings, log);
  return socket != nullptr &&
         PopConnImpl(PopDialogue(std::move(socket), settings.password, {})).readGreeting(log);
}

// Listing.

namespace {

bool PopConnImpl::list(CLog* log, ExtIntArray* numbers, std::vector<StringBuffer>* uidls) {
  if (!dialogue_.isConnected()) {
    logError(log, "Cannot fetch UIDLs, no socket");
    return false;
  }
  if (!dialogue_.send("UIDL\r\n", log)) {
    logError(log, "Cannot get UIDLs, failed to send UIDL command");
    return false;
  }
  auto line = dialogue_.readResponseLine(log);
  if (!line) {
    logError(log, "Cannot get UIDLs, failed to get UIDL response");
    return false;
  }
  if (!isPopOk(*line)) {
    dialogue_.logLine("Cannot get UIDLs, response to UIDL = ", *line, log);
    return false;
  }
  const PopLimits& limits = dialogue_.limits();
  std::size_t size = 0;
  for (std::size_t lines = 0; (line = dialogue_.readResponseLine(log)) && !line->starts_with('.'); ++lines) {
    size += line->size();
    if (size > limits.listing || lines >= limits.entries) {
      logError(log, "Cannot get UIDLs, the listing is too long, it is refused");
      dialogue_.close();
      return false;
    }
    const auto listed = readPopListed(*line);
    if (!listed) continue;
    mailbox_.add(listed->number, 0, listed->uidl);
    if (numbers != nullptr) numbers->push_back(listed->number);
    if (uidls != nullptr) uidls->emplace_back(listed->uidl);
  }
  return true;
}

// Fetching.

MailOnServer* PopConnImpl::fetchable(std::int32_t number, std::string_view noSocket, CLog* log) const {
  if (!dialogue_.isConnected()) {
    logError(log, noSocket);
    return nullptr;
  }
  MailOnServer* entry = find(number);
  if (entry != nullptr && !entry->deleted) return entry;
  logError(log, entry == nullptr ? "Cannot fetch mail message, message not found in mailbox"
                                 : "Cannot fetch mail message, message already removed from mailbox");
  return nullptr;
}

bool PopConnImpl::fetchText(std::string_view verb, std::string_view arguments, StringBuffer& text, CLog* log,
                            ProgressMonitor* progress) {
  // What the dialogue costs beside the text, in octets as the engine counts them.
  constexpr std::uint64_t kStep = 200;
  StringBuffer command(verb);
  command.append(arguments).append("\r\n");
  if (!dialogue_.send(command, log)) {
    logError(log, "Cannot fetch mail message, failed to send ", verb, " command");
    return false;
  }
  if (progress != nullptr) progress->step(kStep);
  const auto line = dialogue_.readResponseLine(log);
  if (!line) {
    logError(log, "Cannot fetch mail message, failed to get ", verb, " response");
    return false;
  }
  if (progress != nullptr) progress->step(kStep);
  if (!isPopOk(*line)) {
    StringBuffer before("Cannot fetch mail message, response to ");
    dialogue_.logLine(before.append(verb).append(" = "), *line, log);
    return false;
  }
  if (dialogue_.readMultiLine(text, log, progress)) return true;
  logError(log, "Cannot fetch mail message, failed to get multi-line data");
  return false;
}

/// Leaves out one or two empty lines before the end marker.
void dropTrailingBlankLines(StringBuffer& text) {
  constexpr std::string_view kEnd = "\r\n.\r\n";
  for (const std::string_view ending : {"\r\n\r\n\r\n.\r\n", "\r\n\r\n.\r\n"}) {
    if (!text.view().ends_with(ending)) continue;
    text.truncate(text.size() - ending.size());
    text.append(kEnd);
    return;
  }
}

/// Makes an e-mail of a text for its entry.
void importText(StringBuffer&& text, MailOnServer& entry, std::string_view receivedLogFileName, CLog* log,
                bool autoSaveCerts) {
  entry.email.reset();
  appendReceivedLog(receivedLogFileName, text);
  auto email = createFromPop3(std::move(text), true, autoSaveCerts, log);
  if (email == nullptr) return;
  email->setLog(log);
  email->setMessageNumber(entry.number);
  email->setServerUidl(entry.uidl);
  if (email->getUidl().empty()) email->setHeaderField("X-UIDL", entry.uidl);
  entry.email = std::move(email);
}

bool PopConnImpl::retrieve(std::int32_t number, std::string_view receivedLogFileName, CLog* log,
                           ProgressMonitor* progress, bool autoSaveCerts) {
  MailOnServer* entry = fetchable(number, "Cannot fetch mail message, no socket", log);
  if (entry == nullptr) return false;
  StringBuffer arguments(" "), text;
  arguments.appendNumber(number);
  if (!orBreakOff([&] { return fetchText("RETR", arguments, text, log, progress); })) return false;
  dropTrailingBlankLines(text);
  importText(std::move(text), *entry, receivedLogFileName, log, autoSaveCerts);
  return true;
}

bool PopConnImpl::top(std::int32_t number, std::int32_t numBodyLines, std::string_view receivedLogFileName,
                      CLog* log, bool autoSaveCerts) {
  MailOnServer* entry = fetchable(number, "Cannot fetch mail message header, no socket", log);
  if (entry == nullptr) return false;
  StringBuffer arguments(" "), text;
  arguments.appendNumber(number).append(' ').appendNumber(std::clamp(numBodyLines, 1, 10000));
  if (!orBreakOff([&] { return fetchText("TOP", arguments, text, log, nullptr); })) return false;
  dropTrailingBlankLines(text);
  importText(std::move(text), *entry, receivedLogFileName, log, autoSaveCerts);
  return true;
}

// Deleting and ending.

bool PopConnImpl::dele(std::int32_t number, CLog* log) {
  if (!dialogue_.isConnected()) {
    logError(log, "Cannot remove message, no connection");
    return false;
  }
  MailOnServer* entry = find(number);
  if (entry == nullptr) {
    logDataLong(log, "message_id", number);
    logError(log, "Cannot remove message, no message has this ID");
    return false;
  }
  if (entry->deleted) return true;
  // Its numbers may then mean other messages than those that were fetched.
  if (dialogue_.isOutOfStep()) {
    logError(log, "Cannot delete mail message, the server has sent more than it was asked for");
    dialogue_.close();
    return false;
  }
  StringBuffer command("DELE ");
  if (!dialogue_.send(command.appendNumber(number).append("\r\n"), log)) {
    logError(log, "Failed to send DELE command");
    return false;
  }
  const auto line = dialogue_.readResponseLine(log);
  if (!line) return false;
  entry->deleted = isPopOk(*line);
  if (!entry->deleted) dialogue_.logLine("Cannot delete mail message, response to DELE = ", *line, log);
  return entry->deleted;
}

bool PopConnImpl::quit(CLog* log) {
  saidQuit_ = true;
  return dialogue_.send("QUIT\r\n", log) && dialogue_.checkResponse(log);
}

}  // namespace

}  // namespace qv

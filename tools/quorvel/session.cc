#include "quorvel/session.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string_view>

#include "quorvel/system.h"

namespace cli {

namespace {

Failure noObject(std::string_view name) {
  return {Status::failed, "the component gave no " + std::string(name), "",
          "check that the library is whole"};
}

/// Lets the log lay out its entries in another way until the end of the scope.
class WithLineFormat {
 public:
  WithLineFormat(quorvel::IQuorvelLog& log, const std::string& format)
      : log_(log), before_(log.get_LineFormat()) {
    if (!format.empty()) log_.put_LineFormat(format);
  }
  ~WithLineFormat() { log_.put_LineFormat(before_); }
  WithLineFormat(const WithLineFormat&) = delete;
  WithLineFormat& operator=(const WithLineFormat&) = delete;

 private:
  quorvel::IQuorvelLog& log_;
  std::string before_;
};

/// A permanent or passing refusal, as "550 No such user".
bool isRefusal(std::string_view entry) {
  const auto digit = [&](std::size_t at) { return std::isdigit(static_cast<unsigned char>(entry[at])) != 0; };
  return entry.size() >= 3 && (entry[0] == '4' || entry[0] == '5') && digit(1) && digit(2) &&
         (entry.size() == 3 || entry[3] == ' ' || entry[3] == '-');
}

/// The recipient that an error entry says was refused.
std::optional<std::string> refusedRecipient(std::string_view entry) {
  for (const std::string_view kind : {"RCPT", "cc RCPT", "bcc RCPT"}) {
    const std::string start = "Failed when sending " + std::string(kind) + " TO:<";
    if (!entry.starts_with(start) || !entry.ends_with('>')) continue;
    const std::string_view address = entry.substr(start.size(), entry.size() - start.size() - 1);
    // What the envelope says in place of visible recipients; nobody is missing.
    if (address == "undisclosed-recipients") return std::nullopt;
    return std::string(address);
  }
  return std::nullopt;
}

/// Whether the log says that a mail counts as sent although nobody took it: a list all of whose addresses
/// were refused one by one.
bool reachedNobody(const std::vector<std::string>& infos) {
  return std::find(infos.begin(), infos.end(), "Mail sent to 0 recipient") != infos.end();
}

/// Why a mail was not sent, by what the operation logged. A reply that refuses says most, whatever was being
/// done; then that there was no connection.
Status reasonOf(const std::vector<std::string>& errors) {
  if (std::any_of(errors.begin(), errors.end(), isRefusal)) return Status::refused;
  const bool connected =
      std::find(errors.begin(), errors.end(), "Failed to connect to SMTP server.") == errors.end();
  return connected ? Status::failed : Status::unreachable;
}

}  // namespace

quorvel::Ref<quorvel::IQuorvelEmail2> newEmail() {
  auto email = quorvel::create<quorvel::IQuorvelEmail2>("QuorvelMail.QuorvelEmail");
  if (!email) throw noObject("QuorvelEmail");
  return email;
}

Session::Session(const Server& server)
    : mailMan_(quorvel::create<quorvel::IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan")) {
  if (!mailMan_) throw noObject("QuorvelMailMan");
  log_ = mailMan_->GetLog().as<quorvel::IQuorvelLog2>();
  if (!log_) throw noObject("log");
  // A list may be long, and every refused address of it is to be told: this program ends with the operation.
  log_->put_HighWaterMark(0);
  mailMan_->put_SmtpHost(server.host);
  mailMan_->put_SmtpPort(server.port);
  mailMan_->put_ConnectTimeout(server.connectTimeout);
  mailMan_->put_ReadTimeout(server.readTimeout);
  mailMan_->put_SmtpAuthMethod("NONE");
}

Outcome Session::send(quorvel::IQuorvelEmail2& email, ProgressBar* bar) {
  const std::int32_t sink = quorvel::connect(
      *mailMan_, [bar](std::int32_t, std::int32_t message, std::int32_t percent, std::int32_t) {
        if (bar != nullptr && message == 2) bar->show(percent);
      });
  log_->ClearLog();
  const bool sent = mailMan_->SendEmail(&email) == 1;
  const std::optional<quorvel::ErrorReport> report = quorvel::lastError();
  quorvel::disconnect(*mailMan_, sink);
  if (bar != nullptr) bar->finish();

  Outcome outcome;
  const std::vector<std::string> errors = messages(&quorvel::IQuorvelLog::GetErrorEntries);
  for (const std::string& entry : errors) {
    if (auto address = refusedRecipient(entry)) outcome.refused.push_back(*std::move(address));
  }
  if (report) outcome.report = report->description;
  if (report) {
    outcome.status = reasonOf(errors);
    outcome.brokenOff = outcome.status != Status::unreachable;
  } else if (reachedNobody(messages(&quorvel::IQuorvelLog::GetInfoEntries))) {
    outcome.status = Status::refused;
    for (const std::string& entry : errors) outcome.report += entry + "\n";
  } else if (!sent || !outcome.refused.empty()) {
    outcome.status = Status::partly;
  }
  return outcome;
}

std::string Session::logText(const std::string& format) {
  // The text form of the whole log goes to files only.
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/log";
  const WithLineFormat line(*log_, format);
  log_->AppendToFile(path);
  return std::filesystem::exists(path) ? readFile(path, "log") : "";
}

std::vector<std::string> Session::messages(Entries kind) {
  const WithLineFormat line(*log_, "%m");
  const std::string continuation = log_->get_ContinuationPrefix();
  std::istringstream lines((log_.get()->*kind)());
  std::vector<std::string> entries;
  for (std::string text; std::getline(lines, text);) {
    if (continuation.empty() || !text.starts_with(continuation)) entries.push_back(text);
  }
  return entries;
}

}  // namespace cli

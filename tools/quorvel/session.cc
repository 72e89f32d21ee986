#include "quorvel/session.h"

#include <algorithm>
#include <filesystem>
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

void dropFirst(std::vector<std::string>& entries, std::size_t count) {
  entries.erase(entries.begin(),
                entries.begin() + static_cast<std::ptrdiff_t>(std::min(count, entries.size())));
}

}  // namespace

quorvel::Ref<quorvel::IQuorvelEmail2> newEmail() {
  auto email = quorvel::create<quorvel::IQuorvelEmail2>("QuorvelMail.QuorvelEmail");
  if (!email) throw noObject("QuorvelEmail");
  return email;
}

Session::Session() : mailMan_(quorvel::create<quorvel::IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan")) {
  if (!mailMan_) throw noObject("QuorvelMailMan");
  log_ = mailMan_->GetLog().as<quorvel::IQuorvelLog2>();
  if (!log_) throw noObject("log");
  // A list may be long, and every refused address of it is to be told: this program ends with the operation.
  log_->put_HighWaterMark(0);
}

Session::Session(const Server& server) : Session() {
  mailMan_->put_ConnectTimeout(server.connectTimeout);
  mailMan_->put_ReadTimeout(server.readTimeout);
}

void Session::beginOperation() {
  errorsBefore_ = messages(&quorvel::IQuorvelLog::GetErrorEntries).size();
  infosBefore_ = messages(&quorvel::IQuorvelLog::GetInfoEntries).size();
}

Entries Session::entries() {
  Entries entries{messages(&quorvel::IQuorvelLog::GetErrorEntries),
                  messages(&quorvel::IQuorvelLog::GetInfoEntries)};
  dropFirst(entries.errors, errorsBefore_);
  dropFirst(entries.infos, infosBefore_);
  return entries;
}

std::string Session::logText(const std::string& format) {
  // The text form of the whole log goes to files only.
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/log";
  const WithLineFormat line(*log_, format);
  log_->AppendToFile(path);
  return std::filesystem::exists(path) ? readFile(path, "log") : "";
}

std::vector<std::string> Session::messages(Reader kind) {
  const WithLineFormat line(*log_, "%m");
  const std::string continuation = log_->get_ContinuationPrefix();
  std::istringstream lines((log_.get()->*kind)());
  std::vector<std::string> entries;
  for (std::string text; std::getline(lines, text);) {
    if (continuation.empty() || !text.starts_with(continuation)) entries.push_back(text);
  }
  return entries;
}

ShownProgress::ShownProgress(quorvel::IQuorvelMailMan3& mailMan, Work work, ProgressBar* bar)
    : mailMan_(mailMan),
      bar_(bar),
      sink_(quorvel::connect(
          mailMan, [bar, work](std::int32_t, std::int32_t message, std::int32_t percent, std::int32_t) {
            if (bar != nullptr && message == static_cast<std::int32_t>(work)) bar->show(percent);
          })) {}

ShownProgress::~ShownProgress() {
  quorvel::disconnect(mailMan_, sink_);
  if (bar_ != nullptr) bar_->finish();
}

}  // namespace cli

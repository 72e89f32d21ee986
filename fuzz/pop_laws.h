// What holds for every POP3 session, whatever the server says.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/log_store.h"
#include "laws.h"
#include "net/pop_connection.h"

namespace laws {

/// What went on in a session.
struct PopRecord {
  std::vector<std::string> commands;
  std::string results;  // of the steps, with the mailbox that they left
  std::string log;
};

/// A connection to a server whose words are given beforehand and arrive in pieces.
class SaidSocket final : public qv::QuorvelSocket {
 public:
  SaidSocket(std::string_view said, std::size_t piece, PopRecord& record)
      : said_(said), piece_(piece), record_(record) {}

  void close() override {}
  bool connectToHost(std::string_view, std::int32_t) override { return false; }
  bool checkSocket() override { return !failed_; }
  bool receiveExact(char*, std::size_t, qv::CLog*) override { return false; }
  bool receiveBytes(char*, std::size_t&, qv::CLog*) override { return false; }
  bool sendText(qv::TextSource& text, qv::CLog*, qv::ProgressMonitor*) override {
    require(!failed_, "nothing is sent after a failure");
    qv::StringBuffer command;
    qv::appendFrom(text, command);
    record_.commands.push_back(command.str());
    return true;
  }
  bool receiveUntil(qv::StringBuffer& out, std::string_view terminator, std::size_t, qv::CLog*,
                    qv::ProgressMonitor* progress, std::size_t limit, std::size_t begun) override {
    require(!failed_, "nothing is received after a failure");
    out.clear();
    for (bool found = false; !found;) {
      found = buffer_.extractThrough(terminator, out, begun);
      failed_ = found ? out.size() > limit : said_.empty();
      if (failed_) out.clear();
      if (found || failed_) break;
      const std::string_view piece = said_.substr(0, piece_);
      buffer_.append(piece);
      if (progress != nullptr) progress->step(piece.size());
      said_.remove_prefix(piece.size());
    }
    return !failed_;
  }
  void getLocalHostName(qv::StringBuffer&) override {}
  bool listenOnPort(std::int32_t) override { return false; }
  std::unique_ptr<qv::QuorvelSocket> acceptConnection() override { return nullptr; }
  qv::tcp::Handle getHandle() const noexcept override { return qv::tcp::kNone; }
  void setReadTimeout(std::int32_t) override {}
  void setConnectTimeout(std::int32_t) override {}
  void detachHandle() override {}

 private:
  std::string_view said_;
  std::size_t piece_;
  PopRecord& record_;
  qv::ParseBuffer buffer_;
  bool failed_ = false;
};

inline constexpr std::string_view kPopPassword = "open sesame";

inline void checkMailBox(qv::PopConn& session, PopRecord& record) {
  qv::MailBox& box = session.mailbox();
  require(session.messageCount() == box.count(), "as many messages as entries");
  require(box.at(box.count()) == nullptr, "and no more");
  for (std::size_t i = 0; i < box.count(); ++i) {
    const qv::MailOnServer& entry = *box.at(i);
    require(box.find(entry.number) == &entry, "one entry for a number");
    require(!entry.uidl.empty() && entry.uidl.view().find_first_of(" \t\r\n\v\f") == std::string_view::npos,
            "a unique id is one word");
    record.results += std::to_string(entry.number) + entry.uidl.str() + (entry.deleted ? "-" : "+");
    if (entry.email == nullptr) continue;
    require(entry.number > 0 && entry.email->messageNumber() == entry.number, "an e-mail knows its number");
    require(entry.email->uidlOnServer() == entry.uidl.view(), "and the id that the server gave");
    checkWritten(entry.email->header());
    record.results += entry.email->getBody();
  }
}

/// A session that does everything there is to do, with a few of the messages.
inline PopRecord runPopSession(std::string_view said, std::size_t piece) {
  PopRecord record;
  const auto store = std::make_shared<qv::LogStore>();
  store->setLineFormat("%m");  // no times
  qv::CLogImpl log(store);
  qv::PopSettings settings;
  settings.username = "ann";
  settings.password = kPopPassword;
  constexpr qv::PopLimits kLimits{.line = 400, .message = 4000, .listing = 2000, .entries = 100};
  if (const auto session =
          qv::popConnectOn(std::make_unique<SaidSocket>(said, piece, record), settings, &log, kLimits)) {
    const auto did = [&](bool done) { record.results += done ? '1' : '0'; };
    qv::ExtIntArray numbers;
    std::vector<qv::StringBuffer> uidls;
    did(session->getUidls(&log, numbers, uidls));
    require(numbers.size() == uidls.size(), "a unique id for each number");
    for (const std::int32_t number : numbers) {
      require(session->mailbox().find(number) != nullptr, "what is listed is in the mailbox");
    }
    numbers.resize(std::min<std::size_t>(numbers.size(), 3));
    for (const std::int32_t number : numbers) {
      qv::ProgressMonitor progress(0, 0, 1000, nullptr);
      did(session->retrieve(number, "", &log, &progress, false));
      did(session->top(number, number, "", &log, false));
      did(session->dele(number, &log));
      did(session->dele(number, &log));
    }
    checkMailBox(*session, record);
    std::int32_t count = 0;
    did(session->stat(count, count));
    did(session->listUidls(&log));
    checkMailBox(*session, record);
    if (!numbers.empty() && numbers[0] % 2 == 0) did(session->quit(&log));
  }
  record.log = store->text();
  return record;
}

inline void checkPop3(std::string_view said) {
  const PopRecord whole = runPopSession(said, said.size() + 1);
  static const std::regex good(
      "USER ann\r\n|PASS open sesame\r\n|STAT\r\n|UIDL\r\n|(RETR|DELE) [1-9][0-9]*\r\n|"
      "TOP [1-9][0-9]* [1-9][0-9]{0,4}\r\n|QUIT\r\n");
  for (const std::string& command : whole.commands) {
    require(std::regex_match(command, good), "a command is what it is meant to be");
    require(command != "QUIT\r\n" || &command == &whole.commands.back(), "QUIT is the last one");
  }
  require(whole.log.find(kPopPassword) == std::string::npos, "the password is in no log");
  const PopRecord pieces = runPopSession(said, 1 + said.size() % 3);
  require(pieces.commands == whole.commands && pieces.results == whole.results && pieces.log == whole.log,
          "it makes no difference in which pieces a server's words arrive");
}

}  // namespace laws

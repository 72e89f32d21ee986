#include "net/pop_session.h"

#include <gtest/gtest.h>

#include <memory>

#include "../../fuzz/pop_laws.h"
#include "net/pop_connection.h"
#include "net/pop_lines.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/pop_server.h"
#include "support/seeds.h"
#include "support/sessions.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::LogLines;
using qv_test::Peer;
using qv_test::PopServer;
using qv_test::popSettings;
using qv_test::ScriptedServer;
using qv_test::split;
using qv_test::Strings;

const Strings kLogin = {"USER ann", "PASS open sesame", "STAT"};

Strings operator+(Strings a, const Strings& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

/// Everything of a log in one line, entries parted by '|'.
std::string joined(const LogLines& log) {
  std::string text;
  for (const std::string& line : log.lines()) text += (text.empty() ? "" : "|") + line;
  return text;
}

/// A session at work: each operation gives its result.
struct Session {
  explicit Session(std::unique_ptr<PopConn> opened) : conn(std::move(opened)) {}
  explicit Session(const PopSettings& settings) : conn(popConnect(settings, log.get())) {
    entered = joined(log);
    log.clear();
  }

  /// By words as "uidl retr:1 top:1,5 dele:1 stat quit": their results as "1 0 1".
  std::string run(std::string_view steps) {
    std::string results;
    for (const std::string& step : split(steps, ' ')) {
      results += (results.empty() ? "" : " ") + std::to_string(runOne(step) ? 1 : 0);
    }
    return results;
  }
  bool runOne(const std::string& step) {
    const Strings words = split(step, ':');
    const Strings numbers = words.size() > 1 ? split(words[1], ',') : Strings{"0"};
    const int number = std::stoi(numbers[0]);
    std::int32_t total = 0;
    if (words[0] == "stat") return conn->stat(count, total);
    if (words[0] == "uidl") return conn->listUidls(log.get());
    if (words[0] == "retr") return conn->retrieve(number, journal, log.get(), nullptr, true);
    if (words[0] == "top") return conn->top(number, std::stoi(numbers[1]), journal, log.get(), true);
    if (words[0] == "dele") return conn->dele(number, log.get());
    return conn->quit(log.get());
  }
  /// The mailbox as "1=id-1 2=id-2".
  std::string listed() const {
    std::string text;
    MailBox& box = conn->mailbox();
    for (std::size_t i = 0; i < box.count(); ++i) {
      text += (i == 0 ? "" : " ") + std::to_string(box.at(i)->number) + "=" + box.at(i)->uidl.str();
    }
    return text;
  }

  LogLines log;
  std::string entered;  // what was logged in connecting
  std::string journal;
  std::int32_t count = 0;
  std::unique_ptr<PopConn> conn;
};

// --- Lines and the mailbox

TEST(PopLines, Status) {
  const struct {
    std::string_view line;
    const char* read;
  } rows[] = {
      {"+OK 2 320\r\n", "2 320"},
      {"+OK\t+2  -7\r\n", "2 -7"},
      {"+OK2 3\r\n", "2 3"},
      {"+OK 0 0", "0 0"},
      {"+OK 3000000000 99999999999999999999\r\n", "2147483647 2147483647"},
      {"+OK -99999999999999999999 1\r\n", "-2147483648 1"},
      {"+ok 2 320\r\n", "none"},
      {"+OK 2\r\n", "none"},
      {"+OK two 320\r\n", "none"},
      {"+OK +-2 320\r\n", "none"},
      {"+OK - 2 320\r\n", "none"},
      {"+OK 2\0 320\r\n"sv, "none"},
      {"-ERR 2 320\r\n", "none"},
      {"", "none"},
  };
  for (const auto& row : rows) {
    const auto status = readPopStatus(row.line);
    const std::string read =
        status ? std::to_string(status->count) + " " + std::to_string(status->totalSize) : "none";
    EXPECT_EQ(read, row.read) << row.line;
  }
}

TEST(PopLines, Listed) {
  const struct {
    std::string_view line, read;
  } rows[] = {
      {"1 whqtswO00WBw418f9t5JxYwZ\r\n", "1=whqtswO00WBw418f9t5JxYwZ"},
      {" 12\t a b\r\n", "12=a"},
      {"3abc\r\n", "3=abc"},
      {"-1 x\r\n", "-1=x"},
      {"2147483647 x\r\n", "2147483647=x"},
      {"1 a\0b\xFF\x01\r\n"sv, "1=a\0b\xFF\x01"sv},
      {"1 a\rb\r\n", "1=a"},
      {"2147483648 x\r\n", "none"},
      {"-2147483649 x\r\n", "none"},
      {"99999999999999999999 x\r\n", "none"},
      {"1\r\n", "none"},
      {"1 \t\r\n", "none"},
      {"\r\n", "none"},
      {"", "none"},
  };
  for (const auto& row : rows) {
    const auto listed = readPopListed(row.line);
    EXPECT_EQ(listed ? std::to_string(listed->number) + "=" + std::string(listed->uidl) : "none", row.read);
  }
}

TEST(MailBox, OneEntryPerNumberInTheOrderOfTheirLastListing) {
  const struct {
    std::vector<std::int32_t> added;
    std::vector<std::int32_t> kept;
  } rows[] = {
      {{}, {}},
      {{1, 2, 3}, {1, 2, 3}},
      {{1, 2, 1}, {2, 1}},
      {{3, 3, 3, 3, 3, 3, 3}, {3}},
      {{1, 2, 3, 1, 2, 3, 2}, {1, 3, 2}},
      {{-1, 0, 2147483647, 0}, {-1, 2147483647, 0}},
  };
  for (const auto& row : rows) {
    MailBox box;
    for (std::size_t i = 0; i < row.added.size(); ++i) {
      box.add(row.added[i], 0, std::to_string(i));
      EXPECT_EQ(box.find(row.added[i])->uidl.view(), std::to_string(i));
    }
    ASSERT_EQ(box.count(), row.kept.size());
    for (std::size_t i = 0; i < row.kept.size(); ++i) {
      EXPECT_EQ(box.at(i)->number, row.kept[i]);
      EXPECT_EQ(box.find(row.kept[i]), box.at(i));
    }
    EXPECT_EQ(box.at(row.kept.size()), nullptr);
    EXPECT_EQ(box.find(77), nullptr);
  }
}

TEST(MailBox, CostIsLinear) {
  // The last row: numbers that fall into one place of a hash table of a usual size.
  for (const std::int32_t factor : {1, 0, 107'897}) {
    const auto make = [](std::size_t n) { return n; };
    const auto work = [&](std::size_t n) {
      MailBox box;
      for (std::size_t i = 0; i < n; ++i) box.add(static_cast<std::int32_t>(i) * factor, 0, "id");
      for (std::size_t i = 0; i < n; ++i) {
        ASSERT_NE(box.find(static_cast<std::int32_t>(i) * factor), nullptr);
        ASSERT_EQ(box.at(i) == nullptr, i > 0 && factor == 0);
      }
    };
    EXPECT_LT(qv_test::costOfTwice(9'000, make, work), 3) << factor;
  }
}

// --- Connecting

TEST(PopConnect, Dialogues) {
  const struct {
    const char* rules;
    const char* commands;  // by their first letters
    const char* log;       // behind what is tried, or "" after success
  } rows[] = {
      {"", "UPSQ", ""},
      {"GREETING=+ok lower|USER=+Ok|PASS=+OKAY|STAT=+OK 0 0 x|QUIT=-ERR", "UPSQ", ""},
      {"GREETING=-ERR busy", "Q", "-ERR busy|Failed to get POP server's hello"},
      {"GREETING=OK", "Q", "OK|Failed to get POP server's hello"},
      {"USER=-ERR who?", "UQ",
       "-ERR who?|Failed to login to POP3 server: login name and/or password is invalid"},
      {"PASS=-ERR [IN-USE] no", "UPQ",
       "-ERR [IN-USE] no|Failed to login to POP3 server: login name and/or password is invalid"},
      {"STAT=-ERR", "UPSQ", "Failed to get POP3 server status"},
  };
  for (const auto& row : rows) {
    PopServer server({}, row.rules);
    const PopSettings settings = popSettings(server.port());
    const std::string tried = "|hostname: 127.0.0.1|port: " + std::to_string(settings.port);
    {
      const Session session(settings);
      EXPECT_EQ(session.entered, "Attempting to connect and log into POP3 server" + tried +
                                     "|username: ann|" + (*row.log == '\0' ? "Login successful" : row.log));
      EXPECT_EQ(session.conn != nullptr, *row.log == '\0');
    }
    LogLines log;
    const bool greeted = row.commands[0] == 'U';
    EXPECT_EQ(popCheckConnection(settings, log.get()), greeted);
    EXPECT_EQ(joined(log), "Checking connection for POP3 server" + tried + (greeted ? "" : "|"s + row.log));

    Strings commands;
    for (const char c : row.commands + "Q"s) {
      commands.push_back(c == 'U' ? kLogin[0] : (c == 'P' ? kLogin[1] : (c == 'S' ? kLogin[2] : "QUIT")));
    }
    EXPECT_EQ(server.commands(), commands) << row.rules;
  }
}

TEST(PopConnect, SettingsThatCannotBe) {
  PopServer server;
  const std::uint16_t closed = PopServer().port();
  const std::string refused = "Refused the ", because = ", it holds a line break or a zero byte";
  const struct {
    std::string host, username, password;
    std::int32_t port;
    std::string log;
    bool greeted;  // what popCheckConnection gives
  } rows[] = {
      {"", "", "", server.port(), "Hostname is missing for POP connection", false},
      {"127.0.0.1", "", "p", server.port(), "User name is missing for POP connection", true},
      {"127.0.0.1", "u", "p", closed, "Failed to connect to POP3 server", false},
      {"127.0.0.1", "u", "p", 70000, "Failed to connect to POP3 server", false},
      {"no-such-host.invalid", "u", "p", server.port(), "Failed to connect to POP3 server", false},
      {"127.0.0.1\r\nNOOP", "u", "p", server.port(), refused + "host name" + because, false},
      {"127.0.0.1", "u\nNOOP", "p", server.port(), refused + "user name" + because, true},
      {"127.0.0.1", "u\0"s, "p", server.port(), refused + "user name" + because, true},
      {"127.0.0.1", "u", "p\r\nNOOP", server.port(), refused + "password" + because, true},
      {"127.0.0.1", std::string(1001, 'u'), "p", server.port(),
       "Failed to login to POP3 server: login name and/or password is invalid", true},
      {"127.0.0.1", "u", std::string(1001, 'p'), server.port(),
       "Failed to login to POP3 server: login name and/or password is invalid", true},
  };
  for (const auto& row : rows) {
    PopSettings settings = popSettings(row.port);
    settings.host.set(row.host);
    settings.username.set(row.username);
    settings.password = std::string_view(row.password);
    LogLines log;
    EXPECT_EQ(popConnect(settings, log.get()), nullptr) << row.log;
    EXPECT_EQ(log.lines().back(), row.log);
    EXPECT_EQ(popConnect(settings, nullptr), nullptr);
    EXPECT_EQ(popCheckConnection(settings, nullptr), row.greeted) << row.log;
  }
  for (const std::string& command : server.commands()) EXPECT_EQ(command, "QUIT");

  PopServer other;
  PopSettings settings = popSettings(other.port());
  settings.username.set(std::string(1000, 'u'));
  settings.password = "";
  EXPECT_NE(popConnect(settings, nullptr), nullptr);
  EXPECT_EQ(other.commands(), (Strings{"USER " + std::string(1000, 'u'), "PASS", "STAT", "QUIT"}));
}

TEST(PopConnect, ThePasswordIsInNoLog) {
  const Strings replies = {"-ERR bad password: open sesame", "-ERR b3BlbiBzZXNhbWU= is wrong",
                           "-ERR AGFubgBvcGVuIHNlc2FtZQ== is wrong"};
  for (const char* command : {"GREETING", "USER", "PASS", "UIDL", "RETR", "TOP", "DELE", "QUIT"}) {
    for (const std::string& reply : replies) {
      PopServer server({"a\r\n"}, command + "="s + reply);
      Session session(popSettings(server.port()));
      std::string said = session.entered;
      if (session.conn != nullptr) {
        session.conn->mailbox().add(1, 0, "id");
        session.run("uidl retr:1 top:1,1 dele:1 quit");
        said += joined(session.log);
      }
      EXPECT_NE(said.find("-ERR"), std::string::npos) << command << said;
      for (const char* secret : {"sesame", "b3BlbiB", "c2VzYW1l", "zZXNhbW", "Nlc2FtZ"}) {
        EXPECT_EQ(said.find(secret), std::string::npos) << command << said;
      }
    }
  }
}

// --- The session's steps

const Strings kMails = {"Subject: one\r\n\r\n1\r\n", "Subject: two\r\nX-UIDL: own\r\n\r\n2\r\n"};

TEST(PopSession, Steps) {
  const std::string cannot = "Cannot fetch mail message, ";
  const struct {
    const char* rules;
    const char* steps;
    const char* results;
    const char* commands;
    std::string log;
  } rows[] = {
      {"", "stat uidl retr:1 top:2,5 dele:1 quit", "1 1 1 1 1 1", "STAT|UIDL|RETR 1|TOP 2 5|DELE 1|QUIT", ""},
      {"", "retr:1 top:1,1 dele:1", "0 0 0", "QUIT",
       cannot + "message not found in mailbox|" + cannot +
           "message not found in mailbox|message_id: 1|Cannot remove message, no message has this ID"},
      {"", "uidl top:1,0 top:1,-5 top:1,10000 top:1,20000", "1 1 1 1 1",
       "UIDL|TOP 1 1|TOP 1 1|TOP 1 10000|TOP 1 10000|QUIT", ""},
      {"", "uidl dele:2 dele:2 retr:2 top:2,1", "1 1 1 0 0", "UIDL|DELE 2|QUIT",
       cannot + "message already removed from mailbox|" + cannot + "message already removed from mailbox"},
      {"DELE=-ERR locked", "uidl dele:2 dele:2 retr:2", "1 0 0 1", "UIDL|DELE 2|DELE 2|RETR 2|QUIT",
       "Cannot delete mail message, response to DELE = -ERR locked|"
       "Cannot delete mail message, response to DELE = -ERR locked"},
      {"UIDL=-ERR not here", "uidl", "0", "UIDL|QUIT", "Cannot get UIDLs, response to UIDL = -ERR not here"},
      {"RETR=-ERR gone|TOP=ERR", "uidl retr:1 top:1,1 top:2,1 retr:2", "1 0 0 0 0",
       "UIDL|RETR 1|TOP 1 1|TOP 2 1|RETR 2|QUIT",
       cannot + "response to RETR = -ERR gone|" + cannot + "response to TOP = ERR|" + cannot +
           "response to TOP = ERR|" + cannot + "response to RETR = -ERR gone"},
      {"QUIT=-ERR not all were removed", "quit", "0", "QUIT", "-ERR not all were removed"},
      // Numbers that name no message are listed; nothing is said to the server about them.
      {"UIDL=+OK\r\n0 zero\r\n-1 minus\r\n.", "uidl retr:0 top:-1,1 dele:-1", "1 0 0 0", "UIDL|QUIT",
       cannot + "message not found in mailbox|" + cannot +
           "message not found in mailbox|message_id: -1|Cannot remove message, no message has this ID"},
      {"UIDL=+OK\r\n2147483647 a\r\n.", "uidl retr:2147483647", "1 0", "UIDL|RETR 2147483647|QUIT",
       cannot + "response to RETR = -ERR no such message"},
  };
  for (const auto& row : rows) {
    PopServer server(kMails, row.rules);
    {
      Session session(popSettings(server.port()));
      ASSERT_NE(session.conn, nullptr) << session.entered;
      EXPECT_EQ(session.run(row.steps), row.results) << row.steps;
      EXPECT_EQ(joined(session.log), row.log) << row.steps;
      EXPECT_TRUE(session.conn->isConnected());
    }
    EXPECT_EQ(server.commands(), kLogin + split(row.commands)) << row.steps;
  }
}

TEST(PopSession, Listings) {
  const struct {
    std::string answer;
    std::string listed;
    std::size_t lines;  // that getUidls gives
  } rows[] = {
      {"+OK\r\n1 a\r\n2 b\r\n.\r\n", "1=a 2=b", 2},
      {"+ok 2 messages\r\n2 b\r\n1 a\r\n.\r\n", "2=b 1=a", 2},
      {"+OK\r\n.\r\n", "", 0},
      {"+OK\r\n1\r\n2 b\r\nthree c\r\n\r\n4 d\r\n.\r\n", "2=b 4=d", 2},
      {"+OK\r\n1 a\r\n2 a\r\n1 c\r\n.\r\n", "2=a 1=c", 3},
      {"+OK\r\n1 a\r\n.anything ends it\r\n", "1=a", 1},
      {"+OK\r\n1 a\0b\r\n2\0 c\r\n.\r\n"s, "1=a\0b 2=\0"s, 2},
      {"+OK\r\n1 " + std::string(100'000, 'i') + "\r\n.\r\n", "1=" + std::string(100'000, 'i'), 1},
      // It breaks off: what was listed counts.
      {"+OK\r\n1 a\r\n2 b\r\n3 c\x04", "1=a 2=b", 2},
      {"+OK\r\n\x04", "", 0},
  };
  for (const auto& row : rows) {
    PopServer server({}, [&](std::string_view command) {
      return command == "UIDL" ? std::optional(row.answer) : std::nullopt;
    });
    Session session(popSettings(server.port()));
    ExtIntArray numbers;
    std::vector<StringBuffer> uidls;
    EXPECT_TRUE(session.conn->getUidls(session.log.get(), numbers, uidls));
    EXPECT_EQ(session.listed(), row.listed);
    EXPECT_EQ(session.conn->messageCount(), session.conn->mailbox().count());
    EXPECT_EQ(numbers.size(), row.lines);
    EXPECT_EQ(uidls.size(), row.lines);
    if (row.answer.ends_with('\x04')) {
      EXPECT_EQ(joined(session.log),
                "The peer has closed the socket (TCP) connection|Socket is no longer readable|"
                "Failed to get command response on socket");
    } else {  // twice makes no difference
      EXPECT_EQ(session.run("uidl"), "1");
      EXPECT_EQ(session.listed(), row.listed);
      EXPECT_TRUE(joined(session.log).empty());
    }
  }
}

TEST(PopSession, Texts) {
  const struct {
    std::string sent;     // behind the status line
    std::string journal;  // "" when it is what was sent
    std::string body;
  } rows[] = {
      {"a: b\r\n\r\ntext\r\n.\r\n", "", "text"},
      {"a: b\r\n\r\n..text\r\n...\r\n.\r\n", "", ".text\r\n.."},
      {"a: b\r\n\r\ntext\r\n\r\n.\r\n", "a: b\r\n\r\ntext\r\n.\r\n", "text"},
      {"a: b\r\n\r\ntext\r\n\r\n\r\n.\r\n", "a: b\r\n\r\ntext\r\n.\r\n", "text"},
      {"a: b\r\n\r\ntext\r\n\r\n\r\n\r\n.\r\n", "a: b\r\n\r\ntext\r\n\r\n.\r\n", "text\r\n"},
      {"\r\n\r\n.\r\n", "\r\n.\r\n", ""},
      {"\r\n.\r\n", "", ""},
      {".\r\n", "", ""},
      {"a: b\r\n\r\nx\0\0y\xFF\r\n.\r\n"s, "", "x\0\0y\xFF"s},
      {"a: b\r\n\r\nx\n.\ny\r.\r\r\n.\r\n", "", "x\n.\ny\r.\r"},
      // No end but the one of three bytes at the start of a line.
      {"a: b\r\n\r\n.x\r\n. \r\n\r\n .\r\n.\n\r\n.\r\n", "", ".x\r\n. \r\n\r\n .\r\n.\n"},
      {"a: b\r\n\r\n" + std::string(70'000, 'x') + "\r\n.\r\n", "", std::string(70'000, 'x')},
      {"a: b\r\n\r\n" + std::string(3'000'000, 'x') + "\r\n.\r\n", "", std::string(3'000'000, 'x')},
  };
  for (const auto& row : rows) {
    // At once with the status line, and one byte at a time.
    for (const bool slow : {false, true}) {
      if (slow && row.sent.size() > 1000) continue;
      const TemporaryFolder folder;
      ScriptedServer server([&](Peer& peer) {
        std::string line = "+OK 1 1";
        const std::string answer = "+OK octets follow\r\n" + row.sent;
        peer.send("+OK 1 1\r\n");
        while (peer.readThrough("\r\n", line)) {
          if (line == "UIDL\r\n") {
            peer.send("+OK\r\n1 id\r\n.\r\n");
          } else if (!line.starts_with("RETR") && !line.starts_with("TOP")) {
            peer.send("+OK 1 1\r\n");
          } else if (!slow) {
            peer.send(answer);
          } else {
            for (const char c : answer) peer.send({&c, 1});
          }
        }
      });
      Session session(popSettings(server.port()));
      session.journal = folder / "received";
      EXPECT_EQ(session.run("uidl retr:1 top:1,1 dele:1"), "1 1 1 1") << joined(session.log);
      const std::string entry = "--BEGIN RECEIVED QUORVEL EMAIL--\n" +
                                (row.journal.empty() ? row.sent : row.journal) +
                                "\n--END RECEIVED QUORVEL EMAIL--\n";
      EXPECT_TRUE(contentsOf(session.journal) == entry + entry) << row.sent.substr(0, 100);
      const std::unique_ptr<Email> email = std::move(session.conn->mailbox().find(1)->email);
      ASSERT_NE(email, nullptr);
      EXPECT_TRUE(email->getBody() == row.body) << row.sent.substr(0, 100) << "\n" << email->getBody();
      EXPECT_EQ(email->messageNumber(), 1);
    }
  }
}

TEST(PopSession, UniqueIdsOfTheMessages) {
  PopServer server({"Subject: none\r\n\r\n", "X-UIDL: own\r\n\r\n", "X-UIDL:\r\n\r\n"});
  Session session(popSettings(server.port()));
  EXPECT_EQ(session.run("uidl retr:1 retr:2 top:3,1"), "1 1 1 1");
  const char* const shown[] = {"id-1", "own", "id-3"};
  for (std::int32_t number = 1; number <= 3; ++number) {
    const auto& email = session.conn->mailbox().find(number)->email;
    EXPECT_EQ(email->getUidl(), shown[number - 1]);
    EXPECT_EQ(email->uidlOnServer(), "id-" + std::to_string(number));
    EXPECT_EQ(email->messageNumber(), number);
    EXPECT_EQ(email->log(), session.log.get());
  }
  // Listing anew drops what was fetched.
  EXPECT_EQ(session.run("uidl"), "1");
  EXPECT_EQ(session.conn->mailbox().find(1)->email, nullptr);
}

TEST(PopSession, ProgressCountsCommandsAndText) {
  const std::string text = "a: b\r\n\r\n" + std::string(500'000, 'x') + "\r\n";
  PopServer server({text});
  Session session(popSettings(server.port()));
  EXPECT_EQ(session.run("uidl"), "1");
  ProgressMonitor progress(ProgressMonitor::kMailSender, ProgressMonitor::kReceiving, 1'000'000, nullptr);
  EXPECT_TRUE(session.conn->retrieve(1, "", nullptr, &progress, false));
  EXPECT_EQ(progress.done(), 400 + text.size() + 3);
}

TEST(PopSession, DeletionsHoldFromQuitOn) {
  PopServer server({"1\r\n", "2\r\n", "3\r\n"});
  {
    Session session(popSettings(server.port()));
    EXPECT_EQ(session.run("uidl dele:2"), "1 1");
  }
  Session session(popSettings(server.port()));
  EXPECT_EQ(session.run("uidl dele:1 quit"), "1 1 1");
  session.conn.reset();  // does not say it again
  EXPECT_EQ(server.left(), Strings{"id-3"});
  EXPECT_EQ(server.count("QUIT"), 2U);
}

TEST(PopSession, AnExceptionInTheMiddleOfAnAnswerDeletesNothing) {
  struct Thrower : FireComEvent {
    void progressEvent(std::int32_t, std::int32_t, std::int32_t, std::int32_t) override { throw *this; }
  } sink;
  for (const std::uint32_t total : {1U, 1'000'000U}) {  // at the first step; in the midst of the text
    PopServer server({"1\r\n", "2\r\n" + std::string(500'000, 'x') + "\r\n"});
    Session session(popSettings(server.port()));
    EXPECT_EQ(session.run("uidl dele:1"), "1 1");
    ProgressMonitor progress(ProgressMonitor::kMailSender, ProgressMonitor::kReceiving, total, &sink);
    EXPECT_THROW(session.conn->retrieve(2, "", nullptr, &progress, false), Thrower);
    EXPECT_FALSE(session.conn->isConnected());
    session.conn.reset();
    EXPECT_EQ(server.count("QUIT"), 0U);
    EXPECT_EQ(server.left().size(), 2U);
  }
}

// --- Bad servers

TEST(PopSession, BadRepliesAtEachStep) {
  const Strings steps = {"GREETING", "USER", "PASS", "STAT", "UIDL", "RETR", "TOP", "DELE", "QUIT"};
  Strings bad = split(
      "-ERR|-ERR no|-err|-|+|+O|+0K|OK|+ OK| +OK|\t+OK|++OK|+KO|220 ready|* OK IMAP|.|..|ok|"
      "HTTP/1.1 400 Bad Request|\xEF\xBB\xBF+OK|\x1b[2J+OK|x\n+OK|\r+OK|\n+OK");
  for (const auto& reply : {""s, "\0+OK"s, std::string(100'000, 'x')}) bad.push_back(reply);
  for (std::size_t at = 0; at < steps.size(); ++at) {
    for (const std::string& reply : bad) {
      PopServer server(kMails, [&](std::string_view command) {
        return command.starts_with(steps[at]) ? std::optional(reply + "\r\n") : std::nullopt;
      });
      {
        Session session(popSettings(server.port()));
        ASSERT_EQ(session.conn != nullptr, at > 3) << steps[at] << reply;
        std::string results = "1 1 1 1 1";
        if (at > 3) {
          session.conn->mailbox().add(1, 0, "id");
          results[2 * (at - 4)] = '0';
          EXPECT_EQ(session.run("uidl retr:1 top:1,1 dele:1 quit"), results) << steps[at] << reply;
          EXPECT_TRUE(session.conn->isConnected());
        }
      }
      EXPECT_EQ(server.commands().back(), "QUIT");
    }
  }
}

TEST(PopSession, CutAtEachByteOfAGoodSession) {
  const std::string message = "Subject: a\r\n\r\nb\r\n";
  const std::string ok = "+OK ready\r\n", text = "+OK\r\n" + message + ".\r\n";
  const struct {
    const char* step;  // of the session; none while it is not there yet
    std::string reply;
  } steps[] = {{"", ok},
               {"", ok},
               {"", ok},
               {"", "+OK 1 17\r\n"},
               {"uidl", "+OK\r\n"},
               {"", "1 id-1\r\n.\r\n"},
               {"retr:1", text},
               {"top:1,1", text},
               {"dele:1", "+OK\r\n"},
               {"stat", "+OK 1 17\r\n"},
               {"quit", ok}};
  std::size_t cut = 0;
  for (std::size_t last = 0, end = 0; last < std::size(steps); ++last) {
    for (end += steps[last].reply.size(); cut < end; ++cut) {
      SCOPED_TRACE(cut);
      PopServer server({message}, nullptr, cut);
      Session session(popSettings(server.port()));
      ASSERT_EQ(session.conn != nullptr, last > 3);
      if (session.conn == nullptr) continue;
      for (std::size_t i = 4; i < std::size(steps); ++i) {
        const std::string step = steps[i].step;
        if (step.empty()) continue;
        const bool brokenListing = i == 4 && last == 5;  // what was listed until then counts
        EXPECT_EQ(session.runOne(step), i < last) << step;
        EXPECT_EQ(session.conn->isConnected(), i < last && !brokenListing) << step;
      }
      const MailOnServer* entry = session.conn->mailbox().find(1);
      EXPECT_EQ(entry != nullptr && entry->email != nullptr, last > 6);
      EXPECT_EQ(entry != nullptr && entry->deleted, last > 8);
    }
  }
}

TEST(PopSession, WhatIsSaidWhenTheConnectionEnds) {
  const std::string closed = "The peer has closed the socket (TCP) connection|Socket is no longer readable";
  const std::string noLine = closed + "|Failed to get command response on socket";
  const std::string none = noLine + "|No command response was returned";
  const std::string login = "Failed to login to POP3 server: login name and/or password is invalid";
  const std::string cannot = "Cannot fetch mail message, ";
  const struct {
    const char* command;
    const char* reply;
    const char* steps;  // none: the session does not begin
    std::string log;
  } rows[] = {
      {"GREETING", "+O", "", none + "|Failed to get POP server's hello"},
      {"USER", "", "", none + "|" + login},
      {"PASS", "+OK\r", "", none + "|" + login},
      {"STAT", "+OK 1 1", "", "Failed to get POP3 server status"},
      {"UIDL", "+OK", "uidl uidl",
       noLine + "|Cannot get UIDLs, failed to get UIDL response|Cannot fetch UIDLs, no socket"},
      {"UIDL", "+OK\r\n1 id", "uidl stat", noLine},
      {"RETR", "", "retr:1 retr:1",
       noLine + "|" + cannot + "failed to get RETR response|" + cannot + "no socket"},
      {"RETR", "+OK\r\na: b\r\n\r\n.\r", "retr:1", closed + "|" + cannot + "failed to get multi-line data"},
      {"TOP", "+", "top:1,1 top:1,1 dele:1",
       noLine + "|" + cannot +
           "failed to get TOP response|Cannot fetch mail message header, no socket|"
           "Cannot remove message, no connection"},
      {"DELE", "", "dele:1 quit", noLine},
      {"QUIT", "", "quit quit", none},
  };
  for (const auto& row : rows) {
    PopServer server(kMails, [&](std::string_view command) {
      const bool is = command.starts_with(row.command);
      return is ? std::optional(row.reply + std::string(1, PopServer::kClose)) : std::nullopt;
    });
    Session session(popSettings(server.port()));
    ASSERT_EQ(session.conn != nullptr, *row.steps != '\0') << session.entered;
    if (session.conn == nullptr) {
      EXPECT_TRUE(session.entered.ends_with("username: ann|" + row.log)) << session.entered;
      continue;
    }
    session.conn->mailbox().add(1, 0, "id");
    session.run(row.steps);
    EXPECT_EQ(joined(session.log), row.log) << row.command;
    EXPECT_FALSE(session.conn->isConnected());
  }
}

TEST(PopSession, RefusesWhatIsTooLong) {
  constexpr PopLimits kSmall{.line = 1000, .message = 5000, .listing = 4000, .entries = 300};
  const auto listing = [](std::size_t lines, std::size_t lineSize) {
    std::string text = "+OK\r\n";
    for (std::size_t i = 1; i <= lines; ++i) {
      std::string line = std::to_string(i) + " ";
      line.resize(lineSize - 2, 'x');
      text += line + "\r\n";
    }
    return text + ".\r\n";
  };
  const auto mail = [](std::size_t size) { return "+OK\r\n" + std::string(size - 5, 'x') + "\r\n.\r\n"; };
  const std::string refused = "The peer sends a text that is too long, it is refused|limit_bytes: ";
  const struct {
    const char* step;
    std::string reply;
    bool done, connected;
    std::string log;
  } rows[] = {
      {"retr:1", mail(5000), true, true, ""},
      {"retr:1", mail(5001), false, false,
       refused + "5000|Cannot fetch mail message, failed to get multi-line data"},
      {"retr:1", "+OK " + std::string(994, 'x') + "\r\n.\r\n", true, true, ""},
      {"retr:1", "+OK " + std::string(995, 'x') + "\r\n.\r\n", false, false,
       refused + "1000|Failed to get command response on socket|"
                 "Cannot fetch mail message, failed to get RETR response"},
      {"uidl", listing(40, 100), true, true, ""},
      {"uidl", listing(41, 100), false, false, "Cannot get UIDLs, the listing is too long, it is refused"},
      {"uidl", listing(300, 7), true, true, ""},
      {"uidl", listing(301, 7), false, false, "Cannot get UIDLs, the listing is too long, it is refused"},
      {"uidl", listing(2, 1000), true, true, ""},
      {"uidl", listing(2, 1001), true, false, refused + "1000|Failed to get command response on socket"},
  };
  for (const auto& row : rows) {
    PopServer server({}, [&](std::string_view command) {
      const bool is = command == "UIDL" || command.starts_with("RETR");
      return is ? std::optional(row.reply) : std::nullopt;
    });
    auto socket = createSocket();
    ASSERT_TRUE(socket->connectToHost("127.0.0.1", server.port()));
    Session session(popConnectOn(std::move(socket), popSettings(server.port()), nullptr, kSmall));
    ASSERT_NE(session.conn, nullptr);
    session.conn->mailbox().add(1, 0, "id");
    EXPECT_EQ(session.runOne(row.step), row.done) << row.step << row.reply.size();
    EXPECT_EQ(joined(session.log), row.log);
    EXPECT_EQ(session.conn->isConnected(), row.connected);
  }
}

TEST(PopSession, AnEndlessLineIsRefused) {
  const std::string piece(44'000, 'x');
  ScriptedServer server([&](Peer& peer) {
    while (peer.send(piece)) {
    }
  });
  LogLines log;
  EXPECT_EQ(popConnect(popSettings(server.port()), log.get()), nullptr);
  EXPECT_TRUE(log.holds({"The peer sends a text that is too long, it is refused", "limit_bytes: 1048576",
                         "Failed to get command response on socket", "No command response was returned",
                         "Failed to get POP server's hello"}));
}

TEST(PopSession, AServerThatStandsStillEndsTheSession) {
  PopServer server(kMails, [](std::string_view command) {
    return command == "RETR 2" ? std::optional("+OK\r\nSubject: half"s) : std::nullopt;
  });
  PopSettings settings = popSettings(server.port());
  settings.readTimeout = 1;
  Session session(settings);
  EXPECT_EQ(session.run("uidl retr:1 retr:2 retr:1 dele:1 uidl stat quit"), "1 1 0 0 0 0 0 0");
  EXPECT_EQ(joined(session.log),
            "timeout_seconds: 1|Socket read timeout|Failed to read data from socket|"
            "Cannot fetch mail message, failed to get multi-line data|"
            "Cannot fetch mail message, no socket|Cannot remove message, no connection|"
            "Cannot fetch UIDLs, no socket");
  EXPECT_NE(session.conn->mailbox().find(1)->email, nullptr);
  session.conn.reset();
  EXPECT_EQ(server.commands(), kLogin + split("UIDL|RETR 1|RETR 2"));
}

TEST(PopSession, FuzzSeedsKeepTheLaws) {
  qv_test::holdAgainstSeeds("pop3", laws::checkPop3);
}

// --- Cost

TEST(PopSession, CostIsLinear) {
  const auto repeated = [](std::string_view line, std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) text += line;
    return text;
  };
  const struct {
    const char* step;
    std::size_t n;
    std::function<std::string(std::size_t)> answer;
  } rows[] = {
      {"uidl", 20'000,
       [](std::size_t n) {
         std::string text;
         for (std::size_t i = 1; i <= n; ++i) text += std::to_string(i) + " id" + std::to_string(i) + "\r\n";
         return text;
       }},
      {"uidl", 50'000, [&](std::size_t n) { return repeated("7 id\r\n", n); }},
      {"retr:1", 200'000, [&](std::size_t n) { return "a: b\r\n\r\n" + repeated("..\r\n", n); }},
      {"retr:1", 200'000, [&](std::size_t n) { return "a: b\r\n\r\n" + repeated("\r\n.\r.\r\n", n); }},
      {"retr:1", 100'000,
       [&](std::size_t n) { return "a: b\r\n\r\n" + repeated("seventy bytes of text\r\n", n); }},
  };
  for (const auto& row : rows) {
    const auto make = [&](std::size_t n) { return "+OK\r\n" + row.answer(n) + ".\r\n"; };
    const auto work = [&](const std::string& answer) {
      PopServer server({}, [&](std::string_view command) {
        const bool is = command == "UIDL" || command.starts_with("RETR");
        return is ? std::optional(answer) : std::nullopt;
      });
      Session session(popSettings(server.port()));
      session.conn->mailbox().add(1, 0, "id");
      EXPECT_TRUE(session.runOne(row.step)) << joined(session.log);
    };
    EXPECT_LT(qv_test::costOfTwice(row.n, make, work), 3) << row.step << row.answer(1);
  }
}

}  // namespace
}  // namespace qv

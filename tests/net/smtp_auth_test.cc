#include "net/smtp_auth.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "../../fuzz/login_laws.h"
#include "core/text.h"
#include "net/md5.h"
#include "net/smtp_session.h"
#include "support/fed_socket.h"
#include "support/log_lines.h"
#include "support/login_server.h"
#include "support/scripted_server.h"
#include "support/seeds.h"
#include "support/sessions.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::base64;
using qv_test::FedSocket;
using qv_test::hexOf;
using qv_test::LoginServer;
using qv_test::LogLines;
using qv_test::SmtpServer;
using qv_test::split;
using qv_test::Strings;
using qv_test::unbase64;

constexpr const char* kMethods[] = {"LOGIN", "PLAIN", "CRAM-MD5", "NTLM"};
const std::string kTime = qv_test::avPair(7, "12345678") + qv_test::avPair(0, "");

SmtpSettings settingsFor(std::uint16_t port, std::string_view method, std::string_view user = "user",
                         std::string_view password = "secret") {
  SmtpSettings settings = qv_test::smtpSettings(port);
  settings.authMethod = method;
  settings.username = user;
  settings.password = password;
  return settings;
}

/// A server that knows "user" with "secret" and offers one method; `reply` may say something else to the line
/// of this number, the first AUTH being 0.
struct OneUserServer {
  using Reply = std::function<std::optional<std::string>(std::size_t line)>;

  explicit OneUserServer(const char* method, Reply reply = nullptr, std::size_t cutAfter = std::string::npos,
                         std::string_view targetInfo = {})
      : logins(method, "user", "secret", {}, targetInfo),
        server(
            [this, reply](std::string_view command) -> std::optional<std::string> {
              const std::size_t before = logins.lines().size();
              std::optional<std::string> usual = logins.reply(command);
              const bool isLogin = logins.lines().size() != before || command.starts_with("AUTH");
              if (isLogin && reply) {
                if (const auto other = reply(logins.lines().size() - 1)) return other;
              }
              return usual;
            },
            cutAfter) {}
  LoginServer logins;
  SmtpServer server;
};

TEST(SmtpLogin, EachMethodWithAnyCredentials) {
  std::string allBytes;
  for (int c = 1; c < 256; ++c) {
    if (c != '\r' && c != '\n') allBytes += static_cast<char>(c);
  }
  const struct {
    std::string user, password, domain;
  } rows[] = {
      {"u", "p", ""},
      {"ann", "secret", "TEST"},
      {std::string(40, 'n'), std::string(64, 'w'), "d"},
      {"tim", std::string(65, 'w'), ""},
      {"J\xC3\xB6rg", "gr\xC3\xBC\xC3\x9F", "K\xC3\xB6ln"},
      {"J\xF6rg", "gr\xFC\xDF", "K\xF6ln"},
      {allBytes, allBytes, allBytes},
      {std::string(200, 'u'), std::string(300, 'p'), ""},
      {std::string(5000, 'u'), std::string(70'000, 'p'), "d\r\nNOOP\0"s},
  };
  for (const char* method : kMethods) {
    for (const auto& row : rows) {
      for (const bool right : {true, false}) {
        LoginServer logins(method, row.user, row.password, row.domain);
        SmtpServer server([&](std::string_view command) { return logins.reply(command); });
        SmtpSettings settings =
            settingsFor(server.port(), "", row.user, right ? row.password : row.password + "x");
        settings.loginDomain = std::string_view(row.domain);
        LogLines log;
        EXPECT_EQ(smtpConnect(settings, log.get()) != nullptr, right)
            << method << " " << row.user.substr(0, 50) << "\n"
            << log.text();
        // EHLO, the lines of the login, QUIT: nothing is cut, nothing is wrapped.
        EXPECT_EQ(server.commands().size(), 2 + logins.lines().size());
        EXPECT_EQ(log.count("Failed to login using " + std::string(method) + " method"), right ? 0U : 1U);
      }
    }
  }
}

// What is chosen, and the log of connecting from there on.
TEST(SmtpLogin, Choice) {
  const struct {
    const char *offered, *setting, *chosen;
  } rows[] = {
      {"ANONYMOUS KERBEROS_V4 GSSAPI DIGEST-MD5 PLAIN LOGIN CRAM-MD5 NTLM", "", "NTLM"},
      {"KERBEROS_V4 GSSAPI DIGEST-MD5 PLAIN LOGIN CRAM-MD5", "", "CRAM_MD5"},
      {"GSSAPI DIGEST-MD5 PLAIN LOGIN", "", "LOGIN"},
      {"GSSAPI DIGEST-MD5 PLAIN", "", "PLAIN"},
      {"LOGIN CRAM-MD5", " login ", "LOGIN"},
      {"NTLM CRAM-MD5", "\tPlain\r\n", "PLAIN"},  // not offered, but wanted
      {"", "CRAM-md5", "CRAM_MD5"},
      {"PLAIN", "XOAUTH2", "PLAIN"},
      {"PLAIN", "LOG IN", "PLAIN"},
      {"LOGIN", "NONE", "NONE or already authenticated"},
      {"", "", "NONE or already authenticated"},
      {"XOAUTH2", "", "NONE or already authenticated"},
      {"ANONYMOUS KERBEROS_V4 GSSAPI DIGEST-MD5", "", "DIGEST-MD5|DIGEST-MD5 login method not supported"},
      {"ANONYMOUS KERBEROS_V4 GSSAPI", "", "GSSAPI|GSSAPI login method not supported"},
      {"ANONYMOUS KERBEROS_V4", "DIGEST-MD5", "Kerberos-V4|Kerberos v4 login method not supported"},
      {"ANONYMOUS", "", "anonymous|Anonymous login method not supported"},
  };
  for (const auto& row : rows) {
    LoginServer logins(row.offered, "user", "secret");
    SmtpServer server([&](std::string_view command) { return logins.reply(command); });
    LogLines log;
    const SmtpSettings settings = settingsFor(server.port(), row.setting);
    const auto session = smtpConnect(settings, log.get());
    EXPECT_TRUE(session && session->isConnected()) << row.chosen;
    Strings expected = split("login_method: "s + row.chosen);
    expected.push_back("CONNECTED to ESMTP server 127.0.0.1:" + std::to_string(settings.port));
    const Strings lines = log.lines();
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_EQ(Strings(lines.end() - static_cast<long>(expected.size()), lines.end()), expected) << log.text();
  }
}

/// The log of a failed login behind "login_method".
Strings logOfLogin(const LogLines& log) {
  const Strings lines = log.lines();
  std::size_t at = 0;
  while (at < lines.size() && !lines[at].starts_with("login_method: ")) ++at;
  return {lines.begin() + static_cast<long>(std::min(at + 1, lines.size())), lines.end()};
}

TEST(SmtpLogin, FailuresStepByStep) {
  constexpr const char* kCheck = "Check your username/password or your SMTP server's auth settings";
  const std::string kGone = "The peer has closed the socket (TCP) connection|Socket is no longer readable|";
  const std::string check = kCheck + "|"s;
  const struct {
    const char* method;
    std::size_t line;   // to which the server says something else
    const char* reply;  // empty: it closes the connection
    std::string log;    // "T" is the transcript
  } rows[] = {
      {"LOGIN", 0, "504 not now", "504 not now|Failed to send AUTH LOGIN|T|"},
      {"LOGIN", 0, "235 in", "235 in|Failed to send AUTH LOGIN|T|"},
      {"LOGIN", 0, "", kGone + "Failed to send AUTH LOGIN|T|"},
      {"LOGIN", 1, "501-bad\r\n501 name",
       "501-bad|    . 501 name|Failed to get response to login name|" + check + "T|"},
      {"LOGIN", 1, "235 in", "235 in|Failed to get response to login name|" + check + "T|"},
      {"LOGIN", 1, "", kGone + "Failed to get response to login name|" + check + "T|"},
      {"LOGIN", 2, "535 no", "535 no|Failed to get response to login password|T|"},
      {"LOGIN", 2, "334 more", "334 more|Failed to get response to login password|T|"},
      {"LOGIN", 2, "250 in", "250 in|Failed to get response to login password|T|"},
      {"LOGIN", 2, "", kGone + "Failed to get response to login password|T|"},
      {"PLAIN", 0, "504 not now", "504 not now|T|"},
      {"PLAIN", 0, "", kGone + "T|"},
      {"PLAIN", 1, "535 no", "535 no|Failed to get response to plain login info|T|"},
      {"PLAIN", 1, "334 more", "334 more|Failed to get response to plain login info|T|"},
      {"PLAIN", 1, "", kGone + "Failed to get response to plain login info|T|"},
      {"CRAM-MD5", 0, "504 not now", ""},
      {"CRAM-MD5", 0, "", kGone},
      {"CRAM-MD5", 1, "535 no", "535 no|Failed to get CRAM-MD5 response|" + check + "T|"},
      {"CRAM-MD5", 1, "", kGone + "Failed to get CRAM-MD5 response|" + check + "T|"},
      {"NTLM", 0, "504 not now", "504 not now|Failed to send AUTH NTLM|T|"},
      {"NTLM", 0, "", kGone + "Failed to send AUTH NTLM|T|"},
      {"NTLM", 1, "535 no",
       "exchangePackage: failed to get success response|QuorvelSSPI.authenticate: exchange "
       "failed|NTLM authentication failed|"},
      {"NTLM", 1, "",
       kGone + "exchangePackage: failed to get success response|QuorvelSSPI.authenticate: exchange "
               "failed|NTLM authentication failed|"},
      {"NTLM", 2, "535 no",
       "Logon denied.  Check username, password, and domain|NTLM authentication failed|"},
      {"NTLM", 2, "334 ", "Logon denied.  Check username, password, and domain|NTLM authentication failed|"},
      {"NTLM", 2, "",
       kGone + "Logon denied.  Check username, password, and domain|NTLM authentication failed|"},
  };
  for (const auto& row : rows) {
    Strings replies;
    OneUserServer one(row.method, [&](std::size_t line) -> std::optional<std::string> {
      if (line != row.line) return std::nullopt;
      return *row.reply == '\0' ? std::string(1, SmtpServer::kClose) : row.reply + "\r\n"s;
    });
    LogLines log;
    EXPECT_EQ(smtpConnect(settingsFor(one.server.port(), ""), log.get()), nullptr);

    // Its own commands and the server's replies, but none of the lines between them.
    const Strings sent = one.server.commands();
    const std::string prompts[] = {"334 VXNlcm5hbWU6", "334 UGFzc3dvcmQ6"};
    Strings transcript{"220 ready", "    | 250-me", "    | 250 AUTH "s + row.method,
                       "    | AUTH "s + row.method};
    for (std::size_t i = 0; i < row.line; ++i) {
      transcript.push_back(row.method == "LOGIN"sv
                               ? "    | " + prompts[i]
                               : "    | 334 " +
                                     (row.method == "CRAM-MD5"sv ? base64(LoginServer::kCramChallenge) : ""));
    }
    for (const std::string& line : split(qv::StringBuffer(row.reply).str(), '\n')) {
      transcript.push_back("    | " + line.substr(0, line.find('\r')));
    }
    Strings expected;
    for (std::string& line : split(row.log)) {
      if (line == "T") {
        expected.insert(expected.end(), transcript.begin(), transcript.end());
      } else {
        if (line.starts_with("    .")) line[4] = '|';
        expected.push_back(line);
      }
    }
    expected.push_back("Failed to login using "s + row.method + " method");
    EXPECT_EQ(logOfLogin(log), expected) << row.method << row.line << row.reply;
    EXPECT_EQ(sent.size(), 2 + row.line + (*row.reply == '\0' ? 0 : 1))
        << row.method << row.line << row.reply;
  }
}

TEST(SmtpLogin, FailedSends) {
  const struct {
    const char* method;
    std::size_t sends;  // that work
    const char* log;
  } rows[] = {
      {"LOGIN", 0, "Failed to send AUTH LOGIN|AUTH LOGIN"},  // the transcript is what was tried
      {"LOGIN", 1, "Failed to send login name"},
      {"LOGIN", 2, "Failed to send login password"},
      {"PLAIN", 0, "AUTH PLAIN"},
      {"PLAIN", 1, "Failed to send plain login info"},
      {"CRAM-MD5", 0, ""},
      {"CRAM-MD5", 1, "Failed to send CRAM-MD5 response"},
      {"NTLM", 0, "Failed to send AUTH NTLM|AUTH NTLM"},
      {"NTLM", 1,
       "exchangePackage: failed to send package on socket|QuorvelSSPI.authenticate: exchange failed|"
       "NTLM authentication failed"},
      {"NTLM", 2, "sendFinal: failed to send package on socket|NTLM authentication failed"},
  };
  for (const auto& row : rows) {
    const std::string challenge = "334 " + base64(qv_test::ntlmChallenge(1, "")) + "\r\n";
    FedSocket::Record record;
    SmtpDialogue dialogue(std::make_unique<FedSocket>(
        row.method == "NTLM"sv ? "334 \r\n" + challenge : "334 \r\n334 \r\n", record, row.sends));
    AuthFlags flags;
    applyAuthMethod(flags, row.method);
    LogLines log;
    EXPECT_EQ(logIn(dialogue, flags, {"user", "secret"}, log.get()),
              "Failed to login using "s + row.method + " method");
    Strings lines = log.lines();
    if (row.sends > 0) std::erase_if(lines, [](const auto& line) { return line.starts_with("    |"); });
    EXPECT_EQ(logOfLogin(log), split(row.log)) << row.method << row.sends;
    EXPECT_EQ(record.sent.size(), row.sends);
    EXPECT_EQ(dialogue.isConnected(), row.sends > 0);
  }
}

TEST(SmtpLogin, WithoutCredentialsNothingIsSent) {
  constexpr const char* kEmpty = "Username and/or password is empty";
  constexpr const char* kUser = "Refused the user name, it holds a line break or a zero byte";
  constexpr const char* kPassword = "Refused the password, it holds a line break or a zero byte";
  const struct {
    std::string user, password;
    const char* log;
  } rows[] = {
      {"", "secret", kEmpty},
      {"user", "", kEmpty},
      {"", "", kEmpty},
      {"user\r\nNOOP", "secret", kUser},
      {"us\ner", "secret", kUser},
      {"us\rer", "secret", kUser},
      {"user\0"s, "secret", kUser},
      {"user", "secret\r\nNOOP", kPassword},
      {"user", "sec\nret", kPassword},
      {"user", "\rsecret", kPassword},
      {"user", "\0secret"s, kPassword},
  };
  for (const char* method : kMethods) {
    for (const auto& row : rows) {
      const bool ntlmEmpty = method == "NTLM"sv && row.log == kEmpty;
      OneUserServer one(method);
      LogLines log;
      EXPECT_EQ(smtpConnect(settingsFor(one.server.port(), "", row.user, row.password), log.get()), nullptr);
      EXPECT_EQ(logOfLogin(log).at(0),
                ntlmEmpty ? "QuorvelSSPI.authenticate: cannot acquire alternate credentials" : row.log);
      // NTLM looks for the user name only once the server has agreed to the method.
      EXPECT_EQ(one.server.commands().size(), ntlmEmpty ? 3U : 2U);
    }
  }
}

TEST(SmtpLogin, CutAtEachByte) {
  for (const char* method : kMethods) {
    std::size_t whole = 0;
    {
      FedSocket::Record unused;
      LoginServer logins(method, "user", "secret", {}, kTime);
      whole = std::string_view("220 ready\r\n").size() + logins.reply("EHLO me")->size();
      SmtpServer server([&](std::string_view command) {
        const auto reply = logins.reply(command);
        if (reply && !command.starts_with("EHLO")) whole += reply->size();
        return reply;
      });
      ASSERT_NE(smtpConnect(settingsFor(server.port(), ""), nullptr), nullptr);
      server.commands();
    }
    for (std::size_t cut = 0; cut < whole + 3; ++cut) {
      OneUserServer one(method, nullptr, cut, kTime);
      LogLines log;
      EXPECT_EQ(smtpConnect(settingsFor(one.server.port(), ""), log.get()) != nullptr, cut >= whole) << cut;
      EXPECT_EQ(log.lastError().empty(), cut >= whole) << cut << log.text();
    }
  }
}

TEST(SmtpLogin, WrongRepliesAtEachLine) {
  const Strings wrong = split(
      "|\r\n|\r\n\r\n|x\r\n|334\n\r\n|33\r\n|33 4 x\r\n|-334 x\r\n| 334 x\r\n|3340\n|0235 in\r\n|23 "
      "5\r\n|235\r|235\n"
      "|000 a\r\n|220 a\r\n|221 a\r\n|250 a\r\n|251 a\r\n|354 a\r\n|421 a\r\n|432 a\r\n|454 a\r\n|500 a\r\n"
      "|503 a\r\n|530 a\r\n|534 a\r\n|535 a\r\n|538 a\r\n|250-a\r\n250 b\r\n|535-a\r\n334 b\n|\xB3\xB3\xB4 "
      "x\r\n"
      "|99999999999999999999 x\r\n|\x1b[2J334\r\n");
  for (const char* method : kMethods) {
    for (std::size_t at = 0; at < 3; ++at) {
      for (const std::string& text : wrong) {
        bool said = false;
        OneUserServer one(method, [&](std::size_t line) -> std::optional<std::string> {
          if (line != at) return std::nullopt;
          said = true;
          return text + SmtpServer::kClose;
        });
        LogLines log;
        const bool failed = smtpConnect(settingsFor(one.server.port(), ""), log.get()) == nullptr;
        one.server.commands();  // waits for its thread
        EXPECT_EQ(failed, said) << method << at << text;
        EXPECT_EQ(log.count("Failed to login using " + std::string(method) + " method"), said ? 1U : 0U);
      }
    }
  }
}

TEST(SmtpLogin, ChallengesOfAllKinds) {
  const std::string good = base64(qv_test::ntlmChallenge(0xE0088215, kTime));
  const struct {
    std::string challenge;
    bool ntlm;  // whether NTLM can answer it
  } rows[] = {
      {"", false},
      {"=", false},
      {"no base64 at all, is it?", false},
      {"!!!!", false},
      {"TlRMTVNTUAAC", false},
      {good.substr(0, 30), false},
      {good + good, true},
      {std::string(1'000'000, 'A'), false},
      {std::string(1'000'000, '!'), false},
      {good, true},
  };
  for (const char* method : {"CRAM-MD5", "NTLM"}) {
    for (const auto& row : rows) {
      const bool ntlm = method == "NTLM"sv;
      Strings lines;
      SmtpServer server([&](std::string_view command) -> std::optional<std::string> {
        if (command.starts_with("EHLO")) return "250 AUTH "s + method + "\r\n";
        if (command == "GREETING" || command == "QUIT") return std::nullopt;
        lines.emplace_back(command);
        if (lines.size() == (ntlm ? 2U : 1U)) return "334 " + row.challenge + "\r\n";
        return lines.size() == 1 ? "334\r\n" : "535 no\r\n";
      });
      LogLines log;
      EXPECT_EQ(smtpConnect(settingsFor(server.port(), ""), log.get()), nullptr);
      server.commands();
      ASSERT_EQ(lines.size(), ntlm ? 3U : 2U) << log.text();
      if (ntlm) {
        EXPECT_EQ(qv_test::NtlmAnswer(unbase64(lines[2])).isOne, row.ntlm) << row.challenge.substr(0, 80);
        EXPECT_TRUE(log.holds({"Logon denied.  Check username, password, and domain",
                               "NTLM authentication failed", "Failed to login using NTLM method"}));
      } else {
        EXPECT_EQ(lines[1], base64(CramMD5::response("user", "secret", unbase64(row.challenge))));
      }
    }
  }
}

// A server that never answers in the middle of NTLM keeps nobody waiting; afterwards the host's own time-out
// holds.
TEST(SmtpLogin, ReadTimeoutOfNtlm) {
  for (const bool good : {true, false}) {
    FedSocket::Record record;
    SmtpDialogue dialogue(std::make_unique<FedSocket>(
        "334 \r\n334 " + base64(qv_test::ntlmChallenge(1, "")) + (good ? "\r\n235 in\r\n" : "\r\n535 no\r\n"),
        record));
    EXPECT_EQ(loginNtlm(dialogue, {"user", "secret", "", 77}, nullptr), good);
    EXPECT_EQ(record.readTimeouts, (std::vector<std::int32_t>{3, 77}));
  }
  qv_test::ScriptedServer server([](qv_test::Peer& peer) {
    std::string line;
    peer.send("220 ready\r\n");
    if (peer.readThrough("\r\n", line) && peer.send("250 AUTH NTLM\r\n") && peer.readThrough("\r\n", line)) {
      peer.send("334 \r\n");
      peer.drain();
    }
  });
  LogLines log;
  EXPECT_EQ(smtpConnect(settingsFor(server.port(), ""), log.get()), nullptr);
  EXPECT_TRUE(log.holds({"login_method: NTLM", "timeout_seconds: 3", "Socket read timeout",
                         "exchangePackage: failed to get success response",
                         "QuorvelSSPI.authenticate: exchange failed", "NTLM authentication failed",
                         "Failed to login using NTLM method"}));
}

/// Everything that a log and a session give away.
std::string everythingOf(const LogLines& log, CLog& out, const SmtpConn* session) {
  std::string text = log.text() + log.lastError() + out.GetXml(true) + out.GetErrorEntries() +
                     out.GetInfoEntries() + out.GetDebugEntries();
  if (session != nullptr) text += session->getTranscript();
  return text;
}

// The server repeats all that it was told, in every form, in every reply.
TEST(SmtpLogin, SecretsStayOutOfAllLogs) {
  constexpr std::string_view kUser = "ann.example@test", kPassword = "s3cr3t/Pass+Wort";
  for (const char* method : kMethods) {
    for (const std::size_t failAt : {0U, 1U, 2U, 9U}) {  // 9: not at all
      LoginServer logins(method, kUser, kPassword, {}, failAt == 1 ? "" : kTime);
      std::set<std::string> secrets{std::string(kPassword)};
      SmtpServer server([&](std::string_view command) -> std::optional<std::string> {
        if (command == "GREETING" || command == "QUIT") return std::nullopt;
        if (command.starts_with("EHLO")) return logins.reply(command);
        const std::size_t before = logins.lines().size();
        const auto usual = logins.reply(command);
        const bool isLogin = logins.lines().size() != before;
        if (isLogin && before > 0 && !(method == "LOGIN"sv && before == 1)) {  // a user name is no secret
          secrets.insert(unbase64(command));
          if (method == "CRAM-MD5"sv) secrets.insert(unbase64(command).substr(kUser.size() + 1));
        }
        std::string echo;
        for (std::string secret : secrets) {
          const std::string coded = base64(secret);
          for (const std::string& form :
               {coded, coded.substr(0, coded.size() * 2 / 3), base64("xy" + secret + "z"), hexOf(secret),
                toUpper(hexOf(secret)), secret}) {
            for (const char c : form) echo += c == '\r' || c == '\n' ? '.' : c;
            echo += ' ';
          }
        }
        std::string reply = usual.value_or("250 ok\r\n");
        if (command.starts_with("MAIL")) reply = "550 no\r\n";
        if (isLogin && logins.lines().size() - 1 == failAt) reply = "535 no\r\n";
        if (reply.starts_with("334")) return reply;  // what follows the code is the challenge
        reply.insert(reply.size() - 2, " " + echo);
        return reply.substr(0, 3) + "-" + echo + "\r\n" + reply;
      });
      LogLines log;
      SmtpSettings settings = settingsFor(server.port(), "", kUser, kPassword);
      auto session = smtpConnect(settings, log.get());
      EXPECT_EQ(session != nullptr, failAt >= logins.lines().size()) << log.text();
      if (session) {
        Email email(nullptr);
        email.setFrom("a@h");
        email.addTo("", "b@h");
        SendOutcome outcome;
        DistributionList rejected;
        EXPECT_FALSE(session->sendEmail(&email, "", log.get(), nullptr, outcome, rejected, true));
      }
      const std::string shown = everythingOf(log, *log.get(), session.get());
      session.reset();
      server.commands();
      // Where these fail, the log has no reply to show.
      const bool silent =
          method == "NTLM"sv ? failAt == 1 || failAt == 2 : method == "CRAM-MD5"sv && failAt == 0;
      EXPECT_EQ(shown.find(SecretMask::kMask) == std::string::npos, silent) << method << failAt;
      for (const std::string& secret : secrets) {
        const std::string coded = base64(secret);
        for (const std::string& form :
             {secret, coded, coded.substr(0, coded.size() * 2 / 3), base64("xy" + secret + "z").substr(4, 12),
              hexOf(secret), toUpper(hexOf(secret))}) {
          EXPECT_EQ(shown.find(form), std::string::npos) << method << failAt << " " << form << "\n" << shown;
        }
      }
    }
  }
}

TEST(SmtpLogin, FuzzSeedsKeepTheLaws) {
  qv_test::holdAgainstSeeds("smtp_login", laws::checkSmtpLogin);
  qv_test::holdAgainstSeeds("ntlm_challenge", laws::checkNtlmChallenge);
}

}  // namespace
}  // namespace qv

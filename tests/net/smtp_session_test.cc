#include "net/smtp_session.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <regex>

#include "net/smtp_auth.h"
#include "net/smtp_dialogue.h"
#include "net/smtp_transaction.h"
#include "platform/host_name.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/scripted_server.h"
#include "support/sessions.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::LogLines;
using qv_test::Peer;
using qv_test::ScriptedServer;
using qv_test::SmtpServer;
using qv_test::smtpSettings;
using qv_test::split;
using qv_test::Strings;

/// A message from a@h. `recipients` as "to:b@h cc:c@h bcc:d@h".
std::unique_ptr<Email> newEmail(std::string_view recipients) {
  auto email = std::make_unique<Email>(nullptr);
  email->setFrom("a@h");
  for (const std::string& each : split(recipients, ' ')) {
    const std::string address = each.substr(each.find(':') + 1);
    each[0] == 't' ? email->addTo("", address)
                   : (each[0] == 'c' ? email->addCc("", address) : email->addBcc("", address));
  }
  email->setSubject("greetings");
  email->setBody("Hello\r\n.dot\r\n", false);
  return email;
}

struct Sending {
  bool connected = false;
  bool sent = false;
  SendOutcome outcome{};
  std::size_t numRejected = 0;
};

/// One session that sends one e-mail and ends.
Sending sendOnce(const SmtpSettings& settings, Email& email, CLog* log, bool sendIndividual = true,
                 std::string_view journal = {}) {
  Sending result;
  DistributionList rejected;
  const auto session = smtpConnect(settings, log);
  result.connected = session != nullptr;
  result.sent =
      session && session->sendEmail(&email, journal, log, nullptr, result.outcome, rejected, sendIndividual);
  result.numRejected = rejected.count();
  return result;
}

/// The machine's name is the same everywhere while this lives.
struct HostName {
  explicit HostName(const std::string& name) { setHostNameForTest(name); }
  ~HostName() { setHostNameForTest(""); }
};

TEST(SmtpConnect, Dialogues) {
  const HostName name("me");
  const struct {
    const char* rules;
    const char* authMethod;
    bool connected;
    const char* commands;
    const char* log;  // of connecting, in this order
  } rows[] = {
      {"EHLO=250-me\r\n250 SIZE 10", "", true, "EHLO me|QUIT",
       "smtp_host: 127.0.0.1|smtp_user: NULL|login_method: NONE or already authenticated|CONNECTED to ESMTP "
       "server "},
      {"GREETING=220-a\r\n220-b\r\n220|EHLO=250-x\r\n250", "", true, "EHLO me|QUIT",
       "CONNECTED to ESMTP server "},
      {"EHLO=502 what", "", true, "EHLO me|HELO me|QUIT", "login_method: NONE|CONNECTED to SMTP server "},
      {"EHLO=502 what|HELO=500 what?", "", false, "EHLO me|HELO me|QUIT",
       "login_method: NONE|500 what?|Failed to get response to Hello"},
      {"EHLO=502-what\r\n502 no", "", false, "EHLO me|HELO me|QUIT",
       "502 no|Failed to get response to Hello"},
      {"EHLO=250-a\r\n251-b\r\n250 c", "", true, "EHLO me|HELO me|QUIT", "CONNECTED to SMTP server "},
      {"GREETING=554-no\r\n554 service", "", false, "QUIT",
       "554-no|Failed to get initial response|"
       "The SMTP server may be denying access for this domain."},
      {"EHLO=250-auth digest-md5\r\n250 SIZE", "", true, "EHLO me|QUIT",
       "login_method: DIGEST-MD5|DIGEST-MD5 login method not supported|CONNECTED to ESMTP server "},
      {"EHLO=250 AUTH GSSAPI", " none ", true, "EHLO me|QUIT",
       "trying_auth_method:  none |login_method: NONE or already authenticated|CONNECTED to ESMTP server "},
  };
  for (const auto& row : rows) {
    SmtpServer server(row.rules);
    SmtpSettings settings = smtpSettings(server.port());
    settings.authMethod = row.authMethod;
    LogLines log;
    EXPECT_EQ(smtpConnect(settings, log.get()) != nullptr, row.connected) << row.rules;
    Strings expected = split(row.log);
    if (row.connected) expected.back() += "127.0.0.1:" + std::to_string(settings.port);
    EXPECT_TRUE(log.holds(expected)) << row.rules;
    log.clear();
    EXPECT_EQ(smtpCheckConnectivity(settings, log.get()), row.connected) << row.rules;
    EXPECT_EQ(log.text().find("login_method"), std::string::npos);
    Strings commands = split(row.commands);
    const Strings again = commands;
    commands.insert(commands.end(), again.begin(), again.end());
    EXPECT_EQ(server.commands(), commands) << row.rules;
  }
}

TEST(SmtpConnect, NeedsAServer) {
  const std::uint16_t closed = SmtpServer().port();
  const struct {
    const char* host;
    std::int32_t port;
    const char* log;
  } rows[] = {
      {"", closed, "No hostname"},
      {"127.0.0.1", closed, "Failed to connect"},
      {"127.0.0.1", 70000, "Failed to connect"},
      {"no-such-host.invalid", closed, "Failed to connect"},
      {"127.0.0.1\r\nNOOP", closed, "Refused the host name, it holds a line break or a zero byte"},
  };
  for (const auto& row : rows) {
    SmtpSettings settings = smtpSettings(row.port);
    settings.host = row.host;
    LogLines log;
    EXPECT_EQ(smtpConnect(settings, log.get()), nullptr);
    EXPECT_FALSE(smtpCheckConnectivity(settings, log.get()));
    EXPECT_EQ(log.count(row.log), 2U);
    EXPECT_EQ(smtpConnect(settings, nullptr), nullptr);
  }
}

TEST(SmtpAuth, ChoosesTheMethod) {
  const struct {
    const char* offered;
    const char* setting;
    unsigned left;  // bits by AuthMethod
  } rows[] = {
      {"AUTH LOGIN PLAIN CRAM-MD5|SIZE 1000000", "", 0b1110},
      {"auth login", "", 0b100},
      {"AUTH=LOGIN PLAIN", "", 0b1000},
      {"XAUTH LOGIN|AUT", "", 0},
      {"AUTH NTLM|AUTH GSSAPI DIGEST-MD5 kerberos_v4 Anonymous", "whatever", 0b11110001},
      {"AUTH PLAIN", "NTLM", 0b1},
      {"AUTH PLAIN", " ", 0b1000},
      {"AUTH PLAIN", "DIGEST-MD5", 0b1000},
  };
  for (const auto& row : rows) {
    AuthFlags flags;
    for (const auto& line : split(row.offered)) addOfferedMethods(line, flags);
    applyAuthMethod(flags, row.setting);
    EXPECT_EQ(flags, AuthFlags(row.left)) << row.offered << " " << row.setting;
  }
}

TEST(SmtpSend, Recipients) {
  const struct {
    const char* recipients;
    const char* refused;
    std::size_t accepted, attempted;
    const char* offered;
    const char* log;
  } rows[] = {
      {"to:b@h", "", 1, 1, "b@h", "subject: greetings|from: a@h|to: b@h|Mail sent to 1 recipient"},
      {"bcc:e@h to:b@h cc:d@h to:c@h", "", 4, 4, "b@h c@h d@h e@h",
       "to: b@h|to: c@h|cc: d@h|bcc: e@h|Mail sent to 4 recipients"},
      {"cc:c@h", "", 1, 1, "undisclosed-recipients c@h", "cc: c@h|Mail sent to 1 recipient"},
      {"bcc:c@h", "undisclosed-recipients", 1, 1, "undisclosed-recipients c@h",
       "550 no|Failed when sending RCPT TO:<undisclosed-recipients>|bcc: c@h|Mail sent to 1 recipient"},
      {"to:b@h cc:c@h bcc:d@h", "c@h", 2, 3, "b@h c@h d@h",
       "550 no|Failed when sending cc RCPT TO:<c@h>|bad_address: c@h|Warning: failed to send to 1 "
       "recipient(s), "
       "continuing to send to 2 recipient(s)|Mail sent to 2 recipients"},
      {"to:b@h bcc:B@H", "b@h B@H", 0, 2, "b@h B@H",
       "Failed when sending RCPT TO:<b@h>|Failed when sending bcc RCPT TO:<B@H>"},
      {"", "", 0, 0, "undisclosed-recipients", "from: a@h"},
      {"to:b\xFC@h", "", 1, 1, "b\xFC@h", "Mail sent to 1 recipient"},
  };
  for (const auto& row : rows) {
    std::string rules;
    for (const auto& address : split(row.refused, ' ')) rules += "RCPT TO:<" + address + ">=550 no|";
    SmtpServer server(rules);
    LogLines log;
    const Sending result = sendOnce(smtpSettings(server.port()), *newEmail(row.recipients), log.get());
    const bool sent = row.accepted > 0;
    EXPECT_EQ(result.sent, sent) << row.recipients;
    EXPECT_FALSE(result.outcome.fatal);
    EXPECT_EQ(result.outcome.numAccepted, row.accepted) << row.recipients;
    EXPECT_EQ(result.outcome.numAttempted, row.attempted) << row.recipients;
    EXPECT_EQ(result.numRejected, row.accepted < row.attempted ? 1U : 0U);
    EXPECT_TRUE(log.holds(split(row.log))) << row.recipients;

    Strings expected{server.commands().at(0), "MAIL FROM:<a@h>"};
    for (const auto& address : split(row.offered, ' ')) expected.push_back("RCPT TO:<" + address + ">");
    if (sent) expected.push_back("DATA");
    expected.push_back("QUIT");
    EXPECT_EQ(server.commands(), expected);
    ASSERT_EQ(server.messages().size(), sent ? 1U : 0U);
    if (!sent) continue;
    EXPECT_NE(server.messages()[0].find("Hello\r\n..dot\r\n"), std::string::npos);
    EXPECT_EQ(log.count("email_size: " + std::to_string(server.messages()[0].size() - 5)), 1U);
  }
}

TEST(SmtpSend, PrivateFieldsAndBccStayHere) {
  const TemporaryFolder folder;
  const std::string journal = folder / "sent.log";
  SmtpServer server;
  const auto email = newEmail("to:b@h bcc:hidden@h");
  for (const char* field : {"QVX-Secret", "qvx-other", "Bcc"}) email->setHeaderField(field, "hidden");
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(sendOnce(smtpSettings(server.port()), *email, nullptr, true, journal).sent);
  }
  EXPECT_EQ(email->getHeaderField("Bcc"), "hidden");
  ASSERT_EQ(server.messages().size(), 2U);
  const std::string message = server.messages()[0].substr(0, server.messages()[0].size() - 5);
  EXPECT_EQ(message.find("hidden"), std::string::npos) << message;
  const std::string entry = "--BEGIN SENT QUORVEL EMAIL--\n" + message + "\n--END SENT QUORVEL EMAIL--\n";
  EXPECT_EQ(contentsOf(journal), entry + entry);
}

TEST(SmtpSend, BadRepliesAtEachStep) {
  Strings bad = split(
      "|\r\n|\r\n\r\n|\n|\r|x|x\r\n|25\r\n|25|250|250 ok|250 ok\r|250 ok\n|220 ok\n220 ok\n| 250 ok\r\n"
      "|354 ok\r354 ok\r|+25 ok\r\n|-250 ok\r\n|0250 ok\r\n|0x250\r\n|2 50 ok\r\n|2.50 ok\r\n|ok\r\n"
      "|OK 250\r\n|\xEF\xBB\xBF 250 ok\r\n|\xB2\xB5\xB0 ok\r\n|25O ok\r\n|99999999999999999999 x\r\n"
      "|\t250 ok\r\n|\x1b[2J\r\n|250-only one\r\n|250-a\r\n250-b\r\n|----\r\n|250-a\r\n\r\n|354-a\r\nx\r\n"
      "|250-a\r\n250\n|250-a\r\n550 b\r\n|220-\r\n421 too busy\r\n");
  for (const auto& code :
       split("000|200|221|251|252|334|235|300|421|450|451|452|500|501|503|535|550|551|552|553|999")) {
    bad.push_back(code + " some words\r\n");
  }
  for (const auto& reply : {"\0\0\0\0\r\n"s, "\0 250 ok\r\n"s, "250 ok\0"s}) bad.push_back(reply);
  const struct {
    const char* command;
    const char* failure;
    bool fatal;
  } steps[] = {
      {"GREETING", "Failed to get initial response", false},
      {"HELO", "Failed to get response to Hello", false},
      {"MAIL", "Failed when sending MAIL FROM:<a@h>", true},
      {"RCPT", "Failed when sending RCPT TO:<b@h>", false},
      {"DATA", "Failed when sending DATA command", true},
      {"MESSAGE", "Failed when sending body end marker", true},
  };
  const auto email = newEmail("to:b@h");
  for (const auto& step : steps) {
    for (const std::string& reply : bad) {
      SmtpServer server([&](std::string_view command) -> std::optional<std::string> {
        if (command.starts_with("EHLO")) return "502 no\r\n";
        if (command.starts_with(step.command)) return reply + SmtpServer::kClose;
        return std::nullopt;
      });
      LogLines log;
      const Sending result = sendOnce(smtpSettings(server.port()), *email, log.get());
      EXPECT_FALSE(result.sent) << step.command << ": " << reply;
      EXPECT_EQ(result.outcome.numAccepted, 0U);
      EXPECT_EQ(log.count(step.failure), 1U) << reply << "\n" << log.text();
      EXPECT_TRUE(result.outcome.fatal || !step.fatal) << step.command;
      EXPECT_EQ(server.messages().size(), step.command == "MESSAGE"sv ? 1U : 0U);
    }
  }
}

TEST(SmtpSend, EndlessReplyIsRefused) {
  for (const std::string& piece : {std::string(44'000, 'x'), "250-" + std::string(996, 'x') + "\r\n"}) {
    ScriptedServer server([&](Peer& peer) {
      peer.send("220 hi\r\n");
      while (peer.send(piece)) {
      }
    });
    LogLines log;
    EXPECT_EQ(smtpConnect(smtpSettings(server.port()), log.get()), nullptr);
    EXPECT_TRUE(log.holds({"The peer sends a text that is too long, it is refused", "Failed to send Hello"}));
  }
}

TEST(SmtpSend, CutAtEachByteOfAGoodSession) {
  const TemporaryFolder folder;
  const std::string journal = folder / "sent.log";
  const auto email = newEmail("to:b@h");
  const std::size_t whole = std::string_view("220 ready. 250 ok. 250 ok. 250 ok. 354 go on. 250 ok. ").size();
  for (std::size_t cut = 0; cut < whole + 3; ++cut) {
    SmtpServer server(nullptr, cut);
    LogLines log;
    const Sending result = sendOnce(smtpSettings(server.port()), *email, log.get(), true, journal);
    EXPECT_EQ(result.sent, cut >= whole) << cut << "\n" << log.text();
    EXPECT_EQ(contentsOf(journal).empty(), cut < whole) << cut;
    EXPECT_EQ(log.lastError().empty(), cut >= whole) << cut;
  }
}

TEST(SmtpSend, FailuresOfASession) {
  SmtpServer server([](std::string_view command) -> std::optional<std::string> {
    if (command == "DATA") return "451 local\r\n";
    if (command == "RCPT TO:<gone@h>") return std::string(1, SmtpServer::kClose);
    return std::nullopt;
  });
  LogLines log;
  const auto session = smtpConnect(smtpSettings(server.port()), log.get());
  ASSERT_NE(session, nullptr);
  const auto fails = [&](Email* email, const Strings& expected, bool connected) {
    SendOutcome outcome;
    DistributionList rejected;
    EXPECT_FALSE(session->sendEmail(email, "", log.get(), nullptr, outcome, rejected, true));
    EXPECT_TRUE(outcome.fatal);
    EXPECT_TRUE(log.holds(expected));
    EXPECT_EQ(session->isConnected(), connected);
  };
  fails(newEmail("to:b@h").get(),
        {"451 local", "Failed when sending DATA command", "220 ready", "    | 250 ok"}, true);
  EXPECT_EQ(session->getTranscript(),
            "220 ready\r\n250 ok\r\nMAIL FROM:<a@h>\r\n250 ok\r\nRCPT TO:<b@h>\r\n250 ok\r\n"
            "DATA\r\n451 local\r\n");
  fails(nullptr, {"email argument to SmtpConnImpl is NULL"}, true);
  Email noSender(nullptr);
  fails(&noSender, {"Invalid email object, no return address"}, true);
  fails(newEmail("to:b@h to:gone@h to:c@h").get(),
        {"to: b@h", "Failed when sending RCPT TO:<gone@h>", "Failed when sending DATA command"}, false);
  fails(newEmail("to:b@h").get(), {"No Socket for sending email"}, false);
}

// What a host or a message says is never more than the one argument it is meant to be.
TEST(SmtpSend, NothingBreaksOutOfACommand) {
  const Strings hostile = {"\"a\r\nRCPT TO:<x@y>\"@h",
                           "a@h>\r\nDATA",
                           "a\rNOOP@h",
                           "a\nNOOP@h",
                           "a@h\r\nNOOP",
                           "a\0NOOP@h"s,
                           "a@h> NOTIFY=NEVER",
                           "a<NOOP@h",
                           "<a@h>, <NOOP@h>",
                           "a@" + std::string(1989, 'h'),
                           "a@" + std::string(5000, 'h')};
  const std::regex good("EHLO [^\\0\r\n]+|MAIL FROM:<[^<>\r\n]*>|RCPT TO:<[^<>\r\n]*>|DATA|QUIT");
  for (const std::string& text : hostile) {
    for (int place = 0; place < 9; ++place) {
      const HostName name(place == 8 ? text.substr(0, 499) : "client.example");
      SmtpServer server;
      SmtpSettings settings = smtpSettings(server.port());
      if (place == 4) settings.username = std::string_view(text);
      if (place == 5) settings.password = std::string_view(text);
      if (place == 6) settings.loginDomain = std::string_view(text);
      if (place == 7) settings.authMethod = std::string_view(text);
      auto email = newEmail("to:good@h");
      if (place == 0) email->setFromAddress(text);
      if (place == 1) email->addTo("", text);
      if (place == 2) email->addCc("", text);
      if (place == 3) email->addBcc("", text);
      const Sending result = sendOnce(settings, *email, nullptr);
      EXPECT_TRUE(result.sent || place == 0 || place == 8) << place << text;  // at least to the good one
      EXPECT_EQ(result.outcome.fatal, result.connected && !result.sent);
      for (const std::string& command : server.commands()) {
        EXPECT_TRUE(std::regex_match(command, good)) << command;
        EXPECT_EQ(command.find('\0'), std::string::npos);
        EXPECT_LT(command.size(), 1998U);
      }
      EXPECT_EQ(server.messages().size(), result.sent ? 1U : 0U);
    }
  }
}

TEST(SmtpSend, RefusedAddressesAreNamed) {
  SmtpServer server;
  const auto email = newEmail("to:good@h to:x\r\ny@h to:a@" + std::string(1988, 'h'));
  LogLines log;
  const Sending result = sendOnce(smtpSettings(server.port()), *email, log.get());
  EXPECT_EQ(result.outcome.numAttempted, 3U);
  EXPECT_EQ(result.outcome.numAccepted, 1U);
  EXPECT_EQ(result.numRejected, 2U);
  EXPECT_TRUE(
      log.holds({"Refused the recipient's address, it holds a line break or a zero byte",
                 "A command is too long, it is not sent", "command_size: 2002", "Mail sent to 1 recipient"}));
  EXPECT_EQ(server.count("RCPT"), 1U);
}

TEST(SmtpSend, DistributionLists) {
  const TemporaryFolder folder;
  std::string addresses;
  for (int i = 0; i < 250; ++i) addresses += "m" + std::to_string(i) + "@h\r\n";
  writeFile(folder / "list", addresses);
  writeFile(folder / "empty", "nobody\n");
  const std::string lost(1, SmtpServer::kClose);
  const struct {
    const char* file;
    bool individual;
    std::string reply;  // to member 7
    bool sent;
    std::size_t accepted, attempted, transactions, messages;
  } rows[] = {
      {"list", false, "250 ok\r\n", true, 250, 250, 3, 3},
      {"list", true, "250 ok\r\n", true, 250, 250, 250, 250},
      {"list", true, "550 no\r\n", true, 249, 250, 250, 249},
      {"list", false, lost, false, 0, 100, 1, 0},
      {"list", true, lost, false, 7, 8, 8, 7},
      {"empty", true, "", true, 1, 1, 1, 1},
      {"missing", true, "", true, 1, 1, 1, 1},
  };
  for (const auto& row : rows) {
    SmtpServer server([&](std::string_view command) {
      return command == "RCPT TO:<m7@h>" ? std::optional(row.reply) : std::nullopt;
    });
    auto email = newEmail("to:b@h");
    email->setHeaderField("QVX-FileDistList", folder / row.file);
    const Sending result = sendOnce(smtpSettings(server.port()), *email, nullptr, row.individual);
    EXPECT_EQ(result.sent, row.sent);
    EXPECT_EQ(result.outcome.fatal, !row.sent);
    EXPECT_EQ(result.outcome.numAccepted, row.accepted);
    EXPECT_EQ(result.outcome.numAttempted, row.attempted);
    EXPECT_EQ(server.count("MAIL"), row.transactions);
    ASSERT_EQ(server.messages().size(), row.messages);
    if (row.messages > 100) EXPECT_NE(server.messages()[6].find("\r\nTo: m6@h\r\n"), std::string::npos);
  }
}

// By a server that does not bear to be told often.
TEST(SmtpSend, AnAbandonedTransactionIsReset) {
  const TemporaryFolder folder;
  writeFile(folder / "list", "m0@h\nno1@h\nno2@h\nno3@h\nm2@h\n");
  bool open = false;
  int errors = 0;
  SmtpServer server([&](std::string_view command) -> std::optional<std::string> {
    if (command == "RSET" || command == "MESSAGE") open = false;
    if (command.starts_with("MAIL") && std::exchange(open, true)) {
      return ++errors == 1 ? "503 nested MAIL\r\n" : "421 too many errors\r\n";
    }
    if (command.starts_with("RCPT TO:<no")) return "550 no\r\n";
    return std::nullopt;
  });
  auto email = newEmail("to:b@h");
  email->setHeaderField("QVX-FileDistList", folder / "list");
  const Sending result = sendOnce(smtpSettings(server.port()), *email, nullptr);
  EXPECT_TRUE(result.sent);
  EXPECT_EQ(result.outcome.numAccepted, 2U);
  EXPECT_EQ(server.count("RSET"), 3U);
  EXPECT_EQ(errors, 1);
}

TEST(SmtpSend, ManyRecipientsCostInProportion) {
  const TemporaryFolder folder;
  const auto make = [&](std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) text += "member" + std::to_string(i) + "@h\n";
    writeFile(folder / std::to_string(n), text);
    return folder / std::to_string(n);
  };
  const auto work = [](const std::string& path) {
    SmtpServer server([](std::string_view command) {
      return command.ends_with("7@h>") ? std::optional("550 no\r\n") : std::nullopt;
    });
    auto email = newEmail("");
    email->setHeaderField("QVX-FileDistList", path);
    LogLines log;
    EXPECT_TRUE(sendOnce(smtpSettings(server.port()), *email, log.get(), false).sent);
  };
  EXPECT_LT(qv_test::costOfTwice(2000, make, work), 3);
}

TEST(SmtpDialogue, TranscriptIsBounded) {
  ScriptedServer server([](Peer& peer) { peer.drain(); });
  auto socket = createSocket();
  ASSERT_TRUE(socket->connectToHost("127.0.0.1", server.port()));
  SmtpDialogue dialogue(std::move(socket));
  const std::string command(2500, 'x');
  EXPECT_TRUE(dialogue.sendCommand(command, nullptr) && dialogue.sendCommand(command + "y", nullptr));
  EXPECT_EQ(dialogue.transcript(), command + command + "\n...\n");
  for (int i = 0; i < 500; ++i) {
    EXPECT_TRUE(dialogue.sendCommand(command, nullptr));
    EXPECT_LE(dialogue.transcript().size(), 2 * SmtpDialogue::kTranscriptKept);
  }
  EXPECT_GE(dialogue.transcript().size(), SmtpDialogue::kTranscriptKept);
  EXPECT_TRUE(dialogue.sendCommand("the end", nullptr) && dialogue.sendDirect("secret", nullptr));
  dialogue.disconnect();
  EXPECT_FALSE(dialogue.sendCommand("?", nullptr));
  EXPECT_TRUE(dialogue.transcript().ends_with("xthe end?"));
}

}  // namespace
}  // namespace qv

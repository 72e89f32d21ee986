#include "mailman/outbox.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <stdexcept>

#include "email/email_reader.h"
#include "email/replace_patterns.h"
#include "platform/temporary_folder.h"
#include "support/log_lines.h"
#include "support/scripted_server.h"
#include "support/sessions.h"
#include "support/test_certificates.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::LogLines;
using qv_test::Percentages;
using qv_test::SmtpServer;
using qv_test::split;
using qv_test::Strings;

OutboxSettings settingsFor(std::uint16_t port) {
  OutboxSettings settings;
  settings.smtp = qv_test::smtpSettings(port);
  return settings;
}

std::unique_ptr<Email> newEmail(std::string_view body = "Hello\r\n") {
  auto email = std::make_unique<Email>(nullptr);
  email->setFrom("\"Ann\" <a@h>");
  email->addMultipleTo("b@h, c@h");
  email->setBody(body, false);
  return email;
}

TEST(Outbox, AListenerMayChangeTheEmailWhileItIsSent) {
  struct Changer : FireComEvent {
    void progressEvent(std::int32_t, std::int32_t, std::int32_t, std::int32_t) override {
      email->setBody("changed", false);
    }
    Email* email = nullptr;
  };
  SmtpServer server;
  const std::string body(10'000'000, 'x');
  const auto email = newEmail(body);
  Changer changer;
  changer.email = email.get();
  const OutboxSettings settings = settingsFor(server.port());
  const OutgoingEmail outgoing{email.get()};
  Outbox outbox(settings, &changer, nullptr);
  EXPECT_TRUE(outbox.sendEmail(outgoing).success);
  EXPECT_EQ(email->getBody(), "changed");
  EXPECT_TRUE(server.messages().at(0).find(body) != std::string::npos);
}

TEST(Outbox, Outcomes) {
  const struct {
    const char* rules;
    bool success, reportError;
    const char* log;
  } rows[] = {
      {"", true, false, "Mail sent to 2 recipients"},
      {"RCPT TO:<b=550 no", true, false, "550 no|Mail sent to 1 recipient"},
      {"RCPT=550 Unable to relay", false, true, "550 Unable to relay|Send failed."},
      {"MESSAGE=554 spam", false, true, "554 spam|Failed when sending body end marker|Send failed."},
      {"EHLO=500 no|HELO=500 no", false, true,
       "Failed to get response to Hello|Failed to connect to SMTP server."},
  };
  for (const auto& row : rows) {
    SmtpServer server(row.rules);
    const OutboxSettings settings = settingsFor(server.port());
    LogLines log;
    Percentages sink(2);
    const SendReport report = Outbox(settings, &sink, log.get()).sendEmail({newEmail().get()});
    EXPECT_EQ(report.success, row.success) << row.rules;
    EXPECT_EQ(report.reportError, row.reportError) << row.rules;
    EXPECT_TRUE(log.holds(split(row.log)));
    EXPECT_TRUE(sink.climbTo100()) << row.rules;
    EXPECT_EQ(server.count("QUIT"), 1U) << row.rules;
  }
  SmtpServer server;
  const OutboxSettings settings = settingsFor(server.port());
  LogLines log;
  EXPECT_TRUE(Outbox(settings, nullptr, log.get()).sendEmail({}).reportError);
  EXPECT_EQ(log.count("Failed to get internal email object"), 1U);
  EXPECT_TRUE(Outbox(settings, nullptr, log.get()).verifySmtpConnection());
  EXPECT_EQ(server.count("QUIT"), 2U);
  EXPECT_FALSE(Outbox(settings, nullptr, log.get()).verifySmtpConnection());
}

TEST(Outbox, RelayHint) {
  EXPECT_EQ(sendErrorDescription("550 unable to relay for x\nSend failed."),
            "550 unable to relay for x\nSend failed.\nCheck your SMTP server's relay restrictions");
  EXPECT_EQ(sendErrorDescription("Send failed."), "Send failed.");
}

TEST(Outbox, ReturnReceipt) {
  SmtpServer server;
  const OutboxSettings settings = settingsFor(server.port());
  for (const char* wanted : {"YES", "NO"}) {
    const auto email = newEmail();
    email->setHeaderField("QVX-ReturnReceipt", wanted);
    EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail({email.get()}).success);
  }
  ASSERT_EQ(server.messages().size(), 2U);
  EXPECT_NE(server.messages()[0].find("\r\nDisposition-Notification-To: <a@h>\r\n"), std::string::npos);
  EXPECT_EQ(server.messages()[1].find("Disposition"), std::string::npos);
}

TEST(Outbox, BundlesGoThroughOneSession) {
  const struct {
    const char* rules;
    const char* emails;  // each by the one it is for; '-' is missing, '!' has no sender
    bool success, reportError;
    const char* sent;  // for whom
    const char* log;
  } rows[] = {
      {"", "b|c", true, false, "b|c", "Mail sent to 1 recipient|Mail sent to 1 recipient"},
      {"", "", true, false, "", ""},
      {"RCPT TO:<x=550 no such", "b|x|x|c", true, false, "b|c", "550 no such"},
      {"RCPT TO:<x=550 no such|RSET=500 no", "b|x|c", true, false, "b|c", "550 no such"},
      {"RCPT TO:<x=421 bye\x04", "b|x|c", false, true, "b",
       "421 bye|Failed when sending MAIL FROM:<a@h>|Send failed."},
      {"MESSAGE=554 spam", "b|c", false, true, "b",
       "554 spam|Failed when sending body end marker|Send failed."},
      {"", "b|-|c", false, true, "b", "Mail sent to 1 recipient|Internal error in SendBundle"},
      {"", "b|!|c", false, true, "b", "Invalid email object, no return address|Send failed."},
      {"EHLO=500 no|HELO=500 no", "b", false, false, "",
       "Failed to get response to Hello|Failed to connect to SMTP server."},
  };
  for (const auto& row : rows) {
    SmtpServer server(row.rules);
    const OutboxSettings settings = settingsFor(server.port());
    std::vector<std::unique_ptr<Email>> emails;
    std::vector<OutgoingEmail> bundle;
    for (const std::string& receiver : split(row.emails)) {
      emails.push_back(std::make_unique<Email>(nullptr));
      if (receiver != "!") emails.back()->setFrom("a@h");
      emails.back()->addTo("", receiver + "@h");
      emails.back()->setBody("to " + receiver, false);
      bundle.push_back({receiver == "-" ? nullptr : emails.back().get()});
    }
    LogLines log;
    Percentages sink(2);
    const SendReport report = Outbox(settings, &sink, log.get()).sendBundle(bundle);
    EXPECT_EQ(report.success, row.success) << row.rules << row.emails;
    EXPECT_EQ(report.reportError, row.reportError) << row.rules << row.emails;
    EXPECT_TRUE(log.holds(split(row.log))) << row.rules << row.emails;
    EXPECT_EQ(log.count("Send failed."), std::string_view(row.log).ends_with("Send failed.") ? 1U : 0U);
    EXPECT_TRUE(bundle.empty() || sink.climbTo100()) << row.emails;
    EXPECT_EQ(server.count("EHLO"), 1U);
    const Strings receivers = split(row.sent);
    ASSERT_EQ(server.messages().size(), receivers.size()) << row.rules << row.emails;
    for (std::size_t i = 0; i < receivers.size(); ++i) {
      EXPECT_NE(server.messages()[i].find("\r\n\r\nto " + receivers[i]), std::string::npos) << i;
    }
  }
}

TEST(Outbox, PatternsAreReplacedInACopy) {
  ReplacePatterns patterns;
  patterns.set("NAME", "Bob");
  patterns.set("Bob ", "Robert ");
  const auto email = newEmail("Dear NAME and NAME \r\n");
  email->setSubject("for NAME");
  email->addTo("", "NAME@h");
  email->addBcc("", "NAME.bcc@h");
  email->setHeaderField("QVX-ReturnReceipt", "YES");
  SmtpServer server;
  OutboxSettings settings = settingsFor(server.port());
  settings.defaults.charset = "utf-8";
  LogLines log;
  const ReplacePatterns none;
  EXPECT_TRUE(Outbox(settings, nullptr, log.get()).sendEmail({email.get(), &patterns}).success);
  EXPECT_EQ(log.count("Replacing [NAME] with [Bob]"), 1U);
  EXPECT_NE(log.get()->GetKeywordEntries("SendEmail").find("Replacing [Bob ] with [Robert ]"),
            std::string::npos);
  // The same e-mail twice, once as it stands.
  log.clear();
  EXPECT_TRUE(Outbox(settings, nullptr, log.get())
                  .sendBundle({{email.get(), &patterns}, {email.get(), &none}})
                  .success);
  EXPECT_EQ(log.count("Replacing [NAME] with [Bob]"), 1U);

  EXPECT_EQ(server.count("RCPT TO:<Bob@h>"), 2U);
  EXPECT_EQ(server.count("RCPT TO:<Bob.bcc@h>"), 2U);
  EXPECT_EQ(server.count("RCPT TO:<NAME@h>"), 1U);
  ASSERT_EQ(server.messages().size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string& text = server.messages()[i];
    const bool isMerged = i < 2;
    EXPECT_NE(text.find(isMerged ? "Dear Robert and Robert \r\n" : "Dear NAME and NAME \r\n"),
              std::string::npos);
    EXPECT_NE(text.find(isMerged ? "Subject: for Bob\r\n" : "Subject: for NAME\r\n"), std::string::npos);
    EXPECT_NE(text.find("charset=\"utf-8\""), std::string::npos) << text;
    EXPECT_NE(text.find("Disposition-Notification-To: <a@h>"), std::string::npos);
    EXPECT_EQ(text.find("bcc@h"), std::string::npos);
  }
  EXPECT_EQ(email->getSubject(), "for NAME");
  EXPECT_EQ(email->getBody(), "Dear NAME and NAME \r\n");
}

// What is signed is what was prepared; what cannot be signed is not sent.
TEST(Outbox, SignsWhatItSends) {
  qv_test::TemporaryStores stores;
  const auto email = newEmail("Dear NAME\r\n");
  email->setFrom("jane@example.org");
  email->sendSecurity().sendSigned = true;
  ReplacePatterns patterns;
  patterns.set("NAME", "Bob");
  SmtpServer server;
  OutboxSettings settings = settingsFor(server.port());
  settings.defaults.charset = "utf-8";
  const auto plain = newEmail();
  LogLines log;
  Outbox outbox(settings, nullptr, log.get());
  for (const ReplacePatterns* each :
       {static_cast<const ReplacePatterns*>(nullptr), &std::as_const(patterns)}) {
    log.clear();
    EXPECT_TRUE(outbox.sendEmail({email.get(), each}).reportError);
    EXPECT_EQ(log.count("Send failed."), 1U) << log.text();
    const SendReport report = outbox.sendBundle({{plain.get()}, {email.get(), each}, {plain.get()}});
    EXPECT_TRUE(!report.success && report.reportError);
    EXPECT_EQ(log.count("Send failed."), 2U) << log.text();
  }
  stores.give(qv_test::jane());
  EXPECT_TRUE(outbox.sendEmail({email.get(), &patterns}).success) << log.text();
  ASSERT_EQ(server.messages().size(), 3U);
  const std::string& text = server.messages().back();
  EXPECT_NE(text.find("multipart/signed"), std::string::npos) << text;
  EXPECT_NE(text.find("charset=\"utf-8\""), std::string::npos) << text;
  EXPECT_NE(text.find("Dear Bob\r\n"), std::string::npos) << text;
  EXPECT_TRUE(createFromMimeText(text.substr(0, text.size() - 5), {.processSecurity = true}, nullptr)
                  ->receivedSecurity()
                  .signaturesValid);
}

TEST(Outbox, DefaultCharsets) {
  const struct {
    const char *language, *charset;
    CharsetFamily preferred;
    const char* sent;
  } rows[] = {
      {"", "", CharsetFamily::iso, "us-ascii"},
      {"French", "", CharsetFamily::none, "iso-8859-1"},
      {"French", "", CharsetFamily::microsoft, "windows-1252"},
      {"French", "", CharsetFamily::mac, "x-mac-roman"},
      {"Russian", "", CharsetFamily::iso, "iso-8859-5"},
      {"no language", "", CharsetFamily::mac, "iso-8859-1"},
      {"", "koi8-r", CharsetFamily::iso, "koi8-r"},
      {"", "a\r\nBcc: x@y\"", CharsetFamily::none, "aBcc: x@y"},
  };
  for (const auto& row : rows) {
    SmtpServer server;
    OutboxSettings settings = settingsFor(server.port());
    settings.defaults = {.language = row.language, .charset = row.charset, .preferred = row.preferred};
    EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail({newEmail().get()}).success);
    ASSERT_EQ(server.messages().size(), 1U);
    EXPECT_NE(server.messages()[0].find("\r\nContent-Type: text/plain; charset=\"" + std::string(row.sent) +
                                        "\"\r\n"),
              std::string::npos)
        << row.language << row.charset << server.messages()[0];
  }
}

// A stranger's message that is answered: nothing of it acts on the way out.
TEST(Outbox, AnswersToHostileMail) {
  const std::string header =
      "From: =?x?Q?A=0D=0ARCPT_TO:<spy@h>?= <a@h>\r\nTo: b@h\r\nBcc: spy@h\r\nReply-To: spy@h\r\n"
      "QVX-FileDistList: " QUORVEL_TEST_DATA
      "/members.txt\r\nQVX-ReturnReceipt: YES\r\n"
      "Disposition-Notification-To: spy@h\r\nSubject: =?x?Q?s=0D=0A.=0D=0AMAIL_FROM:<spy@h>?=\r\n";
  const std::string part =
      "Content-Type: text/plain; name=\"../../x\"\r\nQVX-FileDistList: "
      "/etc/passwd\r\n\r\nhi\r\n.\r\nQUIT\r\n";
  SmtpServer server;
  const OutboxSettings settings = settingsFor(server.port());
  for (const std::string& text :
       {header + part,
        header + "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n" + part + "--b--\r\n"}) {
    const auto answer = createFromMimeText(text, {}, nullptr)->cloneEmail();
    answer->makeReply();
    answer->setFrom("me@h");
    EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail({answer.get()}).success);
  }
  EXPECT_EQ(server.count("MAIL FROM:<me@h>"), 2U);
  EXPECT_EQ(server.count("MAIL"), 2U);
  EXPECT_EQ(server.count("RCPT TO:<a@h>"), 2U);
  EXPECT_EQ(server.count("RCPT"), 2U);
  ASSERT_EQ(server.messages().size(), 2U);
  for (const std::string& text : server.messages()) {
    for (const char* unwanted : {"QVX-", "\r\nBcc", "\r\nReply-To", "\r\nDisposition-Notification"}) {
      EXPECT_EQ(text.find(unwanted), std::string::npos) << text;
    }
  }
}

// Lines of a list that are no addresses reach no command; the others get their mail.
TEST(Outbox, ListsOfAllSorts) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "list";
  std::ofstream(path, std::ios::binary)
      << "\xEF\xBB\xBF"
         "a@h\r\nb@h\rDATA\nc@h>\nNOOP\nd\0@h\r\n\"NOOP\r\n\"@h\n<e@h> SIZE=1>\n <f@h> \nG <g@h>\n@"sv;
  for (const bool individual : {false, true}) {
    SmtpServer server("RCPT TO:<@>=501 no");
    OutboxSettings settings = settingsFor(server.port());
    settings.sendIndividual = individual;
    const auto email = newEmail();
    email->setHeaderField("QVX-FileDistList", path);
    LogLines log;
    EXPECT_TRUE(Outbox(settings, nullptr, log.get()).sendEmail({email.get()}).success) << log.text();
    Strings receivers;
    for (const std::string& command : server.commands()) {
      if (command.starts_with("RCPT")) receivers.push_back(command.substr(8));
      EXPECT_FALSE(command.starts_with("NOOP"));
    }
    std::erase(receivers, "<undisclosed-recipients>");
    EXPECT_EQ(receivers, split("<a@h>|<c@h>|<\"@h>|<f@h>|<g@h>|<@>"));
    EXPECT_EQ(server.messages().size(), individual ? 5U : 1U);
  }
}

// No body ends its message early, begins another, or leaves the choice to the servers on the way.
TEST(Outbox, NoBodySmuggles) {
  Strings bodies = split(
      "a\n.\nMAIL FROM:<x@y>\n|a\n.\r\nb|a\r\n.\nb|a\r.\rb|a\r\n.\rb|a\r.\r\nb|a\r\n.\r\nb|.|.\r\n"
      "|\r\n.\r\n.|\n\n.|a\r|a\r\r\n.\r\r\n|..\r\n.");
  bodies.push_back("a\0\n.\n\0"s);
  for (const bool html : {false, true}) {
    SmtpServer server;
    const OutboxSettings settings = settingsFor(server.port());
    for (const auto& body : bodies) {
      const auto email = newEmail(body);
      if (html) email->setHtmlBody("<html><body>" + body + "</body></html>");
      EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail({email.get()}).success);
    }
    EXPECT_EQ(server.count("MAIL"), bodies.size());
    ASSERT_EQ(server.messages().size(), bodies.size());
    for (const std::string& text : server.messages()) {
      EXPECT_FALSE(std::regex_search(text, std::regex("(^|[^\r])\n|\r([^\n]|$)"))) << text;
      EXPECT_FALSE(std::regex_search(text.substr(0, text.size() - 5), std::regex("\n\\.([^.]|$)"))) << text;
    }
  }
}

TEST(Outbox, ProgressOfABigMessage) {
  SmtpServer server;
  const OutboxSettings settings = settingsFor(server.port());
  std::string body;
  for (int i = 0; i < 100'000; ++i) body += "line " + std::to_string(i) + " of many lines\r\n";
  Percentages sink(2);
  EXPECT_TRUE(Outbox(settings, &sink, nullptr).sendEmail({newEmail(body).get()}).success);
  EXPECT_TRUE(sink.climbTo100());
  ASSERT_EQ(server.messages().size(), 1U);
  EXPECT_NE(server.messages()[0].find(body), std::string::npos);
}

TEST(Outbox, ExceptionsAreFailures) {
  const struct {
    std::size_t event;  // the sink throws at this one
    const char* log;
    std::size_t quits;
  } rows[] = {
      {1, "Unexpected exception in SendEmail (0, 0, 0, 0, 0)", 0},
      {2, "Unexpected exception in SendEmail (1, 1, 0, 0, 0)", 1},
      {3, "Unexpected exception in SendEmail (1, 1, 1, 0, 0)", 1},
      {4, "Unexpected exception sending email", 1},  // after the sender
      {7, "Unexpected exception sending email", 0},  // within the message, where QUIT would belong to it
  };
  for (const auto& row : rows) {
    SmtpServer server;
    const OutboxSettings settings = settingsFor(server.port());
    LogLines log;
    Percentages sink(2);
    sink.throwAt = row.event;
    // So big that each of the first steps is a percent or more.
    const SendReport report =
        Outbox(settings, &sink, log.get()).sendEmail({newEmail(std::string(1500, 'x')).get()});
    EXPECT_TRUE(!report.success && report.reportError);
    EXPECT_EQ(log.count(row.log), 1U) << row.event << log.text();
    EXPECT_EQ(server.count("QUIT"), row.quits) << row.event;
    EXPECT_EQ(server.messages().size(), 0U);
  }
}

TEST(Outbox, QuickSend) {
  SmtpServer server(nullptr, std::string::npos, "127.83.25.1", 25);
  const OutboxSettings settings = settingsFor(1);
  LogLines log;
  Percentages sink(2);
  const SendReport report =
      Outbox(settings, &sink, log.get())
          .quickSend("Ann <a@h>", "b@h, Cy <c@h>", "Hi", "Body\r\n.\r\n", "127.83.25.1");
  EXPECT_EQ(log.count("smtp_port: 25"), 1U);
  EXPECT_TRUE(sink.climbTo100());
  EXPECT_EQ(report.success, server.listening());
  EXPECT_EQ(report.reportError, !server.listening());
  if (!server.listening()) GTEST_SKIP() << "port 25 of the loopback cannot be had";
  const Strings commands = server.commands();
  EXPECT_EQ(Strings(commands.begin() + 1, commands.end()),
            split("MAIL FROM:<a@h>|RCPT TO:<b@h>|RCPT TO:<c@h>|DATA|QUIT"));
  ASSERT_EQ(server.messages().size(), 1U);
  EXPECT_NE(server.messages()[0].find("\r\nSubject: Hi\r\n"), std::string::npos);
  EXPECT_NE(server.messages()[0].find("Body\r\n..\r\n"), std::string::npos);
}

}  // namespace
}  // namespace qv

#include "mailman/outbox.h"

#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>

#include "support/log_lines.h"
#include "support/scripted_server.h"

namespace qv {
namespace {

using namespace std::string_literals;
using qv_test::LogLines;
using qv_test::SmtpServer;
using qv_test::split;
using qv_test::Strings;

struct Percentages : FireComEvent {
  void progressEvent(std::int32_t, std::int32_t, std::int32_t percent, std::int32_t) override {
    values.push_back(percent);
    if (values.size() == throwAt) throw std::runtime_error("from the host");
  }
  bool climbTo100() const {
    return !values.empty() && values.back() == 100 &&
           std::adjacent_find(values.begin(), values.end(), std::greater_equal<>()) == values.end();
  }
  std::vector<int> values;
  std::size_t throwAt = 0;
};

OutboxSettings settingsFor(std::uint16_t port) {
  OutboxSettings settings;
  settings.smtp.host = "127.0.0.1";
  settings.smtp.port = port;
  settings.smtp.connectTimeout = settings.smtp.readTimeout = 20;  // a hang is a failure
  return settings;
}

std::unique_ptr<Email> newEmail(std::string_view body = "Hello\r\n") {
  auto email = std::make_unique<Email>(nullptr);
  email->setFrom("\"Ann\" <a@h>");
  email->addMultipleTo("b@h, c@h");
  email->setBody(body, false);
  return email;
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
    Percentages sink;
    const SendReport report = Outbox(settings, &sink, log.get()).sendEmail(newEmail().get());
    EXPECT_EQ(report.success, row.success) << row.rules;
    EXPECT_EQ(report.reportError, row.reportError) << row.rules;
    EXPECT_TRUE(log.holds(split(row.log)));
    EXPECT_TRUE(sink.climbTo100()) << row.rules;
    EXPECT_EQ(server.count("QUIT"), 1U) << row.rules;
  }
  SmtpServer server;
  const OutboxSettings settings = settingsFor(server.port());
  LogLines log;
  EXPECT_TRUE(Outbox(settings, nullptr, log.get()).sendEmail(nullptr).reportError);
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
    EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail(email.get()).success);
  }
  ASSERT_EQ(server.messages().size(), 2U);
  EXPECT_NE(server.messages()[0].find("\r\nDisposition-Notification-To: <a@h>\r\n"), std::string::npos);
  EXPECT_EQ(server.messages()[1].find("Disposition"), std::string::npos);
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
      EXPECT_TRUE(Outbox(settings, nullptr, nullptr).sendEmail(email.get()).success);
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
  Percentages sink;
  EXPECT_TRUE(Outbox(settings, &sink, nullptr).sendEmail(newEmail(body).get()).success);
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
    Percentages sink;
    sink.throwAt = row.event;
    // So big that each of the first steps is a percent or more.
    const SendReport report =
        Outbox(settings, &sink, log.get()).sendEmail(newEmail(std::string(1500, 'x')).get());
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
  Percentages sink;
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

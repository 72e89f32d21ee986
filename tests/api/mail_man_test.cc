#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"
#include "support/scripted_server.h"

namespace {

using quorvel::IQuorvelMailMan3;
using quorvel::Kind;
using quorvel::Ref;
using quorvel::Status;
using quorvel::Value;
using qv_test::newMailMan;
using qv_test::reported;
using qv_test::SmtpServer;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

Ref<IQuorvelMailMan3> mailManFor(std::int32_t port) {
  auto mailMan = newMailMan();
  mailMan->put_SmtpHost("127.0.0.1");
  mailMan->put_SmtpPort(port);
  mailMan->put_ReadTimeout(20);
  return mailMan;
}

Ref<quorvel::IQuorvelEmail3> greetings() {
  auto email = qv_test::newEmail("greetings");
  email->put_From("Me <me@h>");
  email->AddTo("Ann", "ann@h");
  email->put_Body("Dear Ann,\n.\nit works.");
  return email;
}

TEST(MailMan, ChoosesOneCharset) {
  const auto mailMan = newMailMan();
  const auto charsets = [&] {
    return mailMan->get_DefaultLanguage() + '|' + mailMan->get_DefaultCharset() + '|' +
           std::to_string(mailMan->get_PreferIsoCharset()) +
           std::to_string(mailMan->get_PreferMicrosoftCharset()) +
           std::to_string(mailMan->get_PreferMacCharset());
  };
  const struct {
    const char* what;
    std::function<void()> set;
    std::string charsets;
  } rows[] = {
      {"language", [&] { mailMan->put_DefaultLanguage("French"); }, "French||000"},
      {"iso", [&] { mailMan->put_PreferIsoCharset(1); }, "French||100"},
      {"charset", [&] { mailMan->put_DefaultCharset("utf-8"); }, "|utf-8|100"},
      {"microsoft", [&] { mailMan->put_PreferMicrosoftCharset(1); }, "|utf-8|010"},
      {"no mac", [&] { mailMan->put_PreferMacCharset(0); }, "|utf-8|000"},
      {"mac", [&] { mailMan->put_PreferMacCharset(1); }, "|utf-8|001"},
      {"no language", [&] { mailMan->put_DefaultLanguage(""); }, "||001"},
  };
  for (const auto& row : rows) {
    row.set();
    EXPECT_EQ(charsets(), row.charsets) << row.what;
  }
}

TEST(MailMan, SendsBundlesMergedAndCloned) {
  SmtpServer server("RCPT TO:<gone@h>=550 no");
  const auto mailMan = mailManFor(server.port());
  const auto log = qv_test::sharedLog();
  const auto bundle = qv_test::newBundle();
  const auto email = greetings();
  EXPECT_EQ(email->SetReplacePattern("Ann", "NAME"), 1);
  EXPECT_EQ(email->SetReplacePattern("works", "runs"), 1);
  EXPECT_EQ(email->SetReplacePattern("Ann", "Bob"), 1);
  EXPECT_EQ(email->SetReplacePattern("", "x"), 0);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(email->GetReplacePattern(2) + email->GetReplaceString(-1) + email->GetReplaceString2("work"), "");
  const auto clone = email->Clone().as<quorvel::IQuorvelEmail3>();
  EXPECT_EQ(clone->get_NumReplacePatterns(), 0);
  const auto gone = greetings();
  gone->ClearTo();
  gone->AddTo("", "gone@h");
  for (const auto& each : {gone, email, clone, email}) bundle->AddEmail(each.get());

  log->ClearLog();
  EXPECT_EQ(mailMan->SendBundle(bundle.get()), 1) << log->GetXml(0);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_THAT(log->GetKeywordEntries("SendEmail"), HasSubstr("Replacing [Ann] with [Bob]"));
  EXPECT_THAT(log->GetXml(0), Not(HasSubstr("GetEmailBundle")));
  EXPECT_EQ(server.count("EHLO"), 1u);
  ASSERT_EQ(server.messages().size(), 3u);
  for (const std::size_t merged : {0, 2}) {
    EXPECT_THAT(server.messages()[merged], HasSubstr("Dear Bob,\r\n..\r\nit runs."));
    EXPECT_THAT(server.messages()[merged], HasSubstr("\r\nTo: \"Bob\" <ann@h>\r\n"));
  }
  EXPECT_THAT(server.messages()[1], HasSubstr("Dear Ann,\r\n..\r\nit works."));
  EXPECT_THAT(email->get_Body(), StartsWith("Dear Ann"));

  EXPECT_EQ(mailManFor(1)->SendBundle(bundle.get()), 0);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(mailMan->SendBundle(nullptr), 0);
  EXPECT_EQ(reported(), "Bundle parameter is NULL in SendBundle");
}

/// A host's own bundle, which makes its e-mails as they are asked for: all of them are one object.
class WrittenOnDemand : public quorvel::Implements<quorvel::IQuorvelEmailBundle> {
 public:
  WrittenOnDemand(std::vector<std::string> names, std::function<std::size_t()> numSent)
      : names_(std::move(names)), numSent_(std::move(numSent)) {
    email_->SetReplacePattern("Ann", "-");
  }
  std::int32_t get_MessageCount() override { return static_cast<std::int32_t>(names_.size()); }
  quorvel::Ref<quorvel::IQuorvelEmail> GetEmail(std::int32_t index) override {
    sentBefore.push_back(numSent_());
    const std::string& name = names_[static_cast<std::size_t>(index)];
    if (name.empty()) return nullptr;
    email_->SetReplacePattern("Ann", name);
    return email_;
  }
  std::int32_t AddEmail(quorvel::IQuorvelEmail*) override { return 0; }
  std::int32_t RemoveEmail(quorvel::IQuorvelEmail*) override { return 0; }
  std::int32_t AppendToZip(quorvel::IQuorvelZip4*) override { return 0; }
  std::int32_t AddFromZip(quorvel::IQuorvelZip4*) override { return 0; }

  std::vector<std::size_t> sentBefore;

 private:
  std::vector<std::string> names_;
  std::function<std::size_t()> numSent_;
  quorvel::Ref<quorvel::IQuorvelEmail2> email_ = greetings();
};

TEST(MailMan, AsksAHostsBundleForEachEmailAtItsTurn) {
  SmtpServer server;
  const auto mailMan = mailManFor(server.port());
  std::vector<std::int32_t> percents;
  quorvel::connect(*mailMan, [&](std::int32_t, std::int32_t, std::int32_t percent, std::int32_t) {
    percents.push_back(percent);
  });
  mailMan->GetLog()->ClearLog();
  const auto numSent = [&] {
    std::istringstream entries(mailMan->GetLog()->GetInfoEntries());
    std::size_t count = 0;
    for (std::string entry; std::getline(entries, entry);) {
      count += entry.find("Mail sent to 1 recipient") != std::string::npos;
    }
    return count;
  };
  const auto send = [&](std::vector<std::string> names) {
    const auto bundle = quorvel::make<WrittenOnDemand>(std::move(names), numSent);
    const std::int32_t sent = mailMan->SendBundle(bundle.get());
    return std::pair(sent, bundle->sentBefore);
  };
  EXPECT_EQ(send({"Bob", "Eve", "Zoe"}), std::pair(1, std::vector<std::size_t>{0, 1, 2}));
  EXPECT_EQ(reported(), "(none)");
  for (const std::size_t i : {0U, 1U, 2U}) {
    constexpr const char* kGreetings[] = {"Dear Bob,", "Dear Eve,", "Dear Zoe,"};
    EXPECT_THAT(server.messages()[i], HasSubstr(kGreetings[i]));
  }
  EXPECT_EQ(server.count("EHLO"), 1U);
  EXPECT_EQ(percents.back(), 100);
  EXPECT_EQ(percents.front(), 5) << "connected, nothing sent";
  SmtpServer another;
  mailMan->put_SmtpPort(another.port());
  EXPECT_EQ(send({"Bob", "", "Zoe"}).first, 0);
  EXPECT_EQ(reported(), "Internal error in SendBundle");
  EXPECT_EQ(another.messages().size(), 1U);
}

TEST(MailMan, TheServicePasswordIsInNoLog) {
  const auto mailMan = newMailMan();
  const auto log = qv_test::sharedLog();
  log->ClearLog();
  mailMan->UseQuorvelService("ann", "example", "open sesame");
  EXPECT_THAT(log->GetXml(0), HasSubstr("<data name=\"quorvel_service_user\">ann</data>"));
  EXPECT_THAT(log->GetXml(0), HasSubstr("<data name=\"quorvel_service_domain\">example</data>"));
  mailMan->NoQuorvelService();
  EXPECT_THAT(log->GetXml(0), Not(HasSubstr("sesame")));
}

TEST(MailMan, SendsAMessageAndKeepsAJournal) {
  SmtpServer server;
  const auto mailMan = mailManFor(server.port());
  const qv::TemporaryFolder folder;
  const std::string journal = folder / "sent.log";
  mailMan->put_LogMailSentFilename(journal);
  const auto email = greetings();
  email->AddBcc("", "bcc@h");
  email->put_ReturnReceipt(1);
  EXPECT_EQ(mailMan->VerifySmtpConnection(), 1);
  EXPECT_EQ(mailMan->SendEmail(email.get()), 1);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(server.count("RCPT TO:"), 2u);
  ASSERT_EQ(server.messages().size(), 1u);
  const std::string& text = server.messages()[0];
  EXPECT_THAT(text, EndsWith("Dear Ann,\r\n..\r\nit works.\r\n.\r\n"));
  EXPECT_THAT(text, HasSubstr("\r\nDisposition-Notification-To: <me@h>\r\n"));
  EXPECT_THAT(text, Not(HasSubstr("QVX-")));
  EXPECT_THAT(text, Not(HasSubstr("bcc@h")));
  EXPECT_THAT(qv::contentsOf(journal), HasSubstr("Subject: greetings"));
}

TEST(MailMan, FailuresAndTheirReports) {
  const struct {
    std::string_view rules;
    std::int32_t sent;
    std::string report;  // how it ends
  } rows[] = {
      {"RCPT=550 Unable to relay", 0, "Send failed.\nCheck your SMTP server's relay restrictions"},
      {"RCPT=550 no", 0, "Send failed."},
      {"RCPT TO:<bob=550 no", 1, "(none)"},
      {"MAIL=421 busy\x04", 0, "Send failed."},
  };
  for (const auto& row : rows) {
    SmtpServer server(row.rules);
    const auto email = greetings();
    email->AddTo("", "bob@h");
    EXPECT_EQ(mailManFor(server.port())->SendEmail(email.get()), row.sent) << row.rules;
    EXPECT_THAT(reported(), EndsWith(row.report)) << row.rules;
  }
  const auto mailMan = mailManFor(1);  // nobody listens there
  EXPECT_EQ(mailMan->SendEmail(greetings().get()), 0);
  EXPECT_THAT(reported(), EndsWith("Failed to connect to SMTP server."));
  EXPECT_EQ(mailMan->VerifySmtpConnection(), 0);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(mailMan->QuickSend("a@h", "b@h", "s", "b", "bad\r\nname"), 0);
  EXPECT_THAT(reported(), EndsWith("Failed to connect to SMTP server."));
}

TEST(MailMan, APasswordThatIsNotSentIsHiddenToo) {
  for (const char* rules :
       {"GREETING=554 c3ecr3tw0rd", "EHLO=502 no|HELO=550 c3ecr3tw0rd", "MAIL=550 c3ecr3tw0rd"}) {
    SmtpServer server(rules);
    const auto mailMan = mailManFor(server.port());
    mailMan->GetLog()->ClearLog();
    mailMan->put_SmtpPassword("c3ecr3tw0rd");
    EXPECT_EQ(mailMan->SendEmail(greetings().get()), 0) << rules;
    EXPECT_THAT(reported(), AllOf(HasSubstr("*****"), Not(HasSubstr("c3ecr3tw0rd")))) << rules;
    mailMan->VerifySmtpConnection();
    EXPECT_THAT(qv_test::sharedLog()->GetXml(0), Not(HasSubstr("c3ecr3tw0rd"))) << rules;
  }
}

TEST(MailMan, NoSettingPutsALineOnTheWire) {
  const std::string injected[] = {"x\r\nNOOP", "x\nNOOP\n", "x\rNOOP", std::string("x\0\r\nNOOP", 9)};
  const std::vector<const char*> settings = {"SmtpUsername", "SmtpPassword", "SmtpLoginDomain",
                                             "SmtpAuthMethod", "LogMailSentFilename"};
  const std::vector<const char*> ofEmail = {"From",    "FromName", "FromAddress",
                                            "ReplyTo", "Subject",  "Mailer"};
  for (const char* method : {"LOGIN", "PLAIN", "CRAM-MD5", "NTLM"}) {
    for (const std::string& text : injected) {
      for (std::size_t at = 0; at < settings.size() + ofEmail.size() + 2; ++at) {
        SmtpServer server([&](std::string_view command) -> std::optional<std::string> {
          if (command.starts_with("EHLO")) return "250-h\r\n250 AUTH " + std::string(method) + "\r\n";
          if (command.starts_with("AUTH")) return "334 PDFAaD4=\r\n";
          const bool isLogin = command.find_first_of(" \r") == std::string_view::npos && command != "DATA" &&
                               command != "QUIT" && command != "GREETING" && command != "MESSAGE";
          return isLogin ? std::optional("235 ok\r\n") : std::nullopt;
        });
        const auto mailMan = mailManFor(server.port());
        const auto email = greetings();
        mailMan->put_SmtpUsername("user");
        mailMan->put_SmtpPassword("password");
        mailMan->put_SmtpAuthMethod(method);
        const auto put = [&](quorvel::IQuorvelObject& object, std::string_view name) {
          const std::string value = (name == "LogMailSentFilename" ? "/nonexistent/" : "") + text;
          Value none;
          const auto status =
              quorvel::invoke(object, quorvel::idOfName(object, name), Kind::put, {value}, none);
          EXPECT_EQ(status, Status::ok) << name;
        };
        if (at < settings.size()) {
          put(*mailMan, settings[at]);
        } else if (at < settings.size() + ofEmail.size()) {
          put(*email, ofEmail[at - settings.size()]);
        } else {
          email->AddTo(text, "ann@h");
          email->AddCC("", (at % 2 == 0 ? "bob@h" : "") + text);
        }
        mailMan->SendEmail(email.get());
        EXPECT_THAT(server.commands(), Each(Not(StartsWith("NOOP")))) << method << " " << at;
        for (const std::string& message : server.messages()) EXPECT_THAT(message, Not(HasSubstr("\nNOOP")));
      }
    }
  }
}

/// A sink that does what it is told at each event.
class Sink final : public quorvel::Implements<quorvel::IQuorvelOutgoing> {
 public:
  explicit Sink(std::function<void(Sink&)> act = nullptr) : act_(std::move(act)) { ++alive; }
  ~Sink() override { --alive; }
  void MessageProc(std::int32_t senderID, std::int32_t messageID, std::int32_t param1,
                   std::int32_t param2) override {
    EXPECT_THAT((std::vector{senderID, messageID, param2}), ElementsAre(102, 2, 0));
    percent.push_back(param1);
    if (act_) act_(*this);
  }
  std::vector<std::int32_t> percent;
  static inline int alive = 0;

 private:
  std::function<void(Sink&)> act_;
};

TEST(Events, ReachEverySinkThatIsConnectedWhateverTheOthersDo) {
  SmtpServer server;
  const auto mailMan = mailManFor(server.port());
  std::int32_t own = 0;
  std::int32_t other = 0;
  const auto plain = quorvel::make<Sink>();
  const auto throws = quorvel::make<Sink>([](Sink&) { throw std::runtime_error("sink"); });
  const auto leaves = quorvel::make<Sink>([&](Sink&) { quorvel::disconnect(*mailMan, own); });
  const auto removes = quorvel::make<Sink>([&](Sink&) { quorvel::disconnect(*mailMan, other); });
  const auto removed = quorvel::make<Sink>();
  const auto calls = quorvel::make<Sink>([&](Sink&) {
    mailMan->put_SmtpPort(1);  // counts from the next operation on
    mailMan->put_LogMailSentFilename("/nonexistent/x");
    mailMan->SendEmail(nullptr);
  });
  const auto late = quorvel::make<Sink>();
  const auto connects = quorvel::make<Sink>([&](Sink& sink) {
    if (sink.percent.size() == 1) quorvel::connect(*mailMan, late);
  });
  for (const auto& each : {throws, connects, removes, calls}) EXPECT_NE(quorvel::connect(*mailMan, each), 0);
  own = quorvel::connect(*mailMan, leaves);
  other = quorvel::connect(*mailMan, removed);
  quorvel::connect(*mailMan, plain);

  EXPECT_EQ(mailMan->SendEmail(greetings().get()), 1);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(plain->percent.back(), 100);
  EXPECT_EQ(throws->percent, plain->percent);
  EXPECT_EQ(leaves->percent.size(), 1u);
  EXPECT_EQ(removed->percent.size(), 0u);
  EXPECT_EQ(late->percent.size() + 1, plain->percent.size());
  EXPECT_EQ(mailMan->get_SmtpPort(), 1);
  EXPECT_FALSE(quorvel::disconnect(*mailMan, own));
}

TEST(Events, OnlyThoseWhoRaiseThemTakeSinks) {
  const auto email = greetings();
  EXPECT_EQ(quorvel::connect(*email, quorvel::make<Sink>()), 0);
  EXPECT_EQ(quorvel::connect(*newMailMan(), Ref<quorvel::IQuorvelOutgoing>()), 0);
  EXPECT_FALSE(quorvel::disconnect(*email, 1));
  EXPECT_EQ(Sink::alive, 0);
}

TEST(Events, ASinkMayLetGoOfEverything) {
  ASSERT_TRUE(quorvel::canUnload());
  SmtpServer server;
  auto mailMan = mailManFor(server.port());
  auto email = greetings();
  quorvel::connect(*mailMan, quorvel::make<Sink>([&](Sink&) {
    mailMan = nullptr;
    email = nullptr;
    EXPECT_FALSE(quorvel::canUnload());
  }));
  EXPECT_EQ(mailMan->SendEmail(email.get()), 1);
  EXPECT_FALSE(mailMan);
  EXPECT_EQ(Sink::alive, 0);
  EXPECT_TRUE(quorvel::canUnload());
}

}  // namespace

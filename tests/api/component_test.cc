#include "api/component.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "api/email_handles.h"
#include "api/public_call.h"
#include "core/log_store.h"
#include "support/public_objects.h"

namespace qv {
namespace {

using qv_test::newEmail;
using qv_test::newMailMan;
using qv_test::reported;
using ::testing::HasSubstr;

class PublicCall : public ::testing::Test {
 protected:
  std::string logXml() { return log_->GetXml(0); }
  quorvel::Ref<quorvel::IQuorvelMailMan3> mailMan_ = newMailMan();
  quorvel::Ref<quorvel::IQuorvelLog2> log_ = qv_test::sharedLog();
};

TEST_F(PublicCall, EveryOutcomeLeavesItsContextAndItsReport) {
  const struct {
    const char* what;
    std::function<Outcome(CLog*)> body;
    Outcome outcome;
    const char* report;
  } rows[] = {
      {"done", [](CLog*) { return Outcome::done; }, Outcome::done, "(none)"},
      {"failed",
       [](CLog* log) {
         logError(log, "first");
         logError(log, "second");
         return Outcome::failed;
       },
       Outcome::failed, "first\nsecond"},
      {"failed quietly",
       [](CLog* log) {
         logError(log, "unheard");
         return Outcome::failedQuietly;
       },
       Outcome::failedQuietly, "(none)"},
      {"thrown", [](CLog*) -> Outcome { throw std::runtime_error("x"); }, Outcome::failed,
       "Unexpected exception in Work"},
      {"thrown, of no class", [](CLog*) -> Outcome { throw 1; }, Outcome::failed,
       "Unexpected exception in Work"},
      {"a failure inside one that is done",
       [](CLog*) {
         publicCall(inContext("Inner"), [](CLog*) { return Outcome::failed; });
         return Outcome::done;
       },
       Outcome::done, "(none)"},
  };
  for (const auto& row : rows) {
    for (const Operation& operation : {inContext("Work"), plain("Work"), onServer("Work")}) {
      log_->ClearLog();
      auto body = row.body;
      EXPECT_EQ(publicCall(operation, body), row.outcome) << row.what;
      EXPECT_EQ(reported(), row.report) << row.what;
      log_->LogError("at the top");
      EXPECT_THAT(logXml(), HasSubstr("\n  <error>at the top</error>\n")) << row.what;
    }
  }
}

TEST_F(PublicCall, TheReportNamesItsSourceAndIsOfTheLastOperationOfItsThread) {
  mailMan_->SendEmail(nullptr);
  const auto report = quorvel::lastError();
  ASSERT_TRUE(report);
  EXPECT_EQ(report->description, "Email parameter is NULL in SendEmail");
  EXPECT_EQ(report->source, "QuorvelMail.QuorvelMailMan");
  EXPECT_EQ(report->interfaceName, "IQuorvelMailMan2");
  std::thread([this] {
    EXPECT_EQ(reported(), "(none)");
    mailMan_->put_SmtpPort(1);
  }).join();
  EXPECT_EQ(reported(), "Email parameter is NULL in SendEmail");
  mailMan_->get_SmtpPort();
  EXPECT_EQ(reported(), "(none)");
}

TEST_F(PublicCall, ValuesAreEmptyWhenTheBodyThrows) {
  EXPECT_EQ(publicRead(plain("x"), [](CLog*) -> std::string { throw 1; }), "");
  EXPECT_EQ(publicRead(plain("x"), [](CLog*) -> std::int32_t { throw 1; }), 0);
}

TEST_F(PublicCall, OperationsOnAServerBringTheLogBelowItsMark) {
  log_->put_HighWaterMark(0);  // keeps all
  for (int i = 0; i < 100; ++i) publicCall(inContext("Work"), [](CLog*) {});
  log_->put_HighWaterMark(10);
  publicCall(onServer("Work"), [](CLog*) {});
  EXPECT_LT(logXml().size(), 1000u);
  log_->put_HighWaterMark(LogStore::kDefaultHighWaterMark);
}

TEST(Component, OneLogServesAllObjectsUntilItIsCleared) {
  auto first = newMailMan();
  const auto second = newMailMan();
  auto log = second->GetLog();
  log->ClearLog();
  first->SendEmail(nullptr);
  newEmail()->AddTo("", "");
  first = nullptr;
  EXPECT_THAT(log->GetErrorEntries(), HasSubstr("Email parameter is NULL in SendEmail"));
  EXPECT_THAT(log->GetErrorEntries(), HasSubstr("No Email Address was provided"));
  EXPECT_EQ(log.as<quorvel::IQuorvelLog2>()->get_ComponentName(), "QuorvelMail2_9_0");
  log->ClearLog();
  EXPECT_EQ(second->GetLog()->GetErrorEntries(), "");
}

TEST(Component, UnloadsWhenTheLastObjectIsGone) {
  auto mailMan = newMailMan();
  auto log = mailMan->GetLog();
  log->LogError("old");
  EXPECT_FALSE(quorvel::canUnload());
  mailMan = nullptr;
  EXPECT_FALSE(quorvel::canUnload());
  log = nullptr;
  EXPECT_TRUE(quorvel::canUnload());
  EXPECT_TRUE(quorvel::canUnload());
  mailMan = newMailMan();
  EXPECT_EQ(mailMan->GetLog()->GetErrorEntries(), "");
}

TEST(Component, WorksWithoutALog) {
  ASSERT_TRUE(quorvel::canUnload());
  for (const bool throws : {false, true}) {
    component::setLogStoreForTest([=]() -> std::shared_ptr<LogStore> {
      if (throws) throw std::bad_alloc();
      return nullptr;
    });
    {
      const auto mailMan = newMailMan();
      const auto email = newEmail();
      EXPECT_EQ(email->AddTo("Ann", "a@h"), 1);
      EXPECT_EQ(email->AddTo("Ann", ""), 0);
      EXPECT_THAT(email->GetMime(), HasSubstr("\r\nTo: \"Ann\" <a@h>\r\n"));
      EXPECT_EQ(mailMan->SendEmail(nullptr), 0);
      EXPECT_EQ(reported(), "");  // a report without words
      EXPECT_FALSE(mailMan->GetLog());
      EXPECT_EQ(reported(), "");
      mailMan->SaveXmlLog("/tmp/never-written.xml");
      EXPECT_EQ(reported(), "");
    }
    EXPECT_TRUE(quorvel::canUnload());
  }
  component::setLogStoreForTest(nullptr);
}

TEST(EmailNumbers, AreTakenBackWithTheirObject) {
  auto email = newEmail();
  const std::int32_t number = email->GetImpl();
  EXPECT_EQ(email->GetImpl(), number);
  EXPECT_NE(newEmail()->GetImpl(), number);
  EXPECT_TRUE(emailOfNumber(number).email);
  for (const std::int32_t unknown : {0, -1, number + 1000000})
    EXPECT_FALSE(emailOfNumber(unknown).email) << unknown;
  email = nullptr;
  EXPECT_FALSE(emailOfNumber(number).email);
}

}  // namespace
}  // namespace qv

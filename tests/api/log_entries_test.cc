// What operations write to the log beside the errors of a call without arguments: contexts, data, failures.
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <functional>
#include <string>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using quorvel::IQuorvelEmail2;
using quorvel::IQuorvelEmail3;
using quorvel::Ref;

class LogEntries : public ::testing::Test {
 protected:
  LogEntries() { log_->put_LineFormat("%C%k %m"); }
  ~LogEntries() override { log_->put_LineFormat(""); }

  /// The entries that an operation leaves, infos before errors, one a line.
  std::string entriesOf(const std::function<void()>& operation) {
    log_->ClearLog();
    operation();
    isReported_ = quorvel::lastError().has_value();
    return log_->GetInfoEntries() + log_->GetErrorEntries();
  }

  Ref<quorvel::IQuorvelMailMan3> mailMan_ = qv_test::newMailMan();
  Ref<IQuorvelEmail3> email_ = qv_test::newEmail();
  Ref<quorvel::IQuorvelLog> log_ = mailMan_->GetLog();
  bool isReported_ = false;  // whether that operation left an error report
};

TEST_F(LogEntries, OfReplacePatterns) {
  const struct {
    std::function<void()> operation;
    std::string entries;
  } rows[] = {
      {[&] { email_->SetReplacePattern("a", "b c"); },
       "SetReplacePattern: INFO  pattern: a\nSetReplacePattern: INFO  replace_string: b c\n"},
      {[&] { email_->SetReplacePattern("", "b"); }, "SetReplacePattern: ERROR Pattern is empty\n"},
      {[&] { email_->GetReplaceString2("a"); },
       "GetReplaceString2: INFO  pattern: a\nGetReplaceString2: INFO  replace_string: b c\n"},
      {[&] { email_->GetReplaceString2("A"); }, "GetReplaceString2: INFO  pattern: A\n"},
      {[&] { email_->GetReplaceString2(""); },
       "GetReplaceString2: INFO  pattern: \nGetReplaceString2: ERROR Pattern is empty\n"},
      {[&] { email_->GetReplaceString(0); }, ""},
      {[&] { email_->GetReplaceString(1); }, "GetReplaceString: ERROR No replace string found at index 1\n"},
      {[&] { email_->GetReplaceString(INT32_MIN); },
       "GetReplaceString: ERROR No replace string found at index -2147483648\n"},
      {[&] { email_->GetReplacePattern(1); }, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(entriesOf(row.operation), row.entries);
    EXPECT_FALSE(isReported_) << row.entries;
  }
}

// An e-mail that cannot be found on a server again is described, and where it came from.
TEST_F(LogEntries, OfAnEmailWithoutAUniqueId) {
  const qv::TemporaryFolder folder;
  email_->put_From("Ann <ann@h>");
  email_->put_Subject("s\ns");
  email_->AddHeaderField("CC", "\"Cy\" <c@h>");
  email_->AddHeaderField("X-Own", "v");
  const auto bundle = qv_test::newBundle();
  bundle->AddEmail(email_.get());
  email_->SaveEml(folder / "m.mbx");  // the first line is taken for that of a mailbox
  const struct {
    const char* origination;
    Ref<IQuorvelEmail2> email;
  } rows[] = {
      {"created new for sending", email_},
      {"unknown", email_->Clone()},
      {"loaded from XML", mailMan_->LoadXmlString(bundle->GetXml())->GetEmail(0).as<IQuorvelEmail2>()},
      {"loaded from MBX", mailMan_->LoadMbx(folder / "m.mbx")->GetEmail(0).as<IQuorvelEmail2>()},
  };
  for (const auto& row : rows) {
    for (const bool isDeleted : {false, true}) {
      const std::string name = isDeleted ? "DeleteEmail" : "GetFullEmail";
      const std::string info = name + "/uidl_info: INFO  ";
      const std::string entries = entriesOf([&] {
        if (isDeleted) mailMan_->DeleteEmail(row.email.get());
        if (!isDeleted) EXPECT_FALSE(mailMan_->GetFullEmail(row.email.get()));
      });
      EXPECT_EQ(entries.find(info + "origination: " + row.origination + '\n'), 0U) << entries;
      EXPECT_NE(entries.find('\n' + info + "from: \"Ann\" <ann@h>\n"), std::string::npos) << entries;
      EXPECT_NE(entries.find('\n' + info + "cc: \"Cy\" <c@h>\n"), std::string::npos) << entries;
      EXPECT_NE(entries.find('\n' + info + "subject: s"), std::string::npos) << entries;
      EXPECT_EQ(entries.find("X-Own"), std::string::npos) << entries;
      EXPECT_NE(
          entries.find(isDeleted ? "\nDeleteEmail: ERROR UIDL not present in email header, cannot delete "
                                   "from mail server without this information\n"
                                 : "\nGetFullEmail: ERROR This email does not have a UIDL\n"),
          std::string::npos)
          << entries;
      EXPECT_EQ(isReported_, isDeleted);
    }
  }
}

TEST_F(LogEntries, OfAnArchiveThatTakesNoEmail) {
  const auto closed = quorvel::create<quorvel::IQuorvelZip4>("QuorvelMail.QuorvelZip");
  const std::string entries = entriesOf([&] { EXPECT_EQ(email_->AppendToZip(closed.get()), 0); });
  EXPECT_TRUE(entries.ends_with("\nAppendToZip: ERROR Method IQuorvelZip4::AppendEmail failed.\n"))
      << entries;
  EXPECT_FALSE(isReported_);
}

}  // namespace

// The objects that received mail crosses the interface in, and the mail manager's work on a POP3 server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/pop_server.h"
#include "support/public_objects.h"

namespace {

using quorvel::IQuorvelEmail2;
using quorvel::IQuorvelEmail3;
using quorvel::IQuorvelEmailBundle2;
using quorvel::IQuorvelMailMan3;
using quorvel::IQvStringArray;
using quorvel::Ref;
using qv_test::newBundle;
using qv_test::newEmail;
using qv_test::PopServer;
using qv_test::reported;
using qv_test::Strings;
using qv_test::subjectsOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

Ref<IQvStringArray> arrayOf(const Strings& texts) {
  auto array = quorvel::create<IQvStringArray>("QuorvelMail.QvStringArray");
  for (const std::string& text : texts) array->Append(text);
  return array;
}

Strings textsOf(const Ref<IQvStringArray>& array) {
  Strings texts;
  for (std::int32_t i = 0; array && i < array->get_Count(); ++i) texts.push_back(array->GetString(i));
  return texts;
}

/// As the server gave it this id.
Ref<IQuorvelEmail3> emailOfId(std::string_view uidl) {
  auto email = newEmail();
  email->AddHeaderField("X-UIDL", uidl);
  return email;
}

TEST(EmailBundle, SharesItsEmailsWithTheHost) {
  const auto bundle = newBundle();
  const auto first = emailOfId("id-1");
  const auto second = newEmail();
  EXPECT_EQ(bundle->AddEmail(nullptr), 0);
  EXPECT_EQ(reported(), "No Email was provided");
  for (const auto& each : {first, second, first}) EXPECT_EQ(bundle->AddEmail(each.get()), 1);
  bundle->GetEmail(1)->put_Subject("changed");
  EXPECT_EQ(second->get_Subject(), "changed");
  EXPECT_EQ(bundle->GetEmail(0).get(), first.get());
  for (const std::int32_t index : {-1, 3, INT32_MAX}) EXPECT_FALSE(bundle->GetEmail(index)) << index;
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(textsOf(bundle->GetUidls()), (Strings{"id-1", "id-1"}));

  EXPECT_EQ(bundle->RemoveEmail(nullptr), 0);
  EXPECT_EQ(bundle->RemoveEmail(newEmail().get()), 0);
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(bundle->get_MessageCount(), 3);
  EXPECT_EQ(bundle->RemoveEmail(first.get()), 1);
  EXPECT_EQ(bundle->GetEmail(0).get(), second.get());
  EXPECT_EQ(bundle->RemoveEmail(first.get()), 1);
  EXPECT_EQ(bundle->RemoveEmail(first.get()), 0);
  EXPECT_EQ(bundle->get_MessageCount(), 1);
}

// On a server.

Ref<IQuorvelMailMan3> mailManOf(std::uint16_t port) {
  auto mailMan = qv_test::newMailMan();
  mailMan->put_MailHost("127.0.0.1");
  mailMan->put_MailPort(port);
  mailMan->put_PopUsername("ann");
  mailMan->put_PopPassword("secret");
  mailMan->put_ReadTimeout(20);
  mailMan->GetLog()->ClearLog();
  return mailMan;
}

/// Messages whose subjects are these.
Strings messages(const Strings& subjects) {
  Strings texts;
  for (const std::string& subject : subjects) {
    texts.push_back("From: Ann <ann@h>\r\nSubject: " + subject + "\r\n\r\nbody of " + subject +
                    "\r\n.dot\r\n");
  }
  return texts;
}

TEST(Receiving, CopiesAndTransfersThroughTheFilter) {
  PopServer server(messages({"one", "two", "three"}));
  const auto mailMan = mailManOf(server.port());
  std::vector<std::int32_t> percent;
  quorvel::connect(*mailMan, [&](std::int32_t sender, std::int32_t message, std::int32_t done, std::int32_t) {
    EXPECT_EQ(sender * 10 + message, 1021);
    percent.push_back(done);
  });
  const qv::TemporaryFolder folder;
  const std::string journal = folder / "received.log";
  mailMan->put_LogMailReceivedFilename(journal);
  const auto all = mailMan->CopyMail();
  EXPECT_EQ(subjectsOf(all), (Strings{"one", "two", "three"}));
  EXPECT_EQ(all->GetEmail(0)->get_Body(), "body of one\r\n.dot");
  EXPECT_EQ(all->GetEmail(2).as<IQuorvelEmail3>()->get_ServerUidl(), "id-3");
  EXPECT_EQ(percent.back(), 100);
  EXPECT_TRUE(std::is_sorted(percent.begin(), percent.end()));

  mailMan->put_Filter("Subject like \"t*\"");
  EXPECT_EQ(subjectsOf(mailMan->TransferMail()), (Strings{"two", "three"}));
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(subjectsOf(mailMan->CopyMail()), Strings());
  EXPECT_THAT(qv_test::sharedLog()->GetXml(0), HasSubstr("No messages found on the POP3 server."));
  EXPECT_EQ(server.left(), (Strings{"id-1"}));
  EXPECT_THAT(qv::contentsOf(journal),
              HasSubstr("--BEGIN RECEIVED QUORVEL EMAIL--\nFrom: Ann <ann@h>\r\nSubject: one\r\n\r\n"
                        "body of one\r\n..dot\r\n.\r\n\n--END RECEIVED QUORVEL EMAIL--\n"));
  EXPECT_THAT(qv_test::sharedLog()->GetXml(0), Not(HasSubstr("secret")));
}

TEST(Receiving, DeletesWhatAnEmailCameFrom) {
  // The second message claims to be the first.
  Strings texts = messages({"one", "two", "three", "four"});
  texts[1] = "X-UIDL: id-1\r\n" + texts[1];
  PopServer server(texts);
  const auto mailMan = mailManOf(server.port());
  const auto all = mailMan->CopyMail();
  const auto second = all->GetEmail(1).as<IQuorvelEmail3>();
  EXPECT_EQ(second->get_Uidl(), "id-1");
  EXPECT_EQ(mailMan->GetFullEmail(second.get())->get_Subject(), "two");
  EXPECT_EQ(textsOf(all.as<IQuorvelEmailBundle2>()->GetUidls()), (Strings{"id-1", "id-2", "id-3", "id-4"}));
  mailMan->DeleteEmail(second.get());
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(textsOf(mailMan->GetUidls()), (Strings{"id-1", "id-3", "id-4"}));
  const auto bundle = newBundle();
  bundle->AddEmail(all->GetEmail(0).get());
  bundle->AddEmail(newEmail().get());
  mailMan->DeleteBundle(bundle.get());
  mailMan->DeleteMultiple(arrayOf({"id-4", "none"}).get());
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(server.left(), (Strings{"id-3"}));
}

// What members do without a server, an id or an object is in members_given_nothing.txt.
TEST(Receiving, FailuresAndTheirReports) {
  const auto nobody = mailManOf(1);
  const auto noId = newEmail("of no server");
  const struct {
    const char* what;
    std::function<bool()> fails;
    std::string report, logged;
  } rows[] = {
      {"check", [&] { return nobody->CheckMail() == -1; }, "Failed to connect to POP3 server", ""},
      {"fetch", [&] { return !nobody->FetchEmail("x"); }, "(none)", "Failed to fetch email from mail server"},
      {"fetch many", [&] { return !nobody->FetchMultiple(arrayOf({"x"}).get()); }, "(none)",
       "Failed to fetch emails by UIDL from mail server"},
      {"fetch nothing", [&] { return nobody->FetchMultiple(arrayOf({}).get())->get_MessageCount() == 0; },
       "(none)", ""},
      {"full", [&] { return !nobody->GetFullEmail(noId.get()); }, "(none)",
       "This email does not have a UIDL"},
      {"delete", [&] { return nobody->DeleteEmail(emailOfId("x").get()), true; }, "(none)",
       "Failed to connect to POP3 server"},
      {"delete many", [&] { return nobody->DeleteMultiple(arrayOf({"x"}).get()), true; }, "(none)",
       "Failed to connect to POP3 server"},
      {"delete without id", [&] { return nobody->DeleteEmail(noId.get()), true; },
       "UIDL not present in email header, cannot delete from mail server without this information",
       "<data name=\"subject\">of no server</data>"},
  };
  for (const auto& row : rows) {
    nobody->GetLog()->ClearLog();
    EXPECT_TRUE(row.fails()) << row.what;
    EXPECT_THAT(reported(), HasSubstr(row.report)) << row.what;
    EXPECT_THAT(qv_test::sharedLog()->GetXml(0), HasSubstr(row.logged)) << row.what;
  }
}

/// A sink that lets go of everything in the middle of receiving.
TEST(Receiving, ASinkMayLetGoOfEverything) {
  PopServer server(messages({"one", "two"}));
  auto mailMan = mailManOf(server.port());
  quorvel::connect(*mailMan, [&](std::int32_t, std::int32_t, std::int32_t, std::int32_t) {
    if (!mailMan) return;
    mailMan->put_MailHost("");
    mailMan->put_Filter("Subject = \"none\"");
    mailMan = nullptr;
  });
  IQuorvelMailMan3* const before = mailMan.get();
  EXPECT_EQ(subjectsOf(before->CopyMail()), (Strings{"one", "two"}));
  EXPECT_FALSE(mailMan);
}

}  // namespace

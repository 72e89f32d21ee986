// The objects that received mail crosses the interface in, and the mail manager's work on a POP3 server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "support/pop_server.h"

namespace {

using quorvel::IQuorvelEmail2;
using quorvel::IQuorvelEmail3;
using quorvel::IQuorvelEmailBundle2;
using quorvel::IQuorvelMailMan3;
using quorvel::IQvStringArray;
using quorvel::Ref;
using qv_test::PopServer;
using qv_test::Strings;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string reported() {
  const auto report = quorvel::lastError();
  return report ? report->description : "(none)";
}

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

Ref<IQuorvelEmailBundle2> newBundle() {
  return quorvel::create<IQuorvelEmailBundle2>("QuorvelMail.QuorvelEmailBundle");
}

Ref<IQuorvelEmail3> newEmail(std::string_view uidl = "") {
  auto email = quorvel::create<IQuorvelEmail3>("QuorvelMail.QuorvelEmail");
  email->AddHeaderField("X-UIDL", uidl);
  return email;
}

template <typename Bundle>
Strings subjectsOf(const Ref<Bundle>& bundle) {
  Strings subjects;
  for (std::int32_t i = 0; bundle && i < bundle->get_MessageCount(); ++i) {
    subjects.push_back(bundle->GetEmail(i)->get_Subject());
  }
  return subjects;
}

TEST(StringArray, IsAListOfTexts) {
  const auto array = arrayOf({"b", "c"});
  array->Prepend("a");
  array->InsertAt(3, "d");
  EXPECT_EQ(textsOf(array), (Strings{"a", "b", "c", "d"}));
  EXPECT_EQ(array->Find("c", 1), 2);
  EXPECT_EQ(array->Find("a", 1), -1);
  EXPECT_EQ(array->Contains("B"), 0);
  array->Remove("b");
  array->RemoveAt(0);
  EXPECT_EQ(array->LastString(), "d");
  EXPECT_EQ(array->Pop(), "d");
  EXPECT_EQ(array->GetString(7), "");
  array->put_Trim(5);
  array->put_Unique(1);
  array->put_Crlf(1);
  for (const char* text : {" c\n", "x\ny", "\tx\r\ny"}) array->Append(text);
  EXPECT_EQ(textsOf(array), (Strings{"c", "x\r\ny"}));
  EXPECT_EQ(array->get_Trim() + array->get_Unique() + array->get_Crlf(), 3);

  const auto copy = arrayOf({"first"});
  copy->AppendSerialized(array->Serialize());
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(textsOf(copy), (Strings{"first", "c", "x\r\ny"}));
  copy->AppendSerialized("\x01 no such thing");
  EXPECT_THAT(reported(), HasSubstr("no serialized string array"));
  EXPECT_EQ(copy->get_Count(), 3);
  copy->Clear();
  EXPECT_EQ(copy->get_Count(), 0);
}

TEST(EmailBundle, SharesItsEmailsWithTheHost) {
  const auto bundle = newBundle();
  const auto first = newEmail("id-1");
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
  auto mailMan = quorvel::create<IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan");
  mailMan->put_MailHost("127.0.0.1");
  mailMan->put_MailPort(port);
  mailMan->put_PopUsername("ann");
  mailMan->put_PopPassword("secret");
  mailMan->put_ReadTimeout(20);
  mailMan->GetLog()->ClearLog();
  return mailMan;
}

std::string logOf(const Ref<IQuorvelMailMan3>& mailMan) {
  return mailMan->GetLog().as<quorvel::IQuorvelLog2>()->GetXml(0);
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
  const std::string journal = ::testing::TempDir() + "quorvel_received.log";
  std::remove(journal.c_str());
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
  EXPECT_THAT(logOf(mailMan), HasSubstr("No messages found on the POP3 server."));
  EXPECT_EQ(server.left(), (Strings{"id-1"}));
  std::ostringstream text;
  text << std::ifstream(journal).rdbuf();
  EXPECT_THAT(text.str(),
              HasSubstr("--BEGIN RECEIVED QUORVEL EMAIL--\nFrom: Ann <ann@h>\r\nSubject: one\r\n\r\n"
                        "body of one\r\n..dot\r\n.\r\n\n--END RECEIVED QUORVEL EMAIL--\n"));
  EXPECT_THAT(logOf(mailMan), Not(HasSubstr("secret")));
  std::remove(journal.c_str());
}

TEST(Receiving, HeadersAndWholeMessages) {
  PopServer server(messages({"one", "two", "three"}));
  const auto mailMan = mailManOf(server.port());
  EXPECT_EQ(mailMan->CheckMail(), 3);
  EXPECT_EQ(textsOf(mailMan->GetUidls()), (Strings{"id-1", "id-2", "id-3"}));
  const auto headers = mailMan->GetAllHeaders(1);
  EXPECT_EQ(subjectsOf(headers), (Strings{"one", "two", "three"}));
  EXPECT_EQ(headers->GetEmail(1)->get_Body(), "body of two");
  EXPECT_EQ(subjectsOf(mailMan->GetHeaders(1, 1, 9)), (Strings{"two", "three"}));
  EXPECT_EQ(subjectsOf(mailMan->GetHeaders(1, 2, 1)), Strings());
  const auto header = headers->GetEmail(1).as<IQuorvelEmail2>();
  EXPECT_EQ(mailMan->GetFullEmail(header.get())->get_Body(), "body of two\r\n.dot");
  EXPECT_EQ(mailMan->FetchEmail("id-3")->get_Subject(), "three");
  EXPECT_EQ(subjectsOf(mailMan->FetchMultiple(arrayOf({"id-3", "none", "id-1"}).get())),
            (Strings{"one", "three"}));
  EXPECT_EQ(mailMan->VerifyPopConnection(), 1);
  EXPECT_EQ(mailMan->VerifyPopLogin(), 1);
  EXPECT_EQ(reported(), "(none)");
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

TEST(Receiving, FailuresAndTheirReports) {
  const auto nobody = mailManOf(1);
  const auto noId = newEmail();
  noId->put_Subject("of no server");
  const std::string unreachable = "Failed to connect to POP3 server";
  const struct {
    const char* what;
    std::function<bool()> fails;
    std::string report, logged;
  } rows[] = {
      {"copy", [&] { return !nobody->CopyMail(); }, "(none)", "Failed to get mail."},
      {"transfer", [&] { return !nobody->TransferMail(); }, "(none)", "Failed to get mail."},
      {"all headers", [&] { return !nobody->GetAllHeaders(0); }, "(none)", "Failed to get mail."},
      {"headers", [&] { return !nobody->GetHeaders(0, 0, 1); }, "(none)", "Failed to get mail."},
      {"check", [&] { return nobody->CheckMail() == -1; }, unreachable, unreachable},
      {"ids", [&] { return !nobody->GetUidls(); }, unreachable, unreachable},
      {"fetch", [&] { return !nobody->FetchEmail("x"); }, "(none)", "Failed to fetch email from mail server"},
      {"fetch none", [&] { return !nobody->FetchEmail(""); }, "(none)", "This email does not have a UIDL"},
      {"fetch many", [&] { return !nobody->FetchMultiple(arrayOf({"x"}).get()); }, "(none)",
       "Failed to fetch emails by UIDL from mail server"},
      {"fetch nothing", [&] { return nobody->FetchMultiple(arrayOf({}).get())->get_MessageCount() == 0; },
       "(none)", ""},
      {"fetch null", [&] { return !nobody->FetchMultiple(nullptr); }, "UIDL array input parameter is NULL",
       ""},
      {"full", [&] { return !nobody->GetFullEmail(noId.get()); }, "(none)",
       "This email does not have a UIDL"},
      {"full null", [&] { return !nobody->GetFullEmail(nullptr); }, "Parameter is NULL", ""},
      {"delete", [&] { return nobody->DeleteEmail(newEmail("x").get()), true; }, "(none)", unreachable},
      {"delete without id", [&] { return nobody->DeleteEmail(noId.get()), true; },
       "UIDL not present in email header, cannot delete from mail server without this information",
       "<data name=\"subject\">of no server</data>"},
      {"delete null", [&] { return nobody->DeleteEmail(nullptr), true; }, "Parameter is NULL", ""},
      {"delete many null", [&] { return nobody->DeleteMultiple(nullptr), true; },
       "UIDL array input parameter is NULL", ""},
      {"delete bundle null", [&] { return nobody->DeleteBundle(nullptr), true; },
       "bundle input parameter is NULL", ""},
      {"verify", [&] { return nobody->VerifyPopConnection() == 0; }, "(none)", unreachable},
      {"verify login", [&] { return nobody->VerifyPopLogin() == 0; }, "(none)", unreachable},
      {"verify smtp", [&] { return (nobody->put_SmtpPort(1), nobody->VerifySmtpLogin() == 0); }, "(none)",
       "Failed to connect to SMTP server."},
      {"match null", [&] { return nobody->MatchFilter(nullptr) == 0; }, "Parameter is NULL", ""},
  };
  for (const auto& row : rows) {
    nobody->GetLog()->ClearLog();
    EXPECT_TRUE(row.fails()) << row.what;
    EXPECT_THAT(reported(), HasSubstr(row.report)) << row.what;
    EXPECT_THAT(logOf(nobody), HasSubstr(row.logged)) << row.what;
  }
}

TEST(Receiving, TellsHowAFilterJudges) {
  const auto mailMan = mailManOf(1);
  const auto email = newEmail();
  email->put_Subject("Monthly report");
  EXPECT_EQ(mailMan->MatchFilter(email.get()), 1) << "no filter keeps everything";
  for (const auto& [filter, kept] :
       {std::pair("Subject like \"*report\"", 1), std::pair("Subject = \"x\"", 0)}) {
    mailMan->put_Filter(filter);
    EXPECT_EQ(mailMan->MatchFilter(email.get()), kept) << filter;
    EXPECT_EQ(reported(), "(none)");
    EXPECT_THAT(mailMan->ExplainFilter(email.get()), HasSubstr("Monthly report"));
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

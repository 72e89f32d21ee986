// E-mails and bundles as XML, and what is loaded from files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using quorvel::IQuorvelEmail3;
using quorvel::Ref;
using qv_test::newMailMan;
using qv_test::reported;
using qv_test::subjectsOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

Ref<IQuorvelEmail3> newEmail(std::string_view subject, std::string_view charset = "us-ascii") {
  auto email = qv_test::newEmail(subject);
  email->AddHeaderField("Content-Type", "text/plain; charset=" + std::string(charset));
  email->put_Body("first <b>\r\nlast & least");
  return email;
}

class Xml : public ::testing::Test {
 protected:
  const qv::TemporaryFolder folder_;
  const std::string path_ = folder_ / "mail";
};

TEST_F(Xml, AnEmailIsSavedAndLoadedBack) {
  const auto email = newEmail("one", "iso-2022-jp");
  EXPECT_THAT(email->GetXml(),
              StartsWith("<mime_message>\n<header>\n<mime-version>1.0</mime-version>\n<date>"));
  email->SaveXml("  " + path_ + " ");
  EXPECT_EQ(reported(), "(none)");
  const std::string document = qv::contentsOf(path_);
  EXPECT_THAT(document, StartsWith("<?xml version=\"1.0\" encoding=\"iso-2022-jp\" ?>\n<mime_message>\n"));
  EXPECT_THAT(document, Not(HasSubstr("\r")));
  const auto loaded = newMailMan()->LoadXmlFile(path_);
  ASSERT_EQ(subjectsOf(loaded), Strings{"one"}) << reported();
  EXPECT_EQ(loaded->GetEmail(0)->get_Body(), email->get_Body());
  EXPECT_EQ(loaded->GetEmail(0)->get_FromAddress(), "ann@h");
}

TEST_F(Xml, ABundleIsSavedAndLoadedBackThroughTheFilter) {
  auto bundle = qv_test::newBundle();
  for (const auto& each : {newEmail("one"), newEmail("two", "windows-1252"), newEmail("three")}) {
    bundle->AddEmail(each.get());
  }
  EXPECT_EQ(bundle->GetXml(), "<email_bundle>\n" + bundle->GetEmail(0).as<IQuorvelEmail3>()->GetXml() +
                                  bundle->GetEmail(1).as<IQuorvelEmail3>()->GetXml() +
                                  bundle->GetEmail(2).as<IQuorvelEmail3>()->GetXml() + "</email_bundle>\n");
  bundle->SaveXml(path_);
  EXPECT_EQ(qv::contentsOf(path_), "<?xml version=\"1.0\" encoding=\"windows-1252\" ?>\n" + bundle->GetXml());
  const auto mailMan = newMailMan();
  EXPECT_EQ(subjectsOf(mailMan->LoadXmlString(bundle->GetXml())), (Strings{"three", "two", "one"}));
  mailMan->put_Filter("Subject like \"t*\"");
  EXPECT_EQ(subjectsOf(mailMan->LoadXmlFile(path_)), (Strings{"three", "two"}));
  EXPECT_THAT(mailMan->GetLog()->GetInfoEntries(), HasSubstr("filter: Subject like \"t*\""));
  EXPECT_EQ(subjectsOf(mailMan->LoadXmlString("<email_bundle></email_bundle>")), Strings());
  EXPECT_EQ(reported(), "(none)");
}

TEST_F(Xml, AMailboxFileIsLoadedLastMessageFirst) {
  std::ofstream(path_) << "From a Mon\nSubject: one\nQVX-FileDistList: /etc/passwd\n\nbody\n>From x\n"
                          "From b Tue\nSubject: two\n\nFrom c\nSubject: three\n\n";
  const auto mailMan = newMailMan();
  const auto all = mailMan->LoadMbx(path_);
  EXPECT_EQ(subjectsOf(all), (Strings{"three", "two", "one"}));
  EXPECT_EQ(all->GetEmail(2)->get_Body(), "body\r\n>From x\r\n");
  EXPECT_EQ(all->GetEmail(2).as<IQuorvelEmail3>()->get_FileDistList(), "");
  mailMan->put_Filter("Subject = \"two\"");
  EXPECT_EQ(subjectsOf(mailMan->LoadMbx(path_)), (Strings{"two"}));
  std::ofstream(path_, std::ios::trunc).flush();
  for (const std::string& path : {path_, std::string("/nonexistent/x"), std::string("/"), std::string()}) {
    const auto none = mailMan->LoadMbx(path);
    ASSERT_TRUE(none) << path;
    EXPECT_EQ(none->get_MessageCount(), 0) << path;
    EXPECT_EQ(reported(), "(none)") << path;
  }
  EXPECT_THAT(mailMan->GetLog()->GetErrorEntries(), HasSubstr("Failed to open file"));
}

TEST_F(Xml, FailuresAndTheirReports) {
  const auto mailMan = newMailMan();
  const auto email = newEmail("x");
  const auto bundle = qv_test::newBundle();
  const struct {
    std::function<bool()> fails;
    std::string report;
  } rows[] = {
      {[&] { return email->SaveXml(" \t"), true; }, "The filename parameter is missing"},
      {[&] { return email->SaveXml("/nonexistent/x"), true; }, "Failed to write XML file.\n"},
      {[&] { return bundle->SaveXml("/nonexistent/x"), true; }, "Failed to write XML file\n"},
      {[&] { return !mailMan->LoadXmlString("no element"); }, "Failed to create email bundle from XML"},
      {[&] { return !mailMan->LoadXmlFile("/nonexistent/x"); }, "Failed to open file"},
  };
  for (const auto& row : rows) {
    EXPECT_TRUE(row.fails()) << row.report;
    EXPECT_THAT(reported(), StartsWith(row.report));
  }
}

}  // namespace

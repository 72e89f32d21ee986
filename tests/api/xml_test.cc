// E-mails and bundles as XML, and what is loaded from files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using quorvel::IQuorvelEmail3;
using quorvel::IQuorvelEmailBundle2;
using quorvel::IQuorvelMailMan3;
using quorvel::Ref;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

std::string reported() {
  const auto report = quorvel::lastError();
  return report ? report->description : "(none)";
}

std::string wholeFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

Ref<IQuorvelEmail3> newEmail(std::string_view subject, std::string_view charset = "") {
  auto email = quorvel::create<IQuorvelEmail3>("QuorvelMail.QuorvelEmail");
  email->put_From("Ann <ann@h>");
  email->put_Subject(subject);
  if (!charset.empty()) email->AddHeaderField("Content-Type", "text/plain; charset=" + std::string(charset));
  email->put_Body("first <b>\r\nlast & least");
  return email;
}

Ref<IQuorvelMailMan3> newMailMan() {
  return quorvel::create<IQuorvelMailMan3>("QuorvelMail.QuorvelMailMan");
}

template <typename Bundle>
Strings subjectsOf(const Ref<Bundle>& bundle) {
  Strings subjects;
  for (std::int32_t i = 0; bundle && i < bundle->get_MessageCount(); ++i) {
    subjects.push_back(bundle->GetEmail(i)->get_Subject());
  }
  return subjects;
}

class Xml : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(path_.c_str()); }
  // Of its own for each test: they may run at the same time.
  std::string path_ =
      ::testing::TempDir() + "quorvel_xml_" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(Xml, AnEmailIsSavedAndLoadedBack) {
  const auto email = newEmail("one", "iso-2022-jp");
  EXPECT_THAT(email->GetXml(),
              StartsWith("<mime_message>\n<header>\n<mime-version>1.0</mime-version>\n<date>"));
  email->SaveXml("  " + path_ + " ");
  EXPECT_EQ(reported(), "(none)");
  const std::string document = wholeFile(path_);
  EXPECT_THAT(document, StartsWith("<?xml version=\"1.0\" encoding=\"iso-2022-jp\" ?>\n<mime_message>\n"));
  EXPECT_THAT(document, Not(HasSubstr("\r")));
  const auto loaded = newMailMan()->LoadXmlFile(path_);
  ASSERT_EQ(subjectsOf(loaded), Strings{"one"}) << reported();
  EXPECT_EQ(loaded->GetEmail(0)->get_Body(), email->get_Body());
  EXPECT_EQ(loaded->GetEmail(0)->get_FromAddress(), "ann@h");
}

TEST_F(Xml, ABundleIsSavedAndLoadedBackThroughTheFilter) {
  auto bundle = quorvel::create<IQuorvelEmailBundle2>("QuorvelMail.QuorvelEmailBundle");
  for (const auto& each : {newEmail("one"), newEmail("two", "windows-1252"), newEmail("three")}) {
    bundle->AddEmail(each.get());
  }
  EXPECT_EQ(bundle->GetXml(), "<email_bundle>\n" + bundle->GetEmail(0).as<IQuorvelEmail3>()->GetXml() +
                                  bundle->GetEmail(1).as<IQuorvelEmail3>()->GetXml() +
                                  bundle->GetEmail(2).as<IQuorvelEmail3>()->GetXml() + "</email_bundle>\n");
  bundle->SaveXml(path_);
  EXPECT_EQ(wholeFile(path_), "<?xml version=\"1.0\" encoding=\"windows-1252\" ?>\n" + bundle->GetXml());
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
  const auto bundle = quorvel::create<IQuorvelEmailBundle2>("QuorvelMail.QuorvelEmailBundle");
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

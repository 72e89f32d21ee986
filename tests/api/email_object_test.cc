#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using quorvel::IQuorvelEmail3;
using quorvel::Type;
using qv_test::newEmail;

// What the other members do with nothing is in members_given_nothing.txt.
TEST(EmailObject, RecipientsThatAreNone) {
  const struct {
    const char* what;
    std::function<std::int32_t(IQuorvelEmail3&)> call;
    std::string errors;
  } rows[] = {
      {"AddTo", [](auto& e) { return e.AddTo("Ann", " \r\n"); }, "No Email Address was provided"},
      {"AddMultipleTo", [](auto& e) { return e.AddMultipleTo(" \t"); }, "No Email Address was provided"},
      {"AddMultipleCC", [](auto& e) { return e.AddMultipleCC(" no one "); },
       "No valid email addresses in the following string:\nno one"},
      {"AddMultipleBcc", [](auto& e) { return e.AddMultipleBcc(","); },
       "No valid email addresses in the following string:\n,"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.call(*newEmail()), 0) << row.what;
    EXPECT_EQ(qv_test::sharedLog()->get_LastError(), row.errors) << row.what;
    EXPECT_EQ(qv_test::reported(), "(none)") << row.what;
  }
}

TEST(EmailObject, IndexesOutOfRangeAreEmpty) {
  const auto email = newEmail("s");
  email->AddHtmlAlternativeBody("<p>");
  EXPECT_EQ(email->AddMultipleTo("a@h, b@h"), 1);
  EXPECT_EQ(email->AddCC("C", "c@h"), 1);
  EXPECT_EQ(email->AddBcc("D", "d@h"), 1);
  for (const std::int32_t index : {-1, email->NumHeaderFields(), INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(email->GetTo(index) + email->GetCC(index) + email->GetBcc(index) +
                  email->GetHeaderFieldName(index) + email->GetAlternativeBody(index),
              "");
    EXPECT_EQ(qv_test::reported(), "(none)");
  }
}

TEST(EmailObject, TheLocalDateIsThatOfItsZone) {
  setenv("TZ", "QVX-5", 1);  // five hours ahead of universal time
  tzset();
  const auto email = newEmail();
  email->AddHeaderField("Date", "Tue, 05 Mar 2002 14:03:07 -0500");
  EXPECT_NEAR(email->get_EmailDate(), 37320 + (19 * 3600 + 3 * 60 + 7) / 86400.0, 1e-9);
  EXPECT_NEAR(email->get_LocalDate(), email->get_EmailDate() + 5 / 24.0, 1e-9);
  unsetenv("TZ");
  tzset();
}

/// The names of the header fields of a message as any reader sees them.
std::multiset<std::string> fieldNames(const std::string& mime) {
  std::multiset<std::string> names;
  std::istringstream lines(mime.substr(0, mime.find("\r\n\r\n")));
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(' ') && !line.starts_with('\t')) names.insert(line.substr(0, line.find(':')));
  }
  return names;
}

TEST(EmailObject, NoTextMakesAFieldOfItsOwn) {
  const std::string injected[] = {"x\r\nBcc: y@z",
                                  "x\nBcc: y@z",
                                  "x\rBcc: y@z",
                                  std::string("x\0\r\nBcc: y", 11),
                                  "x\r\n\r\nbody",
                                  "x\r\n.\r\nNOOP",
                                  "=?us-ascii?Q?x=0D=0ABcc:_y@z?="};
  // A text that may hold anything, or the name of a file that is written.
  const std::set<std::string> isBody = {
      "Body",   "AddPlainTextAlternativeBody", "AddHtmlAlternativeBody", "SetHtmlBody", "LoadMime", "SaveXml",
      "SaveEml"};
  const std::set<std::string> known = {"MIME-Version",
                                       "Date",
                                       "Message-ID",
                                       "Content-Type",
                                       "X-Mailer",
                                       "X-Priority",
                                       "Content-Transfer-Encoding",
                                       "Reply-To",
                                       "Subject",
                                       "From",
                                       "To",
                                       "CC",
                                       "Cc",
                                       "QVX-FileDistList",
                                       "QVX-OutlookDistList",
                                       "X-Own"};
  const qv::TemporaryFolder folder;  // for what members that are tried out may write
  const std::filesystem::path home = std::filesystem::current_path();
  std::filesystem::current_path(folder / "");
  for (const auto& member : quorvel::members(*newEmail())) {
    if (member.parameters.empty() || isBody.contains(member.name)) continue;
    for (std::size_t at = 0; at < member.parameters.size(); ++at) {
      if (member.parameters[at].type != Type::text) break;
      for (const std::string& text : injected) {
        const std::string address = "a@h" + text;
        std::vector<quorvel::Argument> arguments(member.parameters.size(), "X-Own");
        for (std::size_t i = 0; i < arguments.size(); ++i) {
          const bool isAddress = member.parameters[i].name.find("ddress") != std::string::npos;
          if (i == at) arguments[i] = isAddress ? address : text;
          if (i != at && isAddress) arguments[i] = "a@h";
        }
        const auto email = newEmail();
        email->put_FromAddress("f@h");
        quorvel::Value result;
        ASSERT_LE(quorvel::invoke(*email, member.id, member.kind, arguments, result),
                  quorvel::Status::failed);
        const std::string mime = email->GetMime();
        const auto names = fieldNames(mime);
        EXPECT_EQ(names.size(), static_cast<std::size_t>(email->NumHeaderFields())) << member.name << "\n"
                                                                                    << mime;
        for (const std::string& name : names)
          EXPECT_TRUE(known.contains(name)) << member.name << "\n" << mime;
        EXPECT_EQ(email->get_Body(), "") << member.name;
        EXPECT_TRUE(mime.ends_with("\r\n\r\n")) << member.name << "\n" << mime;
      }
    }
  }
  std::filesystem::current_path(home);
}

}  // namespace

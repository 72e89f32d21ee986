#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/temporary_folder.h"

namespace {

using quorvel::IQuorvelEmail2;
using quorvel::Kind;
using quorvel::Ref;
using quorvel::Type;
using ::testing::HasSubstr;
using ::testing::Not;

class EmailObject : public ::testing::Test {
 protected:
  EmailObject() {
    log_->ClearLog();
    log_->put_LineFormat("%m");
    std::filesystem::current_path(folder_ / "");
  }
  ~EmailObject() override {
    log_->put_LineFormat("");
    std::filesystem::current_path(home_);
  }

  Ref<IQuorvelEmail2> newEmail() { return quorvel::create<IQuorvelEmail2>("QuorvelMail.QuorvelEmail"); }

  Ref<quorvel::IQuorvelLog2> log_ = quorvel::create<quorvel::IQuorvelMailMan>("QuorvelMail.QuorvelMailMan")
                                        ->GetLog()
                                        .as<quorvel::IQuorvelLog2>();
  Ref<IQuorvelEmail2> email_ = newEmail();
  const qv::TemporaryFolder folder_;  // the current one, for what members that are tried out may write
  const std::filesystem::path home_ = std::filesystem::current_path();
};

TEST_F(EmailObject, FailuresSayWhy) {
  const struct {
    const char* what;
    std::function<std::int32_t(IQuorvelEmail2&)> call;
    std::int32_t result;
    std::string errors;
    const char* report;  // null for none
  } rows[] = {
      {"AddTo", [](auto& e) { return e.AddTo("Ann", " a@h "); }, 1, "", nullptr},
      {"AddTo", [](auto& e) { return e.AddTo("Ann", " \r\n"); }, 0, "No Email Address was provided\n",
       nullptr},
      {"AddCC", [](auto& e) { return e.AddCC("", ""); }, 0, "No Email Address was provided\n", nullptr},
      {"AddBcc", [](auto& e) { return e.AddBcc("", ""); }, 0, "No Email Address was provided\n", nullptr},
      {"AddMultipleTo", [](auto& e) { return e.AddMultipleTo("a@h, \"B\" <b@h>"); }, 1, "", nullptr},
      {"AddMultipleTo", [](auto& e) { return e.AddMultipleTo(" \t"); }, 0, "No Email Address was provided\n",
       nullptr},
      {"AddMultipleCC", [](auto& e) { return e.AddMultipleCC(" no one "); }, 0,
       "No valid email addresses in the following string:\nno one\n", nullptr},
      {"AddMultipleBcc", [](auto& e) { return e.AddMultipleBcc(","); }, 0,
       "No valid email addresses in the following string:\n,\n", nullptr},
      {"put_RawHeader", [](auto& e) { return e.put_RawHeader("X: y"), 0; }, 0, "This is not supported.\n",
       "This is not supported."},
      {"put_LocalDate", [](auto& e) { return e.put_LocalDate(1), 0; }, 0, "Not supported.\n",
       "Not supported."},
      {"put_EmailDate", [](auto& e) { return e.put_EmailDate(1), 0; }, 0,
       "The EmailDate property is read-only until a future release of QuorvelMail\n", nullptr},
  };
  for (const auto& row : rows) {
    log_->ClearLog();
    EXPECT_EQ(row.call(*newEmail()), row.result) << row.what;
    const auto report = quorvel::lastError();
    EXPECT_EQ(log_->GetErrorEntries(), row.errors) << row.what;
    EXPECT_EQ(report.has_value(), row.report != nullptr) << row.what;
    if (report) EXPECT_EQ(report->description, row.report);
  }
}

TEST_F(EmailObject, PropertiesReadBack) {
  using Get = std::string (quorvel::IQuorvelEmail2::*)();
  using Put = void (quorvel::IQuorvelEmail2::*)(std::string_view);
  const struct {
    const char* what;
    Put put;
    std::string given;
    Get get;
    std::string read;
  } rows[] = {
      {"Body", &IQuorvelEmail2::put_Body, "a\nb\r\n\r\rc\n\r\n", &IQuorvelEmail2::get_Body,
       "a\r\nb\r\nc\r\n\r\n"},
      {"ReplyTo", &IQuorvelEmail2::put_ReplyTo, " r@h ", &IQuorvelEmail2::get_ReplyTo, "r@h"},
      {"Subject", &IQuorvelEmail2::put_Subject, "=?iso-8859-1?Q?gr=FC=DFe?=", &IQuorvelEmail2::get_Subject,
       "gr\xfc\xdf"
       "e"},
      {"From", &IQuorvelEmail2::put_From, "Ann <a@h>", &IQuorvelEmail2::get_From, "\"Ann\" <a@h>"},
      {"From without address", &IQuorvelEmail2::put_From, "Ann", &IQuorvelEmail2::get_From, ""},
      {"FromName", &IQuorvelEmail2::put_FromName, " Ann ", &IQuorvelEmail2::get_FromName, "Ann"},
      {"FromAddress", &IQuorvelEmail2::put_FromAddress, " a@h ", &IQuorvelEmail2::get_FromAddress, "a@h"},
      {"FromAddress without @", &IQuorvelEmail2::put_FromAddress, "a", &IQuorvelEmail2::get_FromAddress, ""},
      {"Mailer", &IQuorvelEmail2::put_Mailer, "m", &IQuorvelEmail2::get_Mailer, "m"},
      {"Mailer, empty", &IQuorvelEmail2::put_Mailer, "", &IQuorvelEmail2::get_Mailer, ""},
      {"FileDistList", &IQuorvelEmail2::put_FileDistList, "/a b", &IQuorvelEmail2::get_FileDistList, "/a b"},
      {"OutlookDistList", &IQuorvelEmail2::put_OutlookDistList, "all", &IQuorvelEmail2::get_OutlookDistList,
       "all"},
  };
  for (const auto& row : rows) {
    const auto email = newEmail();
    (*email.*row.put)(row.given);
    EXPECT_EQ((*email.*row.get)(), row.read) << row.what;
  }
  EXPECT_EQ(email_->get_ReturnReceipt(), 0);
  email_->AddHeaderField("QVX-ReturnReceipt", "yes");
  EXPECT_EQ(email_->get_ReturnReceipt(), 0);
  email_->put_ReturnReceipt(5);
  EXPECT_EQ(email_->get_ReturnReceipt(), 1);
  EXPECT_EQ(email_->GetHeaderField(" qvx-returnreceipt "), "YES");
  email_->put_ReturnReceipt(0);
  EXPECT_EQ(email_->GetHeaderField("QVX-ReturnReceipt"), "");
}

TEST_F(EmailObject, IndexesOutOfRangeAreEmpty) {
  EXPECT_EQ(email_->AddMultipleTo("a@h, b@h"), 1);
  EXPECT_EQ(email_->AddCC("C", "c@h"), 1);
  EXPECT_EQ(email_->AddBcc("D", "d@h"), 1);
  EXPECT_EQ(email_->get_NumTo() * 100 + email_->get_NumCC() * 10 + email_->get_NumBcc(), 211);
  EXPECT_EQ(email_->GetTo(1), "b@h");
  EXPECT_EQ(email_->GetCC(0), "\"C\" <c@h>");
  EXPECT_EQ(email_->GetBcc(0), "\"D\" <d@h>");
  EXPECT_THAT(email_->GetMime(), Not(HasSubstr("d@h")));
  EXPECT_EQ(email_->NumHeaderFields(), 9);
  EXPECT_EQ(email_->GetHeaderFieldName(8), "Cc");
  for (const std::int32_t index : {-1, 9, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(email_->GetTo(index) + email_->GetCC(index) + email_->GetBcc(index) +
                  email_->GetHeaderFieldName(index),
              "");
    EXPECT_FALSE(quorvel::lastError());
  }
  email_->ClearTo();
  email_->ClearCC();
  email_->ClearBcc();
  EXPECT_EQ(email_->get_NumTo() + email_->get_NumCC() + email_->get_NumBcc(), 0);
  EXPECT_EQ(email_->NumHeaderFields(), 7);
}

TEST_F(EmailObject, AlternativeBodies) {
  email_->put_Body("plain");
  EXPECT_EQ(email_->GetPlainTextBody(), "plain");
  EXPECT_EQ(email_->GetHtmlBody(), "");
  EXPECT_THAT(log_->GetErrorEntries(),
              HasSubstr("Not a multipart/alternative email, nor is the body text/html"));
  email_->AddHtmlAlternativeBody("<p>html</p>");
  email_->AddPlainTextAlternativeBody("plainer");
  EXPECT_EQ(email_->get_NumAlternatives(), 2);
  EXPECT_EQ(email_->GetAlternativeContentType(1), "text/html");
  EXPECT_EQ(email_->GetAlternativeBody(1), "<p>html</p>");
  EXPECT_EQ(email_->GetPlainTextBody() + email_->GetHtmlBody(), "plainer<p>html</p>");
  log_->ClearLog();
  EXPECT_EQ(email_->GetAlternativeBody(-1), "");
  EXPECT_FALSE(quorvel::lastError());
  EXPECT_THAT(log_->GetErrorEntries(), HasSubstr("Failed to get alternative body, index out of range"));

  const auto html = newEmail();
  html->SetHtmlBody("<b>x</b>");
  EXPECT_THAT(html->get_RawHeader(), HasSubstr("Content-Type: text/html; charset=\"us-ascii\""));
  EXPECT_EQ(html->get_NumAttachments(), 0);
  EXPECT_THAT(html->GenerateFilename(), ::testing::EndsWith(".qve"));
  EXPECT_EQ(html->get_Size(), static_cast<std::int32_t>(html->get_RawHeader().size() + 2 + 8));
}

TEST_F(EmailObject, DatesAreUniversalAndLocal) {
  email_->AddHeaderField("Date", "Tue, 05 Mar 2002 14:03:07 -0500");
  const double date = email_->get_EmailDate();
  EXPECT_NEAR(date, 37320 + (19 * 3600 + 3 * 60 + 7) / 86400.0, 1e-9);
  const qv::CalendarTime universal{2002, 3, 2, 5, 19, 3, 7, 0};
  qv::CalendarTime local;
  ASSERT_TRUE(qv::localFromUniversal(universal, local));
  const double expected =
      37315 + local.day + (local.hour * 3600 + local.minute * 60 + local.second) / 86400.0;
  EXPECT_NEAR(email_->get_LocalDate(), expected, 1e-9);
  email_->put_EmailDate(1);
  EXPECT_EQ(email_->get_EmailDate(), date);
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

TEST_F(EmailObject, NoTextMakesAFieldOfItsOwn) {
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
  for (const auto& member : quorvel::members(*email_)) {
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
}

}  // namespace

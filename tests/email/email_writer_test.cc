#include <functional>

#include "email/email_reader.h"
#include "email_fixture.h"
#include "support/linear_cost.h"

namespace {

using qv::Email;
using qv_test::EmailTest;
using qv_test::shown;
using qv_test::written;
using std::string_literals::operator""s;

constexpr char kHead[] =
    "MIME-Version: 1.0\r\nDate: Tue, 05 Mar 2002 19:03:07 +0000\r\n"
    "Message-ID: <QUORVEL-MID-abc0001d-eeee-4fff-8000-111122223333@mail.example>\r\n";
constexpr char kTail[] =
    "X-Mailer: QuorvelMail 2.9.0 (quorvel e-mail component)\r\nX-Priority: 3 (Normal)\r\n";
constexpr char kTextFields[] =
    "Content-Type: text/plain; charset=\"us-ascii\"\r\nContent-Transfer-Encoding: 7bit\r\n";

TEST_F(EmailTest, writesWholeMessages) {
  Email email(nullptr);
  EXPECT_EQ(written(email), kHead + std::string(kTextFields) + kTail + "\r\n");

  email.setBody("line\ntwo", false);
  email.addAlternativePart(email.newBodyPart("<b>", true));
  qv_test::addAttachment(email, "f", "bytes");
  const std::string mixed = "----=_NextPart_abc_0003_eeee4fff.11112222_.MIX";
  const std::string alternative = "----=_NextPart_abc_0002_eeee4fff.11112222_.ALT";
  const std::string preamble = "This is a multi-part message in MIME format.\r\n\r\n";
  const std::string text =
      kHead + std::string(kTail) + "Content-Type: multipart/mixed;\r\n\tboundary=\"" + mixed + "\"\r\n\r\n" +
      preamble + "--" + mixed + "\r\nContent-Type: multipart/alternative;\r\n\tboundary=\"" + alternative +
      "\"\r\n\r\n" + preamble + "--" + alternative + "\r\n" + kTextFields + "\r\nline\r\ntwo\r\n--" +
      alternative +
      "\r\nContent-Type: text/html; charset=\"us-ascii\"\r\nContent-Transfer-Encoding: "
      "7bit\r\n\r\n<b>\r\n--" +
      alternative + "--\r\n\r\n--" + mixed +
      "\r\nContent-Disposition: attachment; filename=\"f\"\r\nContent-Transfer-Encoding: base64\r\n"
      "Content-Type: application/octet-stream;\r\n\tname=\"f\"\r\n\r\nYnl0ZXM=\r\n\r\n--" +
      mixed + "--\r\n";
  EXPECT_EQ(written(email), text);

  qv::StringBuffer out("before\r\n");
  email.writeMime(out, {});
  EXPECT_EQ(out.str(), "before\r\n" + text);
}

TEST_F(EmailTest, lineEndsAreUniform) {
  const struct {
    std::string body, written, prepared;  // as it stands, and after makeLineEndsUniform
  } rows[] = {
      {"", "", ""},
      {"a\nb\r\nc", "a\r\nb\r\nc", "a\r\nb\r\nc"},
      {"\n\n", "\r\n\r\n", "\r\n\r\n"},
      {"a\rb\r", "a\rb\r", "a\r\nb\r\n"},
      {"\r\r\n", "\r\r\n", "\r\n\r\n"},
      {"\n\r", "\r\n\r", "\r\n\r\n"},
      {"a\0\nb"s, "a\0\r\nb"s, "a\0\r\nb"s},
  };
  for (const auto& row : rows) {
    const auto email = Email::withoutFields(nullptr);
    email->body().setRaw(row.body);
    EXPECT_EQ(shown(written(*email)), shown("\r\n\r\n" + row.written));
    email->makeLineEndsUniform();
    EXPECT_EQ(shown(written(*email)), shown("\r\n\r\n" + row.prepared));
  }
  const auto coded = Email::withoutFields(nullptr);
  coded->body().setForQuotedPrintable(qv::BinaryData("a\rb"));
  coded->makeLineEndsUniform();
  EXPECT_EQ(written(*coded), "\r\n\r\na=0Db");
}

TEST_F(EmailTest, entitiesWithoutFieldsLeaveTheirParentAlone) {
  const auto email = Email::withoutFields(nullptr);
  email->setContentType({.type = "multipart/mixed", .boundary = "B"});
  email->addPart(Email::withoutFields(nullptr));
  email->addPart(Email::withoutFields(nullptr));
  email->parts().at(1)->body().setRaw("x");
  EXPECT_EQ(written(*email).substr(written(*email).find("--B")),
            "--B\r\n\r\n\r\n\r\n--B\r\n\r\n\r\nx\r\n--B--\r\n");
  EXPECT_EQ(qv_test::shapeReadBack(*email), "[content-type [][]]"s.replace(1, 12, "Content-Type"));
}

TEST_F(EmailTest, whatLeavesTheMachineHasNoPrivateFields) {
  const auto email = Email::withoutFields(nullptr);
  for (const char* name : {"qvx-FileDistList", "X-A", "QVX", "QVX-b"}) email->setHeaderField(name, "v");
  email->setHeaderField("Bcc", "secret@h");
  EXPECT_EQ(written(*email), "qvx-FileDistList: v\r\nX-A: v\r\nQVX: v\r\nQVX-b: v\r\nBcc: secret@h\r\n\r\n");
  EXPECT_EQ(written(*email, "QVX-"), "X-A: v\r\nQVX: v\r\n\r\n");
  const std::string part = "X-B: v\r\nBcc\t : secret@h\r\n\r\nx\r\n";
  const auto read = qv::createFromMimeText(
      "bCC : secret@h\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n" + part + "--b--\r\n", {},
      nullptr);
  EXPECT_EQ(written(*read, "QVX-").find("secret"), std::string::npos) << written(*read);
}

// What stands in a body, decoded or not, neither ends nor adds a part.
TEST_F(EmailTest, boundariesInBodiesAreAvoided) {
  const std::function<void(Email&, const std::string&)> places[] = {
      [](Email& e, const std::string& b) { e.setBody("x\r\n--" + b + "--\r\n", false); },
      [](Email& e, const std::string& b) {
        e.parts().at(1)->body().setForQuotedPrintable(qv::BinaryData("--" + b));
      },
      [](Email& e, const std::string& b) { e.parts().at(1)->setHeaderField("X-A", b); },
      [](Email& e, const std::string& b) {
        Email& part = *e.parts().at(0);
        Email::convertToAlternative(part, 1);
        part.setContentType({.type = "multipart/alternative", .boundary = b});
      },
  };
  for (const auto& place : places) {
    Email email(nullptr);
    qv_test::addAttachment(email, "f", "a");
    email.setContentType({.type = "multipart/mixed", .boundary = "frontier"});
    EXPECT_NE(written(email).find("--frontier--"), std::string::npos);
    place(email, "frontier");
    EXPECT_EQ(written(email).find("--frontier\r\nContent"), std::string::npos);
    EXPECT_EQ(qv_test::shapeReadBack(email), qv_test::shape(email));
  }
}

TEST_F(EmailTest, sizeCountsFieldsAndBodies) {
  const auto email = Email::withoutFields(nullptr);
  email->setHeaderField("A", "b");  // 4 and the line end
  email->body().setForBase64(qv::BinaryData("12345"));
  EXPECT_EQ(email->size(), 6u + 5);
  email->parts().append(Email::withoutFields(nullptr));
  email->parts().at(0)->setHeaderField("C", "");
  email->parts().at(0)->body().setRaw("123");
  EXPECT_EQ(email->size(), 6u + 5 + 3);
}

TEST_F(EmailTest, fileNames) {
  const std::string fifty(50, 'x');
  const struct {
    std::string from, kept;
  } rows[] = {
      {"a(b)c@h", "a)c@h"},
      {"a(b(c)d)e)@h", "a)e)@h"},
      {"a)b@h", "a)b@h"},
      {"../a\\b|c:\"d@h", "..abcd@h"},
      {"a\0\x01\x7F@h"s, "a@h"},
      {fifty + "@h", fifty.substr(0, 40)},
      {"((@h", ""},
  };
  for (const auto& row : rows) {
    Email email(nullptr);
    email.setFromAddress(row.from);
    const std::string name = email.generateFilename();
    EXPECT_EQ(name.substr(0, name.rfind('_')), row.kept + "_20020305_190307");
  }
  Email email(nullptr);
  qv_test::addAttachment(email, "f", "a");
  const std::string name = email.generateFilename();
  EXPECT_EQ(name.substr(0, 19), "_20020305_190307_A_");
  EXPECT_EQ(name.find_first_not_of("0123456789abcdef", 19), name.size() - 4);
  EXPECT_EQ(name.substr(name.size() - 4), ".qve");
}

TEST_F(EmailTest, writingIsLinear) {
  const auto withParts = [](std::size_t n) {
    auto email = std::make_unique<Email>(nullptr);
    for (std::size_t i = 0; i < n; ++i) qv_test::addAttachment(*email, "f", "a");
    return email;
  };
  const auto withLines = [](std::size_t n) {
    auto email = std::make_unique<Email>(nullptr);
    std::string lines;
    for (std::size_t i = 0; i < 50 * n; ++i) lines += i % 3 == 0 ? "\r" : "a\n";
    email->setBody(lines, false);
    return email;
  };
  const auto work = [](const std::unique_ptr<Email>& email) {
    EXPECT_GT(written(*email).size(), 1000u);
    EXPECT_GT(email->size(), 1000u);
  };
  EXPECT_LT(qv_test::costOfTwice(5000, withParts, work), 3);
  EXPECT_LT(qv_test::costOfTwice(5000, withLines, work), 3);
}

}  // namespace

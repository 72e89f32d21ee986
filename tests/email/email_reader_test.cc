#include "email/email_reader.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "email/email_fixture.h"
#include "support/linear_cost.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::createFromMimeText;
using qv::createFromPop3;
using qv::Email;
using qv_test::dump;
using qv_test::dumpHeader;

namespace {

class EmailReaderTest : public qv_test::EmailTest {};

std::unique_ptr<Email> read(std::string_view text, qv::ReadOptions options = {}) {
  return createFromMimeText(text, options, nullptr);
}

std::string shownDate(const Email& email) {
  const qv::CalendarTime& t = email.emailDate();
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour, t.minute,
                t.second);
  return text;
}

// Sender, recipients, date.
std::string people(const Email& email) {
  std::string out = "from " + email.getFrom().str() + "; to";
  for (std::size_t i = 0; i < email.numTo(); ++i) out += ' ' + email.getTo(i).str();
  out += "; cc";
  for (std::size_t i = 0; i < email.numCc(); ++i) out += ' ' + email.getCc(i).str();
  EXPECT_EQ(email.numBcc(), 0U);
  return out + "; " + shownDate(email);
}

TEST_F(EmailReaderTest, keepsTheFieldsInTheirPlacesAndDecodesThemOnce) {
  struct Row {
    std::string_view header, fields;
  };
  const Row rows[] = {
      {"A: 1\r\nDate: Tue, 5 Nov 2002 14:03:09 -0500\r\nB: 2\r\nDate: x",
       "A: 1 | Date: Tue, 5 Nov 2002 14:03:09 -0500 | B: 2 | Date: x"},
      {"Subject: a\r\n b\r\n\t c\r\nX: y", "Subject: abc | X: y"},
      {"Subject: =?iso-8859-1?Q?Caf=E9?=", "Subject: Caf\\xE9"},
      {"Subject: =?x?Q?=3D=3Fx=3FQ=3Fa=3F=3D?=", "Subject: =?x?Q?a?="},
      {"X:v\r\nY : v", "X:v | Y : v"},
      {"Cc:\r\nTo: \t\r\nno colon\r\nX: y", "X: y"},
      {"X-Mailer: Old ACTIVEX 1\r\nX: y\r\nX-Mailer: ActiveX",
       "X-Mailer: QuorvelMail 2.9.0 (quorvel e-mail "
       "component) | X: y | X-Mailer: ActiveX"},
      {"X-Mailer: other", "X-Mailer: other"},
      {"QVX-FileDistList: /etc/x\r\nqvx-a: b\r\nX: y\r\n QVX-b: c\r\nQ\0VX-c: d"sv, "X: yQVX-b: c"},
      {"", ""},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(dumpHeader(read(std::string(row.header) + "\r\n\r\nbody")->header()), row.fields) << row.header;
  }
}

TEST_F(EmailReaderTest, keepsPrivateFieldsOfTheHostsOwnMailOnly) {
  const auto text =
      "QVX-A: 1\r\nContent-Type: multipart/mixed; boundary=%%\r\n\r\n--%%\r\nQVX-B: 2\r\n\r\nx\r\n--%%--"s;
  const auto foreign = read(text);
  EXPECT_EQ(dumpHeader(foreign->parts().at(0)->header()), "");
  const auto own = read(text, {.keepPrivateFields = true});
  EXPECT_EQ(own->getHeaderField("qvx-a"), "1");
  EXPECT_EQ(dumpHeader(own->parts().at(0)->header()), "QVX-B: 2");
  EXPECT_EQ(createFromPop3(text, false, false, nullptr)->getHeaderField("QVX-A"), "");
}

TEST_F(EmailReaderTest, readsSenderRecipientsAndDate) {
  constexpr std::string_view kNow = "2002-03-05 19:03:07";
  struct Row {
    std::string_view header, from, to, cc, date;
  };
  const Row rows[] = {
      {"From: Bob <b@h>\r\nTo: a@h, \"C, D\" <c@h>\r\nCc: d@h\r\nBcc: e@h\r\n"
       "Date: Tue, 5 Nov 2002 14:03:09 -0500",
       "\"Bob\" <b@h>", " a@h \"C, D\" <c@h>", " d@h", "2002-11-05 19:03:09"},
      {"", "", "", "", kNow},
      {"From: nobody\r\nTo: undisclosed recipients:;\r\nCc: ,\r\nDate: soon", "", "", "", kNow},
      {"From: a@h, b@h", "a@h", "", "", kNow},
      {"From: =?x?Q?Miller=2C_Bob?= <b@h>", "\"Miller, Bob\" <b@h>", "", "", kNow},
      {"From: b@h (me@home)\r\nTo: x@h,\r\n\ty@h", "b@h", " x@h y@h", "", kNow},
      {"To: a@h, A@H\r\nTo: z@h", "", " a@h", "", kNow},
  };
  for (const Row& row : rows) {
    const auto email = read(std::string(row.header) + "\r\n\r\n");
    EXPECT_EQ(people(*email), "from " + std::string(row.from) + "; to" + std::string(row.to) + "; cc" +
                                  std::string(row.cc) + "; " + std::string(row.date))
        << row.header;
  }
}

TEST_F(EmailReaderTest, takesContentValuesOverAsTheyWere) {
  const auto email = read(
      "Content-Type: Text/Plain; charset=\"ISO-8859-1\"; Name=\"A b.TXT\"; boundary=\"Xy\"; type=\"t/u\"; "
      "smime-type=S; protocol=P; micalg=M\r\nContent-Disposition: Attachment; filename=\"A b.TXT\"\r\n"
      "Content-ID: <Id@h>\r\nContent-Transfer-Encoding: BASE64\r\n\r\nYWJj");
  const qv::ContentTypeParams params = email->getContentTypeParams();
  EXPECT_EQ(params.type, "text/plain"sv);
  EXPECT_EQ(params.charset, "iso-8859-1"sv);
  EXPECT_EQ(params.name, "a b.txt"sv);
  EXPECT_EQ(params.boundary, "Xy"sv);
  EXPECT_EQ(params.relatedType, ""sv);
  EXPECT_EQ(params.smimeType, "s"sv);
  EXPECT_EQ(params.protocol, "p"sv);
  EXPECT_EQ(params.micalg, "m"sv);
  EXPECT_EQ(email->disposition(), "attachment");
  EXPECT_EQ(email->filename(), "A b.TXT");
  EXPECT_EQ(email->contentId(), "<Id@h>");
  EXPECT_EQ(email->transferEncoding(), "BASE64");
  EXPECT_EQ(dump(*email), "plain=abc");
  EXPECT_EQ(email->body().coding(), qv::MimeBody::Coding::base64);
  EXPECT_EQ(email->messageNumber(), -1);
  EXPECT_EQ(email->origination(), qv::Origination::unknown);

  EXPECT_EQ(read("Content-Type: text/plain; charset=Default\r\n\r\n")->charset(), "");
  EXPECT_EQ(read("Content-Type: image/png; charset=utf-8\r\n\r\n")->charset(), "");
  EXPECT_TRUE(read("Subject: =?UTF-8?B?w6k=?=\r\n\r\n")->utf8Header());
  EXPECT_FALSE(read("Subject: =?x?Q?=3Futf-8=3F?=\r\n\r\n")->utf8Header());
}

TEST_F(EmailReaderTest, keepsTheTreeAsItCame) {
  struct Row {
    std::string_view text, tree;
  };
  const Row rows[] = {
      {"Content-Type: multipart/mixed; boundary=BB\r\n\r\npreamble --BB\r\nContent-Type: "
       "multipart/alternative; "
       "boundary=CC\r\n\r\n--CC\r\nContent-Type: text/plain\r\n\r\nT\r\n--CC\r\nContent-Type: text/html\r\n"
       "Content-Transfer-Encoding: quoted-printable\r\n\r\n=48\r\n--CC--\r\n--BB\r\nContent-Disposition: "
       "attachment\r\n\r\nF\r\n--BB--\r\nepilogue",
       "mixed(alternative(plain=T html=H) =F)"},
      {"Content-Type: text/plain\r\n\r\n <x-html>a", "html= <x-html>a"},
      {"Content-Type: multipart/mixed; boundary=BB\r\n\r\nnone\r\n\r\nof it",
       "mixed(=(multipart MIME message))"},
      {"Content-Type: message/rfc822\r\n\r\nSubject: x\r\n\r\ny", "message/rfc822=Subject: x\r\n\r\ny"},
      {"no header", ""},
      {"\r\n\r\na\0b"sv, "=a\0b"sv},
  };
  for (const Row& row : rows) EXPECT_EQ(dump(*read(row.text)), row.tree) << row.text;
}

TEST_F(EmailReaderTest, showsTheContentTypeOfHtmlThatWasMarkedInItsText) {
  EXPECT_EQ(dumpHeader(read("Content-Type: text/plain\r\n\r\n<x-html>")->header()),
            "content-type: text/html; charset=\"us-ascii\"");
}

TEST_F(EmailReaderTest, readsItsOwnTextBackUnchanged) {
  Email email(nullptr);
  email.setFrom("Ann <ann@h>");
  email.addTo("Bob", "bob@h");
  email.setSubject("a\xE9");
  email.setBody("text", false);
  qv_test::addAttachment(email, "f.bin", "\0\r\n.\xFF"sv);
  const auto back = read(qv_test::written(email));
  EXPECT_EQ(dump(*back), dump(email));
  EXPECT_EQ(qv_test::shape(*back), qv_test::shape(email));
  // Folds are joined once; from then on not a byte changes.
  const std::string text = qv_test::written(*back);
  EXPECT_EQ(qv_test::written(*read(text)), text);
}

TEST_F(EmailReaderTest, undoesThePop3TransferEncoding) {
  struct Row {
    std::string_view text, kept;
    bool dropFinalCrLf = false;
  };
  const Row rows[] = {
      {"..a\r\n..\r\n...b\r\nc..d\r\n", ".a\r\n.\r\n..b\r\nc..d\r\n"},
      {"a\r\n.\r\nb\r\n.\r\n", "a\r\n"},
      {"a\r\n.\r\n", "a", true},
      {"a\r\n\r\n", "a\r\n", true},
      {"a\n", "a", true},
      {"a\r", "a\r", true},
      {"\n.", "\n."},
      {"\n..", "\n."},
      {".\r\na", ""},
      {".\na\n.b\n..c", ".\na\n.b\n.c"},
      {"\n..\n..\n.\r", "\n.\n.\n"},
      {"", "", true},
  };
  for (const Row& row : rows) {
    // The first line of the body is as good as the first of the message.
    const auto email =
        createFromPop3("X: y\r\n\r\n" + std::string(row.text), row.dropFinalCrLf, false, nullptr);
    // An empty line ends a header only together with the line break before it.
    EXPECT_EQ(email->body().data().view(), row.kept) << qv_test::shown(row.text);
  }
  EXPECT_EQ(createFromPop3("..X: y\r\n"s, false, false, nullptr)->getHeaderFieldName(0), ".X");
  EXPECT_EQ(createFromPop3(".\r\nX: y"s, false, false, nullptr)->numHeaderFields(), 0U);
}

TEST_F(EmailReaderTest, entersTheSecurityContextOnceAndLogsNothingInIt) {
  const auto text = "Content-Type: multipart/mixed; boundary=%%\r\n\r\n--%%\r\nA: b\r\n\r\nx\r\n--%%--"s;
  const auto email = createFromMimeText(text, {}, log_.get());
  EXPECT_EQ(log_.text(), "");
  EXPECT_EQ(email->log(), log_.get());
  EXPECT_EQ(email->parts().at(0)->log(), log_.get());
  createFromPop3(text, false, true, log_.get());
  const std::string xml = log_.get()->GetXml(false);
  const std::size_t context = xml.find("<context name=\"security\"/>");
  EXPECT_NE(context, std::string::npos) << xml;
  EXPECT_EQ(xml.find("<context", context + 1), std::string::npos) << xml;
}

TEST_F(EmailReaderTest, costsInProportion) {
  struct Row {
    const char* what;
    std::string_view before, repeated, after;
    std::size_t count;
  };
  const Row rows[] = {
      {"parts", "Content-Type: multipart/mixed; boundary=B!\r\n\r\n", "--B!\r\nA: b\r\n\r\nc\r\n", "--B!--",
       20'000},
      {"recipients", "To: ", "a@h,", "\r\n\r\n", 50'000},
      {"senders", "From: ", "a@h,\r\n ", "b\r\n\r\n", 50'000},
      {"dots", "X: y\r\n\r\n", "\n..", "", 2'000'000},
      {"other dots", "X: y\r\n\r\n", ".", "", 4'000'000},
  };
  for (const Row& row : rows) {
    const auto make = [&](std::size_t n) {
      std::string text(row.before);
      for (std::size_t i = 0; i < n; ++i) text += row.repeated;
      return text.append(row.after);
    };
    const auto work = [](const std::string& text) { createFromPop3(text, true, false, nullptr); };
    EXPECT_LT(qv_test::costOfTwice(row.count, make, work), 3) << row.what;
  }
}

}  // namespace

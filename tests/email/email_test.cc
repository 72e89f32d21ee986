#include "email/email.h"

#include <functional>

#include "email_fixture.h"
#include "mime/transfer_coding.h"
#include "support/linear_cost.h"

namespace {

using qv::Email;
using qv_test::dump;
using qv_test::dumpHeader;
using qv_test::EmailTest;
using qv_test::shape;
using qv_test::shapeReadBack;
using qv_test::shown;
using std::string_literals::operator""s;

TEST_F(EmailTest, newOnesHaveTheirFieldsInOrder) {
  const Email email(log_.get());
  EXPECT_EQ(dumpHeader(email.header()),
            "MIME-Version: 1.0 | Date: Tue, 05 Mar 2002 19:03:07 +0000 | "
            "Message-ID: <QUORVEL-MID-abc0001d-eeee-4fff-8000-111122223333@mail.example> | "
            "Content-Type: text/plain; charset=\"us-ascii\" | Content-Transfer-Encoding: 7bit | "
            "X-Mailer: QuorvelMail 2.9.0 (quorvel e-mail component) | X-Priority: 3 (Normal)");
  EXPECT_EQ(email.emailDate(), (qv::CalendarTime{2002, 3, 2, 5, 19, 3, 7, 0}));
  EXPECT_EQ(email.messageNumber(), -1);
  EXPECT_EQ(Email::newBoundary(), "----=_NextPart_abc_0002_eeee4fff.11112222");
  EXPECT_EQ(dumpHeader(Email::newEmptyPart(nullptr)->header()),
            "Content-Type: text/plain; charset=\"us-ascii\" | Content-Transfer-Encoding: 7bit");

  qv::setHostNameForTest("a>\r\nX: b");
  const Email safe(nullptr);
  EXPECT_EQ(safe.getHeaderField("message-id"), "<QUORVEL-MID-abc0003d-eeee-4fff-8000-111122223333@aXb>");
}

// The members that mirror fields, those that are empty left out.
std::string members(const Email& e) {
  std::string out;
  const auto add = [&](std::string_view text) { out += text.empty() ? "" : std::string(text) + '|'; };
  for (const std::string_view text :
       {e.contentType(), e.charset(), e.nameParam(), e.disposition(), e.filename(), e.transferEncoding(),
        e.contentId(), e.getFromName(), e.getFromAddress()}) {
    add(text);
  }
  for (std::size_t i = 0; i < e.numTo(); ++i) add("to " + e.getTo(i).str());
  for (std::size_t i = 0; i < e.numCc(); ++i) add("cc " + e.getCc(i).str());
  for (std::size_t i = 0; i < e.numBcc(); ++i) add("bcc " + e.getBcc(i).str());
  return out;
}

TEST_F(EmailTest, fieldsAndMembersChangeTogether) {
  const struct {
    std::vector<std::pair<const char*, const char*>> added;
    const char *header, *members = "";
  } rows[] = {
      {{{"X-A", "a"}, {"X-B", "b"}, {"x-a", "c"}}, "X-B: b | x-a: c"},
      {{{"X-A", "a"}, {"x-a", " \r\n"}}, ""},
      {{{" ", "a"}, {" X-A ", " a "}}, "X-A: a"},
      {{{"subject", "=?utf-8?q?=C3=A9?= =?x?b?YQ==?="}}, "Subject: \\xC3\\xA9 =?x?b?YQ==?="},
      {{{"Subject", "=?x?b?YQ==?="}}, "Subject: a"},
      {{{"Reply-To", " r@h "}}, "Reply-To: r@h"},
      {{{"Content-ID", " <c> "}}, "Content-ID: <c>", "<c>|"},
      {{{"content-transfer-encoding", "BASE64 "}}, "Content-Transfer-Encoding: BASE64", "BASE64|"},
      {{{"Content-Disposition", "Inline; size=3; filename=\"a b\""}},
       "Content-Disposition: Inline; size=3; filename=\"a b\"",
       "inline|a b|"},
      {{{"Content-Type", "Text/Plain; format=flowed; charset=\"X\""}},
       "Content-Type: Text/Plain; format=flowed; charset=\"X\"",
       "text/plain|x|"},
      {{{"Content-Type", "text/plain; name=n"}, {"content-type", ""}}, ""},
      {{{"To", "a@h, none, B <b@h>"}, {"cc", "none"}},
       "To: a@h, none, B <b@h> | Cc: none",
       "to a@h|to \"B\" <b@h>|"},
      {{{"To", "a@h"}, {"TO", ""}}, ""},
      {{{"Bcc", "a@h, b@h"}, {"bcc", "B@h, c@h"}}, "", "bcc a@h|bcc b@h|bcc c@h|"},
      {{{"from", "Ann <a@h>"}, {"From", "nobody"}}, "From: \"Ann\" <a@h>", "Ann|a@h|"},
      {{{"From", "a@h"}, {"from", ""}}, ""},
  };
  for (const auto& row : rows) {
    const auto email = Email::withoutFields(nullptr);
    for (const auto& [name, value] : row.added) EXPECT_TRUE(email->addHeaderField(name, value));
    EXPECT_EQ(dumpHeader(email->header()), row.header);
    EXPECT_EQ(members(*email), row.members) << row.header;
  }
  Email email(nullptr);
  email.addHeaderField("date", "Wed, 06 Nov 2002 01:00:00 +0100");
  email.addHeaderField("Date", "no date");
  EXPECT_EQ(email.getHeaderField("Date"), "no date");
  EXPECT_EQ(email.emailDate().day, 6);
}

TEST_F(EmailTest, parametersStayInTheirPlace) {
  const auto email = Email::withoutFields(nullptr);
  email->setDisposition("attachment", "a\"b\r\nc");
  email->setContentType("Text/Plain; charset=UTF-8; boundary=b", "n\"\n; x");
  EXPECT_EQ(dumpHeader(email->header()),
            "Content-Disposition: attachment; filename=\"abc\" | "
            "Content-Type: text/plain; charset=\"utf-8\";\\r\\n\\tname=\"n; x\"");
  EXPECT_EQ(members(*email), "text/plain|utf-8|n; x|attachment|abc|");
  email->setContentType({.type = "text/x", .charset = "Default"});
  EXPECT_EQ(email->getHeaderField("Content-Type"), "text/x; charset=\"Default\"");
  EXPECT_EQ(email->charset(), "");
}

TEST_F(EmailTest, theSenderIsMadeOfTwo) {
  const auto email = Email::withoutFields(nullptr);
  email->setFromName("Bob");
  email->setFromAddress("nowhere");
  EXPECT_EQ(members(*email) + dumpHeader(email->header()), "Bob|");
  email->setFromAddress(" <a@h> ");
  EXPECT_EQ(members(*email) + dumpHeader(email->header()), "Bob|a@h|From: \"Bob\" <a@h>");
  email->setFrom("b@h");
  EXPECT_EQ(members(*email) + dumpHeader(email->header()), "b@h|From: b@h");
  email->setFromName(" Ann ");
  EXPECT_EQ(members(*email) + dumpHeader(email->header()), "Ann|b@h|From: \"Ann\" <b@h>");
}

TEST_F(EmailTest, namesThatNameNoFieldAreRefused) {
  const auto email = Email::withoutFields(log_.get());
  for (const std::string& name : {"a b"s, "a:"s, "a\r\nb"s, "a\n"s, "a\0"s, "a\tb"s, "\x7F"s, "\xE9"s}) {
    EXPECT_FALSE(email->addHeaderField(name, "v")) << shown(name);
  }
  EXPECT_TRUE(email->addHeaderField("", "v"));
  EXPECT_EQ(email->numHeaderFields(), 0u);
  EXPECT_EQ(log_.count("Not a valid header field name."), 8u);
}

TEST_F(EmailTest, recipientsStandInTheirFields) {
  const std::string longName(395, 'n');
  const struct {
    std::string charset, name, address, field;
  } rows[] = {
      {"us-ascii", "Bob", "b@h", "\"Bob\" <b@h>"},
      {"US-ASCII", "J\xF6", "j@h", "\"J\xF6\" <j@h>"},
      {"utf-8", "", "j@h", "j@h"},
      {"utf-8", "j@h", "j@h", "j@h"},
      {"utf-8", "B\"o\"b ", "b@h", "=?utf-8?Q?Bob?= <b@h>"},
      {"utf-8", "a\r\nb", "b@h", "=?utf-8?Q?a=0D=0Ab?= <b@h>"},
      {"", "Bob", "\"b c\"@h", "=?us-ascii?Q?Bob?= <\"b c\"@h>"},
  };
  for (const auto& row : rows) {
    Email email(nullptr);
    if (row.charset.empty()) {
      email.removeHeaderField("Content-Type");
    } else {
      email.applyCharset(row.charset);
    }
    EXPECT_TRUE(email.addTo(row.name, row.address));
    EXPECT_EQ(email.getHeaderField("To"), row.field);
  }

  Email email(nullptr);
  email.applyCharset("x");
  email.addTo(longName, "address@example.org");
  qv::StringBuffer decoded(email.getHeaderField("To"));
  decoded.removeAll('\r');
  decoded.removeAll('\n');
  decoded.replaceAll("?= =?", "?==?");
  qv::ContentCoding::decodeQWords(decoded);
  EXPECT_EQ(decoded.str(), longName.substr(0, 399 - 22) + " <address@example.org>");
}

TEST_F(EmailTest, aChangedRecipientFieldMovesToTheEnd) {
  const auto email = Email::withoutFields(nullptr);
  email->setContentType("text/plain");
  email->header().removeField("Content-Type");  // the charset stays
  EXPECT_FALSE(email->addTo("Bob", ""));
  EXPECT_FALSE(email->addTo("Bob", "<>"));
  EXPECT_TRUE(email->addTo("A", "a@h"));
  EXPECT_TRUE(email->addCc("", "c@h"));
  EXPECT_TRUE(email->addBcc("", "secret@h"));
  EXPECT_EQ(dumpHeader(email->header()), "To: \"A\" <a@h> | Cc: c@h");
  EXPECT_EQ(email->addMultipleTo("b@h, (c) A@H, none, b@h"), 3u);
  email->setHeaderField("X-A", "a");
  EXPECT_EQ(dumpHeader(email->header()), "Cc: c@h | To: \"A\" <a@h>,\\r\\n b@h | X-A: a");
  EXPECT_EQ(email->addMultipleTo("none"), 0u);
  EXPECT_EQ(email->getHeaderFieldName(1), "To");
  EXPECT_EQ(email->addMultipleTo("a@h"), 1u);
  EXPECT_EQ(email->getHeaderFieldName(2), "To");

  // A new charset shows from the next change of the list on.
  email->addCc("D", "d@h");
  email->setContentType({.type = "text/plain", .charset = "y"});
  EXPECT_EQ(email->getHeaderField("Cc"), "c@h,\r\n \"D\" <d@h>");
  email->addCc("", "e@h");
  EXPECT_EQ(email->getHeaderField("Cc"), "c@h,\r\n =?y?Q?D?= <d@h>,\r\n e@h");

  email->addTo("", "z@h");
  email->clearTo();
  email->removeHeaderField("CC");
  EXPECT_EQ(email->numTo() + email->numCc(), 0u);
  EXPECT_EQ(dumpHeader(email->header()), "X-A: a | Content-Type: text/plain; charset=\"y\"");
  EXPECT_EQ(email->addMultipleTo("a@h"), 1u);
  EXPECT_EQ(email->getToAddr(0), "a@h");
  EXPECT_EQ(email->getToAddr(1), "");
  EXPECT_TRUE(email->getTo(1).empty());
}

TEST_F(EmailTest, subjectsAreEncodedOutsideUsAscii) {
  const struct {
    const char *charset, *sent;
  } rows[] = {{"us-ascii", "a \xE9"},
              {"US-ASCII", "=?US-ASCII?Q?a_=E9?="},
              {"x", "=?x?Q?a_=E9?="},
              {"default", "=?us-ascii?Q?a_=E9?="},
              {"a?\r\nb", "=?us-ascii?Q?a_=E9?="}};
  for (const auto& row : rows) {
    Email email(nullptr);
    email.setSubject("a \xE9");
    email.setContentType({.type = "text/plain", .charset = row.charset});
    EXPECT_EQ(email.subjectForSending().str(), row.sent) << row.charset;
  }
}

// Whatever a setter is given, a reader sees the fields and parts that the e-mail has.
TEST_F(EmailTest, nothingBreaksOutOfItsPlace) {
  using Setter = std::function<void(Email&, const std::string&)>;
  using Params = qv::ContentTypeParams;
  std::vector<Setter> setters = {
      [](Email& e, const std::string& v) { e.addTo(v, "a@h"), e.addCc("n", v + "@h"); },
      [](Email& e, const std::string& v) { e.setFromName(v), e.setFromAddress("a@h"); },
      [](Email& e, const std::string& v) { e.setFromAddress(v + "@h"), e.setHeaderField("X-A", v); },
      [](Email& e, const std::string& v) { e.setFrom(v + " <a@h>"); },
      [](Email& e, const std::string& v) { e.addHeaderField("Content-Type", "multipart/x; boundary=" + v); },
      [](Email& e, const std::string& v) {
        e.addHeaderField("Content-Type", "multipart/x; boundary=\"" + v + '"');
      },
      [](Email& e, const std::string& v) {
        e.parts().at(1)->setDisposition(v, v), e.parts().at(1)->setContentType(v, v);
      },
      [](Email& e, const std::string& v) {
        e.setBody(v, false), e.addAlternativePart(e.newBodyPart(v, true));
      },
  };
  for (const char* name : {"X-A", "Subject", "To", "Cc", "Bcc", "Reply-To", "X-Mailer", "Date", "Content-ID",
                           "Content-Type", "Content-Disposition", "Content-Transfer-Encoding"}) {
    setters.push_back([name](Email& e, const std::string& v) { e.addHeaderField(name, v); });
  }
  for (qv::StringBuffer Params::*param :
       {&Params::name, &Params::boundary, &Params::protocol, &Params::micalg, &Params::smimeType,
        &Params::relatedType, &Params::charset}) {
    setters.push_back([param](Email& e, const std::string& v) {
      for (Email* entity : {&e, e.parts().at(1)}) {
        Params params = entity->getContentTypeParams();
        (params.*param).set(v);
        entity->setContentType(params);
      }
    });
  }
  for (const std::string& breakText : {"\r\n"s, "\n"s, "\r"s, "\0"s, "\r\n\r\n"s, "\"\n;\n\n"s}) {
    for (const char* charset : {"us-ascii", "x"}) {
      int index = 0;
      for (const Setter& set : setters) {
        Email email(nullptr);
        email.applyCharset(charset);
        email.setBody("text", false);
        qv_test::addAttachment(email, "a.bin", "bytes");
        const std::string delimiter = "--" + std::string(email.boundary());
        const std::string field = breakText + "X-Evil: b" + breakText;
        set(email, "a" + field + delimiter + field + delimiter + "--" + field);
        EXPECT_EQ(shapeReadBack(email), shape(email)) << index << ' ' << charset << shown(breakText);
        ++index;
      }
    }
  }
}

TEST_F(EmailTest, recipientsAndFieldsCostTheSameHoweverManyThereAre) {
  const auto number = [](int n) { return n; };
  const std::function<void(Email&, int)> adders[] = {
      [](Email& e, int i) { e.addTo("Name", "a" + std::to_string(i) + "@h"), e.addCc("", "c@h"); },
      [](Email& e, int i) { e.addMultipleTo("a" + std::to_string(i) + "@h, b@h"); },
      [](Email& e, int i) { e.addBcc("", "a" + std::to_string(i) + "@h"); },
  };
  for (const auto& add : adders) {
    const double ratio = qv_test::costOfTwice(4000, number, [&](int n) {
      Email email(nullptr);
      for (int i = 0; i < n; ++i) add(email, i);
      EXPECT_GE(email.getHeaderField("To").size() + email.numBcc(), static_cast<std::size_t>(n));
    });
    EXPECT_LT(ratio, 3);
  }
}

TEST_F(EmailTest, tellsWhereItCameFrom) {
  Email email(nullptr);
  email.setSubject("s");
  email.addTo("", "t@h");
  email.setOrigination(qv::Origination::loadedFromMbx);
  email.logOrigination(log_.get());
  EXPECT_TRUE(log_.holds({"origination: loaded from MBX", "subject: s", "to: t@h"})) << log_.text();
  EXPECT_EQ(qv::originationText(static_cast<qv::Origination>(-1)), "unknown");
}

}  // namespace

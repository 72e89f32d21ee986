#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/text.h"
#include "email/email_fixture.h"
#include "email/email_reader.h"
#include "email/replace_patterns.h"
#include "mime/limits.h"
#include "support/linear_cost.h"
#include "support/small_stack.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::createFromMimeText;
using qv::Email;
using qv::ReplacePatterns;
using qv::StringBuffer;
using qv_test::dump;
using qv_test::dumpHeader;
using qv_test::written;

namespace {

class ReplyTest : public qv_test::EmailTest {
 protected:
  std::unique_ptr<Email> newEmail() { return std::make_unique<Email>(log_.get()); }
};

std::unique_ptr<Email> read(std::string_view text) {
  return createFromMimeText(text, {}, nullptr);
}

/// The source's header, with a body (and parts) of the row.
std::unique_ptr<Email> received(std::string_view content, std::string_view fields = {}) {
  return read("From: Ann <ann@h>\r\nTo: Bob <bob@h>, c@h\r\nDate: today\r\nSubject: Meeting\r\n" +
              std::string(fields) + std::string(content));
}

std::string people(const Email& email) {
  std::string all = "from " + email.getFrom().str() + "; to";
  for (std::size_t i = 0; i < email.numTo(); ++i) all += ' ' + email.getTo(i).str();
  all += "; cc";
  for (std::size_t i = 0; i < email.numCc(); ++i) all += ' ' + email.getCc(i).str();
  all += "; bcc";
  for (std::size_t i = 0; i < email.numBcc(); ++i) all += ' ' + email.getBcc(i).str();
  return all;
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  StringBuffer buffer(text);
  buffer.replaceAll(what, with);
  return buffer.str();
}

TEST_F(ReplyTest, aCloneHasAllThatTheTextOfItsSourceSays) {
  const std::pair<const char*, std::function<void(Email&)>> rows[] = {
      {"new", [](Email&) {}},
      {"people",
       [](Email& email) {
         email.setFrom("\"A, (nn)\" <ann@h>");
         for (const char* address : {"local", "b@h", "b@h", "C <c@h>"}) email.addTo("", address);
         email.applyCharset("utf-8");
         email.addCc("J\xC3\xBCrgen \xE2\x82\xAC", "j@h");
         email.setSubject("\xC3\xA4 =?utf-8?Q?=C3=BC?=");
       }},
      {"fields",
       [](Email& email) {
         email.setHeaderField("QVX-FileDistList", "/list");
         email.setHeaderField("References", "<1@h>\r\n <2@h>");
         email.setHeaderField("X-Mailer", "ActiveX");
         email.addHeaderField("X-UIDL", "7");
       }},
      {"parts",
       [](Email& email) {
         email.setBody("a\r\nb", false);
         email.addAlternativePart(email.newBodyPart("<b>c</b>", true));
         qv_test::addAttachment(email, "x.bin", "\xFF\r\n.\r\n");
         email.addRelatedItem(qv_test::attachment("Logo.PNG", "\0\1\2"s));
       }},
      {"its own boundary in a body",
       [](Email& email) {
         email.setBody("--b\r\n\r\nx\r\n--b--", false);
         Email::convertToMixed(email);
         email.setContentType({.type = "multipart/mixed", .boundary = "b"});
       }},
      {"more header lines than are read of a text",
       [](Email& email) {
         for (std::size_t i = 0; i < 2 * qv::kMaxHeaderLines; ++i) email.addTo("", std::to_string(i) + "@h");
         email.setBody("text", false);
         qv_test::addAttachment(email, "x.bin", "x");
       }},
  };
  for (const auto& [what, compose] : rows) {
    const auto source = newEmail();
    compose(*source);
    source->setOrigination(qv::Origination::createdForSending);
    source->setMessageNumber(4);
    source->setServerUidl("id");
    source->sendSecurity().sendSigned = true;
    source->sendSecurity().signingCert = "cert";
    const std::string peopleBefore = people(*source);
    source->addBcc("", "d@h");
    source->addBcc("", "e@h");
    const auto clone = source->cloneEmail();
    ASSERT_TRUE(clone) << what;
    EXPECT_EQ(dumpHeader(clone->header()), dumpHeader(source->header())) << what;
    EXPECT_EQ(dump(*clone), dump(*source)) << what;
    EXPECT_EQ(people(*clone), peopleBefore) << what;
    EXPECT_EQ(clone->numAttachments(), source->numAttachments()) << what;
    EXPECT_EQ(clone->log(), log_.get());
    EXPECT_EQ(clone->origination(), qv::Origination::unknown);
    EXPECT_EQ(clone->messageNumber(), -1);
    EXPECT_EQ(clone->uidlOnServer(), "id") << what;
    EXPECT_TRUE(clone->sendSecurity().sendSigned && clone->sendSecurity().signingCert.empty());

    const std::string before = dump(*source) + dumpHeader(source->header());
    clone->setSubject("other");
    clone->addTo("", "f@h");
    clone->setBody("other", false);
    clone->dropAttachments();
    EXPECT_EQ(dump(*source) + dumpHeader(source->header()), before) << what;
  }
}

TEST_F(ReplyTest, wholeReplyAndForward) {
  const auto source = read(
      "Received: by x\r\nX-UIDL: 7\r\nSTATUS: RO\r\nx-sender: s@h\r\nX-Rcpt-To: r@h\r\nReturn-Path: <p@h>\r\n"
      "Received: by y\r\nX-Custom: kept\r\nReply-To: r@h\r\nDisposition-Notification-To: <spy@h>\r\n"
      "From: \"Ann A.\" <ann@h>\r\nTo: Bob <bob@h>,\r\n\t=?x?Q?C=0D=0Ay?= <c@h>\r\nCc: d@h\r\n"
      "Bcc: hidden@h\r\nX-Mailer: theirs\r\nMessage-ID: <1@h>\r\nX-Priority: 1\r\n"
      "Date: Mon, 4 Mar 2002 10:00:00 +0000\r\nSubject: RE: Meeting\r\nMIME-Version: 1.0\r\n"
      "Content-Type: text/plain; charset=us-ascii\r\n\r\nSee you.\r\n");
  const std::string end =
      "MIME-Version: 1.0\r\nDate: Tue, 05 Mar 2002 19:03:07 +0000\r\n"
      "Message-ID: <QUORVEL-MID-abc000%d-eeee-4fff-8000-111122223333@mail.example>\r\n"
      "X-Mailer: QuorvelMail 2.9.0 (quorvel e-mail component)\r\nX-Priority: 3 (Normal)\r\n\r\n"
      "-----Original Message-----\r\nFrom: \"Ann A.\" <ann@h>\r\nSent: Mon, 4 Mar 2002 10:00:00 +0000\r\n"
      "To: \"Bob\" <bob@h>, \"Cy\" <c@h>\r\nCC: d@h\r\nSubject: RE: Meeting\r\n\r\nSee you.\r\n";
  const auto reply = source->cloneEmail();
  reply->makeReply();
  EXPECT_EQ(written(*reply),
            "X-Custom: kept\r\nContent-Type: text/plain; charset=us-ascii\r\nSubject: RE: RE: Meeting\r\n"
            "To: \"Ann A.\" <ann@h>\r\n" +
                replaced(end, "%d", "1d"));
  EXPECT_EQ(people(*reply), "from \"Ann A.\" <ann@h>; to \"Ann A.\" <ann@h>; cc; bcc");
  EXPECT_EQ(reply->emailDate().day, 5);
  EXPECT_EQ(reply->uidlOnServer(), "");

  const auto forward = source->cloneEmail();
  forward->addBcc("", "x@h");
  forward->makeForward();
  EXPECT_EQ(written(*forward),
            "X-Custom: kept\r\nContent-Type: text/plain; charset=us-ascii\r\nSubject: FW: RE: Meeting\r\n" +
                replaced(end, "%d", "2d"));
  EXPECT_EQ(people(*forward), "from \"Ann A.\" <ann@h>; to; cc; bcc");
}

TEST_F(ReplyTest, whereTheBlockGoes) {
  // '#' is the block, '%' the block as HTML shows it.
  const std::string block =
      "-----Original Message-----\nFrom: \"Ann\" <ann@h>\nSent: today\nTo: \"Bob\" <bob@h>, c@h\n"
      "Subject: Meeting\n\n";
  std::string html;
  for (const char c : block)
    html += c == '"' ? "&quot;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
  html = replaced(html, "\n", "<br>\n");
  const auto multi = [](std::string_view type, std::initializer_list<std::string_view> parts) {
    std::string text =
        "Content-Type: multipart/" + std::string(type) + "; boundary=" + std::string(type) + "\r\n\r\n";
    for (const std::string_view part : parts)
      text += "--" + std::string(type) + "\r\n" + std::string(part) + "\r\n";
    return text + "--" + std::string(type) + "--\r\n";
  };
  const std::string plain = "Content-Type: text/plain\r\n\r\nplain";
  const std::string page =
      "Content-Type: text/html\r\n\r\n<html><bodyguard><BODY class=\"x\">hi</BODY></html>";
  const std::string cut = "Content-Type: text/html\r\n\r\n<p>hi<body x";
  const std::string image = "Content-Type: image/png\r\nContent-Disposition: inline\r\n\r\npng";
  const std::string attached = "Content-Disposition: attachment; filename=x\r\n" + plain;
  const struct {
    const char* what;
    std::string content, reply;
  } rows[] = {
      {"plain", plain, "plain=#plain"},
      {"no type", "\r\nplain", "=#plain"},
      {"no body", "\r\n", "=#"},
      {"quoted-printable", "Content-Transfer-Encoding: Quoted-Printable\r\n" + plain,
       "plain=" + replaced(block, "\n", "\r\n") + "plain"},
      {"base64 and empty", "Content-Transfer-Encoding: base64\r\nContent-Type: text/plain\r\n\r\n",
       "plain=" + replaced(block, "\n", "\r\n")},
      {"html", page, "html=%<html><bodyguard><BODY class=\"x\">hi</BODY></html>"},
      {"alternatives", multi("alternative", {page, plain}),
       "alternative(html=<html><bodyguard><BODY class=\"x\">hi</BODY></html> plain=#plain)"},
      {"html alternative", multi("alternative", {image, page}),
       "alternative(image/png=png html=<html><bodyguard><BODY class=\"x\">%hi</BODY></html>)"},
      {"html without body tag", multi("alternative", {cut}), "alternative(html=%<p>hi<body x)"},
      {"alternatives below", multi("mixed", {multi("alternative", {plain, page}), image}),
       "mixed(alternative(plain=#plain html=<html><bodyguard><BODY class=\"x\">hi</BODY></html>) "
       "image/png=png)"},
      {"attachment first", multi("mixed", {attached, plain}), "mixed(plain=plain plain=#plain)"},
      {"image first", multi("mixed", {image, multi("related", {plain})}),
       "mixed(image/png=png related(plain=#plain))"},
      {"text in an attached multipart",
       multi("mixed", {"Content-Disposition: attachment\r\n" + multi("related", {plain}), plain}),
       "mixed(related(plain=plain) plain=#plain)"},
      {"no text", image, "mixed(plain=# image/png=png)"},
      {"an attachment alone", attached, "mixed(plain=# plain=plain)"},
      {"attachments alone", multi("mixed", {attached, image}), "mixed(plain=# plain=plain image/png=png)"},
      {"alternatives without text", multi("alternative", {image}),
       "mixed(plain=# alternative(image/png=png))"},
  };
  for (const auto& row : rows) {
    for (const bool isForward : {false, true}) {
      const auto source = received(row.content);
      const auto answer = source->cloneEmail();
      isForward ? answer->makeForward() : answer->makeReply();
      const std::string expected = replaced(replaced(row.reply, "#", block), "%", html);
      EXPECT_EQ(dump(*answer), expected) << row.what;
      EXPECT_EQ(dump(*read(written(*answer))), replaced(replaced(expected, "\r\n", "\n"), "\n", "\r\n"))
          << row.what;
    }
  }
  const auto answer = received(attached)->cloneEmail();
  answer->makeReply();
  EXPECT_EQ(answer->disposition(), "");
  EXPECT_EQ(answer->numAttachments(), 1U);
}

// Whatever a stranger wrote: it does nothing in what is sent in answer.
TEST_F(ReplyTest, nothingOfAHostileMessageActsInItsAnswer) {
  const std::string injected = "=?utf-8?Q?a=0D=0ABcc:_spy=40h=0D=0A=0D=0AQVX-FileDistList:_/etc/passwd=00?=";
  const std::string hostile[] = {
      "From: " + injected + " <ann@h>\r\nSubject: s",
      "From: \"x\" <ann@h>\r\nSubject: " + injected,
      "From: ann@h\r\nDate: " + injected,
      "From: ann@h\r\nTo: " + injected + " <bob@h>\r\nCc: " + injected + " <c@h>",
      "From: " + injected + "\r\nReply-To: spy@h",
      "Subject: no sender",
      "From: nobody\r\nX-Custom: " + injected,
      "From: ann@h\r\nQVX-FileDistList: /etc/passwd\r\nQVX-ReturnReceipt: YES\r\nBcc: spy@h",
      "From: ann@h\r\nQVX-FileDistList : /etc/passwd\r\nBcc\t: spy@h\r\nReply-To : spy@h\r\nbcc \r\n : spy@h",
      "From: ann@h\r\nContent-Type: multipart/mixed; boundary=\"" + injected + "\"",
      "From: ann@h\r\nContent-Type: image/png; name=\"" + injected + "\"",
      "From: \"<script>alert(1)</script>\" <ann@h>\r\nContent-Type: text/html\r\nSubject: <script>",
  };
  for (const std::string& header : hostile) {
    const auto source = read(header + "\r\n\r\nQVX-FileDistList: /etc/passwd\r\nBcc: spy@h\r\n");
    for (const bool isForward : {false, true}) {
      const auto answer = source->cloneEmail();
      isForward ? answer->makeForward() : answer->makeReply();
      EXPECT_EQ(qv_test::shapeReadBack(*answer), qv_test::shape(*answer)) << header;
      EXPECT_EQ(answer->numTo(), isForward || source->getFromAddress().empty() ? 0U : 1U) << header;
      EXPECT_EQ(answer->numBcc() + answer->numCc(), 0U);
      const std::string text = written(*answer, "QVX-");
      qv::MimeMessage2 sent(nullptr);
      sent.parseMime(text);
      for (const char* name : {"Bcc", "QVX-FileDistList", "QVX-ReturnReceipt", "Reply-To"}) {
        EXPECT_EQ(answer->getHeaderField(name), "") << header << name;
        for (std::size_t i = 0; i < sent.header().getFieldCount(); ++i) {
          const std::string_view field = qv::trimmed(sent.header().getFieldName(i));
          EXPECT_FALSE(qv::equalsNoCase(field, name)) << header << name;
        }
      }
      // The block is as long as it says, a line each.
      const std::string body(answer->getBody());
      EXPECT_EQ(body.find("<script"), std::string::npos) << body;
      const std::size_t from = body.find("-----\n");
      if (from != std::string::npos) EXPECT_EQ(body.find("\nSubject: "), body.rfind("\nSubject: ")) << body;
    }
  }
}

TEST_F(ReplyTest, patternsAreAppliedInTheirOrder) {
  ReplacePatterns patterns;
  for (const auto& [pattern, with] : {std::pair("a", "b"), std::pair("bb", "c"), std::pair("a", "bb"),
                                      std::pair("x\ny", ""), std::pair("A", "")}) {
    patterns.set(pattern, with);
  }
  ASSERT_EQ(patterns.count(), 4U);
  EXPECT_EQ(patterns.at(2)->name().view(), "x\ny");
  EXPECT_EQ(patterns.find("a")->value().view(), "bb");
  EXPECT_EQ(patterns.find("c"), nullptr);
  EXPECT_EQ(patterns.at(4), nullptr);
  const struct {
    std::string_view body, result;
  } rows[] = {
      {"", ""},
      {"bbb", "cb"},
      {"aab", "bbbbb"},  // what "a" puts in is not seen by "bb" before it
      {"Ax\nyA", ""},
      {"xx\nyy", "xy"},  // what is left is not searched again
      {"\xFF\0a"sv, "\xFF\0bb"sv},
  };
  for (const auto& row : rows) {
    const auto email = newEmail();
    email->body().setRaw(row.body);
    email->applyReplacePatterns(patterns);
    EXPECT_EQ(email->getBody(), row.result);
  }
}

TEST_F(ReplyTest, patternsReachEveryTextAndEveryPerson) {
  const auto source = newEmail();
  source->setFrom("\"NAME's office\" <NAME@h>");
  source->setSubject("for NAME");
  source->addTo("NAME", "NAME.b@h");
  source->addTo("other", "c@h");
  source->addCc("", "NAME.d@h");
  source->addBcc("NAME", "NAME.e@h");
  source->setHeaderField("X-Name", "NAME");
  source->setHeaderField("QVX-FileDistList", "/NAME");
  source->sendSecurity().encryptCert = "cert";
  source->setBody("Dear NAME,\r\nname NAMENAME", false);
  source->addAlternativePart(source->newBodyPart("<b>NAME</b>", true));
  qv_test::addAttachment(*source, "NAME.bin", "NAME");
  auto text = qv_test::attachment("NAME.csv", "NAME;");
  text->setContentType("TEXT/csv", "NAME.csv");
  source->addPart(std::move(text));
  const std::string before = written(*source) + people(*source);

  ReplacePatterns patterns;
  patterns.set("NAME", "Ann");
  const auto copy = source->copyForSending(patterns);
  EXPECT_EQ(written(*source) + people(*source), before);
  EXPECT_EQ(people(*copy),
            "from \"Ann's office\" <Ann@h>; to \"Ann\" <Ann.b@h> \"other\" <c@h>; cc Ann.d@h; "
            "bcc \"Ann\" <Ann.e@h>");
  EXPECT_EQ(dump(*copy),
            "mixed(alternative(plain=Dear Ann,\r\nname AnnAnn html=<b>Ann</b>) file=NAME csv=Ann;)");
  EXPECT_EQ(copy->getSubject(), "for Ann");
  EXPECT_EQ(copy->getHeaderField("From"), "\"Ann's office\" <Ann@h>");
  EXPECT_EQ(copy->getHeaderField("To"), "\"Ann\" <Ann.b@h>,\r\n \"other\" <c@h>");
  EXPECT_EQ(copy->getHeaderField("Cc"), "Ann.d@h");
  EXPECT_EQ(copy->getHeaderField("X-Name"), "NAME");
  EXPECT_EQ(copy->getHeaderField("QVX-FileDistList"), "/NAME");
  EXPECT_EQ(copy->sendSecurity().encryptCert.view(), "cert");
  EXPECT_EQ(copy->addMultipleTo("ann.B@H"), 1U);
  EXPECT_EQ(copy->numTo(), 2U) << "is there already";

  // Nothing found, nothing touched.
  ReplacePatterns none;
  none.set("nowhere", "x");
  EXPECT_EQ(dumpHeader(source->copyForSending(none)->header()), dumpHeader(source->header()));
}

// Line breaks that a pattern brings into a field stay inside it.
TEST_F(ReplyTest, noPatternBreaksOutOfItsField) {
  const auto source = newEmail();
  source->setFrom("\"N\" <a@h>");
  source->addTo("N", "N@h");
  source->setSubject("N");
  for (const std::string& with :
       {"x\r\nBcc: spy@h\r\n\r\n"s, "\n\n"s, "\r"s, "\0"s, "=?x?Q?=0D=0ABcc:_a?="s, ""s}) {
    ReplacePatterns patterns;
    patterns.set("N", with);
    const auto copy = source->copyForSending(patterns);
    EXPECT_EQ(qv_test::shapeReadBack(*copy), qv_test::shape(*copy));
    EXPECT_FALSE(read(written(*copy, "QVX-"))->header().hasField("Bcc"));
  }
}

TEST_F(ReplyTest, costIsLinear) {
  const auto inBody = [](std::size_t n, std::string_view unit) {
    auto email = std::make_unique<Email>(nullptr);
    std::string text;
    while (text.size() < n) text += unit;
    email->setBody(text, false);
    return email;
  };
  ReplacePatterns patterns;
  patterns.set("ab", "a");
  patterns.set("aaaaaaaab", "x");
  for (const std::string_view unit : {"ab", "aaaaaaa", "<body "}) {
    EXPECT_LT(qv_test::costOfTwice(
                  2'000'000, [&](std::size_t n) { return inBody(n, unit); },
                  [&](const auto& email) { email->copyForSending(patterns); }),
              3)
        << unit;
  }
  const auto withPeople = [](std::size_t n) {
    std::string header = "From: a@h\r\nTo: ";
    for (std::size_t i = 0; i < n; ++i)
      header += "ab" + std::to_string(i) + " <ab" + std::to_string(i) + "@h>, ";
    return read(header + "\r\nContent-Type: text/html\r\n\r\n" + std::string(n, '<'));
  };
  EXPECT_LT(qv_test::costOfTwice(20'000, withPeople,
                                 [&](const auto& email) {
                                   const auto answer = email->copyForSending(patterns);
                                   answer->makeReply();
                                 }),
            3);
}

TEST_F(ReplyTest, deepTreesNeedNoDeepStack) {
  std::string text = "From: a@h\r\n";
  const std::size_t depth = 100'000;
  for (std::size_t i = 0; i < depth; ++i) {
    const std::string boundary = "b" + std::to_string(i) + "_";
    text += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  text += "Content-Type: text/plain\r\n\r\nN\r\n";
  qv_test::runOnSmallStack([&] {
    ReplacePatterns patterns;
    patterns.set("N", "x");
    const auto source = read(text);
    const auto answer = source->copyForSending(patterns);
    answer->makeForward();
    EXPECT_EQ(answer->getSubject(), "FW:");
  });
}

}  // namespace

#include "email/email_xml.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "email/email_fixture.h"
#include "email/email_reader.h"
#include "mime/limits.h"
#include "support/linear_cost.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::Email;
using qv::StringBuffer;

namespace {

class EmailXmlTest : public qv_test::EmailTest {};

std::string xmlOf(const Email& email) {
  StringBuffer out;
  qv::writeEmailXml(email, out);
  return out.str();
}

std::vector<std::unique_ptr<Email>> read(std::string_view text, qv::CLog* log = nullptr) {
  std::vector<std::unique_ptr<Email>> emails;
  qv::readEmailsXml(text, log, [&](std::unique_ptr<Email> email) { emails.push_back(std::move(email)); });
  return emails;
}

std::unique_ptr<Email> received(std::string_view text) {
  return qv::createFromMimeText(text, {.keepPrivateFields = true}, nullptr);
}

TEST_F(EmailXmlTest, writesANewEmail) {
  Email email(nullptr);
  email.setFrom("Ann <ann@example.org>");
  email.addTo("Bob & Carol", "bob@example.org");
  email.addBcc("", "secret@example.org");
  email.setHeaderField("QVX-FileDistList", "/list");
  email.setSubject("Hello & bye");
  email.setBody("Hello", false);
  EXPECT_EQ(xmlOf(email), R"(<mime_message>
<header>
<mime-version>1.0</mime-version>
<date>Tue, 05 Mar 2002 19:03:07 +0000</date>
<message-id>
&lt;QUORVEL-MID-abc0001d-eeee-4fff-8000-111122223333@mail.example&gt;
</message-id>
<content-type charset="us-ascii">
text/plain
</content-type>
<content-transfer-encoding>7bit</content-transfer-encoding>
<x-mailer>)" + std::string(qv::defaultMailer()) +
                              R"(</x-mailer>
<x-priority>3 (Normal)</x-priority>
<from>
<address>
	<addr>ann@example.org</addr>
	<name>Ann</name>
</address>
</from>
<to>
<address>
	<addr>bob@example.org</addr>
	<name>Bob &amp; Carol</name>
</address>
</to>
<qvx-filedistlist>/list</qvx-filedistlist>
<subject>Hello &amp; bye</subject>
</header>
<body>
Hello
</body>
</mime_message>
)");
  StringBuffer untouched("x");
  qv::writeEmailXml(*Email::withoutFields(nullptr), untouched);
  EXPECT_EQ(untouched, "x"sv);
}

/// The encoding that a document names.
std::string encoding(std::string_view document) {
  constexpr std::string_view kBefore = "<?xml version=\"1.0\" encoding=\"", kAfter = "\" ?>\n<";
  EXPECT_TRUE(document.starts_with(kBefore)) << document;
  document.remove_prefix(kBefore.size());
  return std::string(document.substr(0, document.find(kAfter)));
}

/// An e-mail of a charset; behind '+', one that was received with UTF-8 encoded words.
std::unique_ptr<Email> ofCharset(std::string_view charset) {
  const bool utf8 = charset.starts_with('+');
  if (utf8) charset.remove_prefix(1);
  std::string text = utf8 ? "Subject: =?UTF-8?B?w6k=?=\r\n" : "";
  text += "Content-Type: text/plain; charset=\"" + std::string(charset) + "\"\r\n\r\nx";
  return received(text);
}

TEST_F(EmailXmlTest, namesTheEncoding) {
  const struct {
    std::vector<std::string_view> charsets;
    std::string_view encoding;  ///< of a bundle
    std::string_view ofFirst;   ///< of the first e-mail's own document
  } rows[] = {
      {{"us-ascii"}, "ISO-8859-1", "ISO-8859-1"},
      {{""}, "ISO-8859-1", "ISO-8859-1"},
      {{"iso-2022-jp"}, "iso-2022-jp", "iso-2022-jp"},
      {{"utf-8"}, "ISO-8859-1", "utf-8"},
      {{"iso-8859-1"}, "ISO-8859-1", "iso-8859-1"},
      {{"+us-ascii"}, "utf-8", "utf-8"},
      {{"+iso-2022-jp"}, "utf-8", "utf-8"},
      {{"us-ascii", "Windows-1252"}, "windows-1252", "ISO-8859-1"},
      {{"koi8-r", "windows-1252"}, "koi8-r", "koi8-r"},
      {{"koi8-r", "+us-ascii"}, "koi8-r", "koi8-r"},
      {{"utf-8", "+us-ascii", "koi8-r"}, "utf-8", "utf-8"},
      {{"x' ?><evil/>", "koi8-r"}, "koi8-r", "ISO-8859-1"},
      {{"8bit"}, "ISO-8859-1", "ISO-8859-1"},
  };
  for (const auto& row : rows) {
    std::vector<std::unique_ptr<Email>> emails;
    std::vector<const Email*> list;
    for (const std::string_view charset : row.charsets) {
      emails.push_back(ofCharset(charset));
      list.push_back(emails.back().get());
    }
    EXPECT_EQ(encoding(qv::bundleXmlDocument(list)), row.encoding) << row.charsets[0];
    EXPECT_EQ(encoding(qv::emailXmlDocument(*emails[0])), row.ofFirst) << row.charsets[0];
  }
}

TEST_F(EmailXmlTest, writesBundles) {
  const auto first = received("A: 1\r\n\r\none\r\nline"), second = received("B: 2\r\n\r\ntwo");
  const std::vector<const Email*> list{first.get(), second.get(), first.get()};
  StringBuffer xml("x");
  qv::writeBundleXml(list, xml);
  EXPECT_EQ(xml.str(),
            "x<email_bundle>\n" + xmlOf(*first) + xmlOf(*second) + xmlOf(*first) + "</email_bundle>\n");
  const std::string document = qv::bundleXmlDocument(list).str();
  EXPECT_EQ(document, "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" ?>\n" + xml.str().substr(1));
  EXPECT_NE(document.find("one\r\nline"), std::string::npos);
  const auto emails = read(document);
  ASSERT_EQ(emails.size(), 3U);
  EXPECT_EQ(emails[1]->getHeaderField("B"), "2");
  EXPECT_EQ(emails[2]->getBody(), "one\r\nline");

  EXPECT_EQ(qv::bundleXmlDocument({}),
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\" ?>\n<email_bundle>\n</email_bundle>\n"sv);
  // One e-mail's document has LF line ends.
  EXPECT_EQ(qv::emailXmlDocument(*first).str().substr(45),
            "<mime_message>\n<header>\n<a>1</a>\n</header>\n<body>\n<![CDATA[one\nline]]>\n</body>\n</"
            "mime_message>\n");
}

TEST_F(EmailXmlTest, readsBackWhatATextCarries) {
  Email email(nullptr);
  email.setFrom("Ann <ann@example.org>");
  email.addTo("Smith, Joe", "joe@example.org");
  email.addTo("", "bob@example.org");
  email.addCc("J\xF6rg", "joerg@example.org");
  email.addBcc("", "secret@example.org");
  email.setHeaderField("QVX-FileDistList", "/list");
  email.setSubject("Caf\xE9");
  email.setBody("Plain ]]> text\r\n", false);
  Email::convertToAlternative(email);
  email.addAlternativePart(email.newBodyPart("<html><body>&lt;<![CDATA[ ]]></body></html>\r\n", true));
  const std::string bytes = "\0\x01\xFF]]>\r\n"s;
  qv_test::addAttachment(email, "a b.bin", bytes);

  const auto emails = read(qv::emailXmlDocument(email));
  ASSERT_EQ(emails.size(), 1U);
  Email& again = *emails[0];
  EXPECT_EQ(again.getFrom(), "\"Ann\" <ann@example.org>"sv);
  ASSERT_EQ(again.numTo(), 2U);
  EXPECT_EQ(again.getTo(0), "\"Smith, Joe\" <joe@example.org>"sv);
  EXPECT_EQ(again.getTo(1), "bob@example.org"sv);
  EXPECT_EQ(again.getCc(0), "\"J\xF6rg\" <joerg@example.org>"sv);
  EXPECT_EQ(again.numBcc(), 0U);
  EXPECT_EQ(again.getSubject(), "Caf\xE9");
  EXPECT_EQ(again.getHeaderField("QVX-FileDistList"), "/list");
  EXPECT_EQ(again.emailDate().second, 7);
  EXPECT_EQ(again.getHeaderFieldName(0), "mime-version");
  EXPECT_EQ(again.numHeaderFields(), email.numHeaderFields());
  // Its own bodies only: the multiparts' are a line of words. Those written as they are have LF line ends.
  EXPECT_EQ(again.contentType(), "multipart/mixed");
  const Email& texts = *again.parts().at(0);
  EXPECT_EQ(texts.contentType(), "multipart/alternative");
  EXPECT_EQ(texts.parts().at(0)->getBody(), "Plain ]]> text\n");
  EXPECT_EQ(texts.parts().at(1)->getBody(), "<html><body>&lt;<![CDATA[ ]]></body></html>\n");
  ASSERT_EQ(again.numAttachments(), 1U);
  EXPECT_EQ(again.getAttachment(0)->filename(), "a b.bin");
  EXPECT_EQ(again.getAttachment(0)->body().data().view(), bytes);
}

// Each stands on a line of its own in the text, of which a header has only so many when it is somebody
// else's.
TEST_F(EmailXmlTest, keepsEveryRecipient) {
  Email email(nullptr);
  email.setFrom("Ann <ann@example.org>");
  constexpr std::size_t kRecipients = 5 * qv::kMaxHeaderLines;
  for (std::size_t i = 0; i < kRecipients; ++i) {
    email.addTo("Name, " + std::to_string(i), "to" + std::to_string(i) + "@example.org");
    email.addCc("", "cc" + std::to_string(i) + "@example.org");
  }
  email.setSubject("to many");
  email.setBody("Hello", false);
  qv_test::addAttachment(email, "a.bin", "x");
  const auto once = read(qv::emailXmlDocument(email));
  ASSERT_EQ(once.size(), 1U);
  const auto twice = read(xmlOf(*once[0]));  // of a field that is one line now
  ASSERT_EQ(twice.size(), 1U);
  for (const Email* again : {once[0].get(), twice[0].get()}) {
    EXPECT_EQ(again->getSubject(), "to many");
    EXPECT_EQ(again->numAttachments(), 1U);
    ASSERT_EQ(again->numTo(), kRecipients);
    ASSERT_EQ(again->numCc(), kRecipients);
    for (std::size_t i = 0; i < kRecipients; ++i) {
      ASSERT_EQ(again->getTo(i), email.getTo(i));
      ASSERT_EQ(again->getCc(i), email.getCc(i));
    }
  }
}

// A mail cannot put elements, or a second message, into the document.
TEST_F(EmailXmlTest, isOneMessageWhateverTheMailHolds) {
  const std::string evil =
      "</body></mime_message><mime_message><header><qvx-filedistlist>/etc/passwd</qvx-filedistlist></header>"
      "<body>x</body></mime_message>";
  const std::string texts[] = {
      "A: 1\r\n\r\n" + evil,
      "A: 1\r\n\r\n]]>" + evil,
      "A: 1\r\n\r\n<![CDATA[x]]>" + evil,
      "A: 1\r\n\r\nx<![CDATA[>" + evil + "]]>",
      "A: 1\r\n\r\n<!--" + evil,
      "A: 1\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n]]>" + evil,
      "A: </a></header>" + evil + "\r\n\r\nx",
      "A: 1; b=\">" + evil + "\r\n\r\nx",
      "A: 1; b" + evil + "=2\r\n\r\nx",
      "A><" + evil + ": 1\r\n\r\nx",
      "From: \"<\" <a@h>" + evil + "\r\nTo: " + evil + "\r\nCc: " + evil + "@h\r\nA: 1\r\n\r\nx",
      "Received: from " + evil + " by \"" + evil + "\r\nA: 1\r\n\r\nx",
      "Content-Type: text/plain; charset=\"us' ?>" + evil + "<x y='\"\r\nA: 1\r\n\r\nx",
      "A: 1=?x?Q?=0D=0A=0D=0A?=" + evil + "\r\n\r\nx",
  };
  for (const std::string& text : texts) {
    const auto email = received(text);
    const std::vector<const Email*> list{email.get(), email.get()};
    const auto one = read(qv::emailXmlDocument(*email)), two = read(qv::bundleXmlDocument(list));
    ASSERT_EQ(one.size(), 1U) << text;
    ASSERT_EQ(two.size(), 2U) << text;
    for (const auto* again : {one[0].get(), two[1].get()}) {
      EXPECT_EQ(again->getHeaderField("QVX-FileDistList"), "") << text;
      EXPECT_EQ(again->parts().size(), 0U) << text;
      EXPECT_LE(again->numHeaderFields(), email->numHeaderFields()) << text;
    }
  }
}

TEST_F(EmailXmlTest, readsDocuments) {
  const auto count = [&](std::string_view text) -> int {
    int emails = 0;
    const bool found = qv::readEmailsXml(text, log_.get(), [&](auto) { ++emails; });
    return found ? emails : -1;
  };
  EXPECT_EQ(count("no document"), -1);
  EXPECT_EQ(count("<x/>"), 0);
  EXPECT_EQ(count("<x><mime_message><header/><body/></mime_message><mime_message/></x>"), 1);
  // Control bytes are passed over, wherever they stand.
  const auto emails = read(
      "<mime_mess\0age><header><a>1\x0B\x1F</a></header><body><![\x01"
      "CDATA[x\0y\r\n\t\x7F\xFF]]></body></mime_message>"sv,
      log_.get());
  ASSERT_EQ(emails.size(), 1U);
  EXPECT_EQ(emails[0]->getHeaderField("A"), "1");
  EXPECT_EQ(emails[0]->getBody(), "xy\r\n\t\x7F\xFF");
  EXPECT_EQ(emails[0]->log(), log_.get());
  EXPECT_EQ(emails[0]->origination(), qv::Origination::unknown);
}

// The examples of docs/xml.md are documents that are written like this.
TEST_F(EmailXmlTest, writesWhatTheDocumentationShows) {
  std::ifstream file(QUORVEL_TEST_DATA "/../../docs/xml.md", std::ios::binary);
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  constexpr std::string_view kBefore = "```xml\n", kAfter = "```\n";
  std::size_t count = 0;
  for (std::size_t at = 0; (at = page.find(kBefore, at)) != std::string::npos; ++count) {
    at += kBefore.size();
    const std::string shown = page.substr(at, page.find(kAfter, at) - at);
    const auto emails = read(shown);
    std::vector<const Email*> list;
    for (const auto& email : emails) list.push_back(email.get());
    const bool isBundle = shown.find("<email_bundle>") != std::string::npos;
    ASSERT_EQ(list.size(), isBundle ? 2U : 1U);
    StringBuffer document = isBundle ? qv::bundleXmlDocument(list) : qv::emailXmlDocument(*list[0]);
    document.removeAll('\r');
    EXPECT_EQ(document.str(), shown);
  }
  EXPECT_EQ(count, 2U);
}

TEST_F(EmailXmlTest, costsInProportionToItsText) {
  const auto bundle = [](std::size_t n) {
    std::vector<std::unique_ptr<Email>> emails;
    for (std::size_t i = 0; i < n; ++i) emails.push_back(received("A: 1\r\nTo: a@h\r\n\r\nx"));
    return emails;
  };
  const auto roundTrip = [](const std::vector<std::unique_ptr<Email>>& emails) {
    std::vector<const Email*> list;
    for (const auto& email : emails) list.push_back(email.get());
    EXPECT_EQ(read(qv::bundleXmlDocument(list)).size(), list.size());
  };
  EXPECT_LT(qv_test::costOfTwice(1'000, bundle, roundTrip), 3);
  const auto lines = [](std::size_t n) {
    std::string text = "A: 1\r\n\r\n";
    for (std::size_t i = 0; i < n; ++i) text += "]]>\r\n";
    return received(text);
  };
  const auto document = [](const std::unique_ptr<Email>& email) { read(qv::emailXmlDocument(*email)); };
  EXPECT_LT(qv_test::costOfTwice(50'000, lines, document), 3);
}

}  // namespace

#include "mime/mime_xml.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "../../fuzz/xml_laws.h"
#include "mime/limits.h"
#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/short_texts.h"
#include "support/small_stack.h"
#include "support/tree_dump.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::MimeMessage2;
using qv::StringBuffer;
using qv_test::dumpHeader;
using qv_test::dumpTree;
using qv_test::shown;

namespace {

std::unique_ptr<MimeMessage2> parsed(std::string_view text) {
  auto message = std::make_unique<MimeMessage2>(nullptr);
  message->parseMime(text);
  return message;
}

std::string written(const MimeMessage2& entity) {
  StringBuffer out;
  qv::writeEntityXml(entity, out);
  return out.str();
}

/// The elements of a header text.
std::string headerXml(std::string_view text) {
  const auto message = parsed(text);
  StringBuffer out("before");
  qv::writeHeaderXml(*message, out);
  constexpr std::string_view kBefore = "before<header>\n", kAfter = "</header>\n";
  EXPECT_TRUE(out.view().starts_with(kBefore) && out.view().ends_with(kAfter)) << out;
  return out.str().substr(kBefore.size(), out.size() - kBefore.size() - kAfter.size());
}

struct Row {
  std::string_view text;
  std::string_view xml;
};

std::string repeated(std::string_view piece, std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text += piece;
  return text;
}

TEST(MimeXmlWriter, writesFields) {
  const Row rows[] = {
      {"Subject: Hello & bye", "<subject>Hello &amp; bye</subject>\n"},
      {"X-A: <\"x\">", "<x-a>&lt;\"x\"&gt;</x-a>\n"},
      {"X-A: 1\r\nX-A:2", "<x-a>1</x-a>\n<x-a>2</x-a>\n"},
      {"Content-Type: text/plain; charset=\"US-ASCII\"",
       "<content-type charset=\"US-ASCII\">\ntext/plain\n</content-type>\n"},
      {"Content-Type: Text/HTML;Charset = x ; NAME=\"A; b=c\";",  // the value's blank stays
       "<content-type charset=\"x \" name=\"A; b=c\">\ntext/html\n</content-type>\n"},
      {"Message-ID: <A@h>", "<message-id>\n&lt;A@h&gt;\n</message-id>\n"},
      {"X-A: 1; b=<\"&\">", "<x-a b=\"&lt;&amp;&gt;\">1</x-a>\n"},
      {"X-A: 1;; b==2; b=3", "<x-a b=\"2\" b=\"3\">1</x-a>\n"},
      {"Date: Tue, 5 Nov 2002 14:03:09", "<date>Tue, 5 Nov 2002 14:03:09</date>\n"},
      {"X-A: ;b=1", "<x-a b=\"1\"></x-a>\n"},
      {"X-A:: \t:1", "<x-a>1</x-a>\n"},
      // What is no parameter goes to the content.
      {"Subject: A; B c; d=e; F", "<subject d=\"e\">A; b; c;f</subject>\n"},
      {"Subject: a;B;C", "<subject>a; b;c</subject>\n"},
      {"Subject: a; b; C", "<subject>a; b;c</subject>\n"},
      {"Subject: ; b", "<subject>; b</subject>\n"},
      {"Subject: a; x@y=1; p/q=2; (c)=3; e=", "<subject>a; x@y; p/q; (c); e</subject>\n"},
      {"Subject: a; <b>=1; c&d=2; e'f=3; \"g h\"=4; =5",
       "<subject>a; &lt;b&gt;; c&amp;d; e'f; \"g h\"; =5</subject>\n"},
      {"Subject: a; B\"C D\"E \"F", "<subject>a; b\"C D\"e; \"f</subject>\n"},
      {"X-A: a;=<foo>; =;b=1", "<x-a b=\"1\">a; =&lt;foo&gt;</x-a>\n"},
      {"Content-Type: a; B", "<content-type>\na; b\n</content-type>\n"},
      {"X-A: 1; Tue, 5 Nov 2002; tue, 5", "<x-a date=\"Tue, 5 Nov 2002\">1; tue,; 5</x-a>\n"},
      // Quotes.
      {"X-A: \"a;b\"; c=d\"e;f\"g", "<x-a c=\"de;fg\">\"a;b\"</x-a>\n"},
      {"Subject: 5\" disk; a=1\r\nX-B: \"c\"", "<subject a=\"1\">5\" disk</subject>\n<x-b>\"c\"</x-b>\n"},
      {"X-A: 1; a=\"b\"c\"", "<x-a a=\"bc&quot;\">1</x-a>\n"},
      {"X-A: <[[0]]>; a=\"b\"", "<x-a a=\"b\">&lt;[[0]]&gt;</x-a>\n"},
      // A line break that came out of an encoded word is a fold.
      {"X-A: 1=?x?Q?=0D=0A?=b=2", "<x-a b=\"2\">1</x-a>\n"},
      {"X-A: 1; b=2;=?x?Q?=0D=0A?=c=3", "<x-a b=\"2\" c=\"3\">1</x-a>\n"},
      {"X-A: \"1=?x?Q?=0D=0A?=\"; b=\"2=?x?Q?=0D=0A?=3\"", "<x-a b=\"2 3\">\"1\r\n \"</x-a>\n"},
      {"X-A: a\x01=?x?Q?=00=1F?=b; c=d\x02", "<x-a c=\"d\">ab</x-a>\n"},
      // Names.
      {"X-A : 1\r\nx y: 2", "<x-a>1</x-a>\n<x_y>2</x_y>\n"},
      {"<a>: 1\r\nq/vx-a: 2\r\n?b: 3\r\n!c: 4\r\nd=\"e&: 5",
       "<_a_>1</_a_>\n<q_vx-a>2</q_vx-a>\n<_b>3</_b>\n<_c>4</_c>\n<d__e_>5</d__e_>\n"},
      {": 1\r\nX-A: 2", "<x-a>2</x-a>\n"},
      {"no colon\r\nX-A: 2", "<no_colon></no_colon>\n<x-a>2</x-a>\n"},
      {"Tue, 5 Nov 2002 14:03:09; x=1", "<date x=\"1\">Tue, 5 Nov 2002 14:03:09</date>\n"},
      {"monday, then\r\nTuesday: 1", "<date>monday, then</date>\n<tuesday>1</tuesday>\n"},
      {"", ""},
  };
  for (const Row& row : rows) EXPECT_EQ(headerXml(row.text), row.xml) << shown(row.text);
}

TEST(MimeXmlWriter, writesAddresses) {
  const std::string joe = "<address>\n\t<addr>joe@h</addr>\n\t<name>Joe &amp; co</name>\n</address>";
  const std::string bare = "<address>\n\t<addr>b@h</addr>\n\t<name/>\n</address>";
  const struct {
    std::string_view text;
    std::string xml;
  } rows[] = {
      {"From: Joe & co <joe@h>", "<from>\n" + joe + "\n</from>\n"},
      {"SENDER: \"Joe & co\" <joe@h>; x=1", "<sender x=\"1\">\n" + joe + "\n</sender>\n"},
      {"Reply-To: b@h\r\nReturn-Path: <b@h>",
       "<reply-to>\n" + bare + "\n</reply-to>\n<return-path>\n" + bare + "\n</return-path>\n"},
      {"From: Joe <& co>", "<from>\nJoe &lt;&amp; co&gt;\n</from>\n"},
      {"To: Joe & co <joe@h>, b@h, B@H", "<to>\n" + joe + bare + "\n</to>\n"},
      {"x-rcpt-to: b@h\r\nCC: b@h", "<x-rcpt-to>\n" + bare + "\n</x-rcpt-to>\n<cc>\n" + bare + "\n</cc>\n"},
      {"To: undisclosed-recipients:;", "<to>\n<description>undisclosed-recipients:</description>\n</to>\n"},
      {"To: <nobody>, \"&\"", "<to>\n<description>&lt;nobody&gt;, \"&amp;\"</description>\n</to>\n"},
      {"Cc: b@h; <evil>", "<cc>\n" + bare + "; &lt;evil&gt;\n</cc>\n"},
      {"From: b\x01@h", "<from>\n" + bare + "\n</from>\n"},
      {"Bcc: b@h", "<bcc>b@h</bcc>\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(headerXml(row.text), row.xml) << row.text;
}

TEST(MimeXmlWriter, splitsReceived) {
  const Row rows[] = {
      {"from a.h by b.h with SMTP; 5 Nov 2002", " from=\"a.h\" by=\"b.h\" with=\"SMTP 5 Nov 2002\">"},
      {"FROM=a By = b via x id <y@z> for c", " from=\"a\" by=\"b\" via=\"x\" id=\"&lt;y@z&gt;\" for=\"c\">"},
      {"(qmail 1) invoked; from a", " from=\"a\">(qmail 1) invoked;"},
      {"from a (b [1.2.3.4]) (c by d) by e", " from=\"a (b [1.2.3.4]) (c by d)\" by=\"e\">"},
      {"from a (b", " from=\"a (b\">"},
      {"from a (b )) by c", " from=\"a (b))\" by=\"c\">"},
      {"from a) by b (c) d)", " from=\"a\" by=\"b (c) d)\">"},
      {"by a; Tue, 5 Nov", " by=\"a Tue, 5 Nov\">"},
      {"by a; tue 5 Nov", " by=\"a\" date=\"tue 5 Nov\">"},
      {"by from a with", " from=\"a\">"},
      {"by a;; b; ;", " by=\"a; b\">"},
      {"x y", ">x y"},
      {"from \"a by b\" by \"c\"\"", " from=\"a by b\" by=\"c&quot;\">"},
      {"by a\x01; b=?x?Q?=0D=0A?=c; Wed, 6 Nov", " by=\"a b\" date=\"Wed, 6 Nov\">; c;"},
      {"", ">"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(headerXml("Received: " + std::string(row.text)),
              "<received" + std::string(row.xml) + "</received>\n")
        << row.text;
  }
}

TEST(MimeXmlWriter, makesFortyOneAttributes) {
  for (const int count : {41, 42, 44}) {
    std::string text = "X-A: 1", attributes, rest;
    for (int i = 0; i < count; ++i) {
      const std::string name = "b" + std::to_string(i);
      text += "; " + name + "=\"" + name + '"';
      if (i < 41) attributes += ' ' + name + "=\"" + name + '"';
      if (i >= 41) rest += "; " + name + "=\"" + name + '"';
    }
    EXPECT_EQ(headerXml(text + "\r\nX-B: 2"), "<x-a" + attributes + ">1" + rest + "</x-a>\n<x-b>2</x-b>\n");
  }
}

TEST(MimeXmlWriter, writesBodies) {
  const struct {
    std::string_view coding, body, xml;
  } rows[] = {
      {"7bit", "Hello", "Hello"},
      {"7bit", "Hello\r\nWorld", "<![CDATA[Hello\r\nWorld]]>"},
      {"7bit", "a\tb", "<![CDATA[a\tb]]>"},
      {"7bit", "a & b", "<![CDATA[a & b]]>"},
      {"7bit", "a\rb ", "a\rb "},
      {"base64", "YWJj", "<![CDATA[YWJj\r\n]]>"},
      {"base64", "", ""},
      {"quoted-printable", "a=3Db", "a=3Db"},
      {"quoted-printable", "a=3Cb>]]>", "<![CDATA[a<b>]]]]><![CDATA[>]]>"},
      {"7bit", "</body>", "<![CDATA[</body>]]>"},
      {"7bit", "a]]>b", "<![CDATA[a]]]]><![CDATA[>b]]>"},
      {"7bit", "]]>]]>", "<![CDATA[]]]]><![CDATA[>]]]]><![CDATA[>]]>"},
      {"7bit", "<![CDATA[a", "<![CDATA[<![CDATA[a]]>"},
      // Sections already, and nothing else.
      {"7bit", " <![CDATA[<a>\r\n]]> ", " <![CDATA[<a>\r\n]]> "},
      {"7bit", "a <![CDATA[b]]> c", "a <![CDATA[b]]> c"},
      // Sections, but not all.
      {"7bit", "<b><![CDATA[c]]></b>", "<![CDATA[<b><![CDATA[c]]]]><![CDATA[></b>]]>"},
      {"7bit", "<![CDATA[a]]></body>", "<![CDATA[<![CDATA[a]]]]><![CDATA[></body>]]>"},
      {"7bit", "a<![CDATA[></body>]]>", "<![CDATA[a<![CDATA[></body>]]]]><![CDATA[>]]>"},
      {"7bit", "<![CDATA[a]]><![CDATA[>]]>",
       "<![CDATA[<![CDATA[a]]]]><![CDATA[><![CDATA[>]]]]><![CDATA[>]]>"},
      {"7bit", "]]> <![CDATA[", "<![CDATA[]]]]><![CDATA[> <![CDATA[]]>"},
      {"7bit", "<![CDATA[a]]> &", "<![CDATA[<![CDATA[a]]]]><![CDATA[> &]]>"},
  };
  for (const auto& row : rows) {
    const std::string head = "Content-Transfer-Encoding: " + std::string(row.coding);
    EXPECT_EQ(written(*parsed(head + "\r\n\r\n" + std::string(row.body))),
              "<mime_message>\n<header>\n<content-transfer-encoding>" + std::string(row.coding) +
                  "</content-transfer-encoding>\n</header>\n<body>\n" + std::string(row.xml) +
                  "\n</body>\n</mime_message>\n")
        << row.body;
  }
}

TEST(MimeXmlWriter, writesTrees) {
  const auto message = parsed(
      "Content-Type: multipart/x; boundary=%%\r\n\r\npreamble\r\n--%%\r\nA: 1\r\n\r\none\r\n"
      "--%%\r\n\r\n\r\ntwo\r\n--%%\r\nContent-Type: multipart/y; boundary=##\r\n\r\n##\r\n\r\n\r\n"
      "--##--\r\n--%%--");
  const std::string type = "<content-type boundary=\"";
  EXPECT_EQ(written(*message),
            "<mime_message>\n<header>\n" + type +
                "%%\">\nmultipart/x\n</content-type>\n</header>\n<body>\n"
                "<subpart>\n<mime_message>\n<header>\n<a>1</a>\n</header>\n<body>\none\n</body>\n"
                "</mime_message></subpart>\n"
                "<subpart>\n<mime_message>\n<header>\n" +
                type +
                "##\">\nmultipart/y\n</content-type>\n</header>\n"
                "<body>\n\n</body>\n</mime_message></subpart>\n"
                "\n</body>\n</mime_message>\n");
  for (const auto text : {"", "\r\n\r\nbody", ": x\r\n\r\nbody"})
    EXPECT_EQ(written(*parsed(text)), "") << text;
}

/// "<mime_message>" with this in its header and body.
std::string document(std::string_view header, std::string_view body) {
  return "<mime_message><header>" + std::string(header) + "</header><body>" + std::string(body) +
         "</body></mime_message>";
}
std::string part(std::string_view header, std::string_view body) {
  return "<subpart>" + document(header, body) + "</subpart>";
}

std::vector<std::unique_ptr<MimeMessage2>> loaded(std::string_view text,
                                                  std::string_view tag = "mime_message",
                                                  qv::CLog* log = nullptr) {
  qv::ExtPtrArray<MimeMessage2> list;
  qv::loadMessagesFromXml(text, tag, log, list);
  std::vector<std::unique_ptr<MimeMessage2>> messages;
  while (!list.empty()) messages.push_back(list.removeAt(0));
  return messages;
}

TEST(MimeXmlReader, readsFields) {
  const Row rows[] = {
      {"<subject>Hello &amp; bye</subject>", "subject: Hello & bye"},
      {"<a>1</a><a x=\"\" =\"2\" y=\"3\">b</a><a/>", R"(a: 1 | a: b; y="3" | a:)"},
      {"<content-type charset=\"US-ASCII\" name=\"a b\">\ntext/plain\n</content-type>",
       R"(content-type: text/plain; charset="US-ASCII"; name="a b")"},
      {"<received from=\"a\" by=\"b (c)\" for=\"\">x y</received>", "received: x y from=a by=b (c)"},
      {"<received by=\"b\"/>", "received: by=b"},
      {"<from><address><addr>a@h</addr><name> A &lt;B </name></address></from>", R"(from: "A <B" <a@h>)"},
      {"<to><address><addr>a@h</addr><name/></address>x<address><addr>b@h</addr><name>B</name></address></"
       "to>",
       R"(to: <a@h>,"B" <b@h>)"},
      {"<cc><description>x</description><y><addr>a@h</addr></y><y><name>b</name><addr/></y></cc>",
       R"(cc: "b" <>)"},
      {"<sender>a@h</sender><Sender>a@h</Sender>", "sender: | Sender: a@h"},
      {"<subject>=?x?Q?=41?=</subject>", "subject: A"},
      {"<a>1\n 2</a><b>3</b>", "a: 12 | b: 3"},
      {"text", ""},
  };
  for (const Row& row : rows) {
    const auto messages = loaded(document(row.text, ""));
    ASSERT_EQ(messages.size(), 1U) << row.text;
    EXPECT_EQ(dumpHeader(messages[0]->header()), row.xml) << row.text;
  }
  EXPECT_TRUE(loaded(document("<a>=?UTF-8?Q?x?=</a>", ""))[0]->utf8Header());
  const std::string many = repeated("<address><addr>a@h</addr><name/></address>", 2 * qv::kMaxHeaderLines);
  const auto message = loaded(document("<to>" + many + "</to><subject>s</subject>", ""));
  EXPECT_EQ(message[0]->header().getHeaderField("to").size(), 2 * qv::kMaxHeaderLines * 6 - 1);
  EXPECT_EQ(message[0]->header().getHeaderField("subject"), "s");
}

TEST(MimeXmlReader, readsTrees) {
  constexpr std::string_view kMultipart = "This is a multi-part message in MIME format.";
  const std::string words = shown(kMultipart);
  const std::string a = part("<a>1</a>", "A"), b = part("<b>1</b>", "B");
  const struct {
    std::string text;
    std::string tree;
  } rows[] = {
      {document("<a>1</a>", " x\n"), "-[1]\"x\""},
      {document("<content-transfer-encoding>base64</content-transfer-encoding>", "<![CDATA[YWJj\r\n]]>"),
       "-[1]\"abc\"b"},
      {document("<content-transfer-encoding>Quoted-Printable</content-transfer-encoding>", "=41"),
       "-[1]\"A\"q"},
      {document("", a + b), "-[0]" + words + "(-[1]\"A\" -[1]\"B\")"},
      {document("<content-type boundary=\"b\">multipart/x</content-type>",
                a + "<x/>text" + part("", a) + "<subpart>" + a + "</subpart><subpart/>" + b),
       "multipart/x[1]" + words + "(-[1]\"A\" -[0]" + words + "(-[1]\"A\") -[1]\"B\")"},
      {document("", "text<x/>"), "-[0]"},
      {document("", "<subpart><mime_message><header/></mime_message></subpart>"), "-[0]"},
      {document("", "<subpart><x>" + document("", "y") + "</x></subpart>"), "-[0]"},
      {"<x>" + document("", "1") + "<y>" + document("", "2") + "</y></x>", "-[0]\"1\" -[0]\"2\""},
      {document("", part("", "1")) + document("", "2"), "-[0]\"2\""},  // of several roots the last
      {"<mime_message><header/><x>" + document("", "1") + "</x></mime_message>", ""},
      {"<Mime_message>" + document("", "1") + "</Mime_message>", "-[0]\"1\""},
      {"<mime_message><body>x</body><header/><body>y</body></mime_message>", "-[0]\"x\""},
      {"<x/>", ""},
  };
  for (const auto& row : rows) {
    std::string trees;
    for (const auto& message : loaded(row.text)) trees += (trees.empty() ? "" : " ") + dumpTree(*message);
    EXPECT_EQ(trees, row.tree) << row.text;
  }
  EXPECT_EQ(loaded("<x>" + document("", "1") + "</x>", "x").size(), 0U);
  EXPECT_EQ(loaded("<x>" + document("", "1") + "</x>", "").size(), 1U);
  qv_test::LogLines log;
  EXPECT_EQ(
      loaded("<x>" + document("", "1") + "<mime_message/>" + document("", "2") + "<mime_message><header/>",
             "mime_message", log.get())
          .size(),
      2U);
  EXPECT_TRUE(log.holds({"The XML document breaks off inside an element", "open_tag: mime_message",
                         "Messages without header or body were left out", "num_left_out: 2"}));
  EXPECT_EQ(loaded("<y><x><header/><body>" + a + "</body></x></y>", "x").size(), 1U);
}

TEST(MimeXmlReader, saysWhetherThereIsADocument) {
  qv::ExtPtrArray<MimeMessage2> list;
  qv_test::LogLines log;
  EXPECT_FALSE(qv::loadMessagesFromXml("no document <!--", "mime_message", log.get(), list));
  EXPECT_EQ(log.text(), "Unclosed comment\n");
  EXPECT_TRUE(qv::loadMessagesFromXml("<x/>", "mime_message", log.get(), list));
  EXPECT_TRUE(list.empty());
}

/// Messages inside each other.
std::string nested(std::size_t depth) {
  return repeated("<mime_message><header><a>1</a></header><body><subpart>", depth) +
         document("<a>1</a>", "x") + repeated("</subpart></body></mime_message>", depth);
}

TEST(MimeXmlReader, leavesOutWhatLiesTooDeep) {
  for (const std::size_t depth : {qv::kMaxNesting - 1, qv::kMaxNesting, qv::kMaxNesting + 1}) {
    qv_test::LogLines log;
    const auto messages = loaded(nested(depth), "mime_message", log.get());
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(laws::heightOf(*messages[0]), std::min(depth, qv::kMaxNesting));
    EXPECT_EQ(log.count("Entities that are nested too deeply were left out"),
              depth > qv::kMaxNesting ? 1U : 0U);
  }
}

/// Entities inside each other, made by hand.
std::unique_ptr<MimeMessage2> tree(std::size_t depth) {
  std::unique_ptr<MimeMessage2> top;
  for (std::size_t i = 0; i <= depth; ++i) {
    auto entity = parsed("A: 1\r\n\r\nx");
    if (top) entity->addPart(std::move(top));
    top = std::move(entity);
  }
  return top;
}

TEST(MimeXml, needsLittleStackAtAnyDepth) {
  qv_test::runOnSmallStack([] {
    constexpr std::size_t kDepth = 100'000;
    EXPECT_EQ(loaded(nested(kDepth)).size(), 1U);
    const std::string xml = written(*tree(kDepth));
    EXPECT_EQ(loaded(xml).size(), 1U);
  });
}

TEST(MimeXml, costsInProportionToItsText) {
  const auto field = [](std::string_view before, std::string_view piece) {
    return [=](std::size_t n) { return std::string(before) + repeated(piece, n) + "\r\n\r\nx"; };
  };
  const auto body = [](std::string_view piece) {
    return [=](std::size_t n) { return "A: b\r\n\r\n" + repeated(piece, n); };
  };
  const struct {
    const char* what;
    std::function<std::string(std::size_t)> make;
  } messages[] = {
      {"parameters", field("X-A: 1", "; b=c")},
      {"words", field("X-A: 1;", " b;")},
      {"quotes", field("X-A: 1;", "\"")},
      {"equals", field("X-A: 1;", "=")},
      {"received words", field("Received: ", "by a ")},
      {"received comments", field("Received: ", "( ")},
      {"received ends", field("Received: ", ");")},
      {"received quotes", field("Received: by ", "\" ")},
      {"addresses", field("To: ", "a@h, ")},
      {"folds", field("X-A: \"", "=?x?Q?=0D=0A?=;")},
      {"section ends", body("]]>")},
      {"section starts", body("<![CDATA[")},
      {"sections", body("<![CDATA[a]]>")},
      {"parts",
       [](std::size_t n) {
         return "Content-Type: multipart/x; boundary=%\r\n\r\n" + repeated("%\r\nA: b\r\n\r\nc\r\n--", n) +
                "%--";
       }},
  };
  for (const auto& row : messages) {
    const auto make = [&](std::size_t n) { return parsed(row.make(n)); };
    const auto work = [](const std::unique_ptr<MimeMessage2>& message) { written(*message); };
    EXPECT_LT(qv_test::costOfTwice(10'000, make, work), 3) << row.what;
  }
  EXPECT_LT(qv_test::costOfTwice(2'000, tree, [](const auto& top) { written(*top); }), 3);

  const struct {
    const char* what;
    std::function<std::string(std::size_t)> make;
  } documents[] = {
      {"nesting", nested},
      {"fields", [](std::size_t n) { return document(repeated("<a>1</a>", n), ""); }},
      {"attributes", [](std::size_t n) { return document("<a" + repeated(" b=\"c\"", n) + "/>", ""); }},
      {"addresses",
       [](std::size_t n) {
         return document("<to>" + repeated("<a><addr>a@h</addr><name/></a>", n) + "</to>", "");
       }},
      {"names", [](std::size_t n) { return document("<to><a>" + repeated("<name/>", n) + "</a></to>", ""); }},
      {"parts", [](std::size_t n) { return document("", repeated(part("<a>1</a>", "b"), n)); }},
      {"messages", [](std::size_t n) { return "<x>" + repeated(document("", ""), n) + "</x>"; }},
      {"others", [](std::size_t n) { return repeated("<x><y>", n) + repeated("</y><z/></x>", n); }},
  };
  for (const auto& row : documents) {
    const auto work = [](const std::string& text) { loaded(text); };
    EXPECT_LT(qv_test::costOfTwice(2'000, row.make, work), 3) << row.what;
  }
}

TEST(MimeXml, lawsHoldForAllShortFieldsAndBodies) {
  const auto check = [](const char* before) {
    return [=](const std::string& text) { laws::checkEntityXml(*parsed(before + text)); };
  };
  qv_test::forEachShortText("a;=\"<& ", 6, check("X-A: "));
  qv_test::forEachShortText("a)(;= \"", 6, check("Received: by "));
  qv_test::forEachShortText("a@h<>,\"", 6, check("To: "));
  qv_test::forEachShortText("a<>/!?: ", 5, check("X: 1\r\n"));
  std::mt19937 random(7);
  for (int i = 0; i < 100'000; ++i) {
    std::string text = "A: b\r\n\r\n";
    const std::string_view pieces[] = {"<![CDATA[", "]]>", "]", ">", "<", "&", "a", "\n", "</body>"};
    for (int n = 0; n < 8; ++n) text += pieces[random() % std::size(pieces)];
    laws::checkEntityXml(*parsed(text));
  }
}

TEST(MimeXml, lawsHoldForDocumentsCutAnywhere) {
  const auto message = parsed(
      "Received: from a by b (c); Tue, 5 Nov\r\nFrom: \"A & B\" <a@h>\r\nTo: a@h, <b@h>\r\n"
      "Content-Type: multipart/x; boundary=%\r\n\r\n%\r\nA: \"b\r\n\r\n<&>]]>\r\n--%\r\nC: d; e=\"<f>\"\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\nYWJj\r\n--%--");
  const std::string xml = "<?xml version=\"1.0\"?>" + written(*message);
  for (std::size_t size = 0; size <= xml.size(); ++size) {
    const std::vector<char> bytes = qv_test::exactly(xml.substr(0, size));
    laws::checkMimeXml(qv_test::viewOf(bytes));
    for (const char c : {'<', '>', '"', '&', '\0', '\xFF'}) {
      std::string changed = xml;
      if (size < xml.size()) changed[size] = c;
      laws::checkMimeXml(changed);
    }
  }
}

}  // namespace

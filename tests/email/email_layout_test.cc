// The shapes that composing gives a message, and how its texts are found again.
#include <functional>

#include "email_fixture.h"
#include "mime/limits.h"
#include "support/small_stack.h"

namespace {

using qv::Email;
using qv_test::addAttachment;
using qv_test::dump;
using qv_test::dumpHeader;
using qv_test::EmailTest;

void addRelated(Email& email, std::string_view bytes) {
  if (email.contentType() != "multipart/related") Email::convertToRelated(email);
  auto item = qv_test::attachment("", bytes);
  item->removeHeaderField("Content-Disposition");
  email.addPart(std::move(item));
}

// One letter an operation: t text body, h HTML body, T and H alternatives, a attachment, r related item,
// m text that looks like HTML.
void compose(Email& email, std::string_view operations) {
  for (const char c : operations) {
    if (c == 't') email.setBody("t", false);
    if (c == 'm') email.setBody("<HTML><Body>", false);
    if (c == 'h') email.setHtmlBody("<p>");
    if (c == 'T') email.addAlternativePart(email.newBodyPart("T", false));
    if (c == 'H') email.addAlternativePart(email.newBodyPart("H", true));
    if (c == 'a') addAttachment(email, "f", "a");
    if (c == 'r') addRelated(email, "r");
  }
}

TEST_F(EmailTest, layouts) {
  const struct {
    const char *operations, *tree, *body;
    std::size_t numAttachments = 0;
  } rows[] = {
      {"t", "plain=t", "t"},
      {"h", "html=<p>", "<p>"},
      {"ht", "html=t", "t"},
      {"m", "plain=<HTML><Body>", "<HTML><Body>"},
      {"taa", "mixed(plain=t file=a file=a)", "t", 2},
      {"ath", "mixed(html=<p> file=a)", "<p>", 1},
      {"tH", "alternative(plain=t html=H)", "t"},
      {"tT", "alternative(plain=T)", "T"},
      {"tHTH", "alternative(plain=T html=H)", "T"},
      {"tHm", "alternative(plain=t html=<HTML><Body>)", "t"},
      {"tHht", "alternative(plain=t html=<p>)", "t"},
      {"tHa", "mixed(alternative(plain=t html=H) file=a)", "t", 1},
      {"taH", "mixed(alternative(plain=t html=H) file=a)", "t", 1},
      {"hr", "related:text/html(html=<p> file=r)", "<p>"},
      {"trh", "related:text/html(html=<p> file=r)", "<p>"},
      {"tHr", "related:multipart/alternative(alternative(plain=t html=H) file=r)", "t"},
      {"trH", "related:multipart/alternative(alternative(plain=t html=H) file=r)", "t"},
      {"tarH", "related:multipart/mixed(mixed(alternative(plain=t html=H) file=a) file=r)", "t", 1},
      {"tart", "related:multipart/mixed(mixed(plain=t file=a) file=r)", "t", 1},
  };
  for (const auto& row : rows) {
    Email email(nullptr);
    compose(email, row.operations);
    EXPECT_EQ(dump(email), row.tree) << row.operations;
    EXPECT_EQ(email.getBody(), row.body) << row.operations;
    EXPECT_EQ(email.numAttachments(), row.numAttachments) << row.operations;
    EXPECT_EQ(qv_test::shapeReadBack(email), qv_test::shape(email)) << row.operations;
  }
}

TEST_F(EmailTest, textsKeepTheCodingOfTheirField) {
  for (const auto& [encoding, text] :
       {std::pair{"Quoted-Printable", "\r\n\r\n=3D"}, std::pair{"base64", "\r\n\r\nPQ==\r\n"},
        std::pair{"8bit", "\r\n\r\n="}}) {
    Email email(nullptr);
    email.setTransferEncoding(encoding);
    email.setBody("=", false);
    const std::string written = qv_test::written(email);
    EXPECT_EQ(written.substr(written.find("\r\n\r\n")), text);
    addAttachment(email, "f", "a");
    EXPECT_NE(qv_test::written(email).find(text), std::string::npos);
  }
}

TEST_F(EmailTest, aNewPartTakesTheTextWhereThereIsNone) {
  Email email(nullptr);
  email.setBody("t", false);
  email.setContentType("multipart/mixed");  // as read of a multipart without boundary
  email.addPart(qv_test::attachment("f", "a"));
  EXPECT_EQ(dump(email), "mixed(plain=t file=a)");
  email.parts().removeAt(0);
  email.setBody("u", false);
  EXPECT_EQ(dump(email), "mixed(plain=u file=a)");
  EXPECT_EQ(qv_test::shapeReadBack(email), qv_test::shape(email));
}

// A multipart type of the host's choice never loses the text, and never lacks a boundary.
TEST_F(EmailTest, contentTypesFromOutsideAgreeWithTheTree) {
  const struct {
    const char *operations, *field, *tree;
  } rows[] = {
      {"t", "Multipart/Mixed", "mixed(plain=t)"},
      {"t", "multipart/related; type=x; boundary=\"b\"", "related:x(plain=t)"},
      {"ta", "text/plain", "mixed(plain=t file=a)"},
      {"ta", "", "(plain=t file=a)"},
      {"ta", "multipart/x; boundary=\"=?x?q?a?=\"", "x(plain=t file=a)"},
      {"tH", "multipart/x; boundary=", "x(plain=t html=H)"},
      {"tH", "multipart/x; boundary=t", "x(plain=t html=H)"},  // in every text
      {"tH", "multipart/x; boundary=MIME", "x(plain=t html=H)"},
      {"tH", "multipart/x; boundary=\"a b\"", "x(plain=t html=H)"},
  };
  for (const auto& row : rows) {
    Email email(nullptr);
    compose(email, row.operations);
    email.addHeaderField("Content-Type", row.field);
    EXPECT_EQ(dump(email), row.tree) << row.field;
    qv::MimeMessage2 readBack(nullptr);
    readBack.parseMime(qv_test::written(email));
    EXPECT_EQ(readBack.getNumParts(), email.parts().size()) << row.field;
    EXPECT_FALSE(readBack.getBoundary().empty()) << row.field;
  }
}

TEST_F(EmailTest, charsetsReachTheText) {
  const struct {
    const char *operations, *top, *first;
  } rows[] = {{"t", "x", ""},
              {"tH", "us-ascii", "x"},
              {"ta", "us-ascii", "us-ascii"},
              {"hr", "us-ascii", "us-ascii"}};
  for (const auto& row : rows) {
    Email email(nullptr);
    compose(email, row.operations);
    email.applyCharset("x");
    EXPECT_EQ(email.charset(), row.top) << row.operations;
    if (!email.parts().empty()) EXPECT_EQ(email.parts().at(0)->charset(), row.first) << row.operations;
  }
  const auto untyped = Email::withoutFields(nullptr);
  untyped->applyCharset("x");
  EXPECT_EQ(untyped->getHeaderField("Content-Type"), "text/plain; charset=\"x\"");
}

// What is found of the alternatives: number, positions of plain and HTML, type and body at 0 and 1, log.
TEST_F(EmailTest, alternatives) {
  const struct {
    const char *operations, *found, *log;
  } rows[] = {
      {"t", "0 0 -1 text/plain=t text/plain=t",
       "Not a multipart/alternative email, nor is the body text/html|"},
      {"h", "0 -1 0 text/html=<p> text/html=<p>",
       "Not a multipart/alternative email, nor is the body text/plain|"},
      {"tarH", "2 0 1 text/plain=t text/html=H", ""},
      {"tT", "1 0 -1 text/plain=T -",
       "No text/html alternative body found|"
       "Failed to get alternative content type, index out of range|index: 1|"
       "Failed to get alternative body, index out of range|index: 1|"},
  };
  for (const auto& row : rows) {
    log_.clear();
    Email email(log_.get());
    compose(email, row.operations);
    std::string found = std::to_string(email.numAlternatives()) + ' ' +
                        std::to_string(email.plainTextAlternativeIndex()) + ' ' +
                        std::to_string(email.htmlAlternativeIndex());
    for (std::size_t i = 0; i < 2; ++i) {
      qv::StringBuffer type, body;
      const bool hasType = email.getAlternativeContentType(i, type);
      EXPECT_EQ(email.getAlternativeBody(i, body), hasType);
      found += hasType ? ' ' + type.str() + '=' + body.str() : " -";
    }
    EXPECT_EQ(found, row.found) << row.operations;
    std::string entries;
    for (const std::string& line : log_.lines()) entries += line + '|';
    EXPECT_EQ(entries, row.log) << row.operations;
  }
}

TEST_F(EmailTest, treesGrowToTheNestingLimitOnly) {
  qv_test::runOnSmallStack([this] {
    Email email(log_.get());
    email.setBody("t", false);
    std::size_t depth = 0;
    while (depth <= qv::kMaxNesting && Email::convertToMixed(email)) ++depth;
    EXPECT_EQ(depth, qv::kMaxNesting);
    EXPECT_FALSE(Email::convertToRelated(email));
    EXPECT_FALSE(Email::convertToAlternative(*email.parts().at(0), 1));
    EXPECT_EQ(log_.count("The e-mail is nested too deeply."), 3u);

    email.setLog(nullptr);
    EXPECT_EQ(email.parts().at(0)->log(), nullptr);
    EXPECT_GT(email.size(), depth * 60);
    qv::MimeMessage2 readBack(nullptr);
    readBack.parseMime(qv_test::written(email));
    const qv::MimeMessage2* entity = &readBack;
    for (; entity->getNumParts() == 1; --depth) entity = entity->getPart(0);
    EXPECT_EQ(depth, 0u);
    EXPECT_EQ(entity->body().data().view(), "t");
  });
  qv_test::runOnSmallStack([] {  // no tree is too deep to be deleted
    auto top = Email::newEmptyPart(nullptr);
    for (int i = 0; i < 100000; ++i) {
      auto parent = Email::withoutFields(nullptr);
      parent->parts().append(std::move(top));
      top = std::move(parent);
    }
    top.reset();
  });
}

}  // namespace

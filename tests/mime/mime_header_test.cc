#include "mime/mime_header.h"

#include <gtest/gtest.h>

#include <string>

#include "../../fuzz/laws.h"
#include "mime/limits.h"
#include "support/linear_cost.h"
#include "support/short_texts.h"
#include "support/tree_dump.h"

namespace {

using qv::MimeHeader;
using qv_test::dumpHeader;
using qv_test::shown;
using std::string_literals::operator""s;

MimeHeader parsed(std::string_view text) {
  MimeHeader header;
  bool utf8 = false;
  header.parseHeader(text, utf8);
  return header;
}

std::string written(const MimeHeader& header, std::string_view excludePrefix = {}) {
  qv::StringBuffer out;
  header.writeHeader(out, excludePrefix);
  return out.str();
}

TEST(MimeHeader, readsBlocks) {
  const struct {
    std::string text;
    const char* fields;
    bool utf8 = false;
  } rows[] = {
      {"Subject: Hello\r\n World\r\n", "Subject: HelloWorld"},
      {"X-A: 1\nX-B: 2\n\nbody", "X-A: 1 | X-B: 2"},
      {"X-A: 1\r\n\r\nX-B: 2", "X-A: 1"},
      {"\r\nX-A: 1\r\n\r\nbody", "X-A: 1"},  // an empty first line has no break before it
      {"\r\n\r\nX-A: 1", ""},
      {"X-A: 1\n\r\r\nX-B: 2", "X-A: 1"},  // CRs that are not line breaks do not exist
      {"X-A: 1\r\r\nX-B\r: 2\r", "X-A: 1 | X-B: 2"},
      {"X-A: 1\r\n\t \r\n \t b\r\n", "X-A: 1b"},  // a line of blanks goes on with the field
      {" X-A: 1\r\n b", "X-A: 1b"},
      {"X-A:1\r\nX-B : 2 \r\nno colon\r\n: x", "X-A:1 | X-B : 2 | no colon | : x"},
      {"X\0Y: a\0b\r\n\0Z: c"s, "XY: a\\x00b | Z: c"},
      {"", ""},
      {"Subject: =?iso-8859-1?q?Caf=E9?=", "Subject: Caf\\xE9"},
      {"Subject: =?UTF-8?B?w6k=?=", "Subject: \\xC3\\xA9", true},
      {"Subject: =?x?q?a?=\r\n =?x?B?Yg==?=", "Subject: ab"},
      {"Subject: a =? b ?utf-8? c", "Subject: a =? b ?utf-8? c", true},
      {"=?x?q?QVX-A=3A_b?=: =?x?q?c?=", "=?x?q?QVX-A=3A_b?=: c"},  // a name is not decoded
  };
  for (const auto& row : rows) {
    MimeHeader header;
    bool utf8 = !row.utf8;
    header.parseHeader(row.text, utf8);
    EXPECT_EQ(dumpHeader(header), row.fields) << shown(row.text);
    EXPECT_EQ(utf8, row.utf8) << shown(row.text);
  }
}

TEST(MimeHeader, readsNamesAndValues) {
  const MimeHeader header = parsed("X-A: \t v \r\nx-a: second\r\nX-B : b\r\nX-C\r\nX-D:d:e\r\n");
  EXPECT_EQ(header.getHeaderField("x-a"), "v");
  EXPECT_EQ(header.getHeaderField("X-B"), "");
  EXPECT_EQ(header.getHeaderField("X-B "), "b");
  EXPECT_TRUE(header.hasField("x-c"));
  EXPECT_EQ(header.getHeaderField("X-C"), "");
  EXPECT_EQ(header.getHeaderField("X-D"), "d:e");
  EXPECT_EQ(header.getFieldName(3), "X-C");
  EXPECT_EQ(header.getFieldName(5), "");
  EXPECT_EQ(header.getField(5), nullptr);
  EXPECT_EQ(header.getExactSize(), 10U + 13U + 9U + 5U + 9U);
  EXPECT_EQ(header.getEstimatedSize(), 300U);
}

TEST(MimeHeader, readsNoMoreThanItsLimitOfLines) {
  for (const std::size_t lines : {qv::kMaxHeaderLines - 1, qv::kMaxHeaderLines, qv::kMaxHeaderLines + 1}) {
    std::string text, folded = "X: 0\r\n";
    for (std::size_t i = 0; i < lines; ++i) text += "X: " + std::to_string(i) + "\r\n";
    for (std::size_t i = 1; i < lines; ++i) folded += " 1\r\n";
    const std::size_t taken = std::min(lines, qv::kMaxHeaderLines);
    EXPECT_EQ(parsed(text).getFieldCount(), taken);
    EXPECT_EQ(parsed(folded).getHeaderField("X").size(), taken);
  }
}

TEST(MimeHeader, edits) {
  const struct {
    const char* what;
    void (*edit)(MimeHeader&);
    const char* fields;
  } rows[] = {
      {"set moves to the end", [](MimeHeader& h) { h.setHeaderField(" subject ", " x "); },
       "To: t | Cc: | subject: x"},
      {"empty removes", [](MimeHeader& h) { h.setHeaderField("SUBJECT", " \r\n"); }, "To: t | Cc:"},
      {"own texts", [](MimeHeader& h) { h.setHeaderField(h.getFieldName(0), h.getHeaderField("Subject")); },
       "To: t | Cc: | Subject: a"},
      {"remove", [](MimeHeader& h) { h.removeField(h.getFieldName(0)); }, "To: t | Cc:"},
      {"replace", [](MimeHeader& h) { EXPECT_TRUE(h.replaceInPlace("subject", h.getHeaderField("To"))); },
       "Subject: t | To: t | subject: b | Cc:"},
      {"replace nothing", [](MimeHeader& h) { EXPECT_FALSE(h.replaceInPlace("X", "v")); },
       "Subject: a | To: t | subject: b | Cc:"},
      {"empty ones", [](MimeHeader& h) { h.removeEmptyFields(); }, "Subject: a | To: t | subject: b"},
      {"merge", [](MimeHeader& h) { h.mergeFrom(parsed("A: 1\nTo: u\nA: 2\nsubject:")); },
       "Cc: | To: u | A: 2"},
      {"copy", [](MimeHeader& h) { h.copyFrom(parsed("A: 1\nA: 2")); }, "A: 1 | A: 2"},
      {"itself", [](MimeHeader& h) { h.copyFrom(h), h.mergeFrom(h); },
       "Subject: a | To: t | subject: b | Cc:"},
  };
  for (const auto& row : rows) {
    MimeHeader header = parsed("Subject: a\nTo: t\nsubject: b\nCc:");
    row.edit(header);
    EXPECT_EQ(dumpHeader(header), row.fields) << row.what;
  }
}

TEST(MimeHeader, writesWithoutPrivateFields) {
  MimeHeader header = parsed("x-mailer: a\nReceived: r\nX-Priority: 3\nno colon\nx-b : c\nX:-d");
  EXPECT_EQ(written(header), "x-mailer: a\r\nReceived: r\r\nX-Priority: 3\r\nno colon\r\nx-b : c\r\nX:-d");
  EXPECT_EQ(written(header, "X-"), "Received: r\r\nno colon\r\nX:-d");
  EXPECT_EQ(written(header, "no colon"), "x-mailer: a\r\nReceived: r\r\nX-Priority: 3\r\nx-b : c\r\nX:-d");
  EXPECT_EQ(written(MimeHeader()), "");
  qv::StringBuffer out("--b\r\n");
  EXPECT_EQ(MimeHeader().writeHeader(out), '\n');
  EXPECT_EQ(out.view(), "--b\r\n") << "what stood there is not the header's";

  for (const std::string& name : {" QVX-Dist"s, "\0QVX-Dist"s, "QV\0X-Dist"s, "QV\r\nX-Dist"s,
                                  "\r\n\0 qvx-dist"s, "QVX-Dist\r\n"s, "QVX-Dist "s}) {
    MimeHeader smuggler;
    smuggler.setHeaderField(name, "/etc/passwd");
    EXPECT_EQ(written(smuggler, "QVX-"), "") << shown(name);
    if (name.find('\n') == name.npos) EXPECT_EQ(written(parsed(name + ": v"), "QVX-"), "") << shown(name);
  }
}

TEST(MimeHeader, writesEachFieldAsOneField) {
  const struct {
    std::string value;
    const char* text;
  } rows[] = {
      {"a\r\n\tb\r\n  c", "X: a\r\n\tb\r\n  c"},
      {"a\r\nBcc: b", "X: a\r\n Bcc: b"},
      {"a\nBcc: b\rCc: c", "X: a\r\n Bcc: b\r\n Cc: c"},
      {"a\r\n\r\n\nb", "X: a\r\n b"},
      {"a\r\n \t\r\n\tb", "X: a\r\n\tb"},
      {"a\n\r\0\n b\0c\0"s, "X: a\r\n bc"},
      {"a \r\n \0\r\n"s, "X: a "},
      {"\r\n\r\na\r\n", "X: a"},
  };
  for (const auto& row : rows) {
    MimeHeader header;
    header.setHeaderField("X", row.value);
    EXPECT_EQ(shown(written(header)), shown(row.text)) << shown(row.value);
  }
  // What an encoded word brings in is no better.
  EXPECT_EQ(written(parsed("Subject: a=?utf-8?Q?=0D=0ABcc:_x@y=00?=")), "Subject: a\r\n Bcc: x@y");
}

// Every short text over bytes that mean something in a header: as a block, as a name, as a value.
TEST(MimeHeader, lawsHoldForAllShortTexts) {
  qv_test::forEachShortText({"a: \t\r\n\0", 7}, 5, [](const std::string& text) {
    laws::checkHeader(text);
    laws::checkSetField("X", text + "v");
    laws::checkSetField(text, "v");
    laws::checkSetField("QV" + text + "X-A", text);
  });
}

TEST(MimeHeader, costsInProportionToItsText) {
  const struct {
    const char* what;
    const char* line;
    std::size_t count;
  } rows[] = {
      {"a long block is not read to its end", "X: y\r\n", 100'000},
      {"encoded words", "=?x?q?a?= ", 100'000},
      {"starts of encoded words", "=?x?y?", 100'000},
      {"carriage returns", "\r\r ", 200'000},
      {"line breaks from encoded words", "=?x?q?=0A?=", 100'000},
  };
  for (const auto& row : rows) {
    const auto make = [&](std::size_t n) {
      std::string text = "X: a";
      for (std::size_t i = 0; i < n; ++i) text += row.line;
      return text;
    };
    const auto work = [](const std::string& text) { return written(parsed(text)).size(); };
    EXPECT_LT(qv_test::costOfTwice(row.count, make, work), 3) << row.what;
  }
}

}  // namespace

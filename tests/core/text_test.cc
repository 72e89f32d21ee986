#include "core/text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/arrays.h"
#include "core/binary_data.h"
#include "core/string_buffer.h"
#include "support/linear_cost.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::StringBuffer;

namespace {
constexpr auto npos = std::string_view::npos;
using Pieces = std::vector<std::string_view>;
}  // namespace

TEST(Text, ComparesAndFindsIgnoringAsciiCaseOnly) {
  EXPECT_TRUE(qv::equalsNoCase("aZ\xC4", "Az\xC4"));
  EXPECT_FALSE(qv::equalsNoCase("\xC4", "\xE4"));
  EXPECT_FALSE(qv::equalsNoCase("@", "`"));
  EXPECT_FALSE(qv::equalsNoCase("ab", "abc"));
  EXPECT_TRUE(qv::startsWithNoCase("Text/plain", "tEXT"));
  EXPECT_FALSE(qv::startsWithNoCase("te", "text"));
  struct Row {
    std::string_view text, what;
    std::size_t from, at;
  };
  for (const Row& row : {Row{"xAbaB", "ab", 0, 1}, Row{"xAbaB", "ab", 2, 3}, Row{"xAbaB", "ab", 4, npos},
                         Row{"aaB", "AB", 0, 1}, Row{"??B?", "?b?", 0, 1}, Row{"a", "", 1, 1},
                         Row{"a", "", 2, npos}, Row{"", "a", 0, npos}, Row{"a\0b"sv, "\0B"sv, 0, 1}}) {
    EXPECT_EQ(qv::findNoCase(row.text, row.what, row.from), row.at) << row.text << row.what;
  }
  EXPECT_EQ(qv::findText("a\0b\0c"sv, "\0c"sv), 3U);
  EXPECT_EQ(qv::findText("abab", "ab", 1), 2U);
  EXPECT_EQ(qv::findText({}, "ab"), npos);
  EXPECT_EQ(qv::trimmed(" \t\r\na b\n "), "a b");
  EXPECT_EQ(qv::trimmedBlanks(" \t\na\r "), "\na\r");
  EXPECT_TRUE(qv::hasLineBreakOrNul("a\0"sv));
  EXPECT_FALSE(qv::hasLineBreakOrNul("a\t"));
}

TEST(Text, FindsWhatAPlainSearchFinds) {
  // From texts where the first character is rare to ones that are full of it.
  for (const std::string_view what : {"\r\n\r\n"sv, "--ab"sv, "-"sv, "-----"sv, "--\0x"sv}) {
    for (const std::size_t gap : {0U, 1U, 3U, 40U, 200U}) {
      std::string text;
      for (std::size_t i = 0; i < 300; ++i) {
        text.append(gap, 'a').append(what.substr(0, i % what.size())).append(i == 290 ? what : "");
      }
      for (std::size_t from = 0; from <= text.size(); from += 1 + from / 3) {
        ASSERT_EQ(qv::findText(text, what, from), text.find(what, from)) << what << gap << ' ' << from;
      }
    }
  }
}

TEST(StringBuffer, IsAlwaysTerminated) {
  StringBuffer text;
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.charAt(0), '\0');
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    i % 3 == 0 ? text.append('x') : text.append("yz");
    expected += i % 3 == 0 ? "x" : "yz";
    ASSERT_STREQ(text.c_str(), expected.c_str());
  }
  StringBuffer copy(text);
  EXPECT_STREQ(copy.c_str(), expected.c_str());
  copy.truncate(2);
  EXPECT_STREQ(copy.c_str(), "xy");
  const StringBuffer moved(std::move(text));
  EXPECT_STREQ(moved.c_str(), expected.c_str());
  EXPECT_STREQ(text.c_str(), "");  // NOLINT: a moved-from buffer is an empty one
  text.append("again");
  EXPECT_STREQ(text.c_str(), "again");
  text = "";
  EXPECT_STREQ(text.c_str(), "");
}

TEST(StringBuffer, TakesTextFromItself) {
  StringBuffer text("abc");
  for (int i = 0; i < 12; ++i) text.append(text);  // outgrows its storage several times
  EXPECT_EQ(text.size(), std::size_t{3} << 12);
  EXPECT_EQ(text.view().substr(0, 4), "abca");
  text.set(text.view().substr(1, 4));
  EXPECT_STREQ(text.c_str(), "bcab");
  EXPECT_EQ(text.replaceAll(text.view().substr(0, 1), text), 2U);
  EXPECT_EQ(text.view(), "bcabcabcab");
  const StringBuffer& itself = text;
  text = itself;
  EXPECT_EQ(text.view(), "bcabcabcab");
  qv::BinaryData bytes("xy"sv);
  for (int i = 0; i < 12; ++i) bytes.append(bytes.view());
  EXPECT_EQ(bytes.size(), std::size_t{2} << 12);
  bytes.take(bytes);
  bytes.set(bytes.view().substr(1, 2));
  EXPECT_EQ(bytes.view(), "yx");
}

TEST(StringBuffer, Changes) {
  struct Row {
    std::string_view before, after;
    void (*change)(StringBuffer&);
  };
  const Row rows[] = {
      {" \ta\r\n", "a", [](StringBuffer& t) { t.trim(); }},
      {" \r\n", "", [](StringBuffer& t) { t.trim(); }},
      {" \ra\n ", "\ra\n", [](StringBuffer& t) { t.trimBlanks(); }},
      {" a \r\n", " a", [](StringBuffer& t) { t.trimEnd(); }},
      {"aZ\xC4", "az\xC4", [](StringBuffer& t) { t.toLower(); }},
      {"aZ\xE4", "AZ\xE4", [](StringBuffer& t) { t.toUpper(); }},
      {"aaa", "bba", [](StringBuffer& t) { EXPECT_EQ(t.replaceAll("aa", "bb"), 1U); }},
      {"ab", "aab", [](StringBuffer& t) { t.replaceAll("a", "aa"); }},
      {"ab", "ab", [](StringBuffer& t) { EXPECT_EQ(t.replaceAll("", "x"), 0U); }},
      {"xaxbx", "ab", [](StringBuffer& t) { t.removeAll('x'); }},
      {"a;b;c", "a", [](StringBuffer& t) { t.cutAtFirst(';'); }},
      {"a;b;c", "a;b", [](StringBuffer& t) { t.cutAtLast(';'); }},
      {"abc", "abc", [](StringBuffer& t) { t.cutAtLast(';'); }},
      {"a\0\x1F\t\r\n\x7F\x80"sv, "a\t\r\n\x7F\x80", [](StringBuffer& t) { t.removeControls(); }},
      {"n", "n-42", [](StringBuffer& t) { t.appendNumber(-42); }},
      {"", "&lt;a b=&quot;&amp;&quot;&gt;", [](StringBuffer& t) { qv::appendXmlEscaped("<a b=\"&\">", t); }},
  };
  for (const Row& row : rows) {
    StringBuffer text(row.before);
    row.change(text);
    EXPECT_EQ(text.view(), row.after) << row.before;
    EXPECT_EQ(text.c_str()[text.size()], '\0');
  }
}

TEST(StringBuffer, Splits) {
  EXPECT_EQ(qv::splitText(";;a;;b;", ';'), (Pieces{"a", "b"}));
  EXPECT_EQ(qv::splitText("a;b;c", ';', 2), (Pieces{"a", "b"}));
  EXPECT_EQ(qv::splitText("", ';'), Pieces{});
  EXPECT_EQ(qv::splitOutsideQuotes("a,,\"b,c\",d\\,e,\"f\\\",\"", ','),
            (Pieces{"a", "", "\"b,c\"", "d\\,e", "\"f\\\",\""}));
  EXPECT_EQ(qv::splitOutsideQuotes(",\"a,b", ','), (Pieces{"", "\"a,b"}));
  EXPECT_EQ(qv::splitOutsideQuotes("a\\", ','), (Pieces{"a\\"}));
}

TEST(StringBuffer, CostIsLinear) {
  const auto make = [](std::size_t n) { return std::string(n, 'a') + "B"; };
  const auto work = [](const std::string& in) {
    StringBuffer text(in);
    text.replaceAll("a", "bb");
    text.containsNoCase("?x?");
    text.removeAll('b');
    for (const char c : in) text.append(c);
  };
  EXPECT_LT(qv_test::costOfTwice(30000, make, work), 3);
}

TEST(ExtPtrArray, OwnsAndHandsOut) {
  qv::ExtPtrArray<int> items;
  for (int i = 0; i < 4; ++i) items.append(std::make_unique<int>(i));
  items.insertAt(1, std::make_unique<int>(9));
  EXPECT_EQ(*items.removeAt(0), 0);
  EXPECT_EQ(items.removeAt(7), nullptr);
  EXPECT_EQ(items.at(7), nullptr);
  EXPECT_EQ(items.removeIf([](int item) { return item % 2 == 1; }), 3U);
  EXPECT_EQ(items.size(), 1U);
  EXPECT_EQ(*items.last(), 2);
}

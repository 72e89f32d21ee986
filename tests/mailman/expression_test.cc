#include "mailman/expression.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

#include "../../fuzz/filter_laws.h"
#include "email/email.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"
#include "support/scripted_server.h"
#include "support/seeds.h"
#include "support/short_texts.h"

namespace qv {
namespace {

using namespace std::string_literals;
using laws::FilteredMail;
using qv_test::split;

/// An e-mail of fields as "Subject: x; From: y".
FilteredMail mailOf(std::string_view fields) {
  FilteredMail mail;
  for (const std::string& field : split(fields, ';')) {
    const std::size_t colon = field.find(": ");
    mail.fields.emplace_back(trimmed(field.substr(0, colon)), field.substr(colon + 2));
  }
  return mail;
}

// Every example of the page for people is true.
TEST(Expression, DoesWhatIsDocumented) {
  const std::string page = contentsOf(QUORVEL_TEST_DATA "/../../docs/filters.md");
  const std::regex row("\n\\| `([^\n]+)` \\| `([^\n]+)` \\| (true|false) \\|");
  int rows = 0;
  for (std::sregex_iterator at(page.begin(), page.end(), row), end; at != end; ++at, ++rows) {
    const auto& found = *at;
    EXPECT_EQ(Expression(found[1].str()).evaluate(mailOf(found[2].str())), found[3] == "true") << found[0];
  }
  EXPECT_GT(rows, 30);
}

TEST(Expression, Tokens) {
  const struct {
    std::string text, tokens;  // the token types, and after ':' the texts
  } rows[] = {
      {"", ""},
      {" \t\r\n", ""},
      {"notes organization Android", "3 14:es 5 14:ganization 4 14:roid"},
      {"LikeCONTAINSnOtOrAnD", "6 17 3 5 4"},
      {"a <= b", "14:a 10 14:b"},
      {"<=>=!=!<>=><", "10 11 12 3 12 7 8 9"},
      {"|| && | &", "5 4 14:| 14:&"},
      {"a=b(c)d\"e", "14:a=b 15 14:c 16 14:d\"e"},
      {"\"a\\\"b\\\\\\c\"d", "13:a\"b\\c 14:d"},
      {"\"open ", "13:open "},
      {"\"ends\\", "13:ends\\"},
      {"\\", "14:\\"},
      {"a\\ b\\(c\\\\d\\", "14:a b(c\\d)"},  // by the ")" that is added
      {"\\(", "14:( 16"},
      {"\\or \\\"x", "14:or 14:\"x"},
      {"((a)", "15 15 14:a 16 16"},
      {"a))\"(\"", "15 14:a 16 16 13:("},
      {"\"(\"", "13:( 16"},
      {"a\0b\x80"s, "14:a\0b\x80"s},
  };
  for (const auto& row : rows) {
    std::string tokens;
    const Expression expression(row.text);
    for (const ExpressionToken& token : expression.tokens()) {
      tokens += (tokens.empty() ? "" : " ") + std::to_string(static_cast<int>(token.type));
      if (!token.text.empty()) tokens += ":" + token.text.str();
    }
    EXPECT_EQ(tokens, row.tokens) << row.text;
  }
}

TEST(Expression, Values) {
  const struct {
    const char *expression, *mail;
    bool value;
  } rows[] = {
      {"", "Subject: x", false},
      {"()", "Subject: x", false},
      {"() Subject", "Subject: x", true},
      {"(()) Subject", "Subject: x", true},
      {"(Subject)", "Subject: x", true},
      {"(\"x\") = ((Subject))", "Subject: x", true},
      {"= Subject", "Subject: x", false},
      {"not not Subject", "Subject: x", true},
      {"not not not Subject", "Subject: x", false},
      {"not", "Subject: x", false},
      {"not \"x\"", "Subject: x", true},
      {"not (not (Subject))", "Subject: x", true},
      {"(Subject = \"x\") = \"1\"", "Subject: x", true},  // a result is not compared, and stands first
      {"(Subject = \"y\") = \"0\"", "Subject: x", false},
      {"Subject = \"x\" and \"y\"", "Subject: x", true},
      {"Subject like From", "Subject: a*; From: A*", true},
      {"Subject like \"?\"", "Subject: x", false},
      {"Subject like \"?*\"", "Subject: ?x", true},
      {"Subject like \"\"", "From: x", true},
      {"Subject like \"**\"", "From: x", true},
      {"Subject like \"a*\"", "From: x", false},
      {"\"a\" contains Subject", "Subject: A", true},
      {"Subject > \"Z\"", "Subject: \xE4", true},  // bytes are unsigned
      {"Subject < \"_\"", "Subject: Z", false},    // folded to lower case, 'z' sorts after '_'
      {"Subject >= \"abc\"", "Subject: ABC", true},
      {"Subject <= \"ABC\"", "Subject: abc", true},
      {"Subject <= \"AB\"", "Subject: abc", false},
      {"Subject <> \"\xC4\"", "Subject: \xE4", true},  // only A to Z are folded
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Expression(row.expression).evaluate(mailOf(row.mail)), row.value)
        << row.expression << " of " << row.mail;
  }
}

TEST(Expression, TruthOfATerm) {
  const struct {
    std::string value;
    bool truth;
  } rows[] = {{"", false},
              {"0", false},
              {"0000", false},
              {"00001", true},
              {"-0", false},
              {"+0x", false},
              {"-1", true},
              {"0x1", false},
              {"0.5", false},
              {" \t\r\n0", false},
              {"  +5x", true},
              {"x0", true},
              {" ", true},
              {"-", true},
              {"+-0", true},
              {"0\0"s, false},
              {"\0"s, true},
              {"- 0", true},
              {std::string(99, '0') + "1", true},
              {"4294967296", true}};
  for (const auto& row : rows) {
    FilteredMail mail;
    mail.fields.emplace_back("a", row.value);
    EXPECT_EQ(Expression("a").evaluate(mail), row.truth) << row.value;
    EXPECT_EQ(Expression("not a").evaluate(mail), !row.truth) << row.value;
  }
}

TEST(Expression, AsksAnEmail) {
  Email email(nullptr);
  email.setSubject("Report");
  email.setHeaderField("X-UIDL", "abc");
  EXPECT_TRUE(Expression("SUBJECT = \"report\" and x-uidl like \"a*C\"").evaluate(email));
  email.setHeaderField("Subject", "");
  EXPECT_TRUE(Expression("subject = \"\"").evaluate(email));
}

TEST(Expression, KeepsTheLaws) {
  qv_test::holdAgainstSeeds("filter", laws::checkFilter);
  qv_test::forEachShortText("a\"\\( )*!=", 4, laws::checkFilter);
  // Expressions of every few words, and of many.
  const std::vector<std::string> words = split("a |es|b |\"b*\" |=|LIKE|and |or |not |(|)|\\");
  std::string alphabet;
  for (std::size_t i = 0; i < words.size(); ++i) alphabet += static_cast<char>(i);
  const auto check = [&](std::string_view choice) {
    std::string text;
    for (const char word : choice) text += words[static_cast<std::size_t>(word)];
    laws::checkFilter(text);
  };
  qv_test::forEachShortText(alphabet, 3, check);
  std::mt19937 random(1);
  for (int i = 0; i < 5000; ++i) check(qv_test::randomText(random, alphabet, 3 + random() % 20));
}

TEST(Expression, WildcardMatchesTheObvious) {
  qv_test::forEachShortText("abA", 4, [](const std::string& text) {
    qv_test::forEachShortText("ab*", 4, [&](const std::string& pattern) {
      ASSERT_EQ(wildcardMatch(text, pattern, true), laws::obviousWildcardMatch(text, pattern))
          << text << ' ' << pattern;
      ASSERT_EQ(wildcardMatch(text, pattern, false), laws::obviousWildcardMatch(toLower(text), pattern))
          << text << ' ' << pattern;
    });
  });
}

TEST(Expression, Explained) {
  const FilteredMail mail = mailOf("Subject: x\x1b[2J\r\n\ty\"; From: " + std::string(100, 'f'));
  EXPECT_EQ(explainExpression(Expression("not (\\or\\ x = \"a\\\"\") and from"), mail),
            R"(Tokens
         not
         (
  field  \or\ x
         =
  text   "a\""
         )
         and
  field  from
Steps, and what stands on the stack after each
  shift not                                      | not
  shift (                                        | not (
  shift \or\ x                                   | not ( \or\ x
  shift =                                        | not ( \or\ x =
  shift "a\""                                    | not ( \or\ x = "a\""
  \or\ x ("") = "a\"" -> false                   | not ( [false]
  shift )                                        | not ( [false] )
  parentheses around [false]                     | not [false]
  not [false] -> true                            | [true]
  shift and                                      | [true] and
  shift from                                     | [true] and from
Value: true, the first result on the stack
The 2 after it did not fit together and count for nothing.
)");
  const struct {
    const char *expression, *end;
  } rows[] = {
      {"Subject",
       "Value: true, Subject (\"x\\x1B[2J\\n\\ty\\\"\") by itself; false when empty or the number 0\n"},
      {"\"x\"", "Value: false, \"x\" by itself; a text is never true\n"},
      {"=", "Value: false, = comes first and has nothing to work on\n"},
      {"()", "  empty parentheses are left out                 |\nValue: false, nothing is left to decide\n"},
      {"From", "f\"...) by itself; false when empty or the number 0\n"},
  };
  for (const auto& row : rows) {
    const std::string text = explainExpression(Expression(row.expression), mail);
    EXPECT_TRUE(text.ends_with(row.end)) << text;
  }
  EXPECT_NE(
      explainExpression(Expression(std::string(12, '(')), mail).find(" | (2 more) ( ( ( ( ( ( ( ( ( (\n"),
      std::string::npos);
}

TEST(Expression, CostIsLinear) {
  const auto cost = [](std::size_t n, std::string_view fieldUnit, std::string_view expressionUnit,
                       std::string_view end) {
    const auto repeated = [](std::string_view unit, std::size_t count) {
      std::string text;
      for (std::size_t i = 0; i < count; ++i) text += unit;
      return text;
    };
    return qv_test::costOfTwice(
        n,
        [&](std::size_t size) {
          FilteredMail mail;
          mail.fields.emplace_back("a", repeated(fieldUnit, fieldUnit.empty() ? 0 : size));
          return std::pair(mail, repeated(expressionUnit, size) + std::string(end));
        },
        [](const auto& input) {
          const Expression expression(input.second);
          expression.evaluate(input.first);
          explainExpression(expression, input.first);
        });
  };
  EXPECT_LT(cost(5000, "", "(", "a"), 3);
  EXPECT_LT(cost(5000, "", "not (", "a"), 3);
  EXPECT_LT(cost(5000, "", "a = b and ", "a"), 3);
  EXPECT_LT(cost(5000, "", "a ", ""), 3);
#if !defined(__SANITIZE_ADDRESS__)  // with it the library's fast substring search is not used
  // A pattern and a value that fit together for long, but not to the end.
  EXPECT_LT(qv_test::costOfTwice(
                30000, [](std::size_t n) { return std::string(n, 'a'); },
                [](const std::string& text) {
                  std::string pattern = "*" + text.substr(text.size() / 2) + "b*";
                  wildcardMatch(text, pattern, false);
                  for (std::size_t i = 1; i < pattern.size(); i += 2) pattern[i] = '*';
                  wildcardMatch(text, pattern, false);
                }),
            3);
#endif
}

}  // namespace
}  // namespace qv

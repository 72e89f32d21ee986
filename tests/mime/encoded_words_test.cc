#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "mime/transfer_coding.h"
#include "support/linear_cost.h"
#include "support/short_texts.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::ContentCoding;
using qv::StringBuffer;

namespace {

std::string decoded(std::string_view text) {
  StringBuffer buffer(text);
  ContentCoding::decodeWords(buffer);
  return buffer.str();
}

std::string written(std::string_view text, std::string_view charset = "utf-8") {
  StringBuffer out;
  ContentCoding::encodeHeaderWords(text, charset, out);
  return out.str();
}

// One word after the other, each searched from where it starts.
std::string slowQWords(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view rest = text.substr(at);
    const std::size_t charset = rest.substr(0, 2) == "=?" ? rest.find('?', 2) : std::string_view::npos;
    if (charset != std::string_view::npos && charset > 2 &&
        (rest.substr(charset, 3) == "?Q?" || rest.substr(charset, 3) == "?q?")) {
      const std::size_t end = rest.find('?', charset + 3);
      if (rest.substr(std::min(end, rest.size()), 2) == "?=") {
        out += ContentCoding::qDecode(rest.substr(charset + 3, end - charset - 3)).view();
        at += end + 2;
        continue;
      }
    }
    out += text[at++];
  }
  return out;
}

}  // namespace

TEST(EncodedWords, AreReplacedByTheirBytes) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"=?iso-8859-1?q?Caf=E9?=", "Caf\xE9"},
      {"=?UTF-8?B?w6k=?=", "\xC3\xA9"},
      {"a =? b", "a =? b"},
      {"x=?a?b?QQ==?=y=?a?B?Qg?=z", "xAyBz"},
      {"=?a?Q?x?= =?a?Q?y?=", "x y"},
      {"=?a?Q?\?=", ""},
      {"=?a?B?\?==?a?Q?x?=", "x"},
      {"=?a?B?PT9hP1E/eD89?=", "x"},  // the Q pass reads what the B pass gave
      {"=??Q?x?=", "=??Q?x?="},       // no charset name
      {"=?a?Q?x", "=?a?Q?x"},
      {"=?a?Q?x?", "=?a?Q?x?"},
      {"=?a?Q?x? =", "=?a?Q?x? ="},
      {"=?a?Q?x?y?=", "=?a?Q?x?y?="},
      {"=?a?X?x?=", "=?a?X?x?="},
      {"=?=?a?Q?x?=", "=?x"},  // no word at the first "=?": the search goes on behind it
      {"=?a?=?b?Q?x?=", "=?a?x"},
      {"=?a?Q?=41=4=4g=?=", "A=4=4g="},
  };
  for (const auto& [text, bytes] : rows) EXPECT_EQ(decoded(text), bytes) << text;
}

TEST(EncodedWords, EveryShortTextIsReadAlike) {
  qv_test::forEachShortText("=?Q_x", 7, [](const std::string& middle) {
    const std::string text = "=?" + middle + "?=";
    StringBuffer buffer(text);
    ContentCoding::decodeQWords(buffer);
    ASSERT_EQ(buffer.view(), slowQWords(text)) << text;
  });
}

TEST(EncodedWords, QCoding) {
  const std::pair<std::string_view, std::string_view> reading[] = {
      {"a_b=5F=C3=A9", "a b_\xC3\xA9"}, {"=e9", "=e9"},           {"=4", "=4"}, {"=", "="}, {"==41", "=A"},
      {"a b\t?\x7F\x80\x9F\x01", "ab"}, {"\xA0\xFF", "\xA0\xFF"},
  };
  for (const auto& [text, bytes] : reading) EXPECT_EQ(ContentCoding::qDecode(text).view(), bytes) << text;
  EXPECT_EQ(ContentCoding::qEncode("a b\t=?_\r\n\0~\x7F\xE9"s).view(), "a_b=09=3D=3F=5F=0D=0A=00~=7F=E9");
}

TEST(EncodedWords, AreWrittenInPieces) {
  const auto word = [](std::string_view piece) { return "=?utf-8?Q?" + std::string(piece) + "?="; };
  const std::string a38(38, 'a'), a39(39, 'a'), a40(40, 'a');
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {a38, word(a38)},
      {a39, word(a39)},
      {a40, word(a40)},
      {std::string(100, 'a'), word(a40) + "\r\n " + word(a40) + "\r\n " + word(std::string(20, 'a'))},
      {a39 + " b", word(a39 + "_") + "\r\n " + word("b")},
      {a40 + " b", word(a40) + "\r\n " + word("_b")},
      {"a " + a38, word("a_") + "\r\n " + word(a38)},
      {" " + a38, word("_" + a38)},  // the first character is not looked at
      {"a\r" + a38, word("a=0D") + "\r\n " + word(a38)},
      {"a b", word("a_b")},
  };
  for (const auto& [text, words] : rows) EXPECT_EQ(written(text), words) << text;
}

TEST(EncodedWords, CharsetNeverBreaksOut) {
  for (const std::string_view bad : std::initializer_list<std::string_view>{
           "", "a?Q?x?="sv, "a b", "a\r\nBcc: x", "a\nb", "\0"sv, "a=b", "a,b", "a\"", "<a>", "\xE9"}) {
    EXPECT_EQ(written("x", bad), "=?us-ascii?Q?x?=") << bad;
  }
  EXPECT_EQ(written("x", "ISO-8859-1"), "=?ISO-8859-1?Q?x?=");
}

TEST(EncodedWords, CostIsLinearInOneField) {
  for (const std::string_view piece : {"=?x?y?", "=?", "?B?", "=?x?B?", "=?x?Q?y", "=?x?Q?y?="}) {
    const auto make = [&](std::size_t n) {
      std::string text = "?B??Q?";
      while (n-- > 0) text += piece;
      return text;
    };
    EXPECT_LT(qv_test::costOfTwice(5000, make, [](const std::string& text) { decoded(text); }), 3) << piece;
  }
}

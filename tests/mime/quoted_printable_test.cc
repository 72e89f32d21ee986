#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "mime/quoted_printable.h"
#include "mime/transfer_coding.h"
#include "support/linear_cost.h"
#include "support/short_texts.h"

using namespace std::string_literals;
using qv::ContentCoding;
using qv_test::exactly;
using qv_test::viewOf;

namespace {

// The rules one after the other, byte by byte and line by line.
std::string slowEncode(std::string_view in) {
  const auto breakAt = [&](std::size_t i) { return in.substr(std::min(i, in.size()), 2) == "\r\n"; };
  std::string out;
  for (std::size_t i = 0, column = 0; i < in.size(); ++i) {
    const auto byte = static_cast<unsigned char>(in[i]);
    const bool atStart = column == 0 && (byte == '.' || in.substr(i, 5) == "From ");
    const bool blank = (byte == ' ' || byte == '\t') && i + 1 < in.size() && !breakAt(i + 1);
    if (breakAt(i)) {
      out += "\r\n";
      ++i;
      column = 0;
      continue;
    }
    if (!atStart && (blank || (byte > 0x20 && byte < 0x7F && byte != '='))) {
      out += in[i];
      column += 1;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "=%02X", byte);
      out += escape;
      column += 3;
    }
    if (column >= 72 && !breakAt(i + 1)) {
      out += "=\r\n";
      column = 0;
    }
  }
  return out;
}

std::string slowDecode(std::string_view in) {
  std::string out;
  in = in.substr(0, in.find('\0'));
  while (!in.empty()) {
    const std::size_t lf = in.find('\n');
    std::string line(in.substr(0, lf));
    in.remove_prefix(lf == std::string_view::npos ? in.size() : lf + 1);
    for (char& c : line) c = static_cast<char>(c & 0x7F);
    line.erase(line.find_last_not_of("\r\n \t") + 1);
    const auto digit = [&](std::size_t i) -> std::size_t {
      const auto value = i < line.size() ? "0123456789ABCDEFabcdef"s.find(line[i]) : std::string::npos;
      return value == std::string::npos ? 0 : value < 16 ? value : value - 6;
    };
    bool soft = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] != '=') {
        out += line[i];
      } else if (i + 1 == line.size()) {
        soft = true;
      } else {
        const bool negative = digit(i + 1) == 15 && digit(i + 2) == 15 && line.substr(i + 3, 4) == "FFFF";
        i += negative && i + 8 < line.size() ? 6 : 0;
        out += static_cast<char>(digit(i + 1) * 16 + digit(i + 2));
        i += 2;
      }
    }
    if (lf != std::string_view::npos && !soft) out += "\r\n";
  }
  return out;
}

void expectAllAlike(std::string_view text, bool encoding) {
  const auto in = exactly(text);
  for (const auto& kernel : qv::quotedPrintableKernels()) {
    if (encoding) {
      qv::StringBuffer out;
      qv::encodeQuotedPrintable(viewOf(in), kernel, out);
      ASSERT_EQ(out.view(), slowEncode(text)) << kernel.name << " " << text;
    } else {
      ASSERT_EQ(qv::decodeQuotedPrintable(viewOf(in), kernel).view(), slowDecode(text))
          << kernel.name << " " << text;
    }
  }
}

// Text between which a short one reaches the strides of the vectors.
const std::string kLongAfter(200, 'z');

}  // namespace

TEST(QuotedPrintable, Encodes) {
  const std::string a72(72, 'a');
  const std::string a71(71, 'a');
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"a \r\nb", "a=20\r\nb"},
      {"a\t", "a=09"},
      {"a b\tc", "a b\tc"},
      {".x", "=2Ex"},
      {"x.\r\n.", "x.\r\n=2E"},
      {"From me", "=46rom me"},
      {"From", "From"},
      {" From x", " From x"},
      {"a=b~\x7F\x80\xFF", "a=3Db~=7F=80=FF"},
      {"a\rb\nc\0"s, "a=0Db=0Ac=00"},
      {"\r\r\n\n", "=0D\r\n=0A"},
      {std::string(80, 'a'), a72 + "=\r\naaaaaaaa"},
      {a72, a72 + "=\r\n"},
      {a72 + "\r\n", a72 + "\r\n"},
      {a72 + "\r", a72 + "=\r\n=0D"},
      {a71 + " \r\n", a71 + "=20\r\n"},
      {a71 + " ", a71 + "=20=\r\n"},
      {a72 + ".", a72 + "=\r\n=2E"},
      {a72 + "From x", a72 + "=\r\n=46rom x"},
      {a71 + "\xE9" + "b", a71 + "=E9=\r\nb"},
  };
  for (const auto& [text, coded] : rows) {
    qv::StringBuffer out("kept");
    ContentCoding::encodeQuotedPrintable(text, out);
    EXPECT_EQ(out.view(), "kept" + coded);
  }
}

TEST(QuotedPrintable, DecodesWhatTheRulesGive) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"abc=\r\ndef", "abcdef"},
      {"abc= \t\r\ndef", "abcdef"},
      {"abc=", "abc"},
      {"x=3d=3D\r\n", "x==\r\n"},
      {"caf=e9", "caf\xE9"},
      {"a \t\r\n b \n", "a\r\n b\r\n"},
      {"a  ", "a"},
      {"a=20 \r\n", "a \r\n"},
      {"\n\r\n\n", "\r\n\r\n\r\n"},
      {"a\rb\r\r\n", "a\rb\r\n"},
      {"a\0b"s, "a"},
      {"=4", "@"},
      {"=4\r\nx", "@\r\nx"},
      {"=G1=4G=..", "\x01@\0"s},
      {"==3D",
       "\x03"
       "D"},
      {"=FFFFFFE9", "\xE9"},
      {"=ffFFFFe9x", "\xE9x"},
      {"=FFffffE9",
       "\xFF"
       "ffffE9"},
      {"=FFFFFFE",
       "\xFF"
       "FFFFE"},
      {"=FFFFFF \r\nE9",
       "\xFF"
       "FFFF\r\nE9"},
      {"\xBD"
       "E9\xC1\xA0\x8D\x0A",
       "\xE9"
       "A\r\n"},
  };
  for (const auto& [text, bytes] : rows)
    EXPECT_EQ(ContentCoding::decodeQuotedPrintable(text).view(), bytes) << text;
}

TEST(QuotedPrintable, EveryKernelTreatsEveryShortTextAlike) {
  qv_test::forEachShortText("=A.F \r\n\xE9", 4, [](const std::string& text) {
    expectAllAlike(text, true);
    expectAllAlike(text + kLongAfter, true);
    expectAllAlike(std::string(69, 'a') + text + kLongAfter, true);
  });
  qv_test::forEachShortText("=F4 \r\n\x8A\xBD", 4, [](const std::string& text) {
    expectAllAlike(text, false);
    expectAllAlike("aa" + text + kLongAfter, false);
    expectAllAlike(std::string(64, 'a') + text + kLongAfter, false);
  });
}

TEST(QuotedPrintable, EveryKernelTreatsLongTextsAlike) {
  std::mt19937 random(1);
  const std::string_view alphabets[] = {"=F4 \r\n\t.x", "abcdefghijklmnop ", "\xE9=\x8A\xBD\r\n"};
  const std::string_view pieces[] = {"\r\n", " \r\n", "From ", ".",    "=\r\n", "=FFFFFFE9",
                                     "=E9",  "\n",    "\xE9",  "= \n", " "};
  for (int round = 0; round < 10000; ++round) {
    std::string text;
    for (std::size_t n = random() % 20; n > 0; --n) {
      text += qv_test::randomText(random, alphabets[random() % 8 == 0 ? random() % 3 : 1], random() % 90);
      text += pieces[random() % std::size(pieces)];
    }
    expectAllAlike(text, true);
    expectAllAlike(text, false);
  }
}

// An '=' before a blank has to look for the end of its line; a line may hold a million of them.
TEST(QuotedPrintable, CostIsLinearInOneLine) {
  const auto make = [](std::size_t n) {
    std::string text;
    while (text.size() < n) text += "= ";
    return text;
  };
  EXPECT_LT(qv_test::costOfTwice(30000, make,
                                 [](const std::string& text) { ContentCoding::decodeQuotedPrintable(text); }),
            3);
}

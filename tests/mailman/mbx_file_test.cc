#include "mailman/mbx_file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "support/linear_cost.h"

namespace {

using Strings = std::vector<std::string>;

Strings messagesOf(std::string_view text) {
  qv::MbxReader reader(text);
  Strings messages;
  for (std::string_view message; reader.next(message);) messages.emplace_back(message);
  EXPECT_EQ(reader.position(), text.size());
  return messages;
}

/// As the rules have it: line ends made uniform in the whole text first, which is then split.
Strings messagesByTheRules(const std::string& text) {
  std::string uniform;
  for (const char c : text) {
    if (c == '\n') uniform += "\r\n";
    if (c != '\n' && c != '\r') uniform += c;
  }
  Strings messages;
  for (std::size_t start = 0; start < uniform.size();) {
    const std::size_t next = uniform.find("\r\nFrom ", start);
    const std::size_t end = next == std::string::npos ? uniform.size() : next + 2;
    const std::size_t lineEnd = uniform.find("\r\n", start);
    if (lineEnd != std::string::npos && lineEnd + 2 < end)
      messages.push_back(uniform.substr(lineEnd + 2, end - lineEnd - 2));
    start = end;
  }
  return messages;
}

TEST(MbxReader, Splits) {
  const struct {
    std::string text;
    Strings messages;
  } rows[] = {
      {"", {}},
      {"From a", {}},
      {"From a\n", {}},
      {"From a\nFrom b\nx\n", {"x\r\n"}},
      {"From a\nx\ny", {"x\r\ny"}},
      {"Subject: x\nTo: y\n", {"To: y\r\n"}},
      {"From a\r\nx\r\n\r\nFrom b\r\ny\r\n", {"x\r\n\r\n", "y\r\n"}},
      {"From a\nx\n>From b\n From c\nFromd\nfrom e\nFrom",
       {"x\r\n>From b\r\n From c\r\nFromd\r\nfrom e\r\nFrom"}},
      {"From a\nx\r\n\rFr\rom b\ny\n", {"x\r\n", "y\r\n"}},
      {std::string("From a\nx\0y\n", 11), {std::string("x\0y\r\n", 5)}},
  };
  for (const auto& row : rows) EXPECT_EQ(messagesOf(row.text), row.messages) << row.text;
}

TEST(MbxReader, IsTheRulesOnEveryShortText) {
  const Strings alphabet = {"From ", "x", "\n", "\r", "F", "\r\n"};
  for (std::size_t count = 0; count < 279'936; ++count) {  // 6^7
    std::string text;
    for (std::size_t rest = count, i = 0; i < 7; ++i, rest /= alphabet.size())
      text += alphabet[rest % alphabet.size()];
    ASSERT_EQ(messagesOf(text), messagesByTheRules(text)) << ::testing::PrintToString(text);
  }
}

TEST(MbxFile, PiecesMakeNoDifference) {
  const std::string path = ::testing::TempDir() + "quorvel_mbx_test";
  // Messages of every length about the sizes that are read at once, and one that is much longer.
  std::string text;
  for (std::size_t i = 0; i < 60; ++i) {
    text += "From a\nSubject: " + std::to_string(i) + "\n\n" + std::string(i * 2000 + i, 'x') + "\n";
  }
  text += "From b\n" + std::string(5'000'000, 'y') + "\nFrom c\nlast";
  for (std::size_t shift = 0; shift < 8; ++shift) {
    const std::string shifted = std::string(shift, 'F') + text;
    std::ofstream(path, std::ios::binary) << shifted;
    qv::MbxFile file(nullptr);
    ASSERT_TRUE(file.open(path));
    Strings messages;
    for (std::string_view message; file.next(message);) messages.emplace_back(message);
    EXPECT_TRUE(messages == messagesByTheRules(shifted)) << shift;
  }
  std::remove(path.c_str());
  EXPECT_FALSE(qv::MbxFile(nullptr).open(path));
}

TEST(MbxReader, CostIsLinear) {
  for (const char* piece : {"From a\nx\n", "x\n", "x\r\n", "\r", "\nFrom", "From ", "\n\rFrom "}) {
    const auto make = [piece](std::size_t n) {
      std::string text;
      for (std::size_t i = 0; i < n; ++i) text += piece;
      return text;
    };
    EXPECT_LT(qv_test::costOfTwice(100'000, make, [](const std::string& text) { messagesOf(text); }), 3)
        << piece;
  }
}

}  // namespace

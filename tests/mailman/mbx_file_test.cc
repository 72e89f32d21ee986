#include "mailman/mbx_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "../../fuzz/mbx_laws.h"
#include "mailman/mail_man.h"
#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/seeds.h"

namespace {

using Strings = std::vector<std::string>;

Strings messagesOf(std::string_view text, std::size_t pieceSize = std::size_t{1} << 30) {
  return laws::messagesOf(text, qv::mbxKernel(), pieceSize);
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
  for (const auto& row : rows) {
    EXPECT_EQ(messagesOf(row.text), row.messages) << row.text;
    EXPECT_EQ(messagesOf(row.text, 1), row.messages) << row.text;
  }
}

const Strings kAlphabet = {"From ", "x", "\n", "\r", "F", "\r\n"};

/// The text of that number among those of `length` pieces of the alphabet.
std::string shortText(std::size_t number, std::size_t length) {
  std::string text;
  for (; length > 0; --length, number /= kAlphabet.size()) text += kAlphabet[number % kAlphabet.size()];
  return text;
}

TEST(MbxReader, IsTheRulesOnEveryShortText) {
  for (std::size_t number = 0; number < 279'936; ++number) {  // 6^7
    const std::string text = shortText(number, 7);
    ASSERT_EQ(messagesOf(text), laws::obviousMessages(text)) << ::testing::PrintToString(text);
  }
}

// Where blocks that kernels look at begin and end, and behind a CR, which they leave.
TEST(MbxReader, EveryKernelIsTheRulesOnEveryShortTextAmongLines) {
  for (const std::string start : {"\n", "\r\n", "\n\r"}) {
    const std::string lineEnd = start == "\r\n" ? start : "\n";
    const std::string after =
        lineEnd + "z" + lineEnd + "F" + std::string(200, 'z') + lineEnd + "From b" + lineEnd;
    for (std::size_t place = 0; place < 200; ++place) {
      if (place % 64 > 4 && place % 64 < 54) continue;
      for (std::size_t number = 0; number < 216; ++number) {  // 6^3
        const std::string text = "From a" + start + std::string(place, 'y') + shortText(number, 3) + after;
        laws::checkMbx(text);
      }
    }
  }
}

TEST(MbxReader, KeepsTheLawsOnTheSeeds) {
  qv_test::holdAgainstSeeds("mbx", laws::checkMbx);
}

/// A file of its own for each test.
class MbxFile : public ::testing::Test {
 protected:
  ~MbxFile() override { std::filesystem::remove(path_); }
  void write(std::string_view text) const { std::ofstream(path_, std::ios::binary) << text; }
  /// What the whole engine makes of a file.
  Strings subjectsIn(const std::string& path) {
    const qv::ReceiveSettings settings;
    Strings subjects;
    const auto bundle = qv::MailMan(settings, nullptr, log_.get()).loadMbx(path);
    for (std::size_t i = 0; i < bundle->count(); ++i) {
      subjects.emplace_back(bundle->at(i)->getSubject());
    }
    return subjects;
  }

  std::string path_ =
      ::testing::TempDir() + "quorvel_mbx_" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
  qv_test::LogLines log_;
};

TEST_F(MbxFile, PiecesMakeNoDifference) {
  // Messages of every length about the sizes that are read at once, and one that is much longer.
  std::string text;
  for (std::size_t i = 0; i < 60; ++i) {
    text += "From a\nSubject: " + std::to_string(i) + "\n\n" + std::string(i * 2000 + i, 'x') + "\n";
  }
  text += "From b\n" + std::string(5'000'000, 'y') + "\nFrom c\nlast";
  for (std::size_t shift = 0; shift < 8; ++shift) {
    const std::string shifted = std::string(shift, 'F') + text;
    write(shifted);
    qv::MbxFile file(nullptr);
    ASSERT_TRUE(file.open(path_));
    Strings messages;
    for (std::string_view message; file.next(message);) messages.emplace_back(message);
    EXPECT_TRUE(messages == laws::obviousMessages(shifted)) << shift;
  }
}

TEST_F(MbxFile, WhatCannotBeReadIsLogged) {
  write("From a\nSubject: one\n\n");
  const struct {
    std::string path;
    Strings log;
  } rows[] = {
      {"", {"filename is missing"}},
      {path_ + "/x", {"Failed to open file", "filename: " + path_ + "/x", "reason: Not a directory"}},
      {path_ + ".none", {"Failed to open file", "reason: No such file or directory"}},
      {"/", {"Failed to open file", "filename: /", "reason: Is a directory"}},
      {"/dev/null", {"Failed to open file", "reason: Not a regular file"}},
      {std::string("/dev\0x", 6), {"Failed to open file"}},
      // Opens, and has nothing to read at its start.
      {"/proc/self/mem", {"Failed to read data from file", "reason: Input/output error"}},
  };
  for (const auto& row : rows) {
    log_.clear();
    EXPECT_EQ(subjectsIn(row.path), Strings()) << row.path;
    EXPECT_TRUE(log_.holds(row.log)) << row.path;
  }
  log_.clear();
  std::filesystem::permissions(path_, std::filesystem::perms::none);
  const bool isSuperuser = std::ifstream(path_).is_open();  // who may read all the same
  EXPECT_EQ(subjectsIn(path_), isSuperuser ? Strings{"one"} : Strings());
  EXPECT_EQ(log_.count("reason: Permission denied"), isSuperuser ? 0 : 1);
}

TEST_F(MbxFile, OneThatIsCutWhileItIsReadGivesWhatWasWhole) {
  const std::string message = "From a\nSubject: x\n\n" + std::string(300'000, 'x') + "\n";
  write(message + message + message);
  qv::MbxFile file(log_.get());
  ASSERT_TRUE(file.open(path_));
  std::string_view text;
  EXPECT_TRUE(file.next(text));
  std::filesystem::resize_file(path_, 2 * message.size() + 10);
  EXPECT_TRUE(file.next(text));
  EXPECT_FALSE(file.next(text));
  EXPECT_EQ(text, "");
  EXPECT_TRUE(log_.holds({"Failed to read the entire file", "filesize: " + std::to_string(3 * message.size()),
                          "bytes_received: " + std::to_string(2 * message.size() + 10)}));
}

TEST_F(MbxFile, OneThatIsDeletedWhileItIsReadIsReadToItsEnd) {
  const std::string message = "From a\n" + std::string(300'000, 'x') + "\n";
  write(message + message + message);
  qv::MbxFile file(log_.get());
  ASSERT_TRUE(file.open(path_));
  std::filesystem::remove(path_);
  int count = 0;
  for (std::string_view text; file.next(text);) ++count;
  EXPECT_EQ(count, 3);
  EXPECT_EQ(log_.text(), "");
}

TEST_F(MbxFile, LinesMayBeHuge) {
  const std::string huge(100'000'000, 'x');
  for (const std::string& text :
       {"From " + huge + "\nSubject: one\n\n", "From a\nSubject: one\nX: " + huge + "\n",
        "From a\nSubject: one\n\n" + huge}) {
    write(text + "\nFrom b\nSubject: two\n\n");
    EXPECT_EQ(subjectsIn(path_).size(), 2U);
  }
  EXPECT_EQ(log_.text(), "");
}

TEST_F(MbxFile, CostIsLinear) {
  const auto make = [](std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i)
      text += "From a\nSubject: x\nTo: a@h\n\n" + std::string(i % 2000, 'x') + "\n";
    return text;
  };
  const auto load = [this](const std::string& text) {
    write(text);
    subjectsIn(path_);
  };
  EXPECT_LT(qv_test::costOfTwice(4'000, make, load), 3);
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

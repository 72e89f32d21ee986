// Holds the laws of fuzz/answer_laws.h against the fuzzer's seeds, and against messages made of nasty pieces.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <string_view>

#include "../../fuzz/answer_laws.h"
#include "platform/temporary_folder.h"

namespace {

using namespace std::string_literals;

TEST(Answers, KeepTheLaws) {
  std::size_t count = 0;
  for (const auto& seed : std::filesystem::directory_iterator(QUORVEL_TEST_DATA "/../../fuzz/seeds/answer")) {
    SCOPED_TRACE(seed.path());
    laws::checkAnswer(qv::contentsOf(seed.path()));
    ++count;
  }
  EXPECT_GT(count, 0U);
}

TEST(Answers, KeepTheLawsForMessagesOfNastyPieces) {
  const std::string names[] = {
      "From",     "To",       "Cc",    "Bcc",        "Subject",      "Date",
      "Reply-To", "Sender",   "X-A",   "Message-ID", "Content-ID",   "QVX-FileDistList",
      "Date\r\n", "X-Mailer", "B\0c"s, "QVX-A",      "Content-Type", "Disposition-Notification-To"};
  const std::string colons[] = {":", ": ", " :", "\t: ", "\r\n :", "\0:"s, ""};
  const std::string pieces[] = {"a",
                                " ",
                                "\t",
                                "\r\n ",
                                "\r",
                                "\n",
                                "\0"s,
                                "\r\nBcc: spy@h",
                                "<a@h>",
                                "\"",
                                ",",
                                ";",
                                "=?x?Q?=0D=0ABcc:_spy@h?=",
                                "=?x?Q?=00?=",
                                "=?x?B?DQpCY2M6IHNweUBo?=",
                                "@",
                                "multipart/mixed; boundary=b",
                                "text/html; charset=\"=?x?Q?=0A?=\"",
                                "--b",
                                "\r\n.\r\n"};
  std::mt19937 random(4711);
  const auto oneOf = [&](const auto& list) -> const std::string& { return list[random() % std::size(list)]; };
  for (int i = 0; i < 3000; ++i) {
    std::string text;
    for (auto fields = random() % 8; fields-- > 0; text += "\r\n") {
      text += oneOf(names) + oneOf(colons);
      for (auto size = random() % 5; size-- > 0;) text += oneOf(pieces);
    }
    text += "\r\n--b\r\n" + oneOf(names) + oneOf(colons) + oneOf(pieces) + "\r\n\r\n" + oneOf(pieces) +
            "\r\n--b--\r\n";
    laws::checkAnswer(text);
  }
}

}  // namespace

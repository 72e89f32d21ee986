#include "net/secret_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/text.h"
#include "mime/transfer_coding.h"
#include "platform/wipe.h"
#include "support/hex.h"
#include "support/linear_cost.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::hexOf;

std::string hidden(std::string_view secret, std::string_view reply) {
  SecretMask mask;
  mask.add(secret);
  StringBuffer text(reply);
  mask.hideIn(text);
  return text.str();
}

TEST(SecretMask, Rows) {
  const struct {
    std::string_view secret, reply, shown;
  } rows[] = {
      {"secret", "535 no: secret", "535 no: *****"},
      {"secret", "535 'secret' and secrets", "535 '*****' and *****s"},
      {"secret", "535 SECRET secre ecret", "535 SECRET secre ecret"},
      {"secretsecret", "secretsecretsecretsecret.", "**********."},
      {"secret", "c2VjcmV0", "*****"},                        // coded alone
      {"secret", "got dTpzZWNyZXQ=!", "got *****!"},          // coded with "u:" before it
      {"secret", "got AHUAc2VjcmV0Cg== ok", "got ***** ok"},  // with NUL u NUL before it, LF behind it
      {"secret", "got eHNlY3JldHg ok", "got ***** ok"},       // between two bytes
      {"secret", "0x736563726574, 3A7365637265740D", "*****, *****"},
      {"j[k\xFE", "6a5b6bfe 6A5B6BFE", "***** *****"},
      {"a long secret of many words", "501 YSBsb25nIHNlY3JldCBvZiBtYW5", "501 *****"},  // cut off
      {"a long secret of many words", "501 YSBsb25nIHN",
       "501 YSBsb25nIHN"},  // cut off early: not enough to tell
      {"p", "535 no password p", "535 no password *****"},
      {"p", "535 cA== 70 a70", "535 ***** ***** a70"},
      {"55", "553 5.5.3 55 no", "553 5.5.3 ***** no"},
      {"535", "535 535", "***** *****"},
      {"\xFC\0\r"sv, "535 \xFC\0\r\r\n"sv, "535 *****\r\n"},
      {"", "535 no", "535 no"},
  };
  for (const auto& row : rows) EXPECT_EQ(hidden(row.secret, row.reply), row.shown) << row.reply;
}

TEST(SecretMask, NoFormOfASecretIsLeft) {
  std::mt19937 random(5);
  const auto randomText = [&](std::size_t size) {
    std::string text;
    while (text.size() < size) text += static_cast<char>(random());
    return text;
  };
  for (int round = 0; round < 3000; ++round) {
    const std::string secret = randomText(SecretMask::kShort + random() % 40);
    const std::string whole = randomText(random() % 5) + secret + randomText(random() % 5);
    const std::string coded = ContentCoding::encodeBase64ToBuffer(whole).str();
    EXPECT_EQ(hidden(secret, "a " + coded + " b"), "a ***** b");
    EXPECT_EQ(hidden(secret, hexOf(whole)), "*****");
    EXPECT_EQ(hidden(secret, toUpper(hexOf(whole))), "*****");
    EXPECT_EQ(hidden(secret, whole).find(secret), std::string::npos);
  }
}

TEST(SecretMask, EverySecretThatWasAdded) {
  SecretMask mask;
  EXPECT_TRUE(mask.empty());
  mask.add("first");
  mask.add("second");
  StringBuffer text("second, c2Vjb25k, first");
  mask.hideIn(text);
  EXPECT_EQ(text.view(), "*****, *****, *****");
}

TEST(SecretMask, CostIsLinear) {
  for (const char* piece : {"secre", "secret", "c2VjcmV0", "p ", "c2Vjcm", "7365637265"}) {
    const auto make = [&](std::size_t n) {
      std::string text;
      while (text.size() < n) text += piece;
      return text;
    };
    const auto work = [](const std::string& text) {
      SecretMask mask;
      mask.add("secret");
      mask.add("p");
      StringBuffer copy(text);
      mask.hideIn(copy);
      EXPECT_EQ(copy.view().find("secret"), std::string_view::npos);
    };
    EXPECT_LT(qv_test::costOfTwice(300'000, make, work), 3) << piece;
  }
}

TEST(SecretText, HoldsAnyBytes) {
  std::mt19937 random(6);
  for (int round = 0; round < 200; ++round) {
    SecretText text;
    std::string expected;
    for (int piece = 0; piece < 12; ++piece) {
      const std::string bytes(random() % 300, static_cast<char>(random()));
      if (piece % 3 == 0) {
        text.append(bytes);
        expected += bytes;
      } else if (piece % 3 == 1) {
        text.appendBase64(bytes);
        expected += ContentCoding::encodeBase64ToBuffer(bytes).view();
      } else {
        text.append('\0');
        expected += '\0';
      }
    }
    EXPECT_EQ(text.view(), expected);
    SecretText taken(std::move(text));
    EXPECT_EQ(taken.view(), expected);
    text = std::move(taken);
    EXPECT_EQ(text.view(), expected);
    taken = text;
    text.clear();
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(taken.str(), expected);
    taken = "other"sv;
    EXPECT_EQ(taken.view(), "other");
  }
}

TEST(Wipe, OverwritesWhatItIsGivenOnly) {
  char bytes[] = "abcdef";
  wipe(bytes + 1, 3);
  EXPECT_EQ(std::string(bytes, 6), "a\0\0\0ef"s);
  wipe(nullptr, 0);
}

}  // namespace
}  // namespace qv

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "mime/base64_kernels.h"
#include "mime/transfer_coding.h"
#include "support/short_texts.h"

using namespace std::string_literals;
using qv::Base64Kernel;
using qv::ContentCoding;
using qv_test::exactly;
using qv_test::viewOf;

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit, as slow as it is plain.
std::string slowDecode(std::string_view text) {
  std::string bits, bytes;
  for (const char c : text) {
    if (c == '=' || c == '\0') break;
    const std::size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) continue;
    for (int bit = 5; bit >= 0; --bit) bits += (value >> bit & 1) != 0 ? '1' : '0';
  }
  for (std::size_t i = 0; i + 8 <= bits.size(); i += 8) {
    bytes += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
  }
  return bytes;
}

std::string slowEncode(std::string_view bytes, bool lines) {
  std::string bits, text;
  for (const char c : bytes) {
    for (int bit = 7; bit >= 0; --bit) bits += (c >> bit & 1) != 0 ? '1' : '0';
  }
  std::size_t column = 0;
  while (bits.size() % 6 != 0) bits += '0';
  for (std::size_t i = 0; i < bits.size(); i += 6) {
    text += kAlphabet[static_cast<std::size_t>(std::stoi(bits.substr(i, 6), nullptr, 2))];
    if (lines && ++column % 72 == 0) text += "\r\n";
  }
  return text.append((3 - bytes.size() % 3) % 3, '=');
}

std::string decodeBy(const Base64Kernel& kernel, std::string_view text) {
  const auto in = exactly(text);
  std::vector<char> out((text.size() + 3) / 4 * 3 + Base64Kernel::kDecodeSlack);
  return {out.data(), kernel.decode(in.data(), in.size(), out.data())};
}

std::string encodeBy(const Base64Kernel& kernel, std::string_view bytes, bool lines) {
  const auto in = exactly(bytes);
  std::vector<char> out(slowEncode(bytes, lines).size());
  return {out.data(), kernel.encode(in.data(), in.size(), lines, out.data())};
}

std::string encodedLines(std::string_view bytes) {
  qv::StringBuffer out("kept ");
  ContentCoding::encodeBase64Lines(bytes, out);
  return out.str().substr(5);
}

}  // namespace

TEST(Base64, EncodesInLines) {
  const std::string line(72, 'A');
  EXPECT_EQ(encodedLines(""), "");
  EXPECT_EQ(encodedLines("a"), "YQ==\r\n");
  EXPECT_EQ(encodedLines("ab"), "YWI=\r\n");
  EXPECT_EQ(encodedLines("abc"), "YWJj\r\n");
  EXPECT_EQ(encodedLines(std::string(54, '\0')), line + "\r\n\r\n");
  EXPECT_EQ(encodedLines(std::string(55, '\0')), line + "\r\nAA==\r\n");
  EXPECT_EQ(encodedLines(std::string(108, '\0')), line + "\r\n" + line + "\r\n\r\n");
  EXPECT_EQ(ContentCoding::encodeBase64ToBuffer("\xFB\xFF\xFE?").view(), "+//+Pw==");
  EXPECT_EQ(ContentCoding::encodeBase64ToBuffer("").size(), 0U);
}

TEST(Base64, DecodesWhatTheRulesGive) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"YWJj", "abc"},
      {"YWI=", "ab"},
      {"YQ==", "a"},
      {"YWI", "ab"},
      {"YQ", "a"},
      {"Y", ""},
      {"YW\r\nJ\tj ", "abc"},
      {"Y-W!J\xFFj*", "abc"},
      {"YWJj=ZGVm", "abc"},
      {"YWJj\0ZGVm"s, "abc"},
      {"=YWJj", ""},
      {"+/+/", "\xFB\xFF\xBF"},
  };
  for (const auto& [text, bytes] : rows) EXPECT_EQ(ContentCoding::decodeBase64(text).view(), bytes) << text;
}

TEST(Base64, EveryKernelEncodesEverySizeAlike) {
  std::mt19937 random(1);
  for (std::size_t size = 0; size < 400; ++size) {
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    EXPECT_LE(encodedLines(bytes).size(), ContentCoding::estimateBase64Size(size));
    EXPECT_EQ(ContentCoding::decodeBase64(encodedLines(bytes)).view(), bytes);
    for (const Base64Kernel& kernel : qv::base64Kernels()) {
      ASSERT_EQ(encodeBy(kernel, bytes, true), slowEncode(bytes, true)) << kernel.name << " " << size;
      ASSERT_EQ(encodeBy(kernel, bytes, false), slowEncode(bytes, false)) << kernel.name << " " << size;
    }
  }
}

TEST(Base64, EveryKernelDecodesEveryShortTextAlike) {
  // Alone, and where a stride of a vector begins, runs over it, and ends.
  const std::string before[] = {"", "QUJD", "QUJDREVGR0hJSktMTU5PUFFSU1RVVl",
                                "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlq\r\n"};
  const std::string after = "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlq\r\nQUJD";
  const auto kernels = qv::base64Kernels();
  qv_test::forEachShortText("A/=\r\n!\xFF\0"s, 4, [&](const std::string& middle) {
    for (const std::string& start : before) {
      const std::string text = start.empty() ? middle : start + middle + after;
      const std::string bytes = slowDecode(text);
      for (const Base64Kernel& kernel : kernels)
        ASSERT_EQ(decodeBy(kernel, text), bytes) << kernel.name << text;
    }
  });
}

TEST(Base64, EveryKernelDecodesLinesOfEveryLengthAlike) {
  std::mt19937 random(2);
  const auto kernels = qv::base64Kernels();
  for (int round = 0; round < 4000; ++round) {
    const std::size_t length = random() % 3 == 0 ? random() % 100 + 1 : (random() % 24 + 1) * 4;
    const char* const breaks[] = {"\r\n", "\n", " \r\n", "\r\n\r\n"};
    const char* const lineBreak = breaks[random() % 4];
    std::string text;
    for (std::size_t lines = random() % 8; lines > 0; --lines) {
      text += qv_test::randomText(random, kAlphabet, length) + lineBreak;
    }
    if (random() % 2 == 0 && !text.empty()) text[random() % text.size()] = "=\0!\n A"[random() % 6];
    for (const Base64Kernel& kernel : kernels) {
      ASSERT_EQ(decodeBy(kernel, text), slowDecode(text)) << kernel.name << " " << text;
    }
  }
}

// The vector kernels tell foreign characters from values by nibbles: each byte at each place of a stride.
TEST(Base64, EveryKernelKnowsEveryCharacter) {
  for (const Base64Kernel& kernel : qv::base64Kernels()) {
    for (int c = 0; c < 256; ++c) {
      for (std::size_t place = 0; place < 32; ++place) {
        std::string text(64, 'k');
        text[place] = static_cast<char>(c);
        ASSERT_EQ(decodeBy(kernel, text), slowDecode(text)) << kernel.name << " " << c << " " << place;
      }
    }
  }
}

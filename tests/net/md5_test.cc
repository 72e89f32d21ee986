#include "net/md5.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <random>
#include <string>

#include "net/md4.h"
#include "net/rc4.h"
#include "support/hex.h"

namespace qv {
namespace {

using namespace std::string_view_literals;
using qv_test::bytesOf;
using qv_test::hexOf;

constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

TEST(Digests, PublishedVectors) {
  const std::string digits = "1234567890";
  const struct {
    std::string text;
    const char *md4, *md5;  // RFC 1320 A.5, RFC 1321 A.5
  } rows[] = {
      {"", "31d6cfe0d16ae931b73c59d7e0c089c0", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "bde52cb31de33e46245e05fbdbd6fb24", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "a448017aaf21d8525fc10ae87aa6729d", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "d9130a8164549fe818874806e1c7014b", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "d79e1c308aa5bbcdeea8ed63df412da9", "c3fcd3d76192e4007dfb496cca67e13b"},
      {std::string(kLetters), "043f8582f241db351ce627e153e7f0e4", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {digits + digits + digits + digits + digits + digits + digits + digits,
       "e33b4ddc9c38f2199c3e7b164fcc0536", "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hexOf(md4(row.text)), row.md4) << row.text;
    EXPECT_EQ(hexOf(Md5::of(row.text)), row.md5) << row.text;
  }
}

TEST(Digests, Md5InPiecesIsWhatOpenSslSays) {
  std::mt19937 random(3);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    Md5 hash;
    for (std::size_t pieces = random() % 5; pieces > 0; --pieces) {
      const std::string piece(random() % 150, static_cast<char>(random()));
      hash.update(piece);
      text += piece;
    }
    unsigned char expected[16];
    ASSERT_EQ(EVP_Digest(text.data(), text.size(), expected, nullptr, EVP_md5(), nullptr), 1);
    EXPECT_EQ(hexOf(hash.finish()), hexOf({reinterpret_cast<const char*>(expected), sizeof expected}));
  }
}

TEST(HmacMD5, IsWhatOpenSslSays) {
  std::mt19937 random(4);
  for (int round = 0; round < 2000; ++round) {
    std::string key(random() % 130, '\0'), message(random() % 200, '\0');
    for (char& c : key) c = static_cast<char>(random());
    for (char& c : message) c = static_cast<char>(random());
    unsigned char expected[16];
    ASSERT_NE(HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()),
                   reinterpret_cast<const unsigned char*>(message.data()), message.size(), expected, nullptr),
              nullptr);
    EXPECT_EQ(hexOf(HmacMD5::hmac(message, key)),
              hexOf({reinterpret_cast<const char*>(expected), sizeof expected}));
  }
}

TEST(CramMD5, Responses) {
  // The example of RFC 2195 2.
  EXPECT_EQ(CramMD5::response("tim", "tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>").view(),
            "tim b913a602c7eda7a495b4e6e7334d3890");
  // A key longer than a block is its digest.
  const std::string longPassword(65, 'x');
  EXPECT_EQ(CramMD5::response("u", longPassword, "c").view(),
            CramMD5::response("u", Md5::of(longPassword), "c").view());
  EXPECT_EQ(CramMD5::response("a\0b"sv, "p\0"sv, "\0"sv).view(),
            std::string("a\0b "sv) + hexOf(HmacMD5::hmac("\0"sv, "p\0"sv)));
}

// RFC 6229 2, the first 16 bytes of the key stream.
TEST(Rc4, PublishedVectors) {
  const struct {
    const char *key, *stream;
  } rows[] = {
      {"0102030405", "b2396305f03dc027ccc3524a0a1118a8"},
      {"0102030405060708090a0b0c0d0e0f10", "9ac7cc9a609d1ef7b2932899cde41b97"},
      {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20",
       "eaa6bd25880bf93d3f5d1e4ca2611d91"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hexOf(rc4(bytesOf(row.key), std::string(16, '\0'))), row.stream);
  }
}

}  // namespace
}  // namespace qv

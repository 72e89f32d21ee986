// Holds the laws of fuzz/secure_laws.h against the fuzzers' seeds.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "../../fuzz/secure_laws.h"
#include "platform/temporary_folder.h"

namespace {

TEST(SmimeSeeds, KeepTheLaws) {
  const struct {
    const char* name;
    void (*check)(std::string_view);
  } targets[] = {{"certificate", laws::checkCertificate}, {"pkcs7", laws::checkSecureMessage}};
  for (const auto& target : targets) {
    const auto folder = std::filesystem::path(QUORVEL_TEST_DATA) / "../../fuzz/seeds" / target.name;
    std::size_t count = 0;
    for (const auto& seed : std::filesystem::directory_iterator(folder)) {
      SCOPED_TRACE(seed.path());
      target.check(qv::contentsOf(seed.path()));
      ++count;
    }
    EXPECT_GT(count, 0U) << folder;
  }
  qv::setCertificateStoreRoot({});
}

// The seeds are worth something only as long as they open.
TEST(SmimeSeeds, Open) {
  laws::setUpStores();
  const auto folder = std::filesystem::path(QUORVEL_TEST_DATA) / "../../fuzz/seeds/pkcs7";
  for (const auto& seed : std::filesystem::directory_iterator(folder)) {
    const std::string bytes = qv::contentsOf(seed.path());
    if (bytes[0] != 2) continue;
    const auto email = qv::createFromMimeText(
        "Content-Type: application/pkcs7-mime\r\n\r\n" + bytes.substr(1), {.processSecurity = true}, nullptr);
    EXPECT_TRUE(email->receivedSecurity().whollyEncrypted) << seed.path();
    EXPECT_EQ(email->getBody(), "secret") << seed.path();
  }
  qv::setCertificateStoreRoot({});
}

}  // namespace

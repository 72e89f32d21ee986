// Holds the laws of fuzz/laws.h against the fuzzers' seeds.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "../../fuzz/laws.h"
#include "../../fuzz/xml_laws.h"

namespace {

TEST(FuzzSeeds, keepTheLaws) {
  const struct {
    const char* name;
    void (*check)(std::string_view);
  } targets[] = {
      {"header", laws::checkHeader},       {"tree", laws::checkTree},   {"codings", laws::checkCodings},
      {"addresses", laws::checkAddresses}, {"dates", laws::checkDates}, {"xml", laws::checkXml},
      {"mime_xml", laws::checkMimeXml},
  };
  for (const auto& target : targets) {
    const auto folder = std::filesystem::path(QUORVEL_TEST_DATA) / "../../fuzz/seeds" / target.name;
    std::size_t count = 0;
    for (const auto& seed : std::filesystem::directory_iterator(folder)) {
      SCOPED_TRACE(seed.path());
      std::ifstream file(seed.path(), std::ios::binary);
      target.check(std::string(std::istreambuf_iterator<char>(file), {}));
      ++count;
    }
    EXPECT_GT(count, 0U) << folder;
  }
}

}  // namespace

// Holds the laws of fuzz/laws.h against the fuzzers' seeds.
#include <gtest/gtest.h>

#include "../../fuzz/laws.h"
#include "../../fuzz/xml_laws.h"
#include "support/seeds.h"

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
  for (const auto& target : targets) qv_test::holdAgainstSeeds(target.name, target.check);
}

}  // namespace

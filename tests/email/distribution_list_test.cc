#include "email/distribution_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "core/log_store.h"

namespace {

using qv::DistributionList;

std::string listed(const DistributionList& list) {
  std::string all;
  for (std::size_t i = 0; i < list.count(); ++i) all += std::string(list.getAddress(i)) + '|';
  return all;
}

TEST(DistributionList, readsFiles) {
  const auto path = std::filesystem::temp_directory_path() /
                    ("qv_list_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  const struct {
    const char *text, *addresses;
  } rows[] = {
      {" a@h \r\n\r\nno address\r\nB <b@h>", "a@h|B <b@h>|"},
      {"a@h\na@h\n\n\n\tc@h", "a@h|a@h|c@h|"},
      {"\xEF\xBB\xBF"
       "a@h\n",
       "a@h|"},
      {"\n \r\n", ""},
  };
  DistributionList list;
  for (const auto& row : rows) {
    std::ofstream(path, std::ios::binary) << row.text;
    const long count = list.loadFromFile(path.string(), nullptr);
    EXPECT_EQ(count, static_cast<long>(list.count()));
    EXPECT_EQ(listed(list), row.addresses);
    EXPECT_EQ(list.filename(), path.string());
  }
  std::filesystem::remove(path);
  qv::CLogImpl log(std::make_shared<qv::LogStore>());
  EXPECT_EQ(list.loadFromFile(path.string(), &log), -1);
  EXPECT_EQ(list.count(), 0u);
  EXPECT_FALSE(log.GetErrorEntries().empty());
}

TEST(DistributionList, keepsOneOfEach) {
  DistributionList list;
  for (const char* address : {" a@h ", "A@H", "none", "b@h\r\n", "", "b@h"}) list.addUnique(address);
  EXPECT_EQ(listed(list), "a@h|b@h|");
  EXPECT_EQ(list.getAddress(2), "");
  list.clear();
  list.addUnique("a@h");
  EXPECT_EQ(list.count(), 1u);
}

}  // namespace

#include "email/distribution_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "core/log_store.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"

using namespace std::string_view_literals;

namespace {

using qv::DistributionList;

std::string listed(const DistributionList& list) {
  std::string all;
  for (std::size_t i = 0; i < list.count(); ++i) all += std::string(list.getAddress(i)) + '|';
  return all;
}

TEST(DistributionList, readsFiles) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "list";
  const struct {
    std::string_view text, addresses;
  } rows[] = {
      {" a@h \r\n\r\nno address\r\nB <b@h>", "a@h|B <b@h>|"},
      {"a@h\na@h\n\n\n\tc@h", "a@h|a@h|c@h|"},
      {"\xEF\xBB\xBF"
       "a@h\n",
       "a@h|"},
      {"\n \r\n", ""},
      {"", ""},
      {"\xEF\xBB\xBF", ""},
      {" a@h\n\r\n\n\r\rb@h\r", "a@h|b@h|"},
      // What can be no address is refused when it is sent to.
      {"a@h\rb@h", "a@h\rb@h|"},
      {"a b@h\n<a@h>,<b@h>\n@\n\t\n@@", "a b@h|<a@h>,<b@h>|@|@@|"},
      {"a\0@h\n\0\0\n\x1A"sv, "a\0@h|"sv},
      {"\xFF\xFE"
       "a\0@\0h\0\r\0\n\0"sv,
       "\xFF\xFE"
       "a\0@\0h\0\r\0|"sv},
  };
  DistributionList list;
  for (const auto& row : rows) {
    std::ofstream(path, std::ios::binary) << row.text << std::flush;
    const long count = list.loadFromFile(path, nullptr);
    EXPECT_EQ(count, static_cast<long>(list.count()));
    EXPECT_EQ(listed(list), row.addresses);
    EXPECT_EQ(list.filename(), path);
  }
  std::filesystem::remove(path);
  qv::CLogImpl log(std::make_shared<qv::LogStore>());
  EXPECT_EQ(list.loadFromFile(path, &log), -1);
  EXPECT_EQ(list.count(), 0u);
  EXPECT_FALSE(log.GetErrorEntries().empty());
}

TEST(DistributionList, costIsLinear) {
  const qv::TemporaryFolder folder;
  for (const char* line : {"member@example.org\n", "\n", "@", "\r", "no address at all\r\n"}) {
    const auto make = [&](std::size_t n) {
      std::string text;
      while (text.size() < n) text += line;
      const std::string file = folder / std::to_string(n);
      std::ofstream(file, std::ios::binary) << text;
      return file;
    };
    const auto work = [](const std::string& file) {
      DistributionList list;
      EXPECT_GE(list.loadFromFile(file, nullptr), 0);
    };
    EXPECT_LT(qv_test::costOfTwice(2'000'000, make, work), 3) << line;
  }
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

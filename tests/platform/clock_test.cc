#include "platform/clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <set>

#include "platform/host_name.h"
#include "platform/random.h"

namespace qv {
namespace {

class Clock : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
    tzset();
  }
  void TearDown() override {
    setClockForTest({});
    unsetenv("TZ");
    tzset();
  }
};

TEST_F(Clock, LocalTimesFollowDaylightSaving) {
  const struct {
    CalendarTime universal, local;
    bool converted;
  } rows[] = {
      {{2002, 1, 0, 15, 3, 4, 5, 678}, {2002, 1, 1, 14, 22, 4, 5, 678}, true},
      {{2002, 7, 0, 15, 3, 4, 5, 0}, {2002, 7, 0, 14, 23, 4, 5, 0}, true},
      {{1969, 12, 0, 31, 23, 0, 0, 0}, {1969, 12, 3, 31, 18, 0, 0, 0}, true},
      {{2000, 2, 0, 29, 12, 0, 0, 0}, {2000, 2, 2, 29, 7, 0, 0, 0}, true},
      {{1900, 2, 0, 29, 12, 0, 0, 0}, {}, false},
      {{2002, 13, 0, 1, 0, 0, 0, 0}, {}, false},
      {{2002, 0, 0, 1, 0, 0, 0, 0}, {}, false},
      {{2002, 1, 0, 0, 0, 0, 0, 0}, {}, false},
      {{2002, 4, 0, 31, 0, 0, 0, 0}, {}, false},
      {{2002, 4, 0, 1, 24, 0, 0, 0}, {}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.universal.year * 100 + row.universal.month);
    CalendarTime local;
    EXPECT_EQ(localFromUniversal(row.universal, local), row.converted);
    EXPECT_EQ(local, row.local);
  }
}

TEST_F(Clock, TellsTheInstantThatATestSets) {
  setClockForTest([] { return std::int64_t{1026702245}; });  // 2002-07-15 03:04:05 UT
  EXPECT_EQ(universalTimeNow(), (CalendarTime{2002, 7, 1, 15, 3, 4, 5, 0}));
  EXPECT_EQ(localTimeNow().time, (CalendarTime{2002, 7, 0, 14, 23, 4, 5, 0}));
  EXPECT_EQ(localTimeNow().biasMinutes, 240);
  EXPECT_EQ(localTimeAt(-1).time, (CalendarTime{1969, 12, 3, 31, 18, 59, 59, 999}));
  setClockForTest({});
  EXPECT_GT(universalTimeNow().year, 2020);
}

TEST(Random, UuidsAreOfVersion4AndDiffer) {
  const char* form = "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = newUuid();
    EXPECT_THAT(uuid, testing::MatchesRegex(form));
    EXPECT_TRUE(seen.insert(uuid).second) << uuid;
  }
  setUuidForTest([] { return std::string("fixed"); });
  EXPECT_EQ(newUuid(), "fixed");
  setUuidForTest({});
  EXPECT_EQ(newUuid().size(), 36u);
}

TEST(HostName, IsTheMachinesUntilATestSetsIt) {
  const std::string own = canonicalHostName();
  EXPECT_EQ(own.empty(), localHostName().empty());
  EXPECT_EQ(own.find_first_of(std::string_view("\r\n\0 ", 4)), std::string::npos);
  setHostNameForTest("mx.example.org");
  EXPECT_EQ(canonicalHostName(), "mx.example.org");
  setHostNameForTest("");
  EXPECT_EQ(canonicalHostName(), own);
}

}  // namespace
}  // namespace qv

#include "mime/date_parser.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "../../fuzz/laws.h"

namespace {

using qv::CalendarTime;
using qv::DateParser;

// "year-month-day hour:minute:second dayOfWeek".
std::string dump(const CalendarTime& t) {
  char text[64];
  std::snprintf(text, sizeof text, "%d-%d-%d %02d:%02d:%02d %d", t.year, t.month, t.day, t.hour, t.minute,
                t.second, t.dayOfWeek);
  return text;
}

TEST(DateParser, parses) {
  const struct {
    const char* text;
    const char* date;  // null when it is none
  } rows[] = {
      {"Tue, 05 Nov 2002 14:03:09 -0500", "2002-11-5 19:03:09 2"},
      {"5 Nov 2002 23:30:00 -0100", "2002-11-6 00:30:00 3"},
      {"1 Jan 2003 00:10:00 +0100", "2002-12-31 23:10:00 2"},
      {"29 Feb 2000 23:59:59 -0001", "2000-3-1 00:00:59 3"},
      {"Tue, 5 Nov 02 14:03:09 EST", "2002-11-5 19:03:09 2"},
      {"Tue, 5 Nov 2002 14:03:09", "2002-11-5 14:03:09 2"},
      {"Tue, 5 Nov 2002 14:03:09 XYZ", "2002-11-5 14:03:09 2"},
      {" \ttuesday ,\t 5\tnovember\t2002 1:2:3 gmt (comment)", "2002-11-5 01:02:03 2"},
      {"5 NOV 99 01:02:03 pdt", "1999-11-5 08:02:03 0"},
      {"5 Nov 102 01:02:03 y", "2002-11-4 13:02:03 1"},
      {"5 Nov 2002 14:03:09 + 0330", "2002-11-5 10:33:09 0"},
      {"5 Nov 2002 14:03:09.5 -0330x", "2002-11-5 17:33:09 0"},
      {"Tue,5 Nov 2002 14:03:09", "2002-11-5 14:03:09 2"},
      {"Tue, 05Nov 2002 14:03:09", "2002-11-5 14:03:09 2"},
      {"Tue, 05 Nov2002 14:03:09", "2002-11-5 14:03:09 2"},
      {"Tue, 5 Nov. 2002, 14:03:09", "2002-11-5 14:03:09 2"},
      {"31 Dec 9999 23:00:00 +0000", "9999-12-31 23:00:00 0"},
      {"31 Dec 9999 23:00:00 -0100", nullptr},
      {"Tue, 5 Nov 2002 14:03 -0500", nullptr},
      {"05-Nov-2002 14:03:09 -0500", nullptr},
      {"Tue, 5 Nov 2002 14:03:09 -05", nullptr},
      {"5 Nov 2002 14:03:09 -5:00", nullptr},
      {"5 Nov 2002 14:03:09 9999", nullptr},
      {"31 Feb 2002 14:03:09", nullptr},
      {"29 Feb 2002 14:03:09", nullptr},
      {"0 Nov 2002 14:03:09", nullptr},
      {"-5 Nov 2002 14:03:09", nullptr},
      {"7Dec -1909 2:5:2", nullptr},
      {"5 Nov 99999999999999999999 14:03:09", nullptr},
      {"5 Nov 2002 99999999999999999999:03:09", nullptr},
      {"5 Nov 2002 49:03:09", nullptr},
      {"5 Nov 2002 14:03:60", nullptr},
      {"5 Nox 2002 14:03:09", nullptr},
      {"5 No", nullptr},
      {"Tue", nullptr},
      {"Tue, ", nullptr},
      {"", nullptr},
      {" ", nullptr},
  };
  for (const auto& row : rows) {
    CalendarTime date;
    ASSERT_EQ(DateParser::parseRfc822Date(row.text, date), row.date != nullptr) << row.text;
    EXPECT_EQ(dump(date), row.date != nullptr ? row.date : dump({})) << row.text;
    laws::checkDates(row.text);
  }
  // Only the first 199 characters count.
  CalendarTime date;
  EXPECT_TRUE(DateParser::parseRfc822Date(std::string(199 - 19, ' ') + "5 Nov 2002 14:03:09", date));
  EXPECT_FALSE(DateParser::parseRfc822Date(std::string(199 - 17, ' ') + "5 Nov 2002 14:03:09", date));
}

TEST(DateParser, convertsOleDates) {
  const struct {
    double ole;
    const char* date;
  } rows[] = {
      {0, "1899-12-30 00:00:00 6"},         {2.5, "1900-1-1 12:00:00 1"},
      {-1.25, "1899-12-29 06:00:00 5"},     {36585, "2000-2-29 00:00:00 2"},
      {36586, "2000-3-1 00:00:00 3"},       {37621.99998842593, "2002-12-31 23:59:59 2"},
      {-657434, "100-1-1 00:00:00 5"},      {2958465, "9999-12-31 00:00:00 5"},
      {0.9999999, "1899-12-31 00:00:00 0"}, {-1.9999999, "1899-12-30 00:00:00 6"},
      {-36522.5, "1800-1-1 12:00:00 3"},
  };
  for (const auto& row : rows) {
    CalendarTime date;
    ASSERT_TRUE(DateParser::oleDateToCalendar(row.ole, date)) << row.ole;
    EXPECT_EQ(dump(date), row.date) << row.ole;
  }
  CalendarTime date;
  for (const double none :
       {-657435.0, -657434.5, 2958465.5, 1e300, std::nan(""), -std::numeric_limits<double>::infinity()}) {
    EXPECT_FALSE(DateParser::oleDateToCalendar(none, date)) << none;
  }
  const CalendarTime noDates[] = {
      {.year = 1900, .month = 2, .day = 29},
      {.year = 10000, .month = 1, .day = 1},
      {.year = 2000, .month = 0, .day = 1},
      {.year = 2000, .month = 13, .day = 1},
      {.year = 2000, .month = 4, .day = 31},
      {.year = 2000, .month = 4, .day = 0},
      {.year = 2000, .month = 1, .day = 1, .hour = 24},
      {.year = 2000, .month = 1, .day = 1, .minute = 60},
      {.year = 2000, .month = 1, .day = 1, .second = 60},
  };
  double ole = 7;
  for (const CalendarTime& none : noDates)
    EXPECT_FALSE(DateParser::calendarToOleDate(none, ole)) << dump(none);
  EXPECT_EQ(ole, 7);
}

// Every day of the range, at some second of it, against the standard library's calendar; there and back.
TEST(DateParser, agreesWithTheCalendarOnEveryDay) {
  using namespace std::chrono;
  const auto small = [](auto number) { return static_cast<std::uint16_t>(number); };
  for (int day = -657434; day < 2958465; ++day) {
    const sys_days when = sys_days{1899y / December / 30} + days{day};
    const year_month_day date{when};
    const auto second = static_cast<unsigned>(day + 657434) * 7919 % 86400;
    const CalendarTime expected{.year = small(static_cast<int>(date.year())),
                                .month = small(static_cast<unsigned>(date.month())),
                                .dayOfWeek = small(weekday{when}.c_encoding()),
                                .day = small(static_cast<unsigned>(date.day())),
                                .hour = small(second / 3600),
                                .minute = small(second / 60 % 60),
                                .second = small(second % 60)};
    double ole = 0;
    CalendarTime back;
    ASSERT_TRUE(DateParser::calendarToOleDate(expected, ole)) << dump(expected);
    ASSERT_EQ(std::trunc(ole), day);
    ASSERT_TRUE(DateParser::oleDateToCalendar(ole, back));
    ASSERT_EQ(back, expected) << dump(back) << " for " << dump(expected);
  }
}

TEST(DateParser, makesTheCurrentDate) {
  const struct {
    const char* zone;
    const char* text;
  } rows[] = {
      {"EST5", "Tue, 05 Nov 2002 09:03:09 -0500"},
      {"XXX-1", "Tue, 05 Nov 2002 15:03:09 +0100"},
      {"NST3:30", "Tue, 05 Nov 2002 10:33:09 -0330"},
      {"IST-5:30", "Tue, 05 Nov 2002 19:33:09 +0530"},
      {"UTC0", "Tue, 05 Nov 2002 14:03:09 +0000"},
      {"XXX0:30", "Tue, 05 Nov 2002 13:33:09 -0030"},
      {"XXX0YYY,J1/0,J365/23", "Tue, 05 Nov 2002 15:03:09 +0100"},
  };
  const char* before = std::getenv("TZ");
  const std::string kept = before != nullptr ? before : "";
  qv::setClockForTest([] { return 1036504989; });
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    tzset();
    EXPECT_EQ(DateParser::makeCurrentDate(), row.text) << row.zone;
    CalendarTime date;
    ASSERT_TRUE(DateParser::parseRfc822Date(DateParser::makeCurrentDate(), date));
    EXPECT_EQ(dump(date), "2002-11-5 14:03:09 2") << row.zone;
    DateParser::oleDateToCalendarOrNow(1e9, date);
    EXPECT_EQ(dump(date), "2002-11-5 14:03:09 2");
  }
  qv::setClockForTest({});
  before != nullptr ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
  tzset();
}

}  // namespace

#include "mime/date_parser.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "core/text.h"

namespace qv {
namespace {

constexpr std::string_view kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::string_view kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr int kMonthLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int kMinutesPerDay = 24 * 60;

// RFC 822 5.1, with the military letters as it has them.
struct Zone {
  std::string_view name;
  std::string_view offset;
};
constexpr Zone kZones[] = {
    {"ut", "0000"},   {"gmt", "0000"},  {"est", "-0500"}, {"edt", "-0400"}, {"cst", "-0600"},
    {"cdt", "-0500"}, {"mst", "-0700"}, {"mdt", "-0600"}, {"pst", "-0800"}, {"pdt", "-0700"},
    {"a", "-0100"},   {"z", "0000"},    {"m", "-1200"},   {"n", "0100"},    {"y", "1200"},
};

constexpr bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}
constexpr bool isLeapYear(int year) noexcept {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}
constexpr int monthLength(int year, int month) noexcept {
  return month == 2 && isLeapYear(year) ? 29 : kMonthLengths[month - 1];
}

// Index of the name that a text begins with, -1 when it begins with none.
template <std::size_t N>
int nameAt(std::string_view text, const std::string_view (&names)[N]) noexcept {
  for (std::size_t i = 0; i < N; ++i) {
    if (startsWithNoCase(text, names[i])) return static_cast<int>(i);
  }
  return -1;
}

// Walks over a date text.
class DateText {
 public:
  explicit DateText(std::string_view text) noexcept : rest_(text) {}
  std::string_view rest() const noexcept { return rest_; }
  bool atEnd() const noexcept { return rest_.empty(); }

  void skipAnyOf(std::string_view chars) {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(chars), rest_.size()));
  }
  void skipUntil(std::string_view chars) {
    rest_.remove_prefix(std::min(rest_.find_first_of(chars), rest_.size()));
  }
  void skipBlanks() { skipAnyOf(" \t"); }
  bool skip(char c) {
    if (atEnd() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  /// Reads an integer with white space and a sign before it; one that is too large for any date is cut.
  bool readInt(int& number) {
    skipAnyOf(" \t\r\n\v\f");
    const bool negative = skip('-');
    if (!negative) skip('+');
    if (atEnd() || !isDigit(rest_.front())) return false;
    for (number = 0; !atEnd() && isDigit(rest_.front()); rest_.remove_prefix(1)) {
      number = std::min(number * 10 + (rest_.front() - '0'), 1'000'000);
    }
    if (negative) number = -number;
    return true;
  }

 private:
  std::string_view rest_;
};

constexpr std::uint16_t small(int number) noexcept {
  return static_cast<std::uint16_t>(number);
}

// Minutes that a zone is ahead of universal time. False when a numeric zone lacks its four digits.
bool readZone(std::string_view zone, int& minutes) {
  if (!zone.empty() && zone.front() != '-' && !isDigit(zone.front())) {
    const auto known = std::find_if(std::begin(kZones), std::end(kZones),
                                    [&](const Zone& z) { return equalsNoCase(z.name, zone); });
    zone = known == std::end(kZones) ? "0000" : known->offset;
  }
  if (zone.empty()) zone = "0000";
  const int sign = zone.front() == '-' ? -1 : 1;
  if (sign < 0) zone.remove_prefix(1);
  if (zone.size() < 4 || !std::all_of(zone.begin(), zone.begin() + 4, isDigit)) return false;
  const auto digit = [&](std::size_t i) { return zone[i] - '0'; };
  minutes = sign * ((digit(0) * 10 + digit(1)) * 60 + digit(2) * 10 + digit(3));
  return true;
}

// Moves a date by whole days; the time of day becomes midnight. False when there is no such date.
bool moveDays(CalendarTime& date, int days) {
  double oleDate = 0;
  return DateParser::calendarToOleDate(date.year, date.month, date.day, 0, 0, 0, oleDate) &&
         DateParser::oleDateToCalendar(oleDate + days, date);
}

}  // namespace

bool DateParser::parseRfc822Date(std::string_view text, CalendarTime& out) {
  constexpr std::size_t kLongest = 199;
  DateText date(text.substr(0, kLongest));
  date.skipBlanks();

  const int dayOfWeek = nameAt(date.rest(), kDayNames);
  if (dayOfWeek >= 0) {
    date.skipUntil(" \t,0123456789");
    date.skipAnyOf(" \t,");
  }

  int day = 0, year = 0;
  if (!date.readInt(day)) return false;
  date.skipBlanks();
  const int month = nameAt(date.rest(), kMonthNames) + 1;
  if (month == 0) return false;
  date.skipUntil(" \t0123456789");
  if (!date.readInt(year) || year < 0) return false;
  if (year < 1900) year += year < 50 ? 2000 : 1900;
  date.skipUntil(" \t,");
  date.skipAnyOf(" \t,");

  int hour = 0, minute = 0, second = 0;
  if (!date.readInt(hour) || !date.skip(':') || !date.readInt(minute) || !date.skip(':') ||
      !date.readInt(second)) {
    return false;
  }
  date.skipUntil(" \t");
  date.skipBlanks();
  date.skip('+');
  date.skipBlanks();
  const std::string_view zone = date.rest();
  int zoneMinutes = 0;
  if (!readZone(zone.substr(0, zone.find_first_of(" \t\r\n")), zoneMinutes)) return false;

  int total = hour * 60 + minute - zoneMinutes;
  const int days = total < 0 ? -1 : total >= kMinutesPerDay ? 1 : 0;
  total -= days * kMinutesPerDay;
  for (const int number : {year, day, second, total}) {
    if (number < 0 || number > 9999) return false;
  }
  CalendarTime result{.year = small(year),
                      .month = small(month),
                      .dayOfWeek = small(std::max(dayOfWeek, 0)),
                      .day = small(day)};
  if (days != 0 && !moveDays(result, days)) return false;
  result.hour = small(total / 60);
  result.minute = small(total % 60);
  result.second = small(second);
  // Only what is a date of the calendar is a date: "31 Feb", "99:00:00" are none.
  double oleDate = 0;
  if (!calendarToOleDate(result, oleDate)) return false;
  out = result;
  return true;
}

bool DateParser::calendarToOleDate(std::uint16_t year, std::uint16_t month, std::uint16_t day,
                                   std::uint16_t hour, std::uint16_t minute, std::uint16_t second,
                                   double& out) {
  if (year > 9999 || month == 0 || month > 12 || day == 0 || day > monthLength(year, month) || hour > 23 ||
      minute > 59 || second > 59) {
    return false;
  }
  int number = 365 * year + year / 4 - year / 100 + year / 400 + day - 693959;
  for (int before = 1; before < month; ++before) number += kMonthLengths[before - 1];
  // The year's own leap day is counted already.
  if (month <= 2 && isLeapYear(year)) --number;
  const double fraction = (hour * 3600 + minute * 60 + second) / 86400.0;
  out = number >= 0 ? number + fraction : number - fraction;
  return true;
}

bool DateParser::calendarToOleDate(const CalendarTime& time, double& out) {
  return calendarToOleDate(time.year, time.month, time.day, time.hour, time.minute, time.second, out);
}

bool DateParser::oleDateToCalendar(double oleDate, CalendarTime& out) {
  if (!(oleDate >= kMinOleDate && oleDate <= kMaxOleDate)) return false;  // also what is no number
  double whole = 0;
  const double fraction = std::fabs(std::modf(oleDate, &whole));
  int days = static_cast<int>(whole);
  int seconds = static_cast<int>(std::lround(fraction * 86400));
  if (seconds == 86400) {  // rounded up to midnight, which begins the next day
    seconds = 0;
    ++days;
  }

  // Days since 1 January of the year 1, taken apart by the cycles of 400, 100, 4 years and 1 year; the last
  // day of a leap year closes its cycle.
  int left = days + 693959 - 366;
  const auto cycles = [&](int length, int most) {
    const int count = std::min(left / length, most);
    left -= count * length;
    return count;
  };
  int year = 1 + 400 * cycles(146097, 99);
  year += 100 * cycles(36524, 3);
  year += 4 * cycles(1461, 24);
  year += cycles(365, 3);
  int month = 1;
  for (; left >= monthLength(year, month); ++month) left -= monthLength(year, month);
  const int dayOfWeek = (days % 7 + 7 + 6) % 7;  // day 0 was a Saturday

  out = {.year = small(year),
         .month = small(month),
         .dayOfWeek = small(dayOfWeek),
         .day = small(left + 1),
         .hour = small(seconds / 3600),
         .minute = small(seconds / 60 % 60),
         .second = small(seconds % 60)};
  return true;
}

void DateParser::oleDateToCalendarOrNow(double oleDate, CalendarTime& out) {
  if (!oleDateToCalendar(oleDate, out)) out = universalTimeNow();
}

std::string DateParser::makeCurrentDate() {
  const LocalTime now = localTimeNow();
  const CalendarTime& time = now.time;
  // The sign stands apart from the hours, so that a zone less than an hour west keeps it.
  const int bias = std::abs(now.biasMinutes);
  char text[80];
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d %c%02d%02d",
                kDayNames[time.dayOfWeek % 7].data(), time.day, kMonthNames[(time.month + 11) % 12].data(),
                time.year, time.hour, time.minute, time.second, now.biasMinutes > 0 ? '-' : '+', bias / 60,
                bias % 60);
  return text;
}

}  // namespace qv

#include "platform/clock.h"

#include <time.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace qv {

namespace {

using TestClock = std::function<std::int64_t()>;

// The flag keeps the lock out of the way of every reading of the real clock.
std::atomic<bool> testClockSet{false};
std::mutex testClockMutex;
std::shared_ptr<const TestClock> testClock;

CalendarTime calendarTime(const tm& parts, std::int64_t milliseconds) {
  CalendarTime result;
  result.year = static_cast<std::uint16_t>(parts.tm_year + 1900);
  result.month = static_cast<std::uint16_t>(parts.tm_mon + 1);
  result.dayOfWeek = static_cast<std::uint16_t>(parts.tm_wday);
  result.day = static_cast<std::uint16_t>(parts.tm_mday);
  result.hour = static_cast<std::uint16_t>(parts.tm_hour);
  result.minute = static_cast<std::uint16_t>(parts.tm_min);
  // A leap second has no place in the record.
  result.second = static_cast<std::uint16_t>(parts.tm_sec > 59 ? 59 : parts.tm_sec);
  result.milliseconds = static_cast<std::uint16_t>(milliseconds);
  return result;
}

struct Instant {
  time_t seconds;
  std::int64_t milliseconds;  // 0 to 999
};

Instant instantOf(std::int64_t milliseconds) {
  std::int64_t seconds = milliseconds / 1000;
  std::int64_t rest = milliseconds % 1000;
  if (rest < 0) {
    rest += 1000;
    --seconds;
  }
  return {static_cast<time_t>(seconds), rest};
}

bool localParts(time_t seconds, tm& parts) {
  // localtime_r need not look at the zone's settings by itself.
  static std::once_flag zoneRead;
  std::call_once(zoneRead, tzset);
  return localtime_r(&seconds, &parts) != nullptr;
}

}  // namespace

std::int64_t millisecondsSince1970() {
  if (testClockSet.load(std::memory_order_acquire)) {
    std::shared_ptr<const TestClock> source;
    {
      const std::lock_guard lock(testClockMutex);
      source = testClock;
    }
    if (source) return (*source)() * 1000;
  }
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

CalendarTime universalTimeNow() {
  const Instant now = instantOf(millisecondsSince1970());
  tm parts{};
  gmtime_r(&now.seconds, &parts);
  return calendarTime(parts, now.milliseconds);
}

LocalTime localTimeNow() {
  return localTimeAt(millisecondsSince1970());
}

LocalTime localTimeAt(std::int64_t milliseconds) {
  const Instant instant = instantOf(milliseconds);
  tm parts{};
  if (!localParts(instant.seconds, parts)) return {};
  return {calendarTime(parts, instant.milliseconds), static_cast<int>(-parts.tm_gmtoff / 60)};
}

bool localFromUniversal(const CalendarTime& universal, CalendarTime& local) {
  if (universal.month < 1 || universal.month > 12 || universal.day < 1 || universal.day > 31 ||
      universal.hour > 23 || universal.minute > 59 || universal.second > 59) {
    return false;
  }
  tm parts{};
  parts.tm_year = universal.year - 1900;
  parts.tm_mon = universal.month - 1;
  parts.tm_mday = universal.day;
  parts.tm_hour = universal.hour;
  parts.tm_min = universal.minute;
  parts.tm_sec = universal.second;
  const time_t seconds = timegm(&parts);
  // timegm carries a 30 February over into March; such a date is none.
  if (parts.tm_mday != universal.day) return false;
  tm localResult{};
  if (!localParts(seconds, localResult)) return false;
  local = calendarTime(localResult, universal.milliseconds);
  return true;
}

std::uint64_t tickMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

std::uint64_t fastCounter() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

void sleepMilliseconds(unsigned milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void setClockForTest(TestClock secondsSince1970) {
  const std::lock_guard lock(testClockMutex);
  testClock = secondsSince1970 ? std::make_shared<const TestClock>(std::move(secondsSince1970)) : nullptr;
  testClockSet.store(testClock != nullptr, std::memory_order_release);
}

}  // namespace qv

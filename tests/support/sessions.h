// Settings of sessions with the servers of a test, and a listener to what they announce.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "net/pop_session.h"
#include "net/progress_monitor.h"
#include "net/smtp_session.h"

namespace qv_test {

inline qv::SmtpSettings smtpSettings(std::int32_t port) {
  qv::SmtpSettings settings;
  settings.host = "127.0.0.1";
  settings.port = port;
  settings.connectTimeout = settings.readTimeout = 20;  // a hang is a failure
  return settings;
}

inline qv::PopSettings popSettings(std::int32_t port) {
  qv::PopSettings settings;
  settings.host = "127.0.0.1";
  settings.port = port;
  settings.username = "ann";
  settings.password = "open sesame";
  settings.connectTimeout = settings.readTimeout = 20;  // a hang is a failure
  return settings;
}

/// Keeps what it hears; throws at the event of that number when it is told to.
struct Percentages : qv::FireComEvent {
  explicit Percentages(std::int32_t ofMessage) : expected(ofMessage) {}
  void progressEvent(std::int32_t sender, std::int32_t message, std::int32_t percent,
                     std::int32_t extra) override {
    EXPECT_TRUE(sender == 102 && message == expected && extra == 0);
    values.push_back(percent);
    if (values.size() == throwAt) throw std::runtime_error("from the host");
  }
  bool climbTo100() const {
    return !values.empty() && values.back() == 100 &&
           std::adjacent_find(values.begin(), values.end(), std::greater_equal<>()) == values.end();
  }
  std::int32_t expected;
  std::vector<int> values;
  std::size_t throwAt = 0;
};

}  // namespace qv_test

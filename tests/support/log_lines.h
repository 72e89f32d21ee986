// A log of its own for a test, looked at line by line.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/log_store.h"

namespace qv_test {

class LogLines {
 public:
  LogLines() : store_(std::make_shared<qv::LogStore>()), log_(store_) { store_->setLineFormat("%m"); }
  qv::CLog* get() { return &log_; }
  /// "message", or "tag: value" of data; a further line of a message begins with "    | ".
  std::vector<std::string> lines() const {
    std::istringstream in(store_->text());
    std::vector<std::string> result;
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
  }
  std::string text() const { return store_->text(); }
  std::string lastError() const { return store_->lastError(); }
  std::size_t count(std::string_view line) const {
    std::size_t found = 0;
    for (const std::string& each : lines()) found += each == line ? 1 : 0;
    return found;
  }
  /// Whether the log holds these lines in this order, others between them or not.
  ::testing::AssertionResult holds(const std::vector<std::string>& expected) const {
    std::size_t next = 0;
    for (const std::string& line : lines()) next += next < expected.size() && line == expected[next] ? 1 : 0;
    if (next == expected.size()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "not in its place: \"" << expected[next] << "\" in\n" << text();
  }
  void clear() { store_->clear(); }

 private:
  std::shared_ptr<qv::LogStore> store_;
  qv::CLogImpl log_;
};

}  // namespace qv_test

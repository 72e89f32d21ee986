// A list of recipient addresses, as a text file names them.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"

namespace qv {

/// Addresses in file order, one a line.
class DistributionList final : public QuorvelObject {
 public:
  /// Reads a list file: each line that holds '@', trimmed, is an address; other lines are passed over.
  /// What the list held before is gone. Gives the number of addresses, -1 when the file cannot be read (the
  /// reason logged; `log` may be null).
  long loadFromFile(std::string_view path, CLog* log);
  std::string_view filename() const noexcept { return filename_; }
  std::size_t count() const noexcept { return addresses_.size(); }
  /// The address at an index; empty when out of range.
  std::string_view getAddress(std::size_t index) const noexcept;
  /// Adds an address (trimmed) that holds '@', unless the list has it already (compared ignoring case).
  /// Logarithmic time, after one look at each address of the list.
  void addUnique(std::string_view address);
  void clear();

 private:
  StringBuffer filename_;
  ExtPtrArray<StringBuffer> addresses_;
  std::set<std::string> seen_;  // lower-cased, what addUnique has compared with so far
  std::size_t numSeen_ = 0;     // addresses_ up to here are in seen_
};

}  // namespace qv

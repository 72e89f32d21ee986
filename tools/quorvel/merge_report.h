// What became of each recipient of a merge: a table that is kept in a file while the mails go out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "quorvel/address_table.h"
#include "quorvel/report.h"
#include "quorvel/system.h"

namespace cli {

enum class MergeResult {
  sent,      ///< the server took the mail
  refused,   ///< the server did not take it for this address
  leftOut,   ///< no mail can go there, or one has gone there already
  uncertain  ///< the connection broke while the server's answer was outstanding
};
constexpr std::size_t kMergeResults = 4;

/// As the file has it.
std::string_view nameOf(MergeResult result) noexcept;

struct MergeRow {
  std::size_t row = 0;  ///< of the list
  std::string address;
  MergeResult result = MergeResult::sent;
  std::string answer;  ///< the server's, or why not
};

/// Whom a report says mails were sent to, an entry for each mail. Empty when there is no such file. Throws a
/// Failure when it is none of these reports.
AddressTable readSent(const std::string& path);

/// Appends to a report. Each row is with the operating system before the next mail goes out, so that a
/// program that is killed leaves all rows but for that of the mail under way.
class MergeReport {
 public:
  /// Makes the file where it is missing; a last row that is not whole is taken away. Throws a Failure when
  /// it is no report, cannot be written, or another merge is writing it.
  explicit MergeReport(const std::string& path);
  /// Takes a file away that it made and added nothing to.
  ~MergeReport();
  MergeReport(const MergeReport&) = delete;
  MergeReport& operator=(const MergeReport&) = delete;

  /// Throws a Failure when it cannot be written.
  void add(const MergeRow& row);
  std::size_t count(MergeResult result) const noexcept { return counts_[static_cast<std::size_t>(result)]; }
  /// The rows that this object has added, in their order, read from the file.
  void forEachAdded(const std::function<void(const MergeRow&)>& visit) const;
  const std::string& path() const noexcept { return path_; }

 private:
  Failure cannotWrite() const;
  void write(std::string_view text);

  std::string path_;
  Descriptor file_;
  std::uintmax_t start_ = 0;  // of what was added
  bool isNew_ = false;
  bool isUsed_ = false;
  std::array<std::size_t, kMergeResults> counts_{};
};

}  // namespace cli

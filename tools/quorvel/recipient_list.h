// Who a merge goes to: a list of addresses, or a table with a column of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "quorvel/command_line.h"
#include "quorvel/csv_reader.h"
#include "quorvel/report.h"

namespace cli {

/// What the command line says.
struct RecipientListOptions {
  std::string listFile;  ///< an address a line
  std::string csvFile;   ///< with a row of titles; one of the two is given
  std::string separator;
  std::string addressColumn;
  std::string nameColumn;
  std::string path() const { return csvFile.empty() ? listFile : csvFile; }
};

void addListOptions(CLI::App& command, RecipientListOptions& options);

/// A row of the list.
struct Recipient {
  std::size_t row = 0;
  std::string address;              ///< bare
  std::string name;                 ///< to be shown; often empty
  std::vector<std::string> values;  ///< one for each title
  std::string fault;                ///< why no mail can go there; empty when one can
};

/// Reads a list from its start to its end, a row at a time.
class RecipientList {
 public:
  /// Throws a Failure when it cannot be read, or its titles make no sense.
  explicit RecipientList(const RecipientListOptions& options);

  /// Those that stand for their values in a letter. None in a plain list; those without a text stand for
  /// none.
  const std::vector<std::string>& titles() const noexcept { return titles_; }
  /// False at the end. Blank rows are passed over. Throws a Failure for a row whose columns cannot be told.
  bool next(Recipient& recipient);

 private:
  void readTitles();
  void chooseColumns(const RecipientListOptions& options);
  std::size_t columnOf(const std::string& title) const;
  Failure broken(const CsvRow& row, const std::string& why) const;

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::string path_;
  CsvReader reader_;
  std::vector<std::string> titles_;
  bool isTable_;
  std::size_t address_ = 0;  // columns
  std::size_t name_ = kNone;
};

/// Why an address is none that a mail could be sent to; empty when it is one.
std::string faultOf(std::string_view address);

}  // namespace cli

// Tables in text files, read row by row: comma-separated values (RFC 4180), and lists of a value a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// Rows end with CR LF, LF or CR, also mixed in one file.
struct CsvDialect {
  char separator = ',';
  bool hasFields = true;  ///< otherwise a line is one value, and nothing in it is a separator or a quote
};

struct CsvRow {
  std::size_t number = 0;  ///< as a spreadsheet counts them, from 1
  std::size_t line = 0;    ///< where it begins: a quoted value may hold line breaks
  std::vector<std::string> fields;
  std::string fault;     ///< what is wrong with its quotes; empty when it can be used
  bool isEnded = false;  ///< by a line end; the last one may not be

  bool isBlank() const noexcept { return fault.empty() && fields.size() == 1 && fields[0].empty(); }
};

/// Holds no more than one row in memory.
class CsvReader {
 public:
  /// A row that is longer is a file of another kind, or one whose quote is never closed.
  static constexpr std::size_t kMaxRowBytes = std::size_t{1} << 20;

  /// A byte order mark at the start is passed over. Throws a Failure when the file cannot be read, or is
  /// text in UTF-16. `purpose` is for its words, as "list".
  CsvReader(const std::string& path, std::string_view purpose, CsvDialect dialect = {});

  /// False at the end of the file. Throws a Failure for a row that does not end.
  bool next(CsvRow& row);
  /// Bytes up to the end of the last row.
  std::uintmax_t position() const noexcept { return position_; }
  /// Goes to the start of a row.
  void seek(std::uintmax_t position);

 private:
  enum class State { fieldStart, plain, quoted, afterQuote };
  static constexpr int kEnd = -1;

  int take();
  void skipByteOrderMark();
  /// Whether the byte ends the row.
  bool endsRow(int byte, State state);
  State add(char byte, State state, CsvRow& row);

  std::string path_;
  CsvDialect dialect_;
  std::ifstream file_;
  std::uintmax_t position_ = 0;
  std::size_t row_ = 0;
  std::size_t line_ = 1;
  bool afterCr_ = false;  // the byte before was CR, within quotes
};

/// A value as a field of a row: in quotes where it needs them.
std::string csvField(std::string_view value);

}  // namespace cli

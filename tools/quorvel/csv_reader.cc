#include "quorvel/csv_reader.h"

#include <filesystem>
#include <system_error>

#include "quorvel/report.h"

namespace cli {

CsvReader::CsvReader(const std::string& path, std::string_view purpose, CsvDialect dialect)
    : path_(path), dialect_(dialect) {
  std::error_code error;
  const bool isFile = std::filesystem::is_regular_file(path, error);
  if (isFile) file_.open(path, std::ios::binary);
  if (!isFile || !file_) {
    throw Failure{Status::file, "cannot read the " + std::string(purpose) + " file " + path,
                  error    ? error.message()
                  : isFile ? ""
                           : "it is no file",
                  "check the path and its permissions"};
  }
  skipByteOrderMark();
}

void CsvReader::skipByteOrderMark() {
  char start[3] = {};
  file_.read(start, sizeof start);
  const std::string_view mark(start, static_cast<std::size_t>(file_.gcount()));
  if (mark.starts_with("\xFF\xFE") || mark.starts_with("\xFE\xFF")) {
    throw Failure{Status::file, path_ + " is text in UTF-16", "", "save it as UTF-8"};
  }
  seek(mark == "\xEF\xBB\xBF" ? mark.size() : 0);
}

void CsvReader::seek(std::uintmax_t position) {
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(position));
  position_ = position;
}

int CsvReader::take() {
  using Traits = std::ifstream::traits_type;
  const int byte = file_.rdbuf()->sbumpc();
  if (byte == Traits::eof()) return kEnd;
  ++position_;
  return static_cast<unsigned char>(Traits::to_char_type(byte));
}

bool CsvReader::next(CsvRow& row) {
  row = {};
  row.number = ++row_;
  row.line = line_;
  int byte = take();
  if (byte == kEnd) return false;
  const std::uintmax_t start = position_;
  row.fields.emplace_back();
  State state = State::fieldStart;
  for (; !endsRow(byte, state); byte = take()) {
    state = add(static_cast<char>(byte), state, row);
    if (position_ - start < kMaxRowBytes) continue;
    throw Failure{Status::file,
                  "row " + std::to_string(row.number) + " of " + path_ + " (line " +
                      std::to_string(row.line) + ") is longer than a row can be",
                  "", "is it a list at all, and is every quote in it closed?"};
  }
  row.isEnded = byte != kEnd;
  if (state == State::quoted) row.fault = "a quote is not closed";
  return true;
}

bool CsvReader::endsRow(int byte, State state) {
  const bool isPair = afterCr_ && byte == '\n';
  afterCr_ = byte == '\r';
  if (byte == kEnd) return true;
  if (byte != '\n' && byte != '\r') return false;
  if (!isPair) ++line_;
  if (state == State::quoted) return false;
  if (byte == '\r' && file_.rdbuf()->sgetc() == '\n') take();
  afterCr_ = false;
  return true;
}

CsvReader::State CsvReader::add(char byte, State state, CsvRow& row) {
  std::string& field = row.fields.back();
  if (!dialect_.hasFields) {
    field += byte;
    return State::plain;
  }
  if (state == State::quoted) {
    if (byte == '"') return State::afterQuote;
    field += byte;
    return state;
  }
  if (byte == dialect_.separator) {
    row.fields.emplace_back();
    return State::fieldStart;
  }
  if (byte == '"' && state == State::fieldStart) return State::quoted;
  if (byte == '"' && state == State::afterQuote) {  // RFC 4180 2 (7): a quote within quotes is doubled
    field += byte;
    return State::quoted;
  }
  if (byte == '"') row.fault = "a quote stands within a value that does not begin with one";
  if (state == State::afterQuote) row.fault = "something follows a closing quote";
  field += byte;
  return State::plain;
}

std::string csvField(std::string_view value) {
  if (value.find_first_of("\",\r\n") == std::string_view::npos) return std::string(value);
  std::string field = "\"";
  for (const char c : value) {
    if (c == '"') field += c;
    field += c;
  }
  return field + '"';
}

}  // namespace cli

#include "quorvel/recipient_list.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <utility>

#include <CLI/CLI.hpp>

#include "quorvel/commands.h"

namespace cli {

namespace {

constexpr std::size_t kLongestAddress = 254;  // RFC 5321 4.5.3.1.3, without the angle brackets

CsvDialect dialectOf(const RecipientListOptions& options) {
  CsvDialect dialect;
  dialect.hasFields = !options.csvFile.empty();
  if (options.separator == "tab") dialect.separator = '\t';
  if (options.separator.size() == 1) dialect.separator = options.separator[0];
  return dialect;
}

std::string isSeparator(const std::string& text) {
  const bool isOne = text == "tab" || (text.size() == 1 && text != "\"" && text != "\r" && text != "\n");
  return isOne ? "" : "one character, or the word tab";
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

/// A name that stands in quotes in the To field: it is shown, and must end neither.
std::string shownName(std::string_view text) {
  std::string name;
  for (const char c : trimmed(text)) {
    if (c == '"' || c == '\\') continue;
    name += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? ' ' : c;
  }
  return std::string(trimmed(name));
}

/// A value as "Ann Lee <ann@example.org>" or as the address alone.
void splitAddress(std::string_view value, Recipient& recipient) {
  value = trimmed(value);
  const std::size_t open = value.rfind('<');
  if (value.ends_with('>') && open != std::string_view::npos) {
    recipient.name = shownName(value.substr(0, open));
    value = trimmed(value.substr(open + 1, value.size() - open - 2));
  }
  recipient.address = value;
}

}  // namespace

void addListOptions(CLI::App& command, RecipientListOptions& options) {
  auto* list = command.add_option("--list", options.listFile, "File of recipients, an address a line")
                   ->type_name("FILE")
                   ->check(isGiven);
  auto* csv = command
                  .add_option("--csv", options.csvFile,
                              "Table of recipients: a row of titles, then a row for each; {title} in the "
                              "message becomes the value")
                  ->type_name("FILE")
                  ->check(isGiven)
                  ->excludes(list);
  command
      .add_option("--address", options.addressColumn, "Title of the column of addresses, unless \"email\"")
      ->type_name("TITLE")
      ->needs(csv);
  command.add_option("--name", options.nameColumn, "Title of the column of names to show beside them")
      ->type_name("TITLE")
      ->needs(csv);
  command
      .add_option("--separator", options.separator, "What stands between the columns, unless a comma: ; tab")
      ->type_name("CHARACTER")
      ->check(isSeparator)
      ->needs(csv);
}

std::string faultOf(std::string_view address) {
  if (address.empty()) return "there is no address";
  if (address.size() > kLongestAddress) return "an address is not as long as that";
  const auto holds = [address](auto isWrong) {
    return std::any_of(address.begin(), address.end(), [&](unsigned char c) { return isWrong(c); });
  };
  if (holds([](unsigned char c) { return c < 0x20 || c == 0x7f; })) return "a control character is in it";
  if (holds([](unsigned char c) { return c >= 0x80; })) return "a character beyond ASCII is in it";
  if (holds([](unsigned char c) { return c == ' '; })) return "a blank is in it";
  const std::size_t at = address.rfind('@');
  if (at == std::string_view::npos) return "it has no @";
  if (address.find_first_of("<>,;:()[]\\\"") < at) return "a sign is in it that no address has";
  if (at == 0 || at + 1 == address.size() || address.find('@') != at ||
      address.find_first_of("<>,;()\\\"", at) != std::string_view::npos) {
    return "it is no address";
  }
  return "";
}

RecipientList::RecipientList(const RecipientListOptions& options)
    : path_(options.path()), reader_(path_, "list", dialectOf(options)), isTable_(!options.csvFile.empty()) {
  if (!isTable_) return;
  readTitles();
  chooseColumns(options);
}

void RecipientList::readTitles() {
  CsvRow row;
  if (!reader_.next(row) || row.isBlank()) {
    throw Failure{Status::file, "the list " + path_ + " has no titles in its first row", "",
                  "the titles of the columns are what a message calls their values by"};
  }
  if (!row.fault.empty()) throw broken(row, row.fault);
  std::set<std::string> known;
  for (std::string& field : row.fields) {
    std::string title(trimmed(field));
    const bool isUsable = title.find_first_of(std::string_view("{}\r\n\0", 5)) == std::string::npos;
    if (!isUsable) throw broken(row, "a title holds a brace or a line break: " + title);
    if (!title.empty() && !known.insert(title).second) throw broken(row, "two columns are called " + title);
    titles_.push_back(std::move(title));
  }
}

std::size_t RecipientList::columnOf(const std::string& title) const {
  const auto found = std::find(titles_.begin(), titles_.end(), title);
  if (found != titles_.end()) return static_cast<std::size_t>(found - titles_.begin());
  std::string all;
  for (const std::string& each : titles_) all += (all.empty() ? "" : ", ") + each;
  throw Failure{Status::file, "the list " + path_ + " has no column " + title, "",
                "its columns are: " + all + "; is --separator right?"};
}

void RecipientList::chooseColumns(const RecipientListOptions& options) {
  constexpr std::array<std::string_view, 4> kUsual = {"email", "e-mail", "mail", "address"};
  if (!options.nameColumn.empty()) name_ = columnOf(options.nameColumn);
  if (!options.addressColumn.empty()) {
    address_ = columnOf(options.addressColumn);
    return;
  }
  for (const std::string_view usual : kUsual) {
    const auto found = std::find_if(titles_.begin(), titles_.end(),
                                    [&](const std::string& title) { return equalsNoCase(title, usual); });
    if (found == titles_.end()) continue;
    address_ = static_cast<std::size_t>(found - titles_.begin());
    return;
  }
  columnOf("email");  // throws
}

bool RecipientList::next(Recipient& recipient) {
  CsvRow row;
  do {
    if (!reader_.next(row)) return false;
  } while (row.isBlank() || (!isTable_ && trimmed(row.fields[0]).empty()));
  if (!row.fault.empty()) throw broken(row, row.fault);
  if (isTable_ && row.fields.size() != titles_.size()) {
    throw broken(row, "it has " + counted(row.fields.size(), "column") + ", the titles are " +
                          std::to_string(titles_.size()));
  }
  recipient = {};
  recipient.row = row.number;
  splitAddress(row.fields[address_], recipient);
  recipient.fault = faultOf(recipient.address);
  if (recipient.address.size() > kLongestAddress) recipient.address.resize(kLongestAddress);  // to be told
  if (name_ != kNone) recipient.name = shownName(row.fields[name_]);
  if (isTable_) recipient.values = std::move(row.fields);
  return true;
}

Failure RecipientList::broken(const CsvRow& row, const std::string& why) const {
  const std::string line = row.line == row.number ? "" : ", line " + std::to_string(row.line);
  return {
      Status::file, path_ + ", row " + std::to_string(row.number) + line + ": " + why, "",
      "a value that holds a separator, a quote or a line break stands in quotes (\"\"), and its own quotes "
      "are doubled"};
}

}  // namespace cli

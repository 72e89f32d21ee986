#include "quorvel/message_table.h"

#include <algorithm>
#include <deque>
#include <iostream>
#include <map>

#include "quorvel/columns.h"
#include "quorvel/dates.h"
#include "quorvel/report.h"

namespace cli {

namespace {

constexpr std::size_t kGap = 2;  // between columns

/// A value as one field: what would end it is a blank.
std::string field(std::string value) {
  std::replace_if(
      value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
  return printable(value);
}

std::string numberText(const MessageRow& row) {
  return row.number == 0 ? "-" : std::to_string(row.number);
}

/// The widths of the columns. Unique ids are whole, for they are what other commands are given; those of a
/// server that makes them longer than RFC 1939 7 allows do not count. Sender and subject share what is left.
struct Widths {
  static constexpr std::size_t kLongestUidl = 70;
  static constexpr std::size_t kDate = 16;
  static constexpr std::size_t kLeast = 10;
  std::size_t number = 1, uidl = 9, sender = kLeast, subject = kLeast;

  Widths(const std::vector<MessageRow>& rows, std::size_t width) {
    for (const MessageRow& row : rows) {
      number = std::max(number, numberText(row).size());
      uidl = std::max(uidl, std::min(widthOf(row.uidl), kLongestUidl));
    }
    const std::size_t taken = number + uidl + kDate + 4 * kGap;
    const std::size_t rest = width > taken ? width - taken : 0;
    sender = std::max(rest * 2 / 5, kLeast);
    subject = std::max(rest - std::min(rest, sender), kLeast);
  }
};

void printColumns(const Widths& widths, const std::string& number, const MessageRow& row) {
  const std::string gap(kGap, ' ');
  std::string line = std::string(widths.number - number.size(), ' ') + number + gap +
                     (widthOf(row.uidl) > widths.uidl ? row.uidl : fitted(row.uidl, widths.uidl)) + gap +
                     fitted(row.date.substr(0, Widths::kDate), Widths::kDate) + gap +
                     fitted(row.name, widths.sender) + gap + fitted(row.subject, widths.subject);
  line.erase(line.find_last_not_of(' ') + 1);
  std::cout << line << '\n';
}

}  // namespace

std::vector<MessageRow> rowsOf(const std::vector<Email>& emails, const std::vector<std::string>& uidls) {
  std::map<std::string, std::deque<std::size_t>> numbers;  // more than one where ids are shared
  for (std::size_t i = 0; i < uidls.size(); ++i) numbers[uidls[i]].push_back(i + 1);
  std::vector<MessageRow> rows;
  for (const Email& email : emails) {
    const std::string uidl = email->get_ServerUidl();
    std::deque<std::size_t>& known = numbers[uidl];
    const std::size_t number = known.empty() ? 0 : known.front();
    if (!known.empty()) known.pop_front();
    const std::string name = email->get_FromName();
    rows.push_back({number, field(uidl), field(dateText(email->get_EmailDate())), field(email->get_From()),
                    field(email->get_Subject()), field(name.empty() ? email->get_FromAddress() : name)});
  }
  return rows;
}

void print(const std::vector<MessageRow>& rows, std::size_t width) {
  if (width == 0) {
    for (const MessageRow& row : rows) {
      std::cout << numberText(row) << '\t' << row.uidl << '\t' << row.date << '\t' << row.sender << '\t'
                << row.subject << '\n';
    }
    return;
  }
  const Widths widths(rows, width);
  if (!rows.empty()) printColumns(widths, "#", {0, "unique id", "date", "", "subject", "from"});
  for (const MessageRow& row : rows) printColumns(widths, numberText(row), row);
}

}  // namespace cli

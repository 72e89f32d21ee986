#include "quorvel/merge_table.h"

#include <algorithm>
#include <iostream>
#include <string>

#include "quorvel/columns.h"
#include "quorvel/report.h"

namespace cli {

namespace {

constexpr std::size_t kMostShown = 20;  // of those that got the mail, and of those that did not

/// ReportWidths of the columns; what is left of the line is for the answer.
struct ReportWidths {
  std::size_t row = 3, address = 7;
  static constexpr std::size_t kResult = 9;
  static constexpr std::size_t kLongestAddress = 40;
  static constexpr std::size_t kGap = 2;
  std::size_t answer;

  ReportWidths(const MergeReport& report, std::size_t width) {
    report.forEachAdded([&](const MergeRow& each) {
      row = std::max(row, std::to_string(each.row).size());
      address = std::max(address, std::min(widthOf(each.address), kLongestAddress));
    });
    const std::size_t taken = row + address + kResult + 3 * kGap;
    answer = width > taken ? width - taken : 0;
  }
};

void printLine(const ReportWidths& widths, const std::string& row, const std::string& address,
               std::string_view result, const std::string& answer) {
  const std::string gap(ReportWidths::kGap, ' ');
  std::string line = std::string(widths.row - row.size(), ' ') + row + gap + fitted(address, widths.address) +
                     gap + fitted(result, ReportWidths::kResult) + gap + fitted(answer, widths.answer);
  line.erase(line.find_last_not_of(' ') + 1);
  std::cout << line << '\n';
}

/// The first ones of those that got the mail, or of those that did not; gives how many there are in all.
std::size_t printSome(const MergeReport& report, const ReportWidths& widths, bool isSent) {
  std::size_t count = 0;
  report.forEachAdded([&](const MergeRow& row) {
    if ((row.result == MergeResult::sent) != isSent || ++count > kMostShown) return;
    printLine(widths, std::to_string(row.row), row.address, nameOf(row.result), row.answer);
  });
  return count;
}

}  // namespace

void printTable(const MergeReport& report, std::size_t width) {
  if (width == 0) {
    report.forEachAdded([](const MergeRow& row) {
      std::cout << row.row << '\t' << row.address << '\t' << nameOf(row.result) << '\t' << row.answer << '\n';
    });
    std::cout << std::flush;
    return;
  }
  const ReportWidths widths(report, width);
  printLine(widths, "row", "address", "result", "");
  for (const bool isSent : {false, true}) {
    const std::size_t count = printSome(report, widths, isSent);
    if (count <= kMostShown) continue;
    std::cout << "and " << count - kMostShown
              << (isSent ? " more that were sent\n" : " more that were not\n");
  }
  std::cout << std::flush;
}

}  // namespace cli

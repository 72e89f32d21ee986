// What became of the recipients of a merge, as a table.
#pragma once

#include <cstddef>

#include "quorvel/merge_report.h"

namespace cli {

/// Prints what a report was added: on a terminal of that many columns those that did not get the mail, and
/// the first ones that did; elsewhere (`width` 0) all in the order of the list, a line of four fields with
/// a tab between them each.
void printTable(const MergeReport& report, std::size_t width);

}  // namespace cli

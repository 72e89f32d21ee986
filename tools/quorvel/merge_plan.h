// What a merge will do, found out by reading its list once before anything is sent.
#pragma once

#include <cstddef>
#include <vector>

#include "quorvel/address_table.h"
#include "quorvel/recipient_list.h"

namespace cli {

/// What becomes of a row of the list.
enum class MergeStep : unsigned char {
  send,
  sentBefore,  ///< as the report of an earlier run has it
  repeated,    ///< a row before it has the same address
  noAddress
};

struct MergePlan {
  std::vector<MergeStep> steps;  ///< one for each row with a recipient
  std::size_t toSend = 0;
  std::size_t sentBefore = 0;
  bool isAscii = true;  ///< all of the list's values are
};

/// With `everyRow` an address gets as many mails as rows have it, otherwise one. Throws a Failure that names
/// the first rows whose columns cannot be told: then nothing is to be sent.
MergePlan planOf(RecipientList& list, const AddressTable& sent, bool everyRow);

}  // namespace cli

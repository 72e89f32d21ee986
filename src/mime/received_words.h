// The clauses of a Received field (RFC 822 4.3.2).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/string_buffer.h"

namespace qv {

/// "from mail.example by relay.example id 4711" has the clauses from, by and id.
struct ReceivedWords {
  struct Clause {
    std::string_view name;  ///< "from", "by", "via", "with", "id", "for" or "date"
    StringBuffer value;     ///< its words, joined by spaces; never empty
  };
  StringBuffer content;  ///< the words before the first clause
  std::vector<Clause> clauses;
};

/// Cuts a field's value into words and these into clauses. A word of the value that is just a day's name
/// begins the date; one with a comma, as it is usual, goes on in the clause before it. Quoted texts are words
/// or parts of words; clauses have them without their quotes. Linear in the value.
ReceivedWords splitReceived(std::string_view value);

}  // namespace qv

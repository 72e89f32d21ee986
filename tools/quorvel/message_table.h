// A list of the messages in a mailbox.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "quorvel/message_file.h"

namespace cli {

struct MessageRow {
  std::size_t number = 0;  ///< on the server, from 1; 0 when the server does not list it any more
  std::string uidl, date, sender, subject;
  std::string name;  ///< of the sender, or the address where there is none
};

/// Rows for e-mails in server order; `uidls` are all that the server lists.
std::vector<MessageRow> rowsOf(const std::vector<Email>& emails, const std::vector<std::string>& uidls);

/// Prints them: as columns under a heading that fit into `width`, or with 0 for programs, as lines of fields
/// with a tab between them.
void print(const std::vector<MessageRow>& rows, std::size_t width);

}  // namespace cli

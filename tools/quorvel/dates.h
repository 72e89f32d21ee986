// Dates of e-mails as text.
#pragma once

#include <string>

namespace cli {

/// An OLE automation date (days since 30 December 1899) as "2026-11-22 21:25:19".
std::string dateText(double date);
/// The same as "Sun Nov 22 21:25:19 2026", which is how asctime and mailbox files have it.
std::string mailboxDate(double date);

}  // namespace cli

// What a host's text must be like before it may stand in a command of a mail protocol.
#pragma once

#include <string_view>

#include "core/log.h"

namespace qv {

/// Whether `text` holds neither CR, LF nor NUL, with which it would be more than the one argument it is meant
/// to be (RFC 5321 2.3.8). If it does, the log says so of `what`, as "host name".
bool isCommandText(std::string_view text, std::string_view what, CLog* log);
/// The same for the mailbox of a path (RFC 5321 4.1.2), which no angle bracket may end before its time.
bool isMailboxText(std::string_view address, std::string_view what, CLog* log);

}  // namespace qv

#include "net/command_text.h"

#include "core/string_buffer.h"
#include "core/text.h"

namespace qv {

namespace {

bool refuse(std::string_view what, std::string_view reason, CLog* log) {
  StringBuffer message("Refused the ");
  message.append(what).append(", it holds ").append(reason);
  logError(log, message);
  return false;
}

}  // namespace

bool isCommandText(std::string_view text, std::string_view what, CLog* log) {
  return !hasLineBreakOrNul(text) || refuse(what, "a line break or a zero byte", log);
}

bool isMailboxText(std::string_view address, std::string_view what, CLog* log) {
  if (!isCommandText(address, what, log)) return false;
  return address.find_first_of("<>") == std::string_view::npos || refuse(what, "an angle bracket", log);
}

}  // namespace qv

// Append-only journals of sent and received messages.
#pragma once

#include <string_view>

namespace qv {

/// Appends one entry; nothing when `fileName` is empty. A journal that cannot be written never disturbs
/// the mail: it is passed over. Line ends are written as they are on every platform.
void appendSentLog(std::string_view fileName, std::string_view text);
void appendReceivedLog(std::string_view fileName, std::string_view text);

}  // namespace qv

// Line ends of texts in bodies.
#pragma once

#include <string_view>

#include "core/binary_data.h"
#include "core/string_buffer.h"

namespace qv {

/// Appends `text` with a CR before each LF that has none; a CR of its own stays.
void appendWithCrLf(std::string_view text, StringBuffer& out);

/// Appends `text` with an LF behind each CR that has none.
void appendWithoutLoneCr(std::string_view text, BinaryData& out);

}  // namespace qv

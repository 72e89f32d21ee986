// The content types of files, by the extension of their names.
#pragma once

#include <string_view>

#include "core/string_buffer.h"

namespace qv {

/// Sets `out` to the content type that belongs to an extension, given without its dot. Compared byte by byte:
/// the table is in lower case. False, and `out` untouched, when the table has no such extension. "*" is one
/// of its extensions; the empty text is none.
bool contentTypeForExtension(std::string_view extension, StringBuffer& out);

}  // namespace qv

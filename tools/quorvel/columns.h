// Text in columns, for terminals.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

/// How many columns of a terminal a text in UTF-8 takes. Bytes that are no UTF-8 count as one each.
std::size_t widthOf(std::string_view text);
/// A text cut to a width, with "..." at its end when something is missing, or filled up with blanks.
std::string fitted(std::string_view text, std::size_t width);

}  // namespace cli

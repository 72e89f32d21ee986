// Looking at the text of a mail that a server took.
#pragma once

#include <string>
#include <string_view>

namespace cli {

/// The header of a message or part: its lines, without the empty one that ends it.
std::string_view headerOf(std::string_view text);
/// What follows the header.
std::string_view bodyOf(std::string_view text);
/// The value of the first field of a name, unfolded; empty when there is none.
std::string fieldOf(std::string_view header, std::string_view name);
/// The parts as an indented list, a line each: media type, bytes, and the first words of a text.
std::string outlineOf(std::string_view text, std::size_t depth = 0);

}  // namespace cli

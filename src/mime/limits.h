// The limits of the message model, each with its reason.
#pragma once

#include <cstddef>

namespace qv {

/// Levels of entities below a message's top entity, for every way a tree is made: parsing, composing, XML,
/// opened security layers. An entity at this depth is an undivided leaf: its body keeps the whole text that
/// stood in it, so nothing is lost. Deep enough for any real mail (the deepest seen has 105), shallow enough
/// that a walk down a tree fits a small thread stack.
inline constexpr std::size_t kMaxNesting = 200;

/// Lines of a header block that are read; the rest of the block is ignored.
inline constexpr std::size_t kMaxHeaderLines = 1000;

/// A content field value longer than this many bytes is not read for parameters.
inline constexpr std::size_t kMaxContentFieldValue = 100'000'000;

}  // namespace qv

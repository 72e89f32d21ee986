// Mail merge: texts that are replaced in an e-mail on its way out.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/quorvel_object.h"

namespace qv {

/// Patterns and what takes their places, in the order in which they are applied. Patterns are compared byte
/// by byte, and no two are the same. What is done with them is in email.h.
class ReplacePatterns final : public QuorvelObject {
 public:
  /// A pattern that is there already gets the new replacement and moves to the end. `pattern` is not empty.
  void set(std::string_view pattern, std::string_view replacement) {
    auto added =
        std::make_unique<StringPair>(pattern, replacement);  // the texts may lie in the one that goes
    pairs_.removeIf([&](const StringPair& pair) { return pair.name() == added->name(); });
    pairs_.append(std::move(added));
  }
  auto begin() const noexcept { return pairs_.begin(); }
  auto end() const noexcept { return pairs_.end(); }
  std::size_t count() const noexcept { return pairs_.size(); }
  /// Null when out of range.
  const StringPair* at(std::size_t index) const noexcept { return pairs_.at(index); }
  /// The entry of a pattern; null when there is none.
  const StringPair* find(std::string_view pattern) const noexcept {
    const auto found =
        std::find_if(begin(), end(), [&](const auto& pair) { return pair->name() == pattern; });
    return found == end() ? nullptr : found->get();
  }

 private:
  ExtPtrArray<StringPair> pairs_;
};

}  // namespace qv

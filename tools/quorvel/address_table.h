// Many addresses in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// Addresses in the order in which they were added, in lower case; twelve bytes each beside their texts.
class AddressTable {
 public:
  void add(std::string_view address);
  std::string_view at(std::size_t index) const;
  /// All indexes, by address, and those of one address by themselves. No hash table: who is on a list may
  /// have chosen the address so that it collides.
  std::vector<std::uint32_t> sorted() const;

 private:
  std::string text_;
  std::vector<std::uint64_t> ends_;
};

}  // namespace cli

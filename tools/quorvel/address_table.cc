#include "quorvel/address_table.h"

#include <algorithm>
#include <numeric>

#include "quorvel/report.h"

namespace cli {

void AddressTable::add(std::string_view address) {
  text_ += lowerCase(address);
  ends_.push_back(text_.size());
}

std::string_view AddressTable::at(std::size_t index) const {
  const std::uint64_t start = index == 0 ? 0 : ends_[index - 1];
  return std::string_view(text_).substr(start, ends_[index] - start);
}

std::vector<std::uint32_t> AddressTable::sorted() const {
  std::vector<std::uint32_t> indexes(ends_.size());
  std::iota(indexes.begin(), indexes.end(), 0U);
  std::sort(indexes.begin(), indexes.end(), [this](std::uint32_t a, std::uint32_t b) {
    const int order = at(a).compare(at(b));
    return order != 0 ? order < 0 : a < b;
  });
  return indexes;
}

}  // namespace cli

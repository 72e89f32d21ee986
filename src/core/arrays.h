// Owning and plain arrays, and the name-value pair.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "core/quorvel_object.h"
#include "core/string_buffer.h"

namespace qv {

/// A growable array that owns the objects it points to. Indexes are 0-based; reading out of range gives null.
template <typename T>
class ExtPtrArray {
 public:
  std::size_t size() const noexcept { return items_.size(); }
  bool empty() const noexcept { return items_.empty(); }

  T* append(std::unique_ptr<T> item) {
    items_.push_back(std::move(item));
    return items_.back().get();
  }
  /// Puts `item` before the one at `index`; at the end when the index is beyond it.
  T* insertAt(std::size_t index, std::unique_ptr<T> item) {
    if (index > items_.size()) index = items_.size();
    const auto where = items_.begin() + static_cast<std::ptrdiff_t>(index);
    return items_.insert(where, std::move(item))->get();
  }
  T* at(std::size_t index) const noexcept { return index < items_.size() ? items_[index].get() : nullptr; }
  T* last() const noexcept { return items_.empty() ? nullptr : items_.back().get(); }
  /// Removes the item at `index` without deleting it and hands it to the caller; null when out of range.
  std::unique_ptr<T> removeAt(std::size_t index) {
    if (index >= items_.size()) return nullptr;
    std::unique_ptr<T> item = std::move(items_[index]);
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
    return item;
  }
  /// Deletes every item for which `unwanted` says so, in one pass.
  template <typename Unwanted>
  std::size_t removeIf(Unwanted unwanted) {
    return std::erase_if(items_, [&](const std::unique_ptr<T>& item) { return unwanted(*item); });
  }
  void deleteAll() noexcept { items_.clear(); }
  void swap(ExtPtrArray& other) noexcept { items_.swap(other.items_); }

  auto begin() const noexcept { return items_.begin(); }
  auto end() const noexcept { return items_.end(); }

 private:
  std::vector<std::unique_ptr<T>> items_;
};

/// A growable array of 32-bit integers.
using ExtIntArray = std::vector<std::int32_t>;

/// A name and a value.
class StringPair : public QuorvelObject {
 public:
  StringPair(std::string_view name, std::string_view value) : name_(name), value_(value) {}
  const StringBuffer& name() const noexcept { return name_; }
  const StringBuffer& value() const noexcept { return value_; }

 private:
  StringBuffer name_;
  StringBuffer value_;
};

}  // namespace qv

// What a string array holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv {

/// An ordered list of texts of any bytes. Indexes are 0-based; one out of range reads as an empty text and
/// changes nothing. The three settings change what is stored from then on, never what is stored already.
class StringList {
 public:
  static constexpr std::int32_t kNotFound = -1;

  std::size_t count() const noexcept { return texts_.size(); }
  /// Adds at the end. With `unique`, a text that is there already (byte for byte) is not added again.
  void append(std::string_view text);
  void prepend(std::string_view text) { insertAt(0, text); }
  /// Puts the text before the one at `index`; `index` may be the count, beyond it nothing happens.
  void insertAt(std::int32_t index, std::string_view text);
  void clear() noexcept;
  bool contains(std::string_view text) const { return find(text, 0) != kNotFound; }
  /// The first place of the text at or after `beginIndex` (below 0 reads as 0); kNotFound when there is none.
  std::int32_t find(std::string_view text, std::int32_t beginIndex) const;
  /// Removes every occurrence.
  void remove(std::string_view text);
  void removeAt(std::int32_t index);
  std::string_view at(std::int32_t index) const noexcept;
  std::string_view last() const noexcept;
  /// Takes the last text away and gives it.
  std::string pop();

  /// All texts as one line of printable characters; `appendSerialized` reads it back, byte for byte.
  std::string serialize() const;
  /// Appends the texts of a serialized list under the settings of this one. False, and nothing appended, when
  /// `encoded` is no such list.
  bool appendSerialized(std::string_view encoded);

  bool unique() const noexcept { return unique_; }
  void setUnique(bool unique) noexcept { unique_ = unique; }
  /// White space (space, tab, CR, LF) at both ends of a text is left out.
  bool trim() const noexcept { return trim_; }
  void setTrim(bool trim) noexcept { trim_ = trim; }
  /// Line ends inside a text are made CR LF; when off, after it was on, LF. At first they stay as they are.
  bool crlf() const noexcept { return crlf_; }
  void setCrlf(bool crlf) noexcept { crlf_ = crlf; }

 private:
  std::vector<std::string> texts_;
  bool unique_ = false;
  bool trim_ = false;
  bool crlf_ = false;
};

}  // namespace qv

// What a string array holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace qv {

/// An ordered list of texts of any bytes. Indexes are 0-based; one out of range reads as an empty text and
/// changes nothing. The three settings change what is stored from then on, never what is stored already. What
/// is searched for is compared byte for byte with what is stored: searching neither trims nor changes line
/// ends.
///
/// Adding and taking away at either end costs the same however long the list is, with `unique` its logarithm
/// more; the first text added with `unique` on pays once for all that stand there. Elsewhere it costs the
/// list.
class StringList {
 public:
  static constexpr std::int32_t kNotFound = -1;

  std::size_t count() const noexcept { return texts_.size(); }
  /// Adds at the end. With `unique`, a text that is there already (as it would be stored, byte for byte) is
  /// not added again, here and wherever else a text is added. The text may be one of this list.
  void append(std::string_view text) { insertBefore(texts_.size(), text); }
  void prepend(std::string_view text) { insertBefore(0, text); }
  /// Puts the text before the one at `index`; `index` may be the count, beyond it nothing happens.
  void insertAt(std::int32_t index, std::string_view text);
  void clear() noexcept;
  bool contains(std::string_view text) const;
  /// The first place of the text at or after `beginIndex` (below 0 reads as 0); kNotFound when there is none.
  std::int32_t find(std::string_view text, std::int32_t beginIndex) const;
  /// Removes every occurrence.
  void remove(std::string_view text);
  void removeAt(std::int32_t index);
  /// Valid until the list changes, as is `last`.
  std::string_view at(std::int32_t index) const noexcept;
  std::string_view last() const noexcept;
  /// Takes the last text away and gives it.
  std::string pop();

  /// All texts as one line: each as its printable characters of US-ASCII, every other byte, space, '%' and
  /// ',' as '%' and two hexadecimal digits, and a ',' behind each text. So "" is the empty list and "," one
  /// empty text. `appendSerialized` reads it back, byte for byte.
  std::string serialize() const;
  /// Appends the texts of a serialized list under the settings of this one; white space around it does not
  /// count. False, and nothing appended, when `encoded` is no such list.
  bool appendSerialized(std::string_view encoded);

  bool unique() const noexcept { return unique_; }
  void setUnique(bool unique) noexcept;
  /// White space (space, tab, CR, LF) at both ends of a text is left out.
  bool trim() const noexcept { return trim_; }
  void setTrim(bool trim) noexcept { trim_ = trim; }
  /// Line ends inside a text (CR LF, LF, or a CR alone) are made CR LF; when off, after it was on, LF. Until
  /// it is first on they stay as they are.
  bool crlf() const noexcept { return lineEnds_ == LineEnds::crLf; }
  void setCrlf(bool crlf) noexcept {
    if (crlf || lineEnds_ == LineEnds::crLf) lineEnds_ = crlf ? LineEnds::crLf : LineEnds::lf;
  }

 private:
  enum class LineEnds : char { asTheyAre, lf, crLf };

  void insertBefore(std::size_t index, std::string_view text);
  std::string asStored(std::string_view text) const;
  bool isIndex(std::int32_t index) const noexcept {
    return index >= 0 && static_cast<std::size_t>(index) < texts_.size();
  }
  std::size_t& occurrencesOf(const std::string& text);
  void forgetOne(const std::string& text) noexcept;

  std::deque<std::string> texts_;
  // How often each text stands in the list, while that is known: from the first text added with `unique` on
  // until it is off again. Ordered rather than hashed, as the texts are mostly ids that a server chose, and
  // it could choose such as share a hash.
  std::map<std::string, std::size_t, std::less<>> occurrences_;
  bool counted_ = false;
  bool unique_ = false;
  bool trim_ = false;
  LineEnds lineEnds_ = LineEnds::asTheyAre;
};

}  // namespace qv

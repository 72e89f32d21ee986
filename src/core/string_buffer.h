// The growable 8-bit text that the component builds its output in and keeps its texts in.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/growable_bytes.h"

namespace qv {

class CLog;

/// A growable text of any bytes, always followed by a zero byte. Nothing is allocated while it is empty;
/// appending starts at `kInitialCapacity` bytes, setting a text allocates just what it needs. Reads as a
/// `std::string_view` everywhere; a view is valid until the next change.
class StringBuffer {
 public:
  static constexpr std::size_t kInitialCapacity = 200;

  StringBuffer() noexcept = default;
  StringBuffer(std::string_view text) { set(text); }    // NOLINT: texts convert freely
  StringBuffer(const char* text) { set(text); }         // NOLINT
  StringBuffer(const std::string& text) { set(text); }  // NOLINT
  StringBuffer(const StringBuffer& other) { set(other); }
  StringBuffer(StringBuffer&& other) noexcept = default;
  ~StringBuffer() = default;
  StringBuffer& operator=(const StringBuffer& other) {
    set(other);
    return *this;
  }
  StringBuffer& operator=(StringBuffer&& other) noexcept = default;
  StringBuffer& operator=(std::string_view text) {
    set(text);
    return *this;
  }
  StringBuffer& operator=(const char* text) {
    set(text);
    return *this;
  }

  // Reading.
  std::string_view view() const noexcept { return {bytes_.data(), bytes_.size()}; }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
  std::string str() const { return std::string(view()); }
  /// Zero-terminated; a zero byte may also stand inside the text.
  const char* c_str() const noexcept { return bytes_.capacity() == 0 ? "" : bytes_.data(); }
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.size() == 0; }
  /// The character at an index; 0 when it is out of range.
  char charAt(std::size_t index) const noexcept { return index < size() ? bytes_.data()[index] : '\0'; }
  /// The last character; 0 when empty.
  char lastChar() const noexcept { return empty() ? '\0' : bytes_.data()[size() - 1]; }
  bool contains(std::string_view text) const noexcept;
  bool containsNoCase(std::string_view text) const noexcept;
  bool equals(std::string_view text) const noexcept { return view() == text; }
  bool equalsNoCase(std::string_view text) const noexcept;

  // Building.
  /// Makes room for `size` bytes in all, exactly.
  void reserve(std::size_t size);
  /// `text` may lie inside this buffer.
  StringBuffer& append(std::string_view text);
  StringBuffer& append(char c) {
    *extend(1) = c;
    return *this;
  }
  StringBuffer& appendNumber(long long number);
  /// Adds `count` unwritten bytes and gives the first of them; the caller writes every one.
  char* extend(std::size_t count) {
    if (count >= bytes_.capacity() - bytes_.size()) makeRoom(count);
    char* room = bytes_.extend(count);
    room[count] = '\0';
    return room;
  }
  /// Replaces the text. `text` may lie inside this buffer.
  void set(std::string_view text);
  /// Gives back the room beyond the text.
  void fit() noexcept { bytes_.fit(bytes_.size() == 0 ? 0 : 1); }
  /// Empties; the capacity stays.
  void clear() noexcept { truncate(0); }
  /// Empties and frees.
  void release() noexcept { bytes_.release(); }
  void truncate(std::size_t size) noexcept {
    if (size >= bytes_.size()) return;
    bytes_.truncate(size);
    bytes_.data()[size] = '\0';
  }
  void swap(StringBuffer& other) noexcept { bytes_.swap(other.bytes_); }
  /// Hands out the storage, and leaves the text empty.
  GrowableBytes takeBytes() noexcept { return std::move(bytes_); }

  // Changing, all in linear time.
  void trim();        ///< white space (space, tab, CR, LF) off both ends
  void trimBlanks();  ///< spaces and tabs off both ends
  void trimEnd();     ///< white space off the end
  void toLower() noexcept;
  void toUpper() noexcept;
  /// Replaces every occurrence, left to right; the replacement is not searched again. An empty `what`
  /// changes nothing. Gives the number of replacements.
  std::size_t replaceAll(std::string_view what, std::string_view with);
  void removeAll(char c) noexcept;
  void cutAtFirst(char c) noexcept;  ///< keeps what stands before the first `c`; all when there is none
  void cutAtLast(char c) noexcept;   ///< keeps what stands before the last `c`; all when there is none
  void removeControls() noexcept;    ///< bytes below 0x20 other than tab, CR and LF

  /// Replaces the text by that of a whole file. False when it cannot be read, with the reason in the log
  /// (which may be null): "filename is missing", "Failed to open file", "Failed to get file size", "Failed
  /// to read data from file", or "Failed to read the entire file" with "filesize" and "bytes_received".
  bool loadFile(std::string_view filename, CLog* log);

 private:
  void makeRoom(std::size_t count);

  GrowableBytes bytes_;  // one byte of capacity beyond the size is kept for the terminator
};

inline bool operator==(const StringBuffer& a, std::string_view b) {
  return a.view() == b;
}
inline bool operator==(const StringBuffer& a, const StringBuffer& b) {
  return a.view() == b.view();
}
inline std::ostream& operator<<(std::ostream& out, const StringBuffer& text) {
  return out << text.view();
}

/// Pieces between occurrences of `delimiter`; empty pieces are skipped, at most `limit` pieces are given.
std::vector<std::string_view> splitText(std::string_view text, char delimiter,
                                        std::size_t limit = static_cast<std::size_t>(-1));
/// Pieces between occurrences of `delimiter` outside double quotes; a backslash and the byte after it stay
/// together and neither toggle nor split. Empty pieces are kept. The pieces are views of `text`.
std::vector<std::string_view> splitOutsideQuotes(std::string_view text, char delimiter);
/// Appends `text` with "&", "<", ">" and the double quote escaped for XML.
void appendXmlEscaped(std::string_view text, StringBuffer& out);

}  // namespace qv

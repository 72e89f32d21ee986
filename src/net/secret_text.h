// Secrets of a login: kept in memory no longer than they are used, and hidden where a server repeats them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/string_buffer.h"

namespace qv {

/// 8-bit text (any bytes) that is overwritten before its memory is given back, also when it grows, is cleared
/// or assigned to. Reads as a `std::string_view`, valid until the next change.
class SecretText {
 public:
  SecretText() noexcept = default;
  explicit SecretText(std::string_view text) { append(text); }
  SecretText(SecretText&& other) noexcept { swap(other); }
  SecretText& operator=(SecretText&& other) noexcept {
    clear();
    swap(other);
    return *this;
  }
  SecretText(const SecretText& other) { append(other); }
  SecretText& operator=(const SecretText& other) { return *this = SecretText(other); }
  SecretText& operator=(std::string_view text) { return *this = SecretText(text); }
  ~SecretText() { clear(); }

  std::string_view view() const noexcept { return text_.view(); }
  operator std::string_view() const noexcept { return view(); }  // NOLINT
  std::size_t size() const noexcept { return text_.size(); }
  bool empty() const noexcept { return text_.empty(); }
  /// A copy that is a text as any other.
  std::string str() const { return text_.str(); }

  /// `text` lies outside this one.
  SecretText& append(std::string_view text);
  SecretText& append(char c) { return append(std::string_view(&c, 1)); }
  /// Appends the base64 of `bytes`, on one line.
  SecretText& appendBase64(std::string_view bytes);
  /// Adds `count` unwritten bytes and gives the first of them; the caller writes every one.
  char* extend(std::size_t count);
  /// Overwrites and frees.
  void clear() noexcept;
  void swap(SecretText& other) noexcept;

 private:
  void makeRoom(std::size_t count);

  StringBuffer text_;
  std::size_t capacity_ = 0;  // of text_, so that it never grows by itself
};

/// Hides secrets in what a server says, before it reaches a log or a transcript.
///
/// Hidden are a secret itself; its base64, wherever in a coded text it stands and also when the text is cut
/// off; and its hexadecimal digits of either case. Of a coded text all goes that stands around it without a
/// gap, so that its rest tells nothing. A secret of less than `kShort` bytes is hidden only where it stands
/// as a word of its own: hidden anywhere it could be told from the gaps, and little else could be read.
class SecretMask {
 public:
  static constexpr std::string_view kMask = "*****";
  static constexpr std::size_t kShort = 4;

  /// Nothing to hide in an empty text. What was added stays hidden until the mask goes.
  void add(std::string_view secret);
  /// Replaces every occurrence by `kMask`, in time linear in the text.
  void hideIn(StringBuffer& text) const;
  bool empty() const noexcept { return spellings_.empty(); }

 private:
  /// What belongs to an occurrence, or is asked of its neighbours.
  enum class Around {
    nothing,  ///< the text as it is, anywhere
    word,     ///< only as a word of its own
    coded,    ///< and all characters of base64 or hexadecimal beside it
  };
  struct Spelling {
    SecretText text;
    Around around;
  };
  void addSpelling(std::string_view text, Around around);
  void addBase64(std::string_view start);
  void addHexadecimal(std::string_view start);
  static void hideSpelling(const Spelling& spelling, StringBuffer& text);

  std::vector<Spelling> spellings_;
};

}  // namespace qv

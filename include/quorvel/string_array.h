// Lists of texts, above all of unique ids.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/object.h>

namespace quorvel {

/// Created as "QuorvelMail.QvStringArray", or handed out by other objects. Indexes are 0-based; one out of
/// range reads as an empty text and changes nothing. The three settings, all 0 at first, change what is
/// stored from then on and leave what is stored already.
class QUORVEL_API IQvStringArray : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQvStringArray";

  virtual std::int32_t get_Count() = 0;
  virtual void Append(std::string_view str) = 0;
  virtual void Clear() = 0;
  virtual std::int32_t Contains(std::string_view str) = 0;
  /// Removes every occurrence.
  virtual void Remove(std::string_view str) = 0;
  virtual std::string GetString(std::int32_t index) = 0;
  /// The whole array as one line of printable characters.
  virtual std::string Serialize() = 0;
  /// Appends the texts of a serialized array, byte for byte; nothing when the text is none.
  virtual void AppendSerialized(std::string_view encodedStr) = 0;
  /// 1 stores no text that is there already; the comparison is exact.
  virtual std::int32_t get_Unique() = 0;
  virtual void put_Unique(std::int32_t unique) = 0;
  /// 1 stores texts without white space (spaces, tabs, line ends) at their ends.
  virtual std::int32_t get_Trim() = 0;
  virtual void put_Trim(std::int32_t trim) = 0;
  /// 1 stores line ends as CR LF, 0 after 1 as LF; at first they are stored as they are.
  virtual std::int32_t get_Crlf() = 0;
  virtual void put_Crlf(std::int32_t crlf) = 0;
  virtual void Prepend(std::string_view str) = 0;
  /// The first place of a text at or behind an index; -1 when there is none.
  virtual std::int32_t Find(std::string_view str, std::int32_t beginIndex) = 0;
  /// Before the text at that index; at the end when it is the count.
  virtual void InsertAt(std::int32_t index, std::string_view str) = 0;
  virtual void RemoveAt(std::int32_t index) = 0;
  virtual std::string LastString() = 0;
  /// Takes the last text away and gives it.
  virtual std::string Pop() = 0;
};

}  // namespace quorvel

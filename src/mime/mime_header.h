// Header fields and the ordered header of one entity (RFC 822, RFC 2047).
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "mime/limits.h"

namespace qv {

/// One field, kept as a single line of text: name, colon, value. The value is derived whenever it is asked
/// for. Line breaks inside a line are only those that a writer put into the value; CR, LF and NUL are left
/// out of a name, so that it reads the same after it was written.
class MimeField final : public QuorvelObject {
 public:
  /// Takes a line as it was read, trimmed of white space; the name is what stands before the first ':'
  /// (all of it when there is none), not folded.
  void loadLine(std::string_view text);
  /// Makes the line from a name and a value: name + ": " + value, both trimmed. The texts may lie in this
  /// field.
  void setNameValue(std::string_view name, std::string_view value);
  std::string_view getName() const noexcept { return line_.view().substr(0, nameLength_); }
  /// What follows the first ':' without the blanks after it; empty when there is no ':'.
  std::string_view getValue() const noexcept;
  std::string_view getLine() const noexcept { return line_; }
  std::unique_ptr<MimeField> clone() const;
  /// Bytes of the line and its CR LF.
  std::size_t getSize() const noexcept { return line_.size() + 2; }

 private:
  StringBuffer line_;
  std::size_t nameLength_ = 0;
};

/// The fields of one entity, in order; names may repeat. Names are compared ignoring ASCII case throughout.
class MimeHeader final : public QuorvelObject {
 public:
  MimeHeader() = default;
  MimeHeader(MimeHeader&&) = default;
  MimeHeader& operator=(MimeHeader&&) = default;

  /// Appends the fields of a header block: the text up to its first empty line, line breaks of any kind,
  /// at most `maxLines` lines. Folded lines are joined without a gap, encoded words in values decoded.
  /// `utf8Seen` says whether a field held "?utf-8?" before decoding.
  void parseHeader(std::string_view text, bool& utf8Seen, std::size_t maxLines = kMaxHeaderLines);

  /// Value of the first field of that name, as it stands; empty when there is none. Valid until a change.
  std::string_view getHeaderField(std::string_view name) const noexcept;
  bool hasField(std::string_view name) const noexcept;
  /// Name of the field at an index; empty when out of range.
  std::string_view getFieldName(std::size_t index) const noexcept;
  /// The field at an index; null when out of range.
  const MimeField* getField(std::size_t index) const noexcept { return fields_.at(index); }
  std::size_t getFieldCount() const noexcept { return fields_.size(); }

  void removeField(std::string_view name);
  /// Removes every field of that name, then appends one made of `name` and `value`, unless the value is
  /// empty when trimmed. The field is therefore the last one. The texts may lie in this header.
  void setHeaderField(std::string_view name, std::string_view value);
  /// Appends a field whatever stands there already.
  void appendField(std::unique_ptr<MimeField> field) { fields_.append(std::move(field)); }
  /// Replaces the value of the first field of that name where it stands, keeping the name as it is written
  /// there; false when there is none.
  bool replaceInPlace(std::string_view name, std::string_view value);
  void removeEmptyFields();
  void removeFieldsWithPrefix(std::string_view prefix);
  void copyFrom(const MimeHeader& other);
  /// For each field of the other header in order: setHeaderField with its name and value.
  void mergeFrom(const MimeHeader& other);
  void clear() noexcept { fields_.deleteAll(); }

  /// Appends every field whose name does not begin with `excludePrefix` (any case; empty excludes none) as
  /// its line, with CR LF between them but none at the end; what stood in `out` before stays as it is. Gives
  /// the last character of the output, 0 when that is empty.
  ///
  /// What is written can never start a field of its own or end the header: line breaks of any kind with
  /// nothing but blanks between them become one fold (CR LF and the blanks after it, or a space), NUL is left
  /// out.
  char writeHeader(StringBuffer& out, std::string_view excludePrefix = {}) const;

  /// Sum of the fields' sizes; 60 bytes a field as a guess.
  std::size_t getExactSize() const noexcept;
  std::size_t getEstimatedSize() const noexcept { return 60 * fields_.size(); }

 private:
  /// The first field of that name, or null.
  MimeField* find(std::string_view name) const noexcept;

  ExtPtrArray<MimeField> fields_;
};

}  // namespace qv

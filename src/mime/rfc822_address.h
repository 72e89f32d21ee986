// Addresses of header fields: a display name and a mailbox (RFC 822 6).
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"

namespace qv {

/// Common base of what is parsed from address fields.
class Rfc822ParseHelp {
 public:
  virtual ~Rfc822ParseHelp() = default;
};

/// One address. The display name is never equal to the address: it is emptied when it would be.
class Rfc822Address final : public Rfc822ParseHelp, public QuorvelObject {
 public:
  /// From parts. `name` may be empty. The address loses everything up to its first '<' and from its last
  /// '>' on. Always valid.
  Rfc822Address(std::string_view name, std::string_view address);
  /// From the text of one address; ask `valid` what came of it.
  explicit Rfc822Address(std::string_view text);

  /// Null when the text holds no valid address.
  static std::unique_ptr<Rfc822Address> parseAddress(std::string_view text);
  /// Appends the valid addresses of a comma-separated list that `out` does not hold yet (compared ignoring
  /// case). Gives the number of valid ones found, duplicates included. Linear in the list.
  static std::size_t parseAddressList(std::string_view text, ExtPtrArray<Rfc822Address>& out);

  bool valid() const noexcept { return valid_; }
  std::string_view fullText() const noexcept { return fullText_; }
  std::string_view getAddress() const noexcept { return address_; }
  void setAddress(std::string_view address);
  std::string_view getDisplayName() const noexcept { return displayName_; }
  void setDisplayName(std::string_view name) { displayName_ = name; }
  bool hasNoName() const noexcept { return displayName_.empty(); }
  std::unique_ptr<Rfc822Address> clone() const;

  /// Appends the header form: the quoted name and the address in angle brackets, or the bare address.
  void formatForHeader(StringBuffer& out) const;
  /// Appends the XML form, without a line feed after it.
  void writeXml(StringBuffer& out) const;

 private:
  bool valid_ = false;
  StringBuffer fullText_;
  StringBuffer displayName_;
  StringBuffer address_;
};

}  // namespace qv

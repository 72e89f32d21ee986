// MD5 and what logins make of it: HMAC-MD5 (RFC 2104) and the answer of CRAM-MD5 (RFC 2195).
#pragma once

#include <string_view>

#include "net/md_hash.h"
#include "net/secret_text.h"

namespace qv {

/// The message digest MD5 (RFC 1321).
class Md5 : public MdHash {
 public:
  Md5() noexcept;
  static MdDigest of(std::string_view bytes) noexcept;
};

/// A keyed digest.
struct HmacMD5 {
  static MdDigest hmac(std::string_view message, std::string_view key) noexcept;
};

struct CramMD5 {
  /// The user name, a blank, and the challenge's keyed digest in lower-case hexadecimal. The key is the
  /// password, of any length.
  static SecretText response(std::string_view username, std::string_view password,
                             std::string_view challenge);
};

}  // namespace qv

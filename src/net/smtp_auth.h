// Which login method an SMTP session uses (RFC 4954).
#pragma once

#include <bitset>
#include <cstddef>
#include <string_view>

#include "core/log.h"

namespace qv {

/// In the order of preference.
enum class AuthMethod : std::size_t {
  ntlm,
  cramMd5,
  login,
  plain,
  digestMd5,
  gssapi,
  kerberosV4,
  anonymous,
};
inline constexpr std::size_t kNumAuthMethods = 8;

/// The methods to consider, by AuthMethod.
using AuthFlags = std::bitset<kNumAuthMethods>;

/// Sets the methods that a line of an EHLO reply offers: the text behind the code and its '-' or blank.
/// Lines that do not begin with "AUTH" set none.
void addOfferedMethods(std::string_view text, AuthFlags& flags);

/// The host's choice: "LOGIN", "PLAIN", "CRAM-MD5" or "NTLM" (any case, white space around it) leaves only
/// that method, offered or not; "NONE" leaves none; anything else leaves what was offered.
void applyAuthMethod(AuthFlags& flags, std::string_view smtpAuthMethod);

/// Takes the first method that is set and says in the log which. The session goes on without a login after a
/// method that is not supported, and when there is none.
void chooseLogin(const AuthFlags& flags, CLog* log);

}  // namespace qv

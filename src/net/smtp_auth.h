// How an SMTP session logs in (RFC 4954): the choice of the method, and the four methods.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/log.h"
#include "net/smtp_dialogue.h"

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

/// Who logs in, as 8-bit text of any length. An empty text is a missing one. The domain is for NTLM only.
struct SmtpLogin {
  std::string_view username;
  std::string_view password;
  std::string_view domain;
  /// Seconds that the session waits for a reply, 0 as long as it takes: what holds again after an NTLM login,
  /// during which no reply is waited for longer than `kNtlmReadTimeout`.
  std::int32_t readTimeout = 0;
};
inline constexpr std::int32_t kNtlmReadTimeout = 3;

/// Logs in by the first method that is set, and says in the log which. Empty when the session goes on: logged
/// in; or without a login, after a method that is not supported or when there is none. After a failed login
/// what the log is to say once the session is closed. A user name or password with CR, LF or NUL is refused
/// and nothing is sent.
std::string_view logIn(SmtpDialogue& dialogue, const AuthFlags& flags, const SmtpLogin& login, CLog* log);

// One method each. True when the server lets the user in; otherwise the log says why. What carries a secret
// goes neither into the transcript nor into the log; a part of the server's replies that repeats it is
// hidden.

/// [MS-NLMP] in the lines of SMTP ([MS-SMTPNTLM]): negotiate, challenge, authenticate.
bool loginNtlm(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log);
bool loginCramMd5(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log);  ///< RFC 2195
/// User name and password, each on a line of its own.
bool loginLogin(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log);
/// RFC 4616. The user name is the authorisation identity, too.
bool loginPlain(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log);

}  // namespace qv

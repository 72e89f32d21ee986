#include "net/smtp_auth.h"

#include <array>
#include <string>

#include "core/text.h"

namespace qv {

namespace {

struct AuthMethodRow {
  AuthMethod method;
  std::string_view offered;      // as an EHLO reply names it
  std::string_view setting;      // as the host names it; empty when it cannot be asked for
  std::string_view logName;      // value of "login_method"
  std::string_view unsupported;  // what the log says instead of a login
};

constexpr std::array<AuthMethodRow, kNumAuthMethods> kMethods{{
    {AuthMethod::ntlm, " NTLM", "NTLM", "NTLM", ""},
    {AuthMethod::cramMd5, " CRAM-MD5", "CRAM-MD5", "CRAM_MD5", ""},
    {AuthMethod::login, " LOGIN", "LOGIN", "LOGIN", ""},
    {AuthMethod::plain, " PLAIN", "PLAIN", "PLAIN", ""},
    {AuthMethod::digestMd5, " DIGEST-MD5", "", "DIGEST-MD5", "DIGEST-MD5 login method not supported"},
    {AuthMethod::gssapi, " GSSAPI", "", "GSSAPI", "GSSAPI login method not supported"},
    {AuthMethod::kerberosV4, " KERBEROS_V4", "", "Kerberos-V4", "Kerberos v4 login method not supported"},
    {AuthMethod::anonymous, " ANONYMOUS", "", "anonymous", "Anonymous login method not supported"},
}};

constexpr std::size_t indexOf(AuthMethod method) {
  return static_cast<std::size_t>(method);
}

}  // namespace

void addOfferedMethods(std::string_view text, AuthFlags& flags) {
  constexpr std::string_view kKeyword = "AUTH";
  if (!startsWithNoCase(text, kKeyword)) return;
  const std::string_view names = text.substr(kKeyword.size());
  for (const AuthMethodRow& row : kMethods) {
    if (findNoCase(names, row.offered) != std::string_view::npos) flags.set(indexOf(row.method));
  }
}

void applyAuthMethod(AuthFlags& flags, std::string_view smtpAuthMethod) {
  const std::string wanted = toUpper(trimmed(smtpAuthMethod));
  if (wanted.empty()) return;
  if (wanted == "NONE") flags.reset();
  for (const AuthMethodRow& row : kMethods) {
    if (row.setting == wanted) flags.reset().set(indexOf(row.method));
  }
}

void chooseLogin(const AuthFlags& flags, CLog* log) {
  for (const AuthMethodRow& row : kMethods) {
    if (!flags.test(indexOf(row.method)) || row.unsupported.empty()) continue;
    logData(log, "login_method", row.logName);
    logError(log, row.unsupported);
    return;
  }
  logData(log, "login_method", "NONE or already authenticated");
}

}  // namespace qv

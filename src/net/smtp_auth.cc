#include "net/smtp_auth.h"

#include <array>
#include <optional>
#include <string>

#include "core/binary_data.h"
#include "core/text.h"
#include "mime/transfer_coding.h"
#include "net/command_text.h"
#include "net/md5.h"
#include "net/ntlm_client.h"
#include "net/ntlm_login.h"
#include "net/secret_text.h"

namespace qv {

namespace {

struct AuthMethodRow {
  AuthMethod method;
  std::string_view offered;  // as an EHLO reply names it
  std::string_view setting;  // as the host names it; empty when it cannot be asked for
  std::string_view logName;  // value of "login_method"
  bool (*logIn)(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log);  // null: not supported
  std::string_view failure;  // what the log says of a failed login, or instead of one
};

constexpr std::array<AuthMethodRow, kNumAuthMethods> kMethods{{
    {AuthMethod::ntlm, " NTLM", "NTLM", "NTLM", loginNtlm, "Failed to login using NTLM method"},
    {AuthMethod::cramMd5, " CRAM-MD5", "CRAM-MD5", "CRAM_MD5", loginCramMd5,
     "Failed to login using CRAM-MD5 method"},
    {AuthMethod::login, " LOGIN", "LOGIN", "LOGIN", loginLogin, "Failed to login using LOGIN method"},
    {AuthMethod::plain, " PLAIN", "PLAIN", "PLAIN", loginPlain, "Failed to login using PLAIN method"},
    {AuthMethod::digestMd5, " DIGEST-MD5", "", "DIGEST-MD5", nullptr,
     "DIGEST-MD5 login method not supported"},
    {AuthMethod::gssapi, " GSSAPI", "", "GSSAPI", nullptr, "GSSAPI login method not supported"},
    {AuthMethod::kerberosV4, " KERBEROS_V4", "", "Kerberos-V4", nullptr,
     "Kerberos v4 login method not supported"},
    {AuthMethod::anonymous, " ANONYMOUS", "", "anonymous", nullptr, "Anonymous login method not supported"},
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

std::string_view logIn(SmtpDialogue& dialogue, const AuthFlags& flags, const SmtpLogin& login, CLog* log) {
  for (const AuthMethodRow& row : kMethods) {
    if (!flags.test(indexOf(row.method))) continue;
    logData(log, "login_method", row.logName);
    if (row.logIn == nullptr) {
      logError(log, row.failure);
      return {};
    }
    const bool in = isCommandText(login.username, "user name", log) &&
                    isCommandText(login.password, "password", log) && row.logIn(dialogue, login, log);
    return in ? std::string_view() : row.failure;
  }
  logData(log, "login_method", "NONE or already authenticated");
  return {};
}

namespace {

constexpr std::string_view kCheckSettings =
    "Check your username/password or your SMTP server's auth settings";

/// A failure after which the log shows what the server and the session said to each other.
bool failWithTranscript(const SmtpDialogue& dialogue, CLog* log) {
  logInfo(log, dialogue.transcript());
  return false;
}

bool fail(std::string_view message, CLog* log) {
  logError(log, message);
  return false;
}

bool hasCredentials(const SmtpLogin& login, CLog* log) {
  return (!login.username.empty() && !login.password.empty()) ||
         fail("Username and/or password is empty", log);
}

/// Sends the base64 of `bytes` as one line, whatever its length, past the transcript.
bool sendCoded(SmtpDialogue& dialogue, std::string_view bytes, CLog* log) {
  SecretText line;
  line.appendBase64(bytes).append("\r\n");
  return dialogue.sendDirect(line, log);
}

bool sendSecret(SmtpDialogue& dialogue, std::string_view bytes, CLog* log) {
  dialogue.hide(bytes);
  return sendCoded(dialogue, bytes, log);
}

/// What a server asks, in base64 behind the code of its line.
std::optional<BinaryData> readChallengeLine(SmtpDialogue& dialogue, CLog* log) {
  const auto line = dialogue.readLineWithCode(334, log);
  if (!line) return std::nullopt;
  return ContentCoding::decodeBase64(line->substr(4));
}

/// The session as the NTLM driver sees it.
class SmtpPackageExchange final : public PackageExchange {
 public:
  explicit SmtpPackageExchange(SmtpDialogue& dialogue) noexcept : dialogue_(dialogue) {}

  bool exchangePackage(BinaryData& challenge, std::string_view package, CLog* log) override {
    if (!sendSecret(dialogue_, package, log)) {
      return fail("exchangePackage: failed to send package on socket", log);
    }
    auto answer = readChallengeLine(dialogue_, log);
    if (!answer) return fail("exchangePackage: failed to get success response", log);
    challenge.take(*answer);
    return true;
  }
  bool sendFinal(std::string_view package, CLog* log) override {
    if (!sendSecret(dialogue_, package, log)) {
      return fail("sendFinal: failed to send package on socket", log);
    }
    return dialogue_.readLineWithCode(235, log) ||
           fail("Logon denied.  Check username, password, and domain", log);
  }

 private:
  SmtpDialogue& dialogue_;
};

/// The session's time-out for replies is another one while this lives.
class OtherReadTimeout {
 public:
  OtherReadTimeout(const SmtpDialogue& dialogue, std::int32_t now, std::int32_t afterwards)
      : dialogue_(dialogue), afterwards_(afterwards) {
    set(now);
  }
  ~OtherReadTimeout() { set(afterwards_); }
  OtherReadTimeout(const OtherReadTimeout&) = delete;
  OtherReadTimeout& operator=(const OtherReadTimeout&) = delete;

 private:
  void set(std::int32_t seconds) const {
    if (dialogue_.isConnected()) dialogue_.socket()->setReadTimeout(seconds);
  }
  const SmtpDialogue& dialogue_;
  std::int32_t afterwards_;
};

}  // namespace

bool loginNtlm(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log) {
  if (!dialogue.sendAndCheck("AUTH NTLM\r\n", {}, 334, log)) {
    logError(log, "Failed to send AUTH NTLM");
    return failWithTranscript(dialogue, log);
  }
  bool in = false;
  {
    const OtherReadTimeout shorter(dialogue, kNtlmReadTimeout, login.readTimeout);
    SmtpPackageExchange exchange(dialogue);
    NtlmClient client;
    QuorvelSSPI sspi(client, &exchange, log);
    in = sspi.authenticate(sspi.findPackage("NTLM"), login.domain, login.username, login.password);
  }
  return in || fail("NTLM authentication failed", log);
}

bool loginCramMd5(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log) {
  if (!hasCredentials(login, log)) return false;
  if (!dialogue.sendCommand("AUTH CRAM-MD5\r\n", log)) {
    dialogue.disconnect();
    return false;
  }
  const auto challenge = readChallengeLine(dialogue, log);
  if (!challenge) return false;
  const SecretText response = CramMD5::response(login.username, login.password, challenge->view());
  dialogue.hide(response.view().substr(login.username.size() + 1));  // the digest alone
  if (!sendSecret(dialogue, response, log)) return fail("Failed to send CRAM-MD5 response", log);
  if (dialogue.readReply(235, log)) return true;
  logError(log, "Failed to get CRAM-MD5 response");
  logError(log, kCheckSettings);
  return failWithTranscript(dialogue, log);
}

bool loginLogin(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log) {
  if (!hasCredentials(login, log)) return false;
  if (!dialogue.sendAndCheck("AUTH LOGIN\r\n", {}, 334, log)) {
    logError(log, "Failed to send AUTH LOGIN");
    return failWithTranscript(dialogue, log);
  }
  if (!sendCoded(dialogue, login.username, log)) return fail("Failed to send login name", log);
  if (!dialogue.readReply(334, log)) {
    logError(log, "Failed to get response to login name");
    logError(log, kCheckSettings);
    return failWithTranscript(dialogue, log);
  }
  if (!sendSecret(dialogue, login.password, log)) return fail("Failed to send login password", log);
  if (dialogue.readReply(235, log)) return true;
  logCommonError(log, "Failed to get response to login password");
  return failWithTranscript(dialogue, log);
}

bool loginPlain(SmtpDialogue& dialogue, const SmtpLogin& login, CLog* log) {
  if (!hasCredentials(login, log)) return false;
  if (!dialogue.sendAndCheck("AUTH PLAIN\r\n", {}, 334, log)) return failWithTranscript(dialogue, log);
  SecretText message(login.username);
  message.append('\0').append(login.username).append('\0').append(login.password);
  if (!sendSecret(dialogue, message, log)) return fail("Failed to send plain login info", log);
  if (dialogue.readReply(235, log)) return true;
  logError(log, "Failed to get response to plain login info");
  return failWithTranscript(dialogue, log);
}

}  // namespace qv

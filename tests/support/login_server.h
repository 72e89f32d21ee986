// The server's side of the four login methods of SMTP, for one user.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mime/transfer_coding.h"
#include "net/ntlm_messages.h"
#include "support/hex.h"
#include "support/ntlm_server.h"
#include "support/scripted_server.h"

namespace qv_test {

inline std::string base64(std::string_view bytes) {
  return qv::ContentCoding::encodeBase64ToBuffer(bytes).str();
}
inline std::string unbase64(std::string_view text) {
  return std::string(qv::ContentCoding::decodeBase64(text).view());
}

/// The replies of a server that offers `methods` and knows one user. To be called for each command.
class LoginServer {
 public:
  static constexpr std::string_view kCramChallenge = "<1896.697170952@postoffice.reston.mci.net>";

  LoginServer(std::string_view methods, std::string_view user, std::string_view password,
              std::string_view domain = {}, std::string_view ntlmTargetInfo = {})
      : methods_(methods), user_(user), password_(password), ntlmTargetInfo_(ntlmTargetInfo) {
    const qv::ntlm::Account account(user, domain, password);
    ntlmUser_ = account.wideUsername.view();
    ntlmKey_ = account.responseKey.view();
  }

  /// The lines of the login that is going on, without their line ends: "AUTH LOGIN" and the client's answers.
  const Strings& lines() const { return lines_; }

  std::optional<std::string> reply(std::string_view command) {
    if (command.starts_with("EHLO")) return "250-me\r\n250 AUTH " + methods_ + "\r\n";
    if (command.starts_with("AUTH ")) {
      lines_ = {std::string(command)};
      wanted_ = command == "AUTH LOGIN" || command == "AUTH NTLM" ? 3 : 2;
    } else if (lines_.empty() || lines_.size() >= wanted_) {
      return std::nullopt;
    } else {
      lines_.emplace_back(command);
    }
    return (lines_.size() < wanted_ ? "334 " + challenge() : (letsIn() ? "235 in" : "535 no")) + "\r\n";
  }

 private:
  std::string challenge() const {
    if (lines_[0] == "AUTH LOGIN") return base64(lines_.size() == 1 ? "Username:" : "Password:");
    if (lines_[0] == "AUTH CRAM-MD5") return base64(kCramChallenge);
    return lines_[0] == "AUTH NTLM" && lines_.size() == 2 ? base64(ntlm()) : "";
  }
  std::string ntlm() const { return ntlmChallenge(0xE0088215, ntlmTargetInfo_); }
  bool letsIn() const {
    const std::string last = unbase64(lines_.back());
    if (base64(last) != lines_.back()) return false;  // one line, nothing else
    if (lines_[0] == "AUTH LOGIN") return unbase64(lines_[1]) == user_ && last == password_;
    if (lines_[0] == "AUTH PLAIN") return last == user_ + '\0' + user_ + '\0' + password_;
    if (lines_[0] == "AUTH CRAM-MD5") {
      return last == user_ + " " + hexOf(hmacMd5(password_, kCramChallenge));
    }
    const NtlmAnswer answer(last);
    return answer.isOne && answer.user == ntlmUser_ && answer.proves(ntlmKey_, ntlm());
  }

  std::string methods_, user_, password_, ntlmTargetInfo_, ntlmUser_, ntlmKey_;
  Strings lines_;
  std::size_t wanted_ = 0;  // lines of the login
};

}  // namespace qv_test

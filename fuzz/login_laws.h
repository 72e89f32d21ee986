// What holds for every login to an SMTP server, whatever the server says.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "core/log_store.h"
#include "laws.h"
#include "net/ntlm_client.h"
#include "net/smtp_auth.h"
#include "support/fed_socket.h"
#include "support/hex.h"
#include "support/ntlm_server.h"

namespace laws {

/// The client's answer to a challenge is none, or one of NTLMv2 that proves the password.
inline void checkNtlmChallenge(std::string_view challenge) {
  using qv::SecurityStatus;
  qv::NtlmClient client([] { return qv::ntlm::Nonces{}; });
  const qv::SecurityIdentity identity{qv::SecretText("User"), qv::SecretText("Domain"),
                                      qv::SecretText("Password")};
  std::unique_ptr<qv::SecurityCredentials> credentials;
  std::unique_ptr<qv::SecurityContext> context;
  require(client.acquireCredentials("NTLM", identity, credentials) == SecurityStatus::SEC_E_OK,
          "credentials are had");
  const std::size_t most = client.listPackages()[0].maxToken;
  qv::SecurityStep step{.input = {}, .maxOutput = most, .contextFlags = qv::kReplayDetection, .output = {}};
  require(client.initializeContext(*credentials, context, step) == SecurityStatus::SEC_I_CONTINUE_NEEDED,
          "it begins");
  const std::string negotiate = step.output.str();
  step.input = challenge;
  step.output.clear();
  const SecurityStatus status = client.initializeContext(*credentials, context, step);
  if (status != SecurityStatus::SEC_E_OK) {
    require(status == SecurityStatus::SEC_E_INVALID_TOKEN && step.output.empty(),
            "what is no challenge is refused");
    return;
  }
  // MS-NLMP 4.2.4.1.1.
  static const std::string key = qv_test::bytesOf("0c868a403bfd7a93a3001ef22ef02e3f");
  const qv_test::NtlmAnswer answer(step.output);
  require(answer.isOne && answer.proves(key, challenge), "an answer proves the password");
  require(step.output.size() <= most, "it fits");
  const bool unicode = (answer.flags & 1) != 0;
  require(unicode != ((answer.flags & 2) != 0), "in one character set");
  require(answer.user == (unicode ? qv_test::wide("User") : "User"), "for the user");
  const std::size_t offered = qv_test::number(challenge, 20, 4);
  const std::size_t wanted = qv_test::number(negotiate, 12, 4) | 0x800000;
  require((answer.flags & ~(offered & wanted)) == 0, "nothing that is not wanted by both sides");
}

/// The first byte chooses the method; the rest is what the server says.
inline void checkSmtpLogin(std::string_view input) {
  constexpr std::string_view kPassword = "s3cr3t/Pass+Wort";
  constexpr std::string_view kMethods[] = {"LOGIN", "PLAIN", "CRAM-MD5", "NTLM"};
  if (input.empty()) return;
  const std::string_view method = kMethods[static_cast<unsigned char>(input[0]) % 4];
  const std::string_view said = input.substr(1);

  qv_test::FedSocket::Record record;
  const auto store = std::make_shared<qv::LogStore>();
  qv::CLogImpl log(store);
  std::string shown, transcript;
  bool in = false;
  {
    qv::SmtpDialogue dialogue(std::make_unique<qv_test::FedSocket>(said, record));
    qv::AuthFlags flags;
    qv::applyAuthMethod(flags, method);
    const std::string_view failure = qv::logIn(dialogue, flags, {"user", kPassword, "domain", 9}, &log);
    in = failure.empty();
    require(in || failure.find(method) != std::string_view::npos, "a failure names the method");
    require(!in || dialogue.isConnected(), "who is in is connected");
    transcript = dialogue.transcript();
    shown = store->text() + store->xml(false) + store->lastError() + transcript;
  }
  require(!in || said.find("235") != std::string_view::npos, "only the server lets in");
  require(record.readTimeouts.empty() || record.readTimeouts.back() == 9 || !in, "the time-out is as before");
  require(record.sent.size() <= 3, "no method takes more than three lines");
  require(record.sent.at(0) == "AUTH " + std::string(method) + "\r\n", "the first one is AUTH");
  for (std::size_t i = 1; i < record.sent.size(); ++i) {
    std::string line = record.sent[i];
    require(line.ends_with("\r\n"), "a line has its end");
    line.resize(line.size() - 2);
    require(std::all_of(line.begin(), line.end(),
                        [](char c) {
                          return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                                 c == '+' || c == '/' || c == '=';
                        }),
            "and is nothing but base64");
    if (method == "LOGIN" && i == 1) continue;  // the user name is no secret
    require(shown.find(line.substr(0, 24)) == std::string::npos, "what was sent is in no log");
  }
  require(shown.find(kPassword) == std::string::npos, "the password is in no log");
  // The log shows a byte that is no text by its digits, which may look like the missing first ones of these.
  const std::string digits = qv_test::hexOf(kPassword);
  for (const std::string& form : {digits, qv::toUpper(digits)}) {
    require(transcript.find(form) == std::string::npos, "nor are its digits in the transcript");
  }
}

}  // namespace laws

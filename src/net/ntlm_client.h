// The security provider that is built in: a client of NTLM, which answers by NTLMv2 only.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "net/ntlm_messages.h"
#include "net/security_provider.h"

namespace qv {

/// One package, "NTLM". Its context takes two steps: the negotiate message, then the answer to the challenge.
/// A challenge that is none gives SEC_E_INVALID_TOKEN. Nothing of a step is shared: may be used by several
/// threads at the same time.
class NtlmClient final : public SecurityProvider {
 public:
  /// By the operating system's random generator and the clock.
  NtlmClient();
  /// A test gives what is new for each login itself.
  explicit NtlmClient(std::function<ntlm::Nonces()> nonces) : nonces_(std::move(nonces)) {}

  std::vector<SecurityPackage> listPackages() override;
  SecurityStatus acquireCredentials(std::string_view package, const SecurityIdentity& identity,
                                    std::unique_ptr<SecurityCredentials>& credentials) override;
  SecurityStatus initializeContext(SecurityCredentials& credentials,
                                   std::unique_ptr<SecurityContext>& context, SecurityStep& step) override;
  /// No token of this client asks for it.
  SecurityStatus completeToken(SecurityContext& context, SecretText& token) override;

 private:
  std::function<ntlm::Nonces()> nonces_;
};

}  // namespace qv

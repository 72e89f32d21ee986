#include "net/ntlm_client.h"

#include <utility>

#include "core/text.h"
#include "platform/clock.h"
#include "platform/random.h"

namespace qv {

namespace {

constexpr std::string_view kPackageName = "NTLM";
/// Six fields of a 16-bit length behind the fixed part of an authenticate message.
constexpr std::size_t kMaxToken = 88 + 6 * std::size_t{0xFFFF};

struct NtlmCredentials final : SecurityCredentials {
  explicit NtlmCredentials(const SecurityIdentity& identity)
      : account(identity.username, identity.domain, identity.password) {}
  ntlm::Account account;
};

struct NtlmContext final : SecurityContext {
  SecretText negotiate;
  bool answered = false;
};

ntlm::Nonces freshNonces() {
  constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;
  ntlm::Nonces nonces;
  randomBytes(nonces.clientChallenge.data(), nonces.clientChallenge.size());
  randomBytes(nonces.sessionKey.bytes.data(), nonces.sessionKey.bytes.size());
  nonces.fileTime =
      (static_cast<std::uint64_t>(millisecondsSince1970()) + kSecondsFrom1601To1970 * 1000) * 10'000;
  return nonces;
}

}  // namespace

NtlmClient::NtlmClient() : NtlmClient(freshNonces) {}

std::vector<SecurityPackage> NtlmClient::listPackages() {
  return {{std::string(kPackageName), kMaxToken}};
}

SecurityStatus NtlmClient::acquireCredentials(std::string_view package, const SecurityIdentity& identity,
                                              std::unique_ptr<SecurityCredentials>& credentials) {
  if (!equalsNoCase(package, kPackageName)) return SecurityStatus::SEC_E_SECPKG_NOT_FOUND;
  auto acquired = std::make_unique<NtlmCredentials>(identity);
  if (!acquired->account.fits()) return SecurityStatus::SEC_E_UNKNOWN_CREDENTIALS;
  credentials = std::move(acquired);
  return SecurityStatus::SEC_E_OK;
}

SecurityStatus NtlmClient::initializeContext(SecurityCredentials& credentials,
                                             std::unique_ptr<SecurityContext>& context, SecurityStep& step) {
  constexpr std::uint32_t kNeedsSigning = kReplayDetection | kSequenceDetection | kIntegrity;
  if (context == nullptr) {
    auto begun = std::make_unique<NtlmContext>();
    begun->negotiate = ntlm::negotiateMessage((step.contextFlags & kNeedsSigning) != 0);
    step.output.append(begun->negotiate);
    context = std::move(begun);
    return SecurityStatus::SEC_I_CONTINUE_NEEDED;
  }
  auto& begun = static_cast<NtlmContext&>(*context);
  if (begun.answered) return SecurityStatus::SEC_E_OUT_OF_SEQUENCE;
  const auto challenge = step.input ? ntlm::readChallenge(*step.input) : std::nullopt;
  if (!challenge) return SecurityStatus::SEC_E_INVALID_TOKEN;
  const ntlm::Account& account = static_cast<NtlmCredentials&>(credentials).account;
  step.output = ntlm::authenticateMessage(account, begun.negotiate, *challenge, nonces_());
  if (step.output.empty()) return SecurityStatus::SEC_E_INVALID_TOKEN;
  if (step.output.size() > step.maxOutput) return SecurityStatus::SEC_E_BUFFER_TOO_SMALL;
  begun.answered = true;
  return SecurityStatus::SEC_E_OK;
}

SecurityStatus NtlmClient::completeToken(SecurityContext&, SecretText&) {
  return SecurityStatus::SEC_E_OUT_OF_SEQUENCE;
}

}  // namespace qv

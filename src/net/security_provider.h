// What the NTLM driver asks of a security provider: credentials, and a security context built token by token.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/secret_text.h"

namespace qv {

/// What a step came to, by the published names and numbers of such status codes.
enum class SecurityStatus : std::uint32_t {
  SEC_E_OK = 0,
  SEC_I_CONTINUE_NEEDED = 0x00090312,
  SEC_I_COMPLETE_NEEDED = 0x00090313,
  SEC_I_COMPLETE_AND_CONTINUE = 0x00090314,
  SEC_E_INVALID_HANDLE = 0x80090301,
  SEC_E_TARGET_UNKNOWN = 0x80090303,
  SEC_E_INTERNAL_ERROR = 0x80090304,
  SEC_E_SECPKG_NOT_FOUND = 0x80090305,
  SEC_E_INVALID_TOKEN = 0x80090308,
  SEC_E_LOGON_DENIED = 0x8009030C,
  SEC_E_UNKNOWN_CREDENTIALS = 0x8009030D,
  SEC_E_NO_CREDENTIALS = 0x8009030E,
  SEC_E_OUT_OF_SEQUENCE = 0x80090310,
  SEC_E_NO_AUTHENTICATING_AUTHORITY = 0x80090311,
  SEC_E_BUFFER_TOO_SMALL = 0x80090321,
};

/// Requirements on a context, and its attributes.
inline constexpr std::uint32_t kReplayDetection = 0x4;
inline constexpr std::uint32_t kSequenceDetection = 0x8;
inline constexpr std::uint32_t kIntegrity = 0x10000;

struct SecurityPackage {
  std::string name;
  std::size_t maxToken = 0;  ///< bytes that a token of this package may have
};

/// Who logs in, as 8-bit text. The domain may be empty.
struct SecurityIdentity {
  SecretText username;
  SecretText domain;
  SecretText password;
};

/// A provider's own; what they hold is freed, and secrets in it overwritten, when they go.
class SecurityCredentials {
 public:
  virtual ~SecurityCredentials() = default;
};
class SecurityContext {
 public:
  virtual ~SecurityContext() = default;
};

/// One step of building a context.
struct SecurityStep {
  std::optional<std::string_view> input;  ///< the peer's token; none in the first step
  std::size_t maxOutput = 0;              ///< bytes that the output may have
  std::uint32_t contextFlags = 0;         ///< in: requirements; out: attributes
  SecretText output;                      ///< the token for the peer
};

class SecurityProvider {
 public:
  virtual ~SecurityProvider() = default;
  virtual std::vector<SecurityPackage> listPackages() = 0;
  /// Outbound credentials of a package, from a copy of `identity`. Anything but SEC_E_OK gives none.
  virtual SecurityStatus acquireCredentials(std::string_view package, const SecurityIdentity& identity,
                                            std::unique_ptr<SecurityCredentials>& credentials) = 0;
  /// Begins a context when `context` is null, otherwise continues it. `credentials` are this provider's.
  virtual SecurityStatus initializeContext(SecurityCredentials& credentials,
                                           std::unique_ptr<SecurityContext>& context, SecurityStep& step) = 0;
  /// Finishes a token whose step asked for it.
  virtual SecurityStatus completeToken(SecurityContext& context, SecretText& token) = 0;
};

}  // namespace qv

// The driver of an NTLM login: carries the packages of a security provider over a protocol session.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "core/binary_data.h"
#include "core/log.h"
#include "net/secret_text.h"
#include "net/security_provider.h"

namespace qv {

/// What a protocol session offers to the driver.
class PackageExchange {
 public:
  virtual ~PackageExchange() = default;
  /// Sends a package and gives the server's answer to it.
  virtual bool exchangePackage(BinaryData& challenge, std::string_view package, CLog* log) = 0;
  /// Sends the last package. Whether the server then lets the user in.
  virtual bool sendFinal(std::string_view package, CLog* log) = 0;
};

/// One NTLM login. Credentials and context are freed, and the copies of user name, domain and password
/// overwritten, when it goes. Steps that fail say why in the log.
class QuorvelSSPI {
 public:
  /// `exchange` and `log` may be null; nothing is owned.
  QuorvelSSPI(SecurityProvider& provider, PackageExchange* exchange, CLog* log);

  /// The index of a package by its name, of any case; 0 when there is none.
  std::int32_t findPackage(std::string_view name) const;
  /// Credentials that were held before go. An empty user name or password is a missing one.
  bool acquireCredentials(std::int32_t index, std::string_view domain, std::string_view username,
                          std::string_view password);
  /// Begins the context, or continues it with the server's challenge. `package` becomes what is to be sent;
  /// it stays as it was when the provider has nothing to send. `done`: no further challenge is expected;
  /// `authenticated`: the provider is satisfied.
  bool prepareOutboundPackage(std::int32_t index, SecretText& package,
                              std::optional<std::string_view> challenge, bool& done, bool& authenticated);
  /// The whole login. The server's last reply decides.
  bool authenticate(std::int32_t index, std::string_view domain, std::string_view username,
                    std::string_view password);

 private:
  struct StatusRow;
  static const StatusRow& rowOf(SecurityStatus status);
  bool hasPackage(std::int32_t index) const;
  bool takeStep(std::size_t index, SecretText& package, std::optional<std::string_view> challenge, bool& done,
                bool& authenticated);
  bool fail(std::string_view message) const;

  SecurityProvider& provider_;
  PackageExchange* exchange_;
  CLog* log_;
  std::vector<SecurityPackage> packages_;
  SecurityIdentity identity_;
  std::unique_ptr<SecurityCredentials> credentials_;
  std::unique_ptr<SecurityContext> context_;
  std::uint32_t contextFlags_ = kReplayDetection;
};

}  // namespace qv

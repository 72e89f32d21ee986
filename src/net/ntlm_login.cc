#include "net/ntlm_login.h"

#include <utility>

#include "core/text.h"

namespace qv {

/// What follows from a status.
struct QuorvelSSPI::StatusRow {
  SecurityStatus status;
  std::string_view message;  // for the log; empty for none
  bool done, authenticated;
  bool completes;  // the token is to be completed
  bool keepsToken;
  bool result;
};

namespace {

constexpr std::string_view kNotAuthenticated = "Finished and NOT authenticated";

}  // namespace

const QuorvelSSPI::StatusRow& QuorvelSSPI::rowOf(SecurityStatus status) {
  using enum SecurityStatus;
  static constexpr StatusRow kRows[] = {
      {SEC_E_OK, "", true, true, false, true, true},
      {SEC_I_CONTINUE_NEEDED, "", false, false, false, true, true},
      {SEC_I_COMPLETE_NEEDED, "QuorvelSSPI.prepareOutboundPackage: SEC_I_COMPLETE_NEEDED", true, true, true,
       true, true},
      {SEC_I_COMPLETE_AND_CONTINUE, "QuorvelSSPI.prepareOutboundPackage: SEC_I_COMPLETE_AND_CONTINUE", false,
       false, true, true, true},
      {SEC_E_LOGON_DENIED, "LOGON_DENIED", true, false, false, true, true},
      {SEC_E_INVALID_TOKEN, "", true, false, false, false, true},
      {SEC_E_INVALID_HANDLE, "QuorvelSSPI.prepareOutboundPackage: SEC_E_INVALID_HANDLE", true, false, false,
       false, false},
      {SEC_E_TARGET_UNKNOWN, "QuorvelSSPI.prepareOutboundPackage: SEC_E_TARGET_UNKNOWN", true, false, false,
       false, false},
      {SEC_E_INTERNAL_ERROR, "QuorvelSSPI.prepareOutboundPackage: SEC_E_INTERNAL_ERROR", true, false, false,
       false, false},
      {SEC_E_NO_CREDENTIALS, "QuorvelSSPI.prepareOutboundPackage: SEC_E_NO_CREDENTIALS", true, false, false,
       false, false},
      {SEC_E_NO_AUTHENTICATING_AUTHORITY,
       "QuorvelSSPI.prepareOutboundPackage: SEC_E_NO_AUTHENTICATING_AUTHORITY", true, false, false, false,
       false},
  };
  static constexpr StatusRow kOther{SEC_E_OK, "", true, false, false, false, false};
  for (const StatusRow& row : kRows) {
    if (row.status == status) return row;
  }
  return kOther;
}

QuorvelSSPI::QuorvelSSPI(SecurityProvider& provider, PackageExchange* exchange, CLog* log)
    : provider_(provider), exchange_(exchange), log_(log), packages_(provider.listPackages()) {}

bool QuorvelSSPI::fail(std::string_view message) const {
  logError(log_, message);
  return false;
}

bool QuorvelSSPI::hasPackage(std::int32_t index) const {
  return index >= 0 && static_cast<std::size_t>(index) < packages_.size();
}

std::int32_t QuorvelSSPI::findPackage(std::string_view name) const {
  for (std::size_t i = 0; i < packages_.size(); ++i) {
    if (equalsNoCase(packages_[i].name, name)) return static_cast<std::int32_t>(i);
  }
  return 0;
}

bool QuorvelSSPI::acquireCredentials(std::int32_t index, std::string_view domain, std::string_view username,
                                     std::string_view password) {
  if (username.empty() || password.empty() || !hasPackage(index)) return false;
  credentials_.reset();
  identity_ = {SecretText(username), SecretText(domain), SecretText(password)};
  const std::string& package = packages_[static_cast<std::size_t>(index)].name;
  std::unique_ptr<SecurityCredentials> acquired;
  if (provider_.acquireCredentials(package, identity_, acquired) != SecurityStatus::SEC_E_OK ||
      acquired == nullptr) {
    return fail("Failed to acquire credentials handle");
  }
  credentials_ = std::move(acquired);
  return true;
}

bool QuorvelSSPI::prepareOutboundPackage(std::int32_t index, SecretText& package,
                                         std::optional<std::string_view> challenge, bool& done,
                                         bool& authenticated) {
  done = true;
  authenticated = false;
  if (!hasPackage(index)) {
    fail("QuorvelSSPI.prepareOutboundPackage: package index out of range");
    logDataLong(log_, "packageIndex", index);
    return false;
  }
  try {
    return takeStep(static_cast<std::size_t>(index), package, challenge, done, authenticated);
  } catch (...) {
    return fail("QuorvelSSPI.prepareOutboundPackage: unexpected exception");
  }
}

bool QuorvelSSPI::takeStep(std::size_t index, SecretText& package, std::optional<std::string_view> challenge,
                           bool& done, bool& authenticated) {
  SecurityStep step{.input = challenge,
                    .maxOutput = packages_[index].maxToken,
                    .contextFlags = contextFlags_,
                    .output = {}};
  const bool hadContext = context_ != nullptr;
  const SecurityStatus status = credentials_ == nullptr
                                    ? SecurityStatus::SEC_E_INVALID_HANDLE
                                    : provider_.initializeContext(*credentials_, context_, step);
  contextFlags_ = step.contextFlags;
  const StatusRow& row = rowOf(status);
  if (!row.message.empty()) logError(log_, row.message);
  if (row.completes && context_ != nullptr) provider_.completeToken(*context_, step.output);
  if (!row.result) logError(log_, kNotAuthenticated);
  done = row.done;
  authenticated = row.authenticated;
  if (row.keepsToken) {
    package = std::move(step.output);
  } else if (!hadContext) {
    context_.reset();
  }
  return row.result;
}

bool QuorvelSSPI::authenticate(std::int32_t index, std::string_view domain, std::string_view username,
                               std::string_view password) {
  if (exchange_ == nullptr) return fail("QuorvelSSPI.authenticate: no package exchange object");
  if (!acquireCredentials(index, domain, username, password)) {
    return fail("QuorvelSSPI.authenticate: cannot acquire alternate credentials");
  }
  SecretText package;
  bool done = false;
  bool authenticated = false;  // by this side's reckoning, which is not asked
  if (!prepareOutboundPackage(index, package, std::nullopt, done, authenticated)) {
    return fail("QuorvelSSPI.authenticate: failed to prepare 1st outbound package");
  }
  do {
    BinaryData challenge;
    if (!exchange_->exchangePackage(challenge, package, log_)) {
      return fail("QuorvelSSPI.authenticate: exchange failed");
    }
    if (!prepareOutboundPackage(index, package, challenge.view(), done, authenticated)) {
      return fail("QuorvelSSPI.authenticate: failed to prepare next package");
    }
  } while (!done);
  return exchange_->sendFinal(package, log_);
}

}  // namespace qv

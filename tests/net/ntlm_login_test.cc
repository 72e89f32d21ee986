#include "net/ntlm_login.h"

#include <gtest/gtest.h>

#include <deque>
#include <stdexcept>
#include <string>

#include "support/log_lines.h"
#include "support/scripted_server.h"

namespace qv {
namespace {

using enum SecurityStatus;
using qv_test::LogLines;
using qv_test::split;
using qv_test::Strings;

constexpr std::string_view kPrefix = "QuorvelSSPI.prepareOutboundPackage: ";

/// Gives the statuses that a test sets, and tokens "token 1", "token 2" ...; records what it is asked.
struct ScriptedProvider final : SecurityProvider {
  struct Credentials final : SecurityCredentials {
    explicit Credentials(ScriptedProvider& owner) : provider(owner) { ++provider.credentials; }
    ~Credentials() override { --provider.credentials; }
    ScriptedProvider& provider;
  };
  struct Context final : SecurityContext {
    explicit Context(ScriptedProvider& owner) : provider(owner) { ++provider.contexts; }
    ~Context() override { --provider.contexts; }
    ScriptedProvider& provider;
  };

  std::vector<SecurityPackage> listPackages() override { return packages; }
  SecurityStatus acquireCredentials(std::string_view package, const SecurityIdentity& identity,
                                    std::unique_ptr<SecurityCredentials>& acquired) override {
    calls.push_back("acquire " + std::string(package) + " " + std::string(identity.username) + " " +
                    std::string(identity.domain) + " " + std::string(identity.password));
    if (acquireStatus == SEC_E_OK) acquired = std::make_unique<Credentials>(*this);
    return acquireStatus;
  }
  SecurityStatus initializeContext(SecurityCredentials&, std::unique_ptr<SecurityContext>& context,
                                   SecurityStep& step) override {
    calls.push_back((context ? "continue " : "begin ") + std::to_string(step.contextFlags) + " " +
                    std::to_string(step.maxOutput) + " " + std::string(step.input.value_or("none")));
    if (statuses.empty()) throw std::runtime_error("no status");
    if (!context) context = std::make_unique<Context>(*this);
    step.contextFlags += 1000;
    step.output.append("token " + std::to_string(++tokens));
    const SecurityStatus status = statuses.front();
    statuses.pop_front();
    return status;
  }
  SecurityStatus completeToken(SecurityContext&, SecretText& token) override {
    token.append(" completed");
    return SEC_E_OK;
  }

  std::vector<SecurityPackage> packages{{"Negotiate", 10}, {"NTLM", 77}};
  SecurityStatus acquireStatus = SEC_E_OK;
  std::deque<SecurityStatus> statuses;
  Strings calls;
  int tokens = 0, credentials = 0, contexts = 0;
};

/// Records the packages and answers them, the first `challenges` by "challenge".
struct RecordingExchange final : PackageExchange {
  bool exchangePackage(BinaryData& challenge, std::string_view package, CLog*) override {
    packages.emplace_back(package);
    challenge.set("challenge");
    return packages.size() <= challenges;
  }
  bool sendFinal(std::string_view package, CLog*) override {
    packages.push_back("final " + std::string(package));
    return letsIn;
  }
  std::size_t challenges = 100;
  bool letsIn = true;
  Strings packages;
};

TEST(QuorvelSSPI, FollowsEachStatus) {
  const struct {
    SecurityStatus status;
    const char* log;  // behind the prefix where it is a status
    bool done, authenticated;
    const char* package;
    bool result;
    bool keepsContext;
  } rows[] = {
      {SEC_E_OK, "", true, true, "token 1", true, true},
      {SEC_I_CONTINUE_NEEDED, "", false, false, "token 1", true, true},
      {SEC_I_COMPLETE_NEEDED, "SEC_I_COMPLETE_NEEDED", true, true, "token 1 completed", true, true},
      {SEC_I_COMPLETE_AND_CONTINUE, "SEC_I_COMPLETE_AND_CONTINUE", false, false, "token 1 completed", true,
       true},
      {SEC_E_LOGON_DENIED, "LOGON_DENIED", true, false, "token 1", true, true},
      {SEC_E_INVALID_TOKEN, "", true, false, "before", true, false},
      {SEC_E_INVALID_HANDLE, "SEC_E_INVALID_HANDLE|Finished and NOT authenticated", true, false, "before",
       false, false},
      {SEC_E_TARGET_UNKNOWN, "SEC_E_TARGET_UNKNOWN|Finished and NOT authenticated", true, false, "before",
       false, false},
      {SEC_E_INTERNAL_ERROR, "SEC_E_INTERNAL_ERROR|Finished and NOT authenticated", true, false, "before",
       false, false},
      {SEC_E_NO_CREDENTIALS, "SEC_E_NO_CREDENTIALS|Finished and NOT authenticated", true, false, "before",
       false, false},
      {SEC_E_NO_AUTHENTICATING_AUTHORITY, "SEC_E_NO_AUTHENTICATING_AUTHORITY|Finished and NOT authenticated",
       true, false, "before", false, false},
      {SEC_E_BUFFER_TOO_SMALL, "Finished and NOT authenticated", true, false, "before", false, false},
      {SecurityStatus{12345}, "Finished and NOT authenticated", true, false, "before", false, false},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    provider.statuses = {row.status, SEC_E_OK};
    LogLines log;
    QuorvelSSPI sspi(provider, nullptr, log.get());
    ASSERT_TRUE(sspi.acquireCredentials(1, "d", "u", "p"));
    SecretText package("before");
    bool done = !row.done;
    bool authenticated = !row.authenticated;
    EXPECT_EQ(sspi.prepareOutboundPackage(1, package, std::nullopt, done, authenticated), row.result);
    EXPECT_EQ(done, row.done) << row.log;
    EXPECT_EQ(authenticated, row.authenticated) << row.log;
    EXPECT_EQ(package.view(), row.package) << row.log;
    Strings expected = split(row.log);
    for (std::string& line : expected) {
      if (line.starts_with("SEC_")) line.insert(0, kPrefix);
    }
    EXPECT_EQ(log.lines(), expected);
    // The attributes of the first step are what the second one asks for.
    EXPECT_TRUE(sspi.prepareOutboundPackage(1, package, "input", done, authenticated));
    EXPECT_EQ(provider.calls, Strings({"acquire NTLM u d p", "begin 4 77 none",
                                       row.keepsContext ? "continue 1004 77 input" : "begin 1004 77 input"}));
  }
}

TEST(QuorvelSSPI, FailuresOutsideTheStatuses) {
  ScriptedProvider provider;
  LogLines log;
  {
    QuorvelSSPI sspi(provider, nullptr, log.get());
    EXPECT_EQ(sspi.findPackage("ntlm"), 1);
    EXPECT_EQ(sspi.findPackage("NTLM2"), 0);
    SecretText package("before");
    bool done = false, authenticated = true;
    for (const std::int32_t index : {-1, 2}) {
      EXPECT_FALSE(sspi.acquireCredentials(index, "", "u", "p"));
      log.clear();
      EXPECT_FALSE(sspi.prepareOutboundPackage(index, package, std::nullopt, done, authenticated));
      EXPECT_EQ(log.lines(), Strings({std::string(kPrefix) + "package index out of range",
                                      "packageIndex: " + std::to_string(index)}));
      EXPECT_TRUE(done && !authenticated);
    }
    log.clear();
    EXPECT_FALSE(sspi.prepareOutboundPackage(1, package, std::nullopt, done, authenticated));
    EXPECT_EQ(log.count(std::string(kPrefix) + "SEC_E_INVALID_HANDLE"), 1U);  // no credentials yet
    EXPECT_FALSE(sspi.acquireCredentials(1, "", "", "p"));
    EXPECT_FALSE(sspi.acquireCredentials(1, "", "u", ""));
    EXPECT_TRUE(provider.calls.empty());

    ASSERT_TRUE(sspi.acquireCredentials(1, "", "u", "p"));
    ASSERT_TRUE(sspi.acquireCredentials(0, "", "v", "q"));
    EXPECT_EQ(provider.credentials, 1);
    log.clear();
    done = false;
    EXPECT_FALSE(sspi.prepareOutboundPackage(1, package, std::nullopt, done, authenticated));
    EXPECT_EQ(log.lines(), Strings({std::string(kPrefix) + "unexpected exception"}));
    EXPECT_TRUE(done && !authenticated);
    provider.acquireStatus = SEC_E_NO_CREDENTIALS;
    log.clear();
    EXPECT_FALSE(sspi.acquireCredentials(1, "", "u", "p"));
    EXPECT_EQ(log.lines(), Strings({"Failed to acquire credentials handle"}));
    EXPECT_EQ(provider.credentials, 0);

    provider.acquireStatus = SEC_E_OK;
    provider.statuses = {SEC_E_OK};
    ASSERT_TRUE(sspi.acquireCredentials(1, "", "u", "p"));
    EXPECT_TRUE(sspi.prepareOutboundPackage(1, package, std::nullopt, done, authenticated));
    EXPECT_EQ(provider.contexts, 1);
  }
  EXPECT_EQ(provider.credentials, 0);
  EXPECT_EQ(provider.contexts, 0);

  provider.packages.clear();
  QuorvelSSPI sspi(provider, nullptr, nullptr);
  EXPECT_EQ(sspi.findPackage("NTLM"), 0);
  EXPECT_FALSE(sspi.acquireCredentials(0, "", "u", "p"));
}

TEST(QuorvelSSPI, Authenticate) {
  const std::string notPrepared =
      "Finished and NOT authenticated|QuorvelSSPI.authenticate: failed to prepare ";
  const struct {
    std::deque<SecurityStatus> statuses;
    std::size_t challenges;
    bool letsIn;
    bool result;
    const char* packages;
    std::string log;
  } rows[] = {
      {{SEC_I_CONTINUE_NEEDED, SEC_E_OK}, 9, true, true, "token 1|final token 2", ""},
      {{SEC_I_CONTINUE_NEEDED, SEC_E_OK}, 9, false, false, "token 1|final token 2", ""},
      {{SEC_E_OK, SEC_E_OK}, 9, true, true, "token 1|final token 2", ""},
      {{SEC_I_CONTINUE_NEEDED, SEC_I_CONTINUE_NEEDED, SEC_I_CONTINUE_NEEDED, SEC_E_OK},
       9,
       true,
       true,
       "token 1|token 2|token 3|final token 4",
       ""},
      // The server decides, not the provider.
      {{SEC_I_CONTINUE_NEEDED, SEC_E_LOGON_DENIED}, 9, true, true, "token 1|final token 2", "LOGON_DENIED"},
      {{SEC_I_CONTINUE_NEEDED, SEC_E_INVALID_TOKEN}, 9, false, false, "token 1|final token 1", ""},
      {{SEC_I_CONTINUE_NEEDED}, 0, true, false, "token 1", "QuorvelSSPI.authenticate: exchange failed"},
      {{SEC_I_CONTINUE_NEEDED, SEC_I_CONTINUE_NEEDED},
       1,
       true,
       false,
       "token 1|token 2",
       "QuorvelSSPI.authenticate: exchange failed"},
      {{SecurityStatus{1}}, 9, true, false, "", notPrepared + "1st outbound package"},
      {{SEC_I_CONTINUE_NEEDED, SecurityStatus{1}}, 9, true, false, "token 1", notPrepared + "next package"},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    provider.statuses = row.statuses;
    RecordingExchange exchange;
    exchange.challenges = row.challenges;
    exchange.letsIn = row.letsIn;
    LogLines log;
    EXPECT_EQ(QuorvelSSPI(provider, &exchange, log.get()).authenticate(1, "", "u", "p"), row.result);
    EXPECT_EQ(exchange.packages, split(row.packages));
    EXPECT_EQ(log.lines(), split(row.log));
  }

  ScriptedProvider provider;
  LogLines log;
  EXPECT_FALSE(QuorvelSSPI(provider, nullptr, log.get()).authenticate(1, "", "u", "p"));
  RecordingExchange exchange;
  EXPECT_FALSE(QuorvelSSPI(provider, &exchange, log.get()).authenticate(1, "", "", "p"));
  EXPECT_EQ(log.lines(), Strings({"QuorvelSSPI.authenticate: no package exchange object",
                                  "QuorvelSSPI.authenticate: cannot acquire alternate credentials"}));
  EXPECT_TRUE(exchange.packages.empty());
}

}  // namespace
}  // namespace qv

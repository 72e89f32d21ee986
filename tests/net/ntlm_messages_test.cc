#include "net/ntlm_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "net/md4.h"
#include "net/ntlm_client.h"
#include "net/utf16.h"
#include "support/hex.h"
#include "support/ntlm_server.h"

namespace qv {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv_test::avPair;
using qv_test::bytesOf;
using qv_test::hexOf;
using qv_test::littleEndian;
using qv_test::NtlmAnswer;
using qv_test::ntlmChallenge;
using qv_test::wide;

/// The values of MS-NLMP 4.2.1.
ntlm::Nonces publishedNonces() {
  ntlm::Nonces nonces;
  nonces.clientChallenge.fill('\xaa');
  nonces.sessionKey.bytes.fill('\x55');
  return nonces;
}

SecurityIdentity identityOf(std::string_view user, std::string_view domain, std::string_view password) {
  return {SecretText(user), SecretText(domain), SecretText(password)};
}

/// One context of the client from its begin.
struct Login {
  explicit Login(const SecurityIdentity& identity = identityOf("User", "Domain", "Password")) {
    acquired = client.acquireCredentials("ntlm", identity, credentials);
  }
  SecurityStatus step(std::optional<std::string_view> input, std::size_t maxOutput = 1'000'000) {
    SecurityStep step{.input = input, .maxOutput = maxOutput, .contextFlags = flags, .output = {}};
    const SecurityStatus status = client.initializeContext(*credentials, context, step);
    output = step.output.view();
    return status;
  }
  /// Both steps.
  SecurityStatus answer(std::string_view challenge) {
    step(std::nullopt);
    negotiate = output;
    return step(challenge);
  }

  NtlmClient client{publishedNonces};
  std::unique_ptr<SecurityCredentials> credentials;
  std::unique_ptr<SecurityContext> context;
  std::uint32_t flags = kReplayDetection;
  SecurityStatus acquired;
  std::string output, negotiate;
};

constexpr std::uint32_t kUsualFlags = 0xE0088215;  // Unicode, signing, key exchange, of 128 bits
const std::string kNames = avPair(2, wide("Domain")) + avPair(1, wide("Server"));
const std::string kEnd = avPair(0, "");
/// The challenge of MS-NLMP 4.2.4.3.
const std::string kPublishedChallenge = bytesOf(
    "4e544c4d53535000 02000000 0c000c0038000000 33828ae2 0123456789abcdef 0000000000000000 2400240044000000"
    "060070170000000f 530065007200760065007200 02000c0044006f006d00610069006e00"
    "01000c00530065007200760065007200 00000000");

// MS-NLMP 4.2.4.
TEST(NtlmMessages, PublishedVectors) {
  const ntlm::Account account("User", "Domain", "Password");
  EXPECT_EQ(hexOf(account.responseKey), "0c868a403bfd7a93a3001ef22ef02e3f");
  const auto challenge = ntlm::readChallenge(kPublishedChallenge);
  ASSERT_TRUE(challenge);
  const ntlm::Responses responses =
      ntlm::respond(account.responseKey, *challenge, kNames + kEnd, publishedNonces());
  EXPECT_EQ(hexOf(responses.lm), "86c35097ac9cec102554764a57cccc19aaaaaaaaaaaaaaaa");
  EXPECT_EQ(hexOf(responses.nt).substr(0, 32), "68cd0ab851e51c96aabc927bebef6a1c");
  EXPECT_EQ(hexOf(responses.sessionBaseKey), "8de40ccadbc14a82f15cb0ad0de95ca3");

  Login login;
  ASSERT_EQ(login.answer(kPublishedChallenge), SecurityStatus::SEC_E_OK);
  const NtlmAnswer answer(login.output);
  EXPECT_EQ(answer.lm, responses.lm.view());
  EXPECT_EQ(answer.nt, responses.nt.view());
  EXPECT_EQ(answer.domain, wide("Domain"));
  EXPECT_EQ(answer.user, wide("User"));
  EXPECT_EQ(hexOf(answer.sessionKey), "c5dad2544fc9799094ce1ce90bc9d03e");
  EXPECT_EQ(login.output.size(), 72 + 12 + 8 + 24 + answer.nt.size() + 16);
}

TEST(NtlmMessages, Negotiate) {
  const std::string fields = bytesOf("0000000028000000 0000000028000000 0000000000000000");  // all empty
  EXPECT_EQ(ntlm::negotiateMessage(true).view(), "NTLMSSP\0\1\0\0\0\x17\x82\x08\xe0"s + fields);
  EXPECT_EQ(ntlm::negotiateMessage(false).view(), "NTLMSSP\0\1\0\0\0\x07\x82\x08\0"s + fields);
}

TEST(NtlmMessages, AnswersByWhatTheServerOffers) {
  const std::string time = avPair(7, bytesOf("0123456789abcd01"));
  const std::string added = avPair(10, std::string(16, '\0')) + avPair(9, "");
  const struct {
    std::uint32_t flags;
    std::string info;
    std::string answeredInfo;
    bool unicode, keyExchange, mic;
  } rows[] = {
      {kUsualFlags, "", kEnd, true, true, false},
      {kUsualFlags, kNames + kEnd, kNames + kEnd, true, true, false},
      {kUsualFlags, kNames + kEnd + "beyond the end", kNames + kEnd, true, true, false},
      {0x2, "", kEnd, false, false, false},
      {0x3, kEnd, kEnd, true, false, false},
      {0x40000001, kEnd, kEnd, true, false, false},  // no key where nothing is signed
      {kUsualFlags, kNames + time + kEnd, kNames + time + avPair(6, "\2\0\0\0"sv) + added + kEnd, true, true,
       true},
      {0x1, time + kNames + kEnd, time + kNames + avPair(6, "\2\0\0\0"sv) + added + kEnd, true, false, true},
      {0x2, avPair(6, "\1\0\0\x80"sv) + time + avPair(9, "x") + avPair(99, "y") + kEnd,
       time + avPair(99, "y") + avPair(6, "\3\0\0\x80"sv) + added + kEnd, false, false, true},
      {0x1, avPair(6, "\1\0\0\0"sv) + kEnd, avPair(6, "\1\0\0\0"sv) + kEnd, true, false, false},
  };
  for (const auto& row : rows) {
    const std::string challenge = ntlmChallenge(row.flags, row.info);
    SCOPED_TRACE(hexOf(challenge));
    Login login;
    ASSERT_EQ(login.answer(challenge), SecurityStatus::SEC_E_OK);
    const NtlmAnswer answer(login.output);
    ASSERT_TRUE(answer.isOne);
    const std::string key = bytesOf("0c868a403bfd7a93a3001ef22ef02e3f");
    EXPECT_TRUE(answer.proves(key, challenge));
    EXPECT_EQ(answer.targetInfo, row.answeredInfo);
    EXPECT_EQ(answer.flags & 3, row.unicode ? 1U : 2U);
    EXPECT_EQ(answer.flags & ~(row.flags | 0x800000U), 0U) << "more than the server offers";
    EXPECT_EQ(answer.user, row.unicode ? wide("User") : "User");
    EXPECT_EQ(answer.domain, row.unicode ? wide("Domain") : "Domain");
    EXPECT_EQ(answer.workstation, "");
    EXPECT_EQ(answer.sessionKey.size(), row.keyExchange ? 16U : 0U);
    EXPECT_EQ(answer.lm == std::string(24, '\0'), row.mic);
    EXPECT_EQ(answer.nt.substr(24, 8), row.mic ? bytesOf("0123456789abcd01") : std::string(8, '\0'));
    const std::string proof = answer.nt.substr(0, 16);
    const std::string sessionKey = row.keyExchange ? std::string(16, '\x55') : qv_test::hmacMd5(key, proof);
    std::string withoutMic = login.output;
    std::fill_n(withoutMic.begin() + 72, 16, '\0');
    EXPECT_EQ(
        login.output.substr(72, 16) == qv_test::hmacMd5(sessionKey, login.negotiate + challenge + withoutMic),
        row.mic);
  }
}

TEST(NtlmMessages, BadChallenges) {
  const std::string good = ntlmChallenge(kUsualFlags, kNames + kEnd);
  const auto changed = [&](std::size_t at, std::string_view bytes) {
    std::string challenge = good;
    return challenge.replace(at, bytes.size(), bytes);
  };
  const std::string rows[] = {
      "",
      "no challenge",
      changed(0, "ntlmssp"),
      changed(8, "\1"),
      changed(8, "\3"),
      changed(11, "\1"),
      changed(20, "\0"sv),              // neither Unicode nor OEM
      changed(12, "\xFF\xFF"),          // a target name longer than the message
      changed(16, "\xFF\xFF\xFF\xFF"),  // or beyond it
      changed(40, "\xFF\xFF"),          // and so the target information
      changed(44, "\xFF\xFF\xFF\x7F"),
      changed(44, "\xFF\xFF\xFF\xFF"),
      changed(40, "\x20\0"sv),  // its end is cut off
      changed(62, "\xFF\xFF"),  // a pair longer than all
      good.substr(0, 40),       // it is announced, but there is no room for it
      ntlmChallenge(kUsualFlags, kNames),
      ntlmChallenge(kUsualFlags, kNames + "\0\0\1\0x"s),
      ntlmChallenge(kUsualFlags, avPair(7, "1234567") + kEnd),
      ntlmChallenge(kUsualFlags, avPair(7, "123456789") + kEnd),
      ntlmChallenge(kUsualFlags, avPair(6, "12") + kEnd),
      // More than the answer can carry.
      ntlmChallenge(kUsualFlags, avPair(2, std::string(65'520, 'x')) + kEnd),
      std::string(1'000'000, 'x'),
      "NTLMSSP\0"s + std::string(1'000'000, '\2'),
  };
  for (const std::string& challenge : rows) {
    Login login;
    EXPECT_EQ(login.answer(challenge), SecurityStatus::SEC_E_INVALID_TOKEN) << hexOf(challenge.substr(0, 80));
    EXPECT_EQ(login.output, "");
  }
  // An endless list within its 65,535 bytes, and the longest one that is answered.
  std::string pairs;
  while (pairs.size() < 65'532) pairs += avPair(1, "");
  Login login;
  EXPECT_EQ(login.answer(ntlmChallenge(kUsualFlags, pairs)), SecurityStatus::SEC_E_INVALID_TOKEN);
  EXPECT_EQ(Login().answer(ntlmChallenge(kUsualFlags, avPair(2, std::string(65'479, 'x')) + kEnd)),
            SecurityStatus::SEC_E_OK);
}

TEST(NtlmMessages, CutOffAndChangedAtEachByte) {
  const std::string good =
      ntlmChallenge(kUsualFlags, kNames + avPair(6, "\1\0\0\0"sv) + avPair(7, "12345678") + kEnd);
  for (std::size_t cut = 0; cut < good.size(); ++cut) {
    EXPECT_EQ(Login().answer(good.substr(0, cut)), SecurityStatus::SEC_E_INVALID_TOKEN) << cut;
  }
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string challenge = good;
      challenge[at] = static_cast<char>(value);
      Login login;
      const SecurityStatus status = login.answer(challenge);
      EXPECT_EQ(status == SecurityStatus::SEC_E_OK, NtlmAnswer(login.output).isOne);
      EXPECT_TRUE(status == SecurityStatus::SEC_E_OK || status == SecurityStatus::SEC_E_INVALID_TOKEN);
    }
  }
}

TEST(NtlmClient, ContextsAndCredentials) {
  const std::string challenge = ntlmChallenge(kUsualFlags, "");
  Login login;
  EXPECT_EQ(login.step(challenge),
            SecurityStatus::SEC_I_CONTINUE_NEEDED);  // the first step looks at no token
  EXPECT_EQ(login.step(std::nullopt), SecurityStatus::SEC_E_INVALID_TOKEN);
  EXPECT_EQ(login.step(challenge, 100), SecurityStatus::SEC_E_BUFFER_TOO_SMALL);
  EXPECT_EQ(login.step(challenge), SecurityStatus::SEC_E_OK);
  EXPECT_EQ(login.step(challenge), SecurityStatus::SEC_E_OUT_OF_SEQUENCE);
  EXPECT_EQ(login.output, "");

  std::unique_ptr<SecurityCredentials> credentials;
  EXPECT_EQ(login.client.acquireCredentials("Kerberos", identityOf("u", "", "p"), credentials),
            SecurityStatus::SEC_E_SECPKG_NOT_FOUND);
  EXPECT_EQ(credentials, nullptr);
  for (const std::size_t size : {32'767U, 32'768U}) {
    const auto expected =
        size == 32'767U ? SecurityStatus::SEC_E_OK : SecurityStatus::SEC_E_UNKNOWN_CREDENTIALS;
    EXPECT_EQ(Login(identityOf(std::string(size, 'u'), "", "p")).acquired, expected);
    EXPECT_EQ(Login(identityOf("u", std::string(size, 'd'), "p")).acquired, expected);
  }
  // The longest of everything fits into the token size that the package states.
  Login largest(identityOf(std::string(32'767, 'u'), std::string(32'767, 'd'), std::string(100'000, 'p')));
  largest.step(std::nullopt);
  EXPECT_EQ(largest.step(ntlmChallenge(kUsualFlags, avPair(2, std::string(65'479, 'x')) + kEnd),
                         largest.client.listPackages().at(0).maxToken),
            SecurityStatus::SEC_E_OK);
}

TEST(NtlmClient, EachLoginIsNew) {
  const std::string challenge = ntlmChallenge(kUsualFlags, "");
  std::string answers[2];
  for (std::string& answer : answers) {
    Login login;
    login.client = NtlmClient();
    login.answer(challenge);
    answer = login.output;
  }
  const NtlmAnswer first(answers[0]), second(answers[1]);
  EXPECT_NE(first.lm.substr(16), second.lm.substr(16));
  EXPECT_NE(first.sessionKey, second.sessionKey);
  // A FILETIME of this century.
  const std::size_t time = qv_test::number(first.nt, 24, 8);
  EXPECT_GT(time, 126'000'000'000'000'000U);
  EXPECT_LT(time, 157'000'000'000'000'000U);
}

TEST(Utf16, ReadsUtf8OrLatin1) {
  const struct {
    const char *text, *units, *upper;
  } rows[] = {
      {"", "", ""},
      {"aZ9{", "61005a0039007b00", "41005a0039007b00"},
      {"\xC3\xA4\xC3\xB7\xC3\xBF\xC3\x9F", "e400f700ff00df00",
       "c400f7007801df00"},                                          // a umlaut, division, y, sharp s
      {"\xE4\xF7\xFF\xDF", "e400f700ff00df00", "c400f7007801df00"},  // the same in Latin-1
      {"\xC4\x81\xC4\xB1\xC5\x82\xC5\xBF\xC4\xB8", "0101310142017f013801",
       "0001490041015300"
       "3801"},
      {"\xCE\xB1\xCF\x82\xCF\x8E\xCE\x90", "b103c203ce039003", "9103a3038f039003"},
      {"\xD0\xB0\xD1\x8F\xD1\x91\xD0\xB9", "30044f0451043904", "10042f0401041904"},
      {"\xD6\x84\xE1\xBB\x87", "8405c71e", "5405c61e"},
      {"\xE2\x82\xAC\xF0\x9F\x98\x80\xF0\x90\x90\xA8", "ac203dd800de01d828dc", "ac203dd800de01d828dc"},
      {"\xED\xA0\x80", "ed00a0008000", "cd00a0008000"},  // a surrogate is no UTF-8
      {"\xC0\x80", "c0008000", "c0008000"},              // nor is an overlong form
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hexOf(utf16Of(row.text)), row.units);
    EXPECT_EQ(hexOf(utf16Of(row.text, LetterCase::upper)), row.upper);
  }
  for (char32_t c = 0; c < 0x2000; ++c)
    EXPECT_EQ(upperCase(upperCase(c)), upperCase(c)) << static_cast<unsigned>(c);
}

}  // namespace
}  // namespace qv

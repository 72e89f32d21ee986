// The three messages of NTLM, as a client writes and reads them. By the published protocol document MS-NLMP:
// 2.2.1.1 NEGOTIATE_MESSAGE, 2.2.1.2 CHALLENGE_MESSAGE, 2.2.1.3 AUTHENTICATE_MESSAGE, 2.2.2.1 AV_PAIR,
// 2.2.2.7 NTLMv2_CLIENT_CHALLENGE, 3.1.5.1.2 what a client makes of a challenge, 3.3.2 NTLM v2
// authentication.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "net/md_hash.h"
#include "net/secret_text.h"

namespace qv::ntlm {

/// NegotiateFlags (2.2.2.5): those that this client knows.
enum Flag : std::uint32_t {
  kUnicode = 0x00000001,
  kOem = 0x00000002,
  kRequestTarget = 0x00000004,
  kSign = 0x00000010,
  kNtlm = 0x00000200,
  kAlwaysSign = 0x00008000,
  kExtendedSessionSecurity = 0x00080000,
  kTargetInfo = 0x00800000,
  k128 = 0x20000000,
  kKeyExchange = 0x40000000,
  k56 = 0x80000000,
};

/// Who logs in. The password itself is not kept.
struct Account {
  /// `username`, `domain` and `password` are 8-bit text, read as `utf16Of` does.
  Account(std::string_view username, std::string_view domain, std::string_view password);
  /// Whether the names fit into the fields of a message, which hold up to 65,535 bytes.
  bool fits() const noexcept;

  SecretText username, domain;          // 8-bit, for a server without Unicode
  SecretText wideUsername, wideDomain;  // UTF-16
  MdDigest responseKey;                 // NTOWFv2
};

/// What is new for each login.
struct Nonces {
  std::array<char, 8> clientChallenge{};
  MdDigest sessionKey{};
  std::uint64_t fileTime = 0;  ///< units of 100 ns since 1601
};

/// A server's challenge, as views of the message that was read.
struct Challenge {
  std::string_view message;  ///< all of it
  std::uint32_t flags = 0;
  std::string_view serverChallenge;        ///< 8 bytes
  std::string_view targetInfo;             ///< its pairs, without the one that ends them
  std::optional<std::uint64_t> timestamp;  ///< MsvAvTimestamp, as a FILETIME
};

/// The answers to a challenge, and the key that follows from them.
struct Responses {
  SecretText lm, nt;
  MdDigest sessionBaseKey;
};

/// The first message. `sign` asks for session security, as a context with replay detection needs it.
SecretText negotiateMessage(bool sign);

/// None when a message is no challenge, is cut off, points beyond its end, has target information without an
/// end, or offers no character set.
std::optional<Challenge> readChallenge(std::string_view message);

/// The answers of NTLMv2 and LMv2; there are no others, whatever a server asks for. `targetInfo` is the list
/// of pairs with its end. LMv2 is 24 zero bytes when the server told its time (3.1.5.1.2).
Responses respond(const MdDigest& responseKey, const Challenge& challenge, std::string_view targetInfo,
                  const Nonces& nonces);

/// The third message. Where the server told its time, it vouches by a MIC for itself, the challenge and
/// `negotiate`, the first message. Empty when the answer to so much target information fits into no message.
SecretText authenticateMessage(const Account& account, std::string_view negotiate, const Challenge& challenge,
                               const Nonces& nonces);

}  // namespace qv::ntlm

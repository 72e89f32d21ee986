#include "net/ntlm_messages.h"

#include "net/md4.h"
#include "net/md5.h"
#include "net/rc4.h"
#include "net/utf16.h"

namespace qv::ntlm {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "NTLMSSP\0"sv;
constexpr std::size_t kMaxField = 0xFFFF;
constexpr std::size_t kNegotiateFlagsAt = 12;

/// AvId (2.2.2.1): those that this client looks at or writes.
enum AvId : std::uint16_t {
  kAvEnd = 0,
  kAvFlags = 6,
  kAvTimestamp = 7,
  kAvTargetName = 9,
  kAvChannelBindings = 10,
};
constexpr std::uint32_t kAvFlagMic = 0x2;

// Little-endian numbers.

std::uint64_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = size; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  return number;
}

void appendNumber(std::uint64_t number, std::size_t size, SecretText& out) {
  for (std::size_t i = 0; i < size; ++i) out.append(static_cast<char>(number >> (8 * i)));
}

void appendZeros(std::size_t count, SecretText& out) {
  for (std::size_t i = 0; i < count; ++i) out.append('\0');
}

template <std::size_t size>
std::string_view viewOf(const std::array<char, size>& bytes) {
  return {bytes.data(), bytes.size()};
}

MdDigest hmacOf(std::string_view key, std::string_view first, std::string_view second) {
  SecretText message(first);
  message.append(second);
  return HmacMD5::hmac(message, key);
}

// Reading.

/// The bytes that a field of length, maximum and offset points at; none when they are not all there.
std::optional<std::string_view> fieldAt(std::string_view message, std::size_t at) {
  const std::size_t length = numberAt(message, at, 2);
  const std::size_t offset = numberAt(message, at + 4, 4);
  if (length == 0) return std::string_view();
  if (offset > message.size() || length > message.size() - offset) return std::nullopt;
  return message.substr(offset, length);
}

struct AvPair {
  std::uint16_t id = kAvEnd;
  std::string_view value;
};

/// Takes the pair at the front of `list`; false when it is cut off.
bool takePair(std::string_view& list, AvPair& pair) {
  if (list.size() < 4) return false;
  const std::size_t length = numberAt(list, 2, 2);
  if (length > list.size() - 4) return false;
  pair = {static_cast<std::uint16_t>(numberAt(list, 0, 2)), list.substr(4, length)};
  list.remove_prefix(4 + length);
  return true;
}

bool readTargetInfo(std::string_view list, Challenge& challenge) {
  if (list.empty()) return true;
  const char* const begin = list.data();
  for (std::string_view left = list;;) {
    challenge.targetInfo = {begin, static_cast<std::size_t>(left.data() - begin)};
    AvPair pair;
    if (!takePair(left, pair)) return false;
    if (pair.id == kAvEnd) return pair.value.empty();
    if (pair.id == kAvFlags && pair.value.size() != 4) return false;
    if (pair.id != kAvTimestamp) continue;
    if (pair.value.size() != 8) return false;
    challenge.timestamp = numberAt(pair.value, 0, 8);
  }
}

// Writing.

void appendPair(std::uint16_t id, std::string_view value, SecretText& out) {
  appendNumber(id, 2, out);
  appendNumber(value.size(), 2, out);
  out.append(value);
}

/// The target information of the answer: the server's, and where the server told its time what 3.1.5.1.2 asks
/// for then: the word that a MIC follows, no channel bindings, no target name.
SecretText answeredTargetInfo(const Challenge& challenge) {
  SecretText info;
  if (!challenge.timestamp) {
    info.append(challenge.targetInfo);
  } else {
    std::uint64_t flags = kAvFlagMic;
    AvPair pair;
    for (std::string_view left = challenge.targetInfo; takePair(left, pair);) {
      if (pair.id == kAvFlags) flags |= numberAt(pair.value, 0, 4);
      if (pair.id == kAvFlags || pair.id == kAvTargetName || pair.id == kAvChannelBindings) continue;
      appendPair(pair.id, pair.value, info);
    }
    SecretText flagBytes;
    appendNumber(flags, 4, flagBytes);
    appendPair(kAvFlags, flagBytes, info);
    appendPair(kAvChannelBindings, viewOf(std::array<char, 16>{}), info);
    appendPair(kAvTargetName, {}, info);
  }
  appendPair(kAvEnd, {}, info);
  return info;
}

/// A message whose fields lie behind its fixed part.
class FieldWriter {
 public:
  /// `payloadAt`: where the fields' bytes begin.
  FieldWriter(std::uint32_t type, std::size_t payloadAt) : payloadAt_(payloadAt) {
    fixed.append(kSignature);
    appendNumber(type, 4, fixed);
  }
  void appendField(std::string_view bytes) {
    appendNumber(bytes.size(), 2, fixed);
    appendNumber(bytes.size(), 2, fixed);
    appendNumber(payloadAt_ + payload.size(), 4, fixed);
    payload.append(bytes);
  }

  SecretText fixed, payload;

 private:
  std::size_t payloadAt_;
};

/// What both sides want, with one character set.
std::uint32_t agreedFlags(std::string_view negotiate, std::uint32_t offered) {
  const auto wanted = static_cast<std::uint32_t>(numberAt(negotiate, kNegotiateFlagsAt, 4));
  const std::uint32_t flags = offered & (wanted | kTargetInfo);
  return (flags & kUnicode) != 0 ? flags & ~std::uint32_t{kOem} : flags;
}

}  // namespace

Account::Account(std::string_view user, std::string_view userDomain, std::string_view password)
    : username(user), domain(userDomain), wideUsername(utf16Of(user)), wideDomain(utf16Of(userDomain)) {
  responseKey = hmacOf(md4(utf16Of(password)), utf16Of(user, LetterCase::upper), wideDomain);
}

bool Account::fits() const noexcept {
  for (const SecretText* name : {&username, &domain, &wideUsername, &wideDomain}) {
    if (name->size() > kMaxField) return false;
  }
  return true;
}

SecretText negotiateMessage(bool sign) {
  constexpr std::uint32_t kAlways =
      kUnicode | kOem | kRequestTarget | kNtlm | kAlwaysSign | kExtendedSessionSecurity;
  constexpr std::uint32_t kForSigning = kSign | kKeyExchange | k128 | k56;
  constexpr std::size_t kLength = 40;
  FieldWriter writer(1, kLength);
  appendNumber(sign ? kAlways | kForSigning : kAlways, 4, writer.fixed);
  writer.appendField({});        // domain
  writer.appendField({});        // workstation
  appendZeros(8, writer.fixed);  // version
  return std::move(writer.fixed);
}

std::optional<Challenge> readChallenge(std::string_view message) {
  constexpr std::size_t kShortest = 32;  // an old server ends it behind the server challenge
  constexpr std::size_t kWithInfo = 48;
  if (message.size() < kShortest || !message.starts_with(kSignature) || numberAt(message, 8, 4) != 2) {
    return std::nullopt;
  }
  Challenge challenge;
  challenge.message = message;
  challenge.flags = static_cast<std::uint32_t>(numberAt(message, 20, 4));
  challenge.serverChallenge = message.substr(24, 8);
  if ((challenge.flags & (kUnicode | kOem)) == 0 || !fieldAt(message, 12)) return std::nullopt;
  if ((challenge.flags & kTargetInfo) != 0) {
    const auto info = message.size() < kWithInfo ? std::nullopt : fieldAt(message, 40);
    if (!info || !readTargetInfo(*info, challenge)) return std::nullopt;
  }
  return challenge;
}

Responses respond(const MdDigest& responseKey, const Challenge& challenge, std::string_view targetInfo,
                  const Nonces& nonces) {
  SecretText blob("\x01\x01\0\0\0\0\0\0"sv);  // RespType, HiRespType, reserved
  appendNumber(challenge.timestamp.value_or(nonces.fileTime), 8, blob);
  blob.append(viewOf(nonces.clientChallenge));
  appendZeros(4, blob);
  blob.append(targetInfo);
  appendZeros(4, blob);

  Responses responses;
  const MdDigest proof = hmacOf(responseKey, challenge.serverChallenge, blob);
  responses.nt.append(proof).append(blob);
  responses.sessionBaseKey = HmacMD5::hmac(proof, responseKey);
  if (challenge.timestamp) {
    appendZeros(24, responses.lm);
  } else {
    responses.lm.append(hmacOf(responseKey, challenge.serverChallenge, viewOf(nonces.clientChallenge)))
        .append(viewOf(nonces.clientChallenge));
  }
  return responses;
}

SecretText authenticateMessage(const Account& account, std::string_view negotiate, const Challenge& challenge,
                               const Nonces& nonces) {
  constexpr std::size_t kFixed = 72;
  constexpr std::size_t kMic = 16;
  const bool withMic = challenge.timestamp.has_value();
  const std::uint32_t flags = agreedFlags(negotiate, challenge.flags);
  const bool unicode = (flags & kUnicode) != 0;
  const Responses responses = respond(account.responseKey, challenge, answeredTargetInfo(challenge), nonces);
  if (responses.nt.size() > kMaxField) return {};

  // 3.1.5.1.2: with NTLMv2 the key exchange key is the session base key (3.4.5.1).
  const bool exchangesKey = (flags & kKeyExchange) != 0 && (flags & kSign) != 0;
  FieldWriter writer(3, kFixed + (withMic ? kMic : 0));
  writer.appendField(responses.lm);
  writer.appendField(responses.nt);
  writer.appendField(unicode ? account.wideDomain : account.domain);
  writer.appendField(unicode ? account.wideUsername : account.username);
  writer.appendField({});  // workstation
  writer.appendField(exchangesKey ? rc4(responses.sessionBaseKey, nonces.sessionKey) : SecretText());
  appendNumber(flags, 4, writer.fixed);
  appendZeros(8, writer.fixed);  // version

  SecretText message;
  message.append(writer.fixed);
  if (withMic) {
    SecretText covered(negotiate);
    covered.append(challenge.message).append(writer.fixed);
    appendZeros(kMic, covered);
    covered.append(writer.payload);
    const std::string_view sessionKey =
        exchangesKey ? nonces.sessionKey.view() : responses.sessionBaseKey.view();
    message.append(HmacMD5::hmac(covered, sessionKey));
  }
  message.append(writer.payload);
  return message;
}

}  // namespace qv::ntlm

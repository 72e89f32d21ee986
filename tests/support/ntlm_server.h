// The server's side of NTLMv2 (MS-NLMP 3.2.5.1.2, 3.3.2), by OpenSSL's digests, for holding the client
// against.
#pragma once

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/hex.h"

namespace qv_test {

inline std::string hmacMd5(std::string_view key, std::string_view message) {
  std::string digest(16, '\0');
  HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(message.data()), message.size(),
       reinterpret_cast<unsigned char*>(digest.data()), nullptr);
  return digest;
}

inline std::size_t number(std::string_view bytes, std::size_t at, std::size_t size) {
  std::size_t value = 0;
  while (size-- > 0) value = value << 8 | static_cast<unsigned char>(bytes.at(at + size));
  return value;
}

inline std::string littleEndian(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value);
  return bytes;
}

inline std::string avPair(unsigned id, std::string_view value) {
  return littleEndian(id, 2) + littleEndian(value.size(), 2) + std::string(value);
}

/// ASCII only.
inline std::string wide(std::string_view text) {
  std::string bytes;
  for (const char c : text) bytes += {c, '\0'};
  return bytes;
}

/// A challenge with the server challenge 0123456789abcdef and this target information; none if it is empty.
inline std::string ntlmChallenge(std::uint32_t flags, std::string_view targetInfo) {
  const std::string name = wide("Server");
  const std::size_t info = 48 + name.size();
  return std::string("NTLMSSP\0\2\0\0\0", 12) + littleEndian(name.size(), 2) + littleEndian(name.size(), 2) +
         littleEndian(48, 4) + littleEndian(flags | (targetInfo.empty() ? 0 : 0x800000), 4) +
         bytesOf("0123456789abcdef") + std::string(8, '\0') + littleEndian(targetInfo.size(), 2) +
         littleEndian(targetInfo.size(), 2) + littleEndian(info, 4) + name + std::string(targetInfo);
}

/// An authenticate message, taken apart.
struct NtlmAnswer {
  explicit NtlmAnswer(std::string_view message)
      : isOne(message.size() >= 72 && message.substr(0, 12) == std::string_view("NTLMSSP\0\3\0\0\0", 12)) {
    if (!isOne) return;
    std::string* const fields[] = {&lm, &nt, &domain, &user, &workstation, &sessionKey};
    std::size_t at = 12;
    for (std::string* field : fields) {
      *field = message.substr(number(message, at + 4, 4), number(message, at, 2));
      at += 8;
    }
    flags = static_cast<std::uint32_t>(number(message, at, 4));
    if (nt.size() >= 44) targetInfo = nt.substr(44, nt.size() - 48);
  }
  /// Whether it proves that the client knows the key (NTOWFv2) for `challenge`.
  bool proves(std::string_view key, std::string_view challenge) const {
    const std::string server(challenge.substr(24, 8));
    if (nt.size() < 48 || lm.size() != 24) return false;
    const std::string lmExpected = hmacMd5(key, server + lm.substr(16)) + lm.substr(16);
    return hmacMd5(key, server + nt.substr(16)) == nt.substr(0, 16) &&
           (lm == std::string(24, '\0') || lm == lmExpected);
  }

  bool isOne;
  std::string lm, nt, domain, user, workstation, sessionKey, targetInfo;
  std::uint32_t flags = 0;
};

}  // namespace qv_test

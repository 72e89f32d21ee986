// What an e-mail keeps about signing and encryption (RFC 5751).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/string_buffer.h"

namespace qv {

class Certificate;

/// The cipher that the content of an encrypted message is written in. The numbers never change.
enum class EncryptAlgorithm : std::int32_t { rc4 = 0, rc2 = 1, des = 2, tripleDes = 3 };

/// What is asked for when an e-mail is sent.
struct SendSecurity {
  bool sendSigned = false;
  bool sendEncrypted = false;
  EncryptAlgorithm encryptAlgorithm = EncryptAlgorithm::rc4;
  StringBuffer signingCert;  ///< base64 of DER; empty: found by the sender's address
  StringBuffer encryptCert;  ///< base64 of DER; empty: found by the first recipient's address
};

/// A layer that was met, in the order in which they are opened.
struct SecurityLayer {
  bool isEncrypted = false;  ///< else signed
  bool isOpened = false;     ///< its signatures are good, or it was decrypted; else it stays as it came
  bool isWhole = false;      ///< around the whole message, not around a part of it
  std::shared_ptr<const Certificate> certificate{};  ///< the signer's, or whose key opened it; may be null
};

/// What was met when a message was read with its layers opened. Of any other e-mail everything is 0 and
/// empty.
struct ReceivedSecurity {
  bool securityFound = false;
  bool signaturesValid = false;  ///< no signature failed to verify
  bool decrypted = false;        ///< no layer failed to decrypt
  std::int32_t numPartsSigned = 0;
  std::int32_t numPartsEncrypted = 0;
  /// One good layer with a signer (that was encrypted) held the whole message, nothing standing beside it.
  bool whollySigned = false;
  bool whollyEncrypted = false;
  std::vector<std::shared_ptr<const Certificate>> signedBy;     ///< in the order met
  std::vector<std::shared_ptr<const Certificate>> encryptedBy;  ///< whose keys opened a layer
  std::vector<SecurityLayer> layers;
};

}  // namespace qv

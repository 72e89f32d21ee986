// Signed and encrypted messages (PKCS #7 v1.5, RFC 2315; read also as CMS, RFC 5652), without any logging.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/cert_context.h"

namespace qv::crypt {

/// Why something failed: the words, the library's number, and in which of an operation's stages.
struct Error {
  enum class Stage { prepare, process };
  std::string text;
  unsigned long code = 0;
  Stage stage = Stage::prepare;
};

/// Where results are written; empty before.
class Output {
 public:
  virtual ~Output() = default;
  /// Adds `count` bytes and gives the first of them.
  virtual char* extend(std::size_t count) = 0;
  /// Cuts to `size` bytes.
  virtual void truncate(std::size_t size) = 0;
};

using CertContextPtr = std::shared_ptr<const CertContext>;
/// Looks a certificate up; null when there is none.
using CertFinder = std::function<CertContextPtr(const CertId&)>;

/// Messages larger than this are neither made nor read.
inline constexpr std::size_t kLargestMessage = std::size_t{1} << 30;
/// Signers of one message: each costs work with its own key, and real mail has few.
inline constexpr std::size_t kMaxSigners = 100;
/// Private keys that are tried on one encrypted message: one of a few certificates of the user.
inline constexpr std::size_t kMaxKeys = 4;

/// Whether cryptographic operations can be done at all.
bool isProviderAvailable(std::string& error);

/// Writes SignedData (RFC 2315 9) with one signer, who is named by issuer and serial number, and the
/// signer's certificate, without further certificates or attributes. The digest is the one that the
/// certificate itself is signed with. A detached one leaves the data out. `signer` must know its private key.
/// Nothing is written on a failure.
bool sign(std::string_view data, const CertContext& signer, bool detached, Output& out, Error& error);

/// Writes EnvelopedData (RFC 2315 10) for one recipient. `cipher` is a dotted number: RC4, RC2, DES or
/// triple DES, in CBC mode where the cipher has modes and with 128 bits where it has a choice.
bool encrypt(std::string_view data, std::string_view cipher, const CertContext& recipient, Output& out,
             Error& error);

/// Decrypts EnvelopedData, or AuthEnvelopedData (RFC 5083), with the key of the first recipient that
/// `findKey` knows a certificate with a private key for; `recipient` is set to that one. AES is read too.
/// Nothing is written on a failure, also when it shows at the end of the text only.
bool decrypt(std::string_view message, const CertFinder& findKey, Output& out, CertContextPtr& recipient,
             Error& error);

/// A message with signatures, over data that it holds or that stands beside it.
class SignedMessage {
 public:
  /// Null when it is none, holds something else than plain data, or has too many signers. The text need not
  /// outlive the call.
  static std::unique_ptr<SignedMessage> read(std::string_view message, Error& error);
  ~SignedMessage();
  SignedMessage(const SignedMessage&) = delete;
  SignedMessage& operator=(const SignedMessage&) = delete;

  std::size_t numSigners() const noexcept;
  bool hasContent() const noexcept;
  /// The data that it holds.
  std::string_view content() const noexcept;

  enum class Check {
    good,
    noSigner,             ///< none at that index
    certificateNotFound,  ///< neither the message nor the finder has the signer's certificate
    bad,
  };
  /// Checks the signature at an index over `data`, which must be the same text at each call. The certificate
  /// is taken from the message or, where that has none and `find` is not empty, from there. Whether it is
  /// valid or to be trusted is not asked. `signer` is set by a good one only.
  Check verify(std::size_t index, std::string_view data, const CertFinder& find, CertContextPtr& signer,
               Error& error);

 private:
  struct Held;
  explicit SignedMessage(std::unique_ptr<Held> held);
  std::unique_ptr<Held> held_;
};

}  // namespace qv::crypt

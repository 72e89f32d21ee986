// X.509 certificates (RFC 5280), without any logging.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"

namespace qv {

/// How a signature or an encrypted message names a certificate: by issuer (DER) and serial number (the bytes
/// of the DER integer), or by subject key identifier alone. Only good for comparing.
struct CertId {
  std::string issuer;
  std::string serial;
  std::string keyId;
};

/// One certificate; never changes. Texts are UTF-8 where the certificate's own are well-formed, and may hold
/// any byte.
class CertContext {
 public:
  enum class Party { subject, issuer };

  /// From DER; bytes behind the certificate are ignored. Null with the reason in `error`.
  static std::shared_ptr<const CertContext> fromDer(std::string_view der, std::string& error);
  /// From a file's bytes: DER or PEM, of which the first certificate is taken.
  static std::shared_ptr<const CertContext> fromFileBytes(std::string_view bytes, std::string& error);
  /// All certificates of a PEM text, in order. Each block that is none leaves one entry in `faults`.
  static std::vector<std::shared_ptr<const CertContext>> allFromPem(std::string_view text,
                                                                    std::vector<std::string>& faults);
  ~CertContext();
  CertContext(const CertContext&) = delete;
  CertContext& operator=(const CertContext&) = delete;

  std::string_view der() const noexcept;
  std::string pem() const;

  /// "CN=Jane Roe, O=..." in the order of the certificate. Keys are CN, OU, O, L, S (state), C, E (e-mail
  /// address) and a few more, "OID.1.2.3" for others. A value with a character that would mislead who splits
  /// the text stands in double quotes, which are doubled inside, as backslashes are. Attributes that share
  /// one relative name stand like all others.
  std::string x500Name(Party party) const;
  /// The attribute values only, joined by ", ".
  std::string simpleName(Party party) const;

  /// Upper-case hexadecimal digits, two a byte; "-" before them for a negative number.
  std::string serialNumber() const;
  /// Universal time; nothing when the certificate holds no such time.
  std::optional<CalendarTime> validFrom() const;
  std::optional<CalendarTime> validTo() const;
  /// Whether the validity begins later than the other's.
  bool isNewerThan(const CertContext& other) const;

  /// The first byte of the key usage bits (RFC 5280 4.2.1.3); nothing without that extension.
  std::optional<std::uint8_t> keyUsage() const;
  /// The purposes as dotted numbers (4.2.1.12); nothing without that extension, none when it cannot be read.
  std::optional<std::vector<std::string>> extendedKeyUsage() const;

  /// SHA-256 over the DER form: upper-case hexadecimal digits, two a byte, with ":" between the bytes.
  std::string fingerprint() const;

  /// The dotted number of the algorithm that the certificate itself is signed with, and the DER of its
  /// parameters (empty when there are none).
  struct Algorithm {
    std::string oid;
    std::string parameters;
  };
  Algorithm signatureAlgorithm() const;

  /// By issuer, serial number and, where it has one, subject key identifier.
  const CertId& id() const noexcept;
  /// A name for a file of it: hexadecimal digits made of issuer and serial number.
  std::string fileStem() const;

  /// Where its private key lies; empty when it has none. The file is read when the key is used.
  const std::string& keyFile() const noexcept;
  /// The same certificate with that key.
  std::shared_ptr<const CertContext> withKeyFile(std::string path) const;

  struct Held;
  const Held& held() const noexcept { return *held_; }
  explicit CertContext(std::unique_ptr<Held> held);

 private:
  std::unique_ptr<Held> held_;
};

}  // namespace qv

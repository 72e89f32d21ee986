// Certificates, as they cross to and from an e-mail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/log.h>
#include <quorvel/object.h>

namespace quorvel {

/// Created as "QuorvelMail.QuorvelCert", then without a certificate: texts read as empty and numbers as 0.
/// What is read is what the certificate says of itself; nothing here asks whether it is valid or who vouches
/// for it. A host may bring an object of its own with this interface.
class QUORVEL_API IQuorvelCert : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelCert";

  virtual std::string get_Version() = 0;
  /// This object's own log.
  virtual Ref<IQuorvelLog2> GetLog() = 0;
  // What its extended key usage names; 0 of a certificate without that extension.
  virtual std::int32_t get_ForSecureEmail() = 0;
  virtual std::int32_t get_ForServerAuthentication() = 0;
  virtual std::int32_t get_ForClientAuthentication() = 0;
  virtual std::int32_t get_ForCodeSigning() = 0;
  virtual std::int32_t get_ForTimeStamping() = 0;
  /// Hexadecimal digits, two a byte, upper case.
  virtual std::string get_SerialNumber() = 0;
  /// Universal time.
  virtual double get_ValidFrom() = 0;
  virtual double get_ValidTo() = 0;
  // The first attribute of that kind: common name, organisational unit, organisation, locality, state,
  // country, e-mail address.
  virtual std::string get_SubjectCN() = 0;
  virtual std::string get_SubjectOU() = 0;
  virtual std::string get_SubjectO() = 0;
  virtual std::string get_SubjectL() = 0;
  virtual std::string get_SubjectS() = 0;
  virtual std::string get_SubjectC() = 0;
  virtual std::string get_SubjectE() = 0;
  virtual std::string get_IssuerCN() = 0;
  virtual std::string get_IssuerOU() = 0;
  virtual std::string get_IssuerO() = 0;
  virtual std::string get_IssuerL() = 0;
  virtual std::string get_IssuerS() = 0;
  virtual std::string get_IssuerC() = 0;
  virtual std::string get_IssuerE() = 0;
  /// A number of no meaning to a host.
  virtual std::int32_t GetImpl() = 0;
  /// The certificate as base64 of its DER form; without one fails with an error report.
  virtual std::string GetEncoded() = 0;
  // These make it another certificate. What is none fails with an error report and changes nothing.
  /// What GetEncoded gives.
  virtual void SetFromEncoded(std::string_view encodedCert) = 0;
  /// Writes this object's log as XML, without timestamps.
  virtual void SaveXmlLog(std::string_view filename) = 0;
  /// A file in DER or PEM form; of several certificates the first.
  virtual void LoadFromFile(std::string_view filename) = 0;
  /// Base64 with line breaks or without, or a PEM text.
  virtual void LoadFromBase64(std::string_view encodedCert) = 0;
  /// The bytes of such a file.
  virtual void LoadFromBinary(const Bytes& binaryBlob) = 0;
};

class QUORVEL_API IQuorvelCert2 : public IQuorvelCert {
 public:
  using Base = IQuorvelCert;
  static constexpr std::string_view kInterfaceName = "IQuorvelCert2";

  /// SHA-256 of the certificate: hexadecimal digits, two a byte, upper case, ":" between the bytes. What
  /// people compare when they want to know whether it is the certificate that they know.
  virtual std::string get_Fingerprint() = 0;
};

/// One of the places where certificates and private keys live (docs/secure-mail.md). Created as
/// "QuorvelMail.QuorvelCertStore", then without a place: it holds nothing, and what changes it fails. Those
/// that give 1 give 0 with an error report when they fail. Certificates are read by `Open`; what others
/// change afterwards is not seen until it is opened again.
class QUORVEL_API IQuorvelCertStore : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelCertStore";

  /// "my" (the user's own certificates), "people" (those of others), "received" (those that came with mail)
  /// or "machine" (those of all users); gives 1. A place that is missing is empty, and made when something is
  /// added.
  virtual std::int32_t Open(std::string_view name) = 0;
  /// The directory.
  virtual std::string get_Location() = 0;
  virtual std::int32_t get_NumCerts() = 0;
  /// In the order in which they are searched; null when the index is out of range.
  virtual Ref<IQuorvelCert2> GetCert(std::int32_t index) = 0;
  /// 1 when its private key is here and can be used; else the log says why not.
  virtual std::int32_t HasPrivateKey(std::int32_t index) = 0;
  /// 1 also when it is there already.
  virtual std::int32_t AddCert(IQuorvelCert* cert) = 0;
  /// Adds the certificate of a file, with its private key where the file holds one: PKCS #12 (".p12",
  /// ".pfx"), PEM or DER. The certificates of authorities beside it are left out. `password` opens what is
  /// encrypted.
  virtual std::int32_t ImportFile(std::string_view filename, std::string_view password) = 0;
  /// 1 when a file can be imported with a password only.
  virtual std::int32_t NeedsPassword(std::string_view filename) = 0;
  /// Writes a certificate and its private key, as PKCS #12 that the password opens. The file takes the place
  /// of one that exists, and only its owner may read it.
  virtual std::int32_t ExportFile(std::int32_t index, std::string_view filename,
                                  std::string_view password) = 0;
  /// Removes a certificate and its private key. What was encrypted for it cannot be opened any more.
  virtual std::int32_t RemoveCert(std::int32_t index) = 0;
};

}  // namespace quorvel

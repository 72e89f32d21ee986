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

}  // namespace quorvel

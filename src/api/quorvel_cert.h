// The public certificate object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/certificate.h>

#include "api/object_base.h"
#include "api/public_call.h"
#include "cert/certificate.h"
#include "core/log_store.h"

namespace qv {

/// Holds one certificate, or none, and a log of its own.
class CQuorvelCert final : public ObjectBase<quorvel::IQuorvelCert2> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelCert";

  /// `certificate` may be null.
  explicit CQuorvelCert(std::shared_ptr<const Certificate> certificate = nullptr);
  std::string_view className() const noexcept override { return kClassName; }

  std::string get_Version() override;
  quorvel::Ref<quorvel::IQuorvelLog2> GetLog() override;
  std::int32_t get_ForSecureEmail() override;
  std::int32_t get_ForServerAuthentication() override;
  std::int32_t get_ForClientAuthentication() override;
  std::int32_t get_ForCodeSigning() override;
  std::int32_t get_ForTimeStamping() override;
  std::string get_SerialNumber() override;
  double get_ValidFrom() override;
  double get_ValidTo() override;
  std::string get_SubjectCN() override;
  std::string get_SubjectOU() override;
  std::string get_SubjectO() override;
  std::string get_SubjectL() override;
  std::string get_SubjectS() override;
  std::string get_SubjectC() override;
  std::string get_SubjectE() override;
  std::string get_IssuerCN() override;
  std::string get_IssuerOU() override;
  std::string get_IssuerO() override;
  std::string get_IssuerL() override;
  std::string get_IssuerS() override;
  std::string get_IssuerC() override;
  std::string get_IssuerE() override;
  std::int32_t GetImpl() override;
  std::string GetEncoded() override;
  void SetFromEncoded(std::string_view encodedCert) override;
  void SaveXmlLog(std::string_view filename) override;
  void LoadFromFile(std::string_view filename) override;
  void LoadFromBase64(std::string_view encodedCert) override;
  void LoadFromBinary(const quorvel::Bytes& binaryBlob) override;
  std::string get_Fingerprint() override;

 private:
  std::int32_t usage(std::string_view name, bool CertificateUsage::*flag);
  std::string subject(std::string_view name, std::string_view key);
  std::string issuer(std::string_view name, std::string_view key);
  double date(std::string_view name, std::optional<CalendarTime> (CertContext::*read)() const);
  template <typename Read>
  void load(std::string_view name, Read read);
  Outcome fail(std::string_view message, CLog* shared);

  std::shared_ptr<LogStore> store_;
  CLogImpl ownLog_;
  std::int32_t number_;
  std::shared_ptr<const Certificate> certificate_;  // never null
};

}  // namespace qv

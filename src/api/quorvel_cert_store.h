// The public certificate store.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/certificate.h>

#include "api/object_base.h"
#include "api/public_call.h"
#include "cert/certificate_store.h"

namespace qv {

class CQuorvelCertStore final : public ObjectBase<quorvel::IQuorvelCertStore> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelCertStore";

  std::string_view className() const noexcept override { return kClassName; }

  std::int32_t Open(std::string_view name) override;
  std::string get_Location() override;
  std::int32_t get_NumCerts() override;
  quorvel::Ref<quorvel::IQuorvelCert2> GetCert(std::int32_t index) override;
  std::int32_t HasPrivateKey(std::int32_t index) override;
  std::int32_t AddCert(quorvel::IQuorvelCert* cert) override;
  std::int32_t ImportFile(std::string_view filename, std::string_view password) override;
  std::int32_t NeedsPassword(std::string_view filename) override;
  std::int32_t ExportFile(std::int32_t index, std::string_view filename, std::string_view password) override;
  std::int32_t RemoveCert(std::int32_t index) override;

 private:
  /// Runs a change of the store, which must be open.
  template <typename Change>
  std::int32_t change(std::string_view name, Change body);
  /// Null when there is none.
  CertContextPtr at(std::int32_t index);

  std::unique_ptr<CertificateStore> store_;
};

}  // namespace qv

// Signing, encrypting, verifying and decrypting with the certificates of the stores.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cert/certificate.h"
#include "cert/certificate_store.h"
#include "cert/login_info.h"
#include "core/binary_data.h"
#include "core/log.h"

namespace qv {

using CertificatePtr = std::shared_ptr<const Certificate>;

/// The store that certificates of received mail are saved in while one message is read. It is opened, or
/// made, for the first one.
struct SaveStore {
  /// Saved of one message at most: real mail has a few signers, and a store that strangers fill is searched
  /// with every message.
  static constexpr std::size_t kMaxSaved = 20;
  std::string_view path = kReceivedCertificatesPath;  ///< below the machine's root
  std::size_t numSaved = 0;
  std::unique_ptr<CertificateStore> store{};
};

/// One is made for each operation, or for one message that is read. Failures are logged; what an operation
/// would give is then empty. Private keys and texts are never logged. `log` may be null.
class QV_Crypt {
 public:
  explicit QV_Crypt(CLog* log) : log_(log) {}

  /// The cipher for encryption, as a dotted number.
  void setAlgorithm(std::string_view oid) { algorithm_ = oid; }
  /// Asks the signing service first. There is none yet: signing is local whether it is set or not.
  void setServiceLogin(const LoginInfo& login) { serviceLogin_ = login; }

  /// Signs with the first certificate of the stores that can: first those that are for e-mail, then any that
  /// matches. A null address has no data pointer.
  bool createDetachedSignature(std::string_view address, std::string_view data, BinaryData& out);
  /// The private key is found in the stores where the certificate does not bring it along.
  bool createDetachedSignature(const Certificate* certificate, std::string_view data, BinaryData& out);
  bool createAttachedSignature(const Certificate* certificate, std::string_view data, BinaryData& out);
  bool encryptData(std::string_view data, BinaryData& out, const Certificate& recipient);

  /// With a key of the current user's store or of one of the default stores. `certificate` is whose key it
  /// was.
  bool decryptMessage(std::string_view message, BinaryData& out, CertificatePtr& certificate);
  /// All signatures of a message must be good; one without signers is. `signer` is the last one, null without
  /// or on failure. Each whose signature is good is saved when `saveStore` is not null.
  bool verifyDetachedSignature(std::string_view signature, std::string_view data, SaveStore* saveStore,
                               CertificatePtr& signer);
  /// The same for a message that holds what is signed; without signers it fails. `signer` is the first one.
  bool verifySignature(std::string_view message, BinaryData& content, CertificatePtr& signer);

  /// The stores that are searched, in order.
  static const std::vector<CertStoreSpec>& defaultStoreList();
  /// Those of the default list that can be opened.
  std::vector<std::unique_ptr<CertificateStore>> openAllStores(bool readOnly) const;
  /// The first certificate that matches; `store` is set to the description of the one it is from, and `spec`,
  /// unless null, to how that is opened again.
  std::unique_ptr<Certificate> findCertificateForEmail(std::string_view address, StringBuffer& store,
                                                       std::optional<CertStoreSpec>* spec = nullptr) const;
  /// The first certificate of the default stores with this issuer and serial number.
  CertContextPtr findSubjectCertificate(const CertId& id);

 private:
  bool sign(const Certificate& certificate, std::string_view data, bool detached,
            std::string_view prepareFailed, std::string_view processFailed, BinaryData& out);
  CertContextPtr withPrivateKey(const CertContextPtr& certificate);
  CertContextPtr findWithKey(const CertId& id);
  bool acquireProvider();
  void save(SaveStore& into, const Certificate& signer);
  const std::vector<std::unique_ptr<CertificateStore>>& stores();

  CLog* log_;
  std::string algorithm_ = "1.2.840.113549.3.4";
  std::optional<LoginInfo> serviceLogin_;
  // The default stores, read-only, once they were needed.
  std::optional<std::vector<std::unique_ptr<CertificateStore>>> stores_;
};

}  // namespace qv

// The stores that QV_Crypt searches.
#include <utility>

#include "cert/qv_crypt.h"

namespace qv {

const std::vector<CertStoreSpec>& QV_Crypt::defaultStoreList() {
  using Spec = CertStoreSpec;
  static const std::vector<Spec> kList{
      {Spec::kLocalMachine, Spec::kMachineRoot},
      {Spec::kRegistry, Spec::kMachineRoot, kReceivedCertificatesPath},
      // The platform's address book of other people's certificates.
      {Spec::kRegistry, Spec::kUserRoot, "Software/Microsoft/SystemCertificates/AddressBook"},
      {Spec::kCurrentUser, Spec::kUserRoot},
  };
  return kList;
}

std::vector<std::unique_ptr<CertificateStore>> QV_Crypt::openAllStores(bool readOnly) const {
  std::vector<std::unique_ptr<CertificateStore>> open;
  for (const CertStoreSpec& spec : defaultStoreList()) {
    if (auto store = CertificateStore::open(spec, readOnly, log_)) open.push_back(std::move(store));
  }
  return open;
}

const std::vector<std::unique_ptr<CertificateStore>>& QV_Crypt::stores() {
  if (!stores_) stores_ = openAllStores(true);
  return *stores_;
}

std::unique_ptr<Certificate> QV_Crypt::findCertificateForEmail(std::string_view address, StringBuffer& store,
                                                               std::optional<CertStoreSpec>* spec) const {
  for (const CertStoreSpec& each : defaultStoreList()) {
    const auto open = CertificateStore::open(each, true, log_);
    std::unique_ptr<Certificate> found = open ? open->findByEmail(address) : nullptr;
    if (!found) continue;
    store = open->describe();
    if (spec != nullptr) *spec = each;
    return found;
  }
  return nullptr;
}

CertContextPtr QV_Crypt::findSubjectCertificate(const CertId& id) {
  for (const auto& store : stores()) {
    if (CertContextPtr found = store->find(id)) return found;
  }
  return nullptr;
}

// The current user's own store is the first place to look for a key, then all in their order.
CertContextPtr QV_Crypt::findWithKey(const CertId& id) {
  for (const bool own : {true, false}) {
    for (const auto& store : stores()) {
      if ((store->spec().kind() == CertStoreSpec::kCurrentUser) != own) continue;
      CertContextPtr found = store->find(id);
      if (found && !found->keyFile().empty()) return found;
    }
  }
  return nullptr;
}

// Only the very same certificate will do: another one of that issuer and serial number is a forgery.
CertContextPtr QV_Crypt::withPrivateKey(const CertContextPtr& certificate) {
  if (!certificate->keyFile().empty()) return certificate;
  const CertContextPtr found = findWithKey(certificate->id());
  return found && found->der() == certificate->der() ? found : certificate;
}

}  // namespace qv

#include "api/quorvel_cert_store.h"

#include "api/counts.h"
#include "api/quorvel_cert.h"
#include "cert/qv_crypt.h"
#include "platform/cert_bundle.h"

namespace qv {
namespace {

/// What hosts call the stores that the component searches.
struct Place {
  std::string_view name;
  CertStoreSpec::Kind kind;
  CertStoreSpec::Location location;
};
constexpr Place kPlaces[] = {
    {"my", CertStoreSpec::kCurrentUser, CertStoreSpec::kUserRoot},
    {"people", CertStoreSpec::kRegistry, CertStoreSpec::kUserRoot},
    {"received", CertStoreSpec::kRegistry, CertStoreSpec::kMachineRoot},
    {"machine", CertStoreSpec::kLocalMachine, CertStoreSpec::kMachineRoot},
};

/// Null when there is none of that name.
const CertStoreSpec* specOf(std::string_view name) {
  for (const Place& place : kPlaces) {
    if (place.name != name) continue;
    for (const CertStoreSpec& spec : QV_Crypt::defaultStoreList()) {
      if (spec.kind() == place.kind && spec.location() == place.location) return &spec;
    }
  }
  return nullptr;
}

}  // namespace

std::int32_t CQuorvelCertStore::Open(std::string_view name) {
  return publicFlag(inContext("Open"), [&](CLog* log) {
    const CertStoreSpec* spec = specOf(name);
    auto opened = spec == nullptr ? nullptr : CertificateStore::openForChanges(*spec, log);
    if (opened == nullptr) {
      logData(log, "name", name);
      logError(log, spec == nullptr ? "There is no certificate store of that name."
                                    : "Failed to open the certificate store.");
      return Outcome::failed;
    }
    store_ = std::move(opened);
    store_->certificates();  // what cannot be read is told now
    return Outcome::done;
  });
}

std::string CQuorvelCertStore::get_Location() {
  return publicRead(plain("get_Location"), [this](CLog*) { return store_ ? store_->directory() : ""; });
}

std::int32_t CQuorvelCertStore::get_NumCerts() {
  return publicRead(plain("get_NumCerts"),
                    [this](CLog*) { return store_ ? asCount(store_->certificates().size()) : 0; });
}

CertContextPtr CQuorvelCertStore::at(std::int32_t index) {
  const bool isThere = store_ && asIndex(index) < store_->certificates().size();
  return isThere ? store_->certificates()[asIndex(index)] : nullptr;
}

quorvel::Ref<quorvel::IQuorvelCert2> CQuorvelCertStore::GetCert(std::int32_t index) {
  return publicRead(plain("GetCert"), [&](CLog*) -> quorvel::Ref<quorvel::IQuorvelCert2> {
    CertContextPtr found = at(index);
    if (found == nullptr) return nullptr;
    return quorvel::make<CQuorvelCert>(std::make_shared<const Certificate>(std::move(found), nullptr));
  });
}

std::int32_t CQuorvelCertStore::HasPrivateKey(std::int32_t index) {
  return publicRead(plain("HasPrivateKey"), [&](CLog* log) {
    const CertContextPtr found = at(index);
    std::string reason;
    if (found == nullptr || canUseKey(*found, reason)) return found == nullptr ? 0 : 1;
    logInfo(log, reason);
    return 0;
  });
}

template <typename Change>
std::int32_t CQuorvelCertStore::change(std::string_view name, Change body) {
  return publicFlag(inContext(name), [&](CLog* log) {
    if (store_ && body(log)) return Outcome::done;
    if (!store_) logError(log, "No certificate store is open.");
    return Outcome::failed;
  });
}

std::int32_t CQuorvelCertStore::AddCert(quorvel::IQuorvelCert* cert) {
  return change("AddCert", [&](CLog* log) {
    const std::string encoded = cert == nullptr ? std::string() : cert->GetEncoded();
    if (encoded.empty()) {
      logError(log, "Failed to get encoded certificate");
      return false;
    }
    const Certificate certificate(encoded, log);
    return store_->addCertificate(&certificate);
  });
}

std::int32_t CQuorvelCertStore::ImportFile(std::string_view filename, std::string_view password) {
  return change("ImportFile", [&](CLog*) { return store_->importFile(filename, password); });
}

std::int32_t CQuorvelCertStore::NeedsPassword(std::string_view filename) {
  return publicRead(plain("NeedsPassword"), [&](CLog*) { return needsPassword(filename) ? 1 : 0; });
}

std::int32_t CQuorvelCertStore::ExportFile(std::int32_t index, std::string_view filename,
                                           std::string_view password) {
  return change("ExportFile", [&](CLog*) { return store_->exportFile(asIndex(index), filename, password); });
}

std::int32_t CQuorvelCertStore::RemoveCert(std::int32_t index) {
  return change("RemoveCert", [&](CLog*) { return store_->remove(asIndex(index)); });
}

}  // namespace qv

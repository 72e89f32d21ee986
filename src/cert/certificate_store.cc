#include "cert/certificate_store.h"

#include <mutex>
#include <optional>
#include <utility>

#include "mime/transfer_coding.h"
#include "platform/cert_bundle.h"
#include "platform/files.h"

namespace qv {
namespace {

struct Root {
  std::mutex mutex;
  std::string path;
};

// Never destroyed: a host may still be reading mail while its process ends.
Root& root() {
  static Root* const instance = new Root;
  return *instance;
}

std::string_view folderOf(int location) noexcept {
  return location == CertStoreSpec::kMachineRoot ? "local_machine" : "current_user";
}

std::string_view rootKeyName(int location) noexcept {
  return location == CertStoreSpec::kMachineRoot ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER";
}

// The directory of a root's stores; nothing, with an entry in the log, when there is no place for any.
std::optional<std::string> directoryOf(int location, std::string_view below, CLog* log) {
  std::string directory = certificateStoreRoot();
  if (directory.empty()) {
    logError(log, "There is no directory for certificate stores: the user has no home");
    return std::nullopt;
  }
  return directory.append("/").append(folderOf(location)).append("/").append(below);
}

// The names of a key path as a path of directories. No name may lead out of the root.
std::optional<std::string> registryDirectory(int location, std::string_view path, CLog* log) {
  std::optional<std::string> directory = directoryOf(location, "registry", log);
  for (const std::string_view name : splitText(path, '/')) {
    if (name == "." || name == ".." || name.find('\0') != std::string_view::npos) {
      logError(log, "Not a name of a registry key");
      return std::nullopt;
    }
    if (directory) directory->append("/").append(name);
  }
  return directory;
}

void logUnopened(std::string_view reason, std::string_view place, CLog* log) {
  logInfo(log, reason);
  logData(log, "cert_store_location", place);
}

}  // namespace

void setCertificateStoreRoot(std::string_view path) {
  const std::lock_guard lock(root().mutex);
  root().path = path;
}

std::string certificateStoreRoot() {
  {
    const std::lock_guard lock(root().mutex);
    if (!root().path.empty()) return root().path;
  }
  const std::string home = userHomeDirectory();
  return home.empty() ? home : home + "/.quorvel";
}

StringBuffer CertStoreSpec::listText(const std::vector<CertStoreSpec>& list) {
  StringBuffer text;
  for (const CertStoreSpec& spec : list) {
    if (!text.empty()) text.append(',');
    text.appendNumber(spec.kind()).append(',').appendNumber(spec.location()).append(',');
    ContentCoding::encodeBase64(spec.path(), text);
  }
  return text;
}

CertificateStore::CertificateStore(std::unique_ptr<CertStorage> storage, CertStoreSpec spec, CLog* log)
    : storage_(std::move(storage)), spec_(std::move(spec)), log_(log) {}

std::unique_ptr<CertificateStore> CertificateStore::openDirectory(const std::string& directory,
                                                                  CertStoreSpec spec,
                                                                  std::string_view displayName, bool readOnly,
                                                                  CLog* log) {
  std::string error;
  auto storage = CertStorage::openDirectory(directory, readOnly, error);
  if (!storage) {
    logUnopened(error, displayName, log);
    return nullptr;
  }
  std::unique_ptr<CertificateStore> store(new CertificateStore(std::move(storage), std::move(spec), log));
  store->directory_ = directory;
  store->isRegistry_ = !displayName.empty();
  store->displayName_ = displayName;
  return store;
}

std::unique_ptr<CertificateStore> CertificateStore::openCurrentUserStore(bool readOnly, CLog* log) {
  const auto directory = directoryOf(CertStoreSpec::kUserRoot, "my", log);
  if (!directory) return nullptr;
  return openDirectory(*directory, {CertStoreSpec::kCurrentUser, CertStoreSpec::kUserRoot},
                       "[Current User Certificate Store]", readOnly, log);
}

std::unique_ptr<CertificateStore> CertificateStore::openLocalMachineStore(bool readOnly, CLog* log) {
  const auto directory = directoryOf(CertStoreSpec::kMachineRoot, "my", log);
  if (!directory) return nullptr;
  return openDirectory(*directory, {CertStoreSpec::kLocalMachine, CertStoreSpec::kMachineRoot},
                       "[Local Machine Certificate Store]", readOnly, log);
}

std::unique_ptr<CertificateStore> CertificateStore::openRegistryStore(int location, std::string_view path,
                                                                      bool readOnly, CLog* log) {
  const auto directory = registryDirectory(location, path, log);
  if (!directory) return nullptr;
  if (!files::isDirectory(*directory)) {
    logUnopened("There is no such registry key", path, log);
    return nullptr;
  }
  return openDirectory(*directory, {CertStoreSpec::kRegistry, location, path}, path, readOnly, log);
}

std::unique_ptr<CertificateStore> CertificateStore::openOrCreateLocalMachineRegistryStore(
    std::string_view path, CLog* log) {
  constexpr int kRoot = CertStoreSpec::kMachineRoot;
  const auto directory = registryDirectory(kRoot, path, log);
  if (!directory) return nullptr;
  if (files::isDirectory(*directory)) return openRegistryStore(kRoot, path, false, log);
  std::string error;
  if (!CertStorage::makeDirectories(*directory, error)) {
    logUnopened(error, path, log);
    return nullptr;
  }
  return openDirectory(*directory, {CertStoreSpec::kRegistry, kRoot, path}, {}, false, log);
}

std::unique_ptr<CertificateStore> CertificateStore::openFileStore(std::string_view path, bool readOnly,
                                                                  CLog* log) {
  std::string error;
  auto storage = CertStorage::openFile(path, readOnly, error);
  if (!storage) {
    logUnopened(error, path, log);
    return nullptr;
  }
  return std::unique_ptr<CertificateStore>(
      new CertificateStore(std::move(storage), {CertStoreSpec::kFile, CertStoreSpec::kNowhere, path}, log));
}

std::unique_ptr<CertificateStore> CertificateStore::open(const CertStoreSpec& spec, bool readOnly,
                                                         CLog* log) {
  switch (spec.kind()) {
    case CertStoreSpec::kCurrentUser:
      return openCurrentUserStore(readOnly, log);
    case CertStoreSpec::kLocalMachine:
      return openLocalMachineStore(readOnly, log);
    case CertStoreSpec::kFile:
      return openFileStore(spec.path(), readOnly, log);
    case CertStoreSpec::kRegistry:
      if (spec.location() != CertStoreSpec::kUserRoot && spec.location() != CertStoreSpec::kMachineRoot)
        break;
      return openRegistryStore(spec.location(), spec.path(), readOnly, log);
    default:
      break;
  }
  return nullptr;
}

std::unique_ptr<CertificateStore> CertificateStore::openForChanges(const CertStoreSpec& spec, CLog* log) {
  if (spec.kind() != CertStoreSpec::kRegistry) return open(spec, false, log);
  const auto directory = registryDirectory(spec.location(), spec.path(), log);
  return directory ? openDirectory(*directory, spec, spec.path(), false, log) : nullptr;
}

void CertificateStore::logSkipped() {
  for (const CertStorage::Skipped& skipped : storage_->takeSkipped()) {
    logInfo(log_, "Skipped what holds no certificate that can be read");
    logData(log_, "cert_file", skipped.path);
    logData(log_, "reason", skipped.reason);
  }
}

const std::vector<CertContextPtr>& CertificateStore::certificates() {
  const auto& all = storage_->certificates();
  logSkipped();
  return all;
}

template <typename Wanted>
std::unique_ptr<Certificate> CertificateStore::findFirst(std::string_view address, Wanted wanted) {
  for (const CertContextPtr& context : certificates()) {
    auto certificate = std::make_unique<Certificate>(context, log_);
    if (certificate->matchesEmail(address) && wanted(*certificate)) return certificate;
  }
  return nullptr;
}

std::unique_ptr<Certificate> CertificateStore::findByEmail(std::string_view address) {
  return findFirst(address, [](const Certificate&) { return true; });
}

std::unique_ptr<Certificate> CertificateStore::findUsableByEmail(std::string_view address) {
  return findFirst(address, [](const Certificate& certificate) { return certificate.isUsableForEmail(); });
}

CertContextPtr CertificateStore::find(const CertId& id) {
  CertContextPtr found = storage_->find(id);
  logSkipped();
  return found;
}

void CertificateStore::logAdding(const Certificate& certificate) {
  logData(log_, "adding_cert", certificate.getSubjectName());
  logData(log_, "cert_store_location", describe());
}

bool CertificateStore::addCertificate(const Certificate* certificate) {
  if (certificate == nullptr) {
    logError(log_, "NULL value passed to addCertificate");
    return false;
  }
  logAdding(*certificate);
  if (storage_ == nullptr || certificate->isEmpty()) {
    logError(log_, "addCertificate internal error");
    return false;
  }
  std::string error;
  const CertStorage::Added added = storage_->add(*certificate->context(), error);
  logSkipped();
  switch (added) {
    case CertStorage::Added::exists:
      logInfo(log_, "Certificate already exists in store, no need to add.");
      return true;
    case CertStorage::Added::failed:
      logError(log_, "(addCertificate)" + error);
      return false;
    case CertStorage::Added::added:
      break;
  }
  if (!save()) {
    logError(log_, "Failed to save cert store");
    return false;
  }
  logInfo(log_, "Successfully added certificate to certificate store.");
  return true;
}

bool CertificateStore::addWithKey(const Certificate& certificate, std::string_view key) {
  std::string error = "no certificate";
  if (!certificate.isEmpty() && storage_->addWithKey(*certificate.context(), key, error)) return true;
  logError(log_, "(addWithKey)" + error);
  return false;
}

bool CertificateStore::importFile(std::string_view path, std::string_view password) {
  CertBundle bundle;
  std::string error;
  if (!readBundle(path, password, bundle, error)) {
    logError(log_, "(importFile)" + error);
    logData(log_, "filename", path);
    return false;
  }
  if (bundle.numOthers > 0) logDataLong(log_, "num_certs_left_out", static_cast<long>(bundle.numOthers));
  const Certificate certificate(bundle.certificate, log_);
  if (bundle.key.bytes.empty()) return addCertificate(&certificate);
  logAdding(certificate);
  return addWithKey(certificate, bundle.key.bytes);
}

bool CertificateStore::exportFile(std::size_t index, std::string_view path, std::string_view password) {
  std::string error = "There is no such certificate";
  const auto& all = certificates();
  if (index < all.size() && writeBundle(path, *all[index], password, error)) return true;
  logError(log_, "(exportFile)" + error);
  logData(log_, "filename", path);
  return false;
}

bool CertificateStore::remove(std::size_t index) {
  const auto& all = certificates();
  if (index < all.size()) {
    logData(log_, "removing_cert", Certificate(all[index], nullptr).getSubjectName());
    logData(log_, "cert_store_location", describe());
  }
  std::string error;
  if (storage_->remove(index, error)) return save();
  logError(log_, "(remove)" + error);
  return false;
}

bool CertificateStore::save() {
  std::string error;
  if (storage_->save(error)) return true;
  logError(log_, "(savingCertStore) " + error);
  return false;
}

StringBuffer CertificateStore::describe() const {
  StringBuffer text;
  if (spec_.kind() == CertStoreSpec::kFile) return text.append("(file) ").append(spec_.path());
  if (!isRegistry_) return text.append("unknown");
  return text.append("(registry) ").append(rootKeyName(spec_.location())).append("/").append(displayName_);
}

}  // namespace qv

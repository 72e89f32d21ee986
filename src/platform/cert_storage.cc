#include "platform/cert_storage.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "platform/files.h"
#include "platform/private_files.h"
#include "platform/private_keys.h"
#include "platform/wipe.h"

namespace qv {
namespace {

using private_files::failed;
using private_files::Handle;
using private_files::openAt;
using private_files::readAll;
using private_files::readFile;
using private_files::writePrivate;

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
constexpr std::string_view kEndings[] = {".cer", ".crt", ".der", ".pem"};

std::string_view stemOf(std::string_view name) {
  return name.substr(0, name.rfind('.'));
}

class DirectoryStorage final : public CertStorage {
 public:
  DirectoryStorage(std::string_view path, bool readOnly) : CertStorage(readOnly), path_(path) {}

  bool addWithKey(const CertContext& certificate, std::string_view key, std::string& error) override {
    if (isReadOnly(error)) return false;
    const ossl::Owned<EVP_PKEY> parsed = ossl::parseKey(key, {}, error);
    if (!parsed || !ossl::belongTogether(certificate, parsed.get(), error)) return false;
    const std::size_t index = indexOf(certificate.id());
    const std::string name = index == kNone ? certificate.fileStem() + ".cer" : names_[index];
    const std::string path = keyPath(stemOf(name));
    // The key first: whoever finds the certificate finds its key.
    return makeDirectories(path_ + "/keys", error) && isFreeFor(certificate, path, error) &&
           writePrivate(path, key, nullptr, error) && write(certificate, name, index, error);
  }
  bool save(std::string&) override { return true; }

 private:
  // A key that belongs to another certificate is not replaced. What is none is no loss.
  static bool isFreeFor(const CertContext& certificate, const std::string& path, std::string& error) {
    Secret there;
    std::string reason;
    if (!readFile(path, ossl::kLargestKeyFile, there.bytes, reason)) return true;
    const ossl::Owned<EVP_PKEY> key = ossl::parseKey(there.bytes, {}, reason);
    if (!key || ossl::belongTogether(certificate, key.get(), reason)) return true;
    error = "The key of another certificate has the file " + path;
    return false;
  }

  bool takeOut(std::size_t index, std::string& error) override {
    const std::string_view stem = stemOf(names_[index]);
    const auto shares = [&](const std::string& name) { return stemOf(name) == stem; };
    const bool isOwnKey = std::count_if(names_.begin(), names_.end(), shares) == 1;
    // The key first: a certificate that is left can be removed again, and a key alone would be seen by
    // nobody.
    if (isOwnKey && !unlinked(keyPath(stem), error)) return false;
    if (!unlinked(path_ + "/" + names_[index], error)) return false;
    names_.erase(names_.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
  }

  static bool unlinked(const std::string& path, std::string& error) {
    return unlink(path.c_str()) == 0 || errno == ENOENT || failed(errno, error);
  }

  std::string keyPath(std::string_view stem) const {
    return std::string(path_).append("/keys/").append(stem).append(".key");
  }

  void load(std::vector<CertContextPtr>& certificates, std::vector<Skipped>& skipped) override {
    for (std::string& name : fileNames()) {
      std::string error, bytes;
      const std::string path = path_ + "/" + name;
      CertContextPtr certificate;
      if (readFile(path, kLargestFile, bytes, error)) certificate = CertContext::fromFileBytes(bytes, error);
      if (!certificate) {
        skipped.push_back({path, error});
        continue;
      }
      std::string key = keyPath(stemOf(name));
      if (files::exists(key)) certificate = certificate->withKeyFile(std::move(key));
      certificates.push_back(std::move(certificate));
      names_.push_back(std::move(name));
    }
  }

  std::vector<std::string> fileNames() const {
    std::vector<std::string> names;
    DIR* directory = opendir(path_.c_str());
    if (directory == nullptr) return names;
    while (const dirent* entry = readdir(directory)) {
      const std::string_view name = entry->d_name;
      const bool isCertificate =
          name.front() != '.' && std::any_of(std::begin(kEndings), std::end(kEndings),
                                             [&](std::string_view ending) { return name.ends_with(ending); });
      if (isCertificate) names.emplace_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
  }

  bool put(const CertContext& certificate, const std::size_t* replaced, std::string& error) override {
    if (replaced != nullptr) return write(certificate, names_[*replaced], *replaced, error);
    return write(certificate, certificate.fileStem() + ".cer", kNone, error);
  }

  bool write(const CertContext& certificate, std::string name, std::size_t index, std::string& error) {
    if (!makeDirectories(path_, error)) return false;
    if (!files::replace(path_ + "/" + name, certificate.der(), error)) return false;
    std::string key = keyPath(stemOf(name));
    CertContextPtr kept = certificate.withKeyFile(files::exists(key) ? std::move(key) : std::string());
    if (index != kNone) {
      loaded()[index] = std::move(kept);
    } else {
      loaded().push_back(std::move(kept));
      names_.push_back(std::move(name));
    }
    return true;
  }

  std::string path_;
  std::vector<std::string> names_;  // of the certificates' files
};

class FileStorage final : public CertStorage {
 public:
  FileStorage(std::string_view path, Handle file, bool readOnly)
      : CertStorage(readOnly), path_(path), file_(std::move(file)) {}

  bool addWithKey(const CertContext&, std::string_view, std::string& error) override {
    error = "A file of certificates holds no private keys";
    return false;
  }

  bool save(std::string& error) override {
    if (!isChanged_) return true;
    std::string text;
    for (const CertContextPtr& certificate : loaded()) text += certificate->pem();
    // The lock moves to the new file, which is locked before anybody can see it.
    if (!writePrivate(path_, text, &file_, error)) return false;
    isChanged_ = false;
    return true;
  }

 private:
  void load(std::vector<CertContextPtr>& certificates, std::vector<Skipped>& skipped) override {
    std::string text, error;
    std::vector<std::string> faults;
    if (lseek(file_.get(), 0, SEEK_SET) != 0 || !readAll(file_, kLargestStoreFile, text, error)) {
      faults.push_back(error);
    } else if (text.find("-----BEGIN ") != std::string::npos) {
      certificates = CertContext::allFromPem(text, faults);
    } else if (!text.empty()) {
      if (CertContextPtr only = CertContext::fromDer(text, error))
        certificates.push_back(std::move(only));
      else
        faults.push_back(error);
    }
    for (std::string& fault : faults) skipped.push_back({path_, std::move(fault)});
  }

  bool put(const CertContext& certificate, const std::size_t* replaced, std::string&) override {
    CertContextPtr kept = certificate.withKeyFile({});
    if (replaced != nullptr) {
      loaded()[*replaced] = std::move(kept);
    } else {
      loaded().push_back(std::move(kept));
    }
    isChanged_ = true;
    return true;
  }

  bool takeOut(std::size_t, std::string&) override {
    isChanged_ = true;
    return true;
  }

  std::string path_;
  Handle file_;
  bool isChanged_ = false;
};

}  // namespace

std::string userHomeDirectory() {
  std::vector<char> room(16 << 10);
  passwd entry{};
  passwd* found = nullptr;
  int result = ERANGE;
  while ((result = getpwuid_r(geteuid(), &entry, room.data(), room.size(), &found)) == ERANGE) {
    room.resize(room.size() * 2);
  }
  return result == 0 && found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

/// Where certificates stand in the list, by what names them.
struct CertStorage::Index {
  std::map<std::pair<std::string, std::string>, std::size_t> bySerial;
  std::map<std::string, std::size_t> byKeyId;
  std::size_t count = 0;  // of the list's entries that are in
};

std::unique_ptr<CertStorage> CertStorage::openDirectory(std::string_view path, bool readOnly,
                                                        std::string& error) {
  const std::string name(path);
  if (name.find('\0') != std::string::npos) {
    error = "no such name";
    return nullptr;
  }
  if (DIR* directory = opendir(name.c_str())) {
    closedir(directory);
  } else if (errno != ENOENT) {
    failed(errno, error);
    return nullptr;
  }
  return std::make_unique<DirectoryStorage>(path, readOnly);
}

std::unique_ptr<CertStorage> CertStorage::openFile(std::string_view path, bool readOnly, std::string& error) {
  Handle file = openAt(std::string(path), (readOnly ? O_RDONLY : O_RDWR) | O_CREAT | O_NONBLOCK, 0600);
  if (!file.isOpen() || flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    failed(errno, error);
    return nullptr;
  }
  return std::make_unique<FileStorage>(path, std::move(file), readOnly);
}

bool CertStorage::makeDirectories(std::string_view path, std::string& error) {
  if (path.find('\0') != std::string_view::npos) return failed(ENOENT, error);
  for (std::size_t at = 0; at != std::string_view::npos;) {
    at = path.find('/', at + 1);
    const std::string level(path.substr(0, at));
    if (mkdir(level.c_str(), 0700) == 0 || errno == EEXIST) continue;
    const int reason = errno;
    if (!files::isDirectory(level)) return failed(reason, error);
  }
  return true;
}

void CertStorage::loadOnce() {
  if (std::exchange(isLoaded_, true)) return;
  load(certificates_, skipped_);
}

const std::vector<CertContextPtr>& CertStorage::certificates() {
  loadOnce();
  return certificates_;
}

std::size_t CertStorage::indexOf(const CertId& id) {
  loadOnce();
  if (!index_) index_ = std::make_shared<Index>();
  for (; index_->count < certificates_.size(); ++index_->count) {
    const CertId& each = certificates_[index_->count]->id();
    index_->bySerial.try_emplace({each.issuer, each.serial}, index_->count);
    if (!each.keyId.empty()) index_->byKeyId.try_emplace(each.keyId, index_->count);
  }
  if (!id.issuer.empty()) {
    const auto found = index_->bySerial.find({id.issuer, id.serial});
    return found == index_->bySerial.end() ? kNone : found->second;
  }
  const auto found = index_->byKeyId.find(id.keyId);
  return found == index_->byKeyId.end() ? kNone : found->second;
}

CertContextPtr CertStorage::find(const CertId& id) {
  const std::size_t index = indexOf(id);
  return index == kNone ? nullptr : certificates_[index];
}

CertStorage::Added CertStorage::add(const CertContext& certificate, std::string& error) {
  const std::size_t index = indexOf(certificate.id());
  if (index != kNone && !certificate.isNewerThan(*certificates_[index])) return Added::exists;
  if (isReadOnly(error)) return Added::failed;
  return put(certificate, index == kNone ? nullptr : &index, error) ? Added::added : Added::failed;
}

bool CertStorage::remove(std::size_t index, std::string& error) {
  loadOnce();
  if (index >= certificates_.size()) {
    error = "There is no such certificate";
    return false;
  }
  if (isReadOnly(error) || !takeOut(index, error)) return false;
  certificates_.erase(certificates_.begin() + static_cast<std::ptrdiff_t>(index));
  index_.reset();
  return true;
}

bool CertStorage::isReadOnly(std::string& error) const {
  if (readOnly_) error = "The certificate store is open for reading only";
  return readOnly_;
}

std::vector<CertStorage::Skipped> CertStorage::takeSkipped() {
  return std::exchange(skipped_, {});
}

bool canUseKey(const CertContext& certificate, std::string& error) {
  return ossl::loadKey(certificate, error) != nullptr;
}

}  // namespace qv

#include "platform/cert_storage.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/pem.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <map>
#include <system_error>
#include <utility>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/openssl_support.h"
#include "platform/wipe.h"

namespace qv {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
constexpr std::size_t kLargestKeyFile = std::size_t{64} << 10;
constexpr std::string_view kEndings[] = {".cer", ".crt", ".der", ".pem"};

bool failed(int error, std::string& text) {
  text = std::system_category().message(error);
  return false;
}

/// An open file, closed at the end of the scope.
class Handle {
 public:
  explicit Handle(int handle = -1) : handle_(handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() {
    if (handle_ >= 0) ::close(handle_);
  }
  bool isOpen() const { return handle_ >= 0; }
  int get() const { return handle_; }

 private:
  int handle_;
};

Handle openAt(const std::string& path, int flags, mode_t mode = 0) {
  if (path.find('\0') != std::string::npos) {
    errno = ENOENT;
    return Handle();
  }
  int handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  while (handle < 0 && errno == EINTR) handle = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  return Handle(handle);
}

// Reads all of a regular file. Room is made once, so that no copy of a secret is left behind.
bool readAll(const Handle& file, std::size_t largest, std::string& bytes, std::string& error) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return failed(errno, error);
  if (!S_ISREG(status.st_mode)) {
    error = "not a regular file";
    return false;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > largest) {
    error = "too large";
    return false;
  }
  bytes.resize(size);
  std::size_t received = 0;
  while (received < size) {
    const ssize_t count = ::read(file.get(), bytes.data() + received, size - received);
    if (count == 0) break;
    if (count > 0) {
      received += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return failed(errno, error);
    }
  }
  bytes.resize(received);
  return true;
}

bool writeAll(const Handle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

// Writes a file that only its owner can read and puts it in the place of `path`. `lock` takes the lock on it
// and keeps it open, where that is wanted.
bool writePrivate(const std::string& path, std::string_view bytes, Handle* lock, std::string& error) {
  static std::atomic<unsigned> counter{0};
  char suffix[64];
  std::snprintf(suffix, sizeof suffix, ".qv%x-%x-%llx.tmp", static_cast<unsigned>(getpid()), counter++,
                static_cast<unsigned long long>(fastCounter()));
  const std::size_t slash = path.rfind('/');
  const std::string sibling = (slash == std::string::npos ? "" : path.substr(0, slash + 1)) + suffix;
  Handle file = openAt(sibling, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!file.isOpen()) return failed(errno, error);
  const bool isLocked = lock == nullptr || flock(file.get(), LOCK_EX | LOCK_NB) == 0;
  const bool isWritten = isLocked && writeAll(file, bytes) && (fsync(file.get()) == 0 || errno == EINVAL);
  if (!isWritten || rename(sibling.c_str(), path.c_str()) != 0) {
    const int reason = errno;
    unlink(sibling.c_str());
    return failed(reason, error);
  }
  if (lock != nullptr) *lock = std::move(file);
  return true;
}

bool readFile(const std::string& path, std::size_t largest, std::string& bytes, std::string& error) {
  // Without waiting, so that a pipe nobody writes to cannot stop the caller.
  const Handle file = openAt(path, O_RDONLY | O_NONBLOCK);
  return file.isOpen() ? readAll(file, largest, bytes, error) : failed(errno, error);
}

// No key asks for a pass phrase: nobody is there to be asked.
int noPassPhrase(char*, int, int, void*) {
  return -1;
}

ossl::Owned<EVP_PKEY> parseKey(std::string_view bytes, std::string& error) {
  ossl::Owned<EVP_PKEY> key;
  if (bytes.find("-----BEGIN ") != std::string_view::npos) {
    if (const ossl::Owned<BIO> bio = ossl::readerOf(bytes)) {
      key.reset(
          PEM_read_bio_PrivateKey_ex(bio.get(), nullptr, noPassPhrase, nullptr, ossl::context(), nullptr));
    }
  } else {
    const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
    key.reset(d2i_AutoPrivateKey_ex(nullptr, &at, static_cast<long>(bytes.size()), ossl::context(), nullptr));
  }
  if (!key) error = "private key: " + ossl::takeErrorText("not a private key");
  return key;
}

bool belongTogether(const CertContext& certificate, EVP_PKEY* key, std::string& error) {
  if (X509_check_private_key(ossl::x509Of(certificate), key) == 1) return true;
  error = "private key: " + ossl::takeErrorText("of another certificate");
  return false;
}

/// A text that is wiped at the end.
struct Secret {
  std::string bytes;
  ~Secret() { wipe(bytes.data(), bytes.size()); }
};

std::string_view stemOf(std::string_view name) {
  return name.substr(0, name.rfind('.'));
}

class DirectoryStorage final : public CertStorage {
 public:
  DirectoryStorage(std::string_view path, bool readOnly) : CertStorage(readOnly), path_(path) {}

  bool addWithKey(const CertContext& certificate, std::string_view key, std::string& error) override {
    if (isReadOnly(error)) return false;
    const ossl::Owned<EVP_PKEY> parsed = parseKey(key, error);
    if (!parsed || !belongTogether(certificate, parsed.get(), error)) return false;
    loadOnce();
    // The key first: whoever finds the certificate finds its key.
    return makeDirectories(path_ + "/keys", error) &&
           writePrivate(keyPath(certificate.fileStem()), key, nullptr, error) &&
           write(certificate, certificate.fileStem() + ".cer", kNone, error);
  }
  bool save(std::string&) override { return true; }

 private:
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

bool CertStorage::isReadOnly(std::string& error) const {
  if (readOnly_) error = "The certificate store is open for reading only";
  return readOnly_;
}

std::vector<CertStorage::Skipped> CertStorage::takeSkipped() {
  return std::exchange(skipped_, {});
}

namespace ossl {

Owned<EVP_PKEY> loadKey(const CertContext& certificate, std::string& error) {
  if (certificate.keyFile().empty()) {
    error = "The private key of the certificate is not here";
    return nullptr;
  }
  const Handle file = openAt(certificate.keyFile(), O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) {
    failed(errno, error);
    error.insert(0, "private key: ");
    return nullptr;
  }
  if ((status.st_mode & 077) != 0) {
    error = "private key: others may read the file, its mode must be 0600";
    return nullptr;
  }
  Secret secret;
  if (!readAll(file, kLargestKeyFile, secret.bytes, error)) {
    error.insert(0, "private key: ");
    return nullptr;
  }
  Owned<EVP_PKEY> key = parseKey(secret.bytes, error);
  if (key && !belongTogether(certificate, key.get(), error)) key.reset();
  return key;
}

}  // namespace ossl
}  // namespace qv

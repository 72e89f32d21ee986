// Where certificates and their private keys are kept: directories and files, without any logging.
//
// A directory holds one certificate a file (".cer", ".crt", ".der" or ".pem"; DER or PEM). The private key of
// "NAME.cer" is "keys/NAME.key" (PKCS #8 or the older forms, DER or PEM, not encrypted), in a directory of
// mode 0700 and readable by its owner only: a key that others may read is not used. A file is a PEM text of
// any number of certificates, without keys.
//
// Files are written whole and renamed into place, so that several processes may add at once and nobody reads
// half a certificate. What cannot be read is skipped and told by `takeSkipped`.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/cert_context.h"

namespace qv {

/// The home directory of the user that the process runs as, by the user database; empty when that has none.
std::string userHomeDirectory();

using CertContextPtr = std::shared_ptr<const CertContext>;

/// One open place. Certificates are read when first asked for; those that others add later are not seen. Used
/// by one thread at a time.
class CertStorage {
 public:
  /// A file larger than this holds no certificate that anybody made.
  static constexpr std::size_t kLargestFile = std::size_t{1} << 20;
  /// A file of certificates larger than this is not read.
  static constexpr std::size_t kLargestStoreFile = std::size_t{64} << 20;

  struct Skipped {
    std::string path;
    std::string reason;
  };
  enum class Added { added, exists, failed };

  virtual ~CertStorage() = default;
  CertStorage(const CertStorage&) = delete;
  CertStorage& operator=(const CertStorage&) = delete;

  /// A directory; one that is missing is an empty place, made when something is added. Null with the reason
  /// when it is there and cannot be read.
  static std::unique_ptr<CertStorage> openDirectory(std::string_view path, bool readOnly, std::string& error);
  /// A file, created when missing. Nobody else opens it meanwhile: null when somebody has it open.
  static std::unique_ptr<CertStorage> openFile(std::string_view path, bool readOnly, std::string& error);
  /// Makes a directory and its missing parents, all of mode 0700.
  static bool makeDirectories(std::string_view path, std::string& error);

  /// In the order of the file names, or of the file.
  const std::vector<CertContextPtr>& certificates();
  /// The one with this issuer and serial number, or this key identifier where those are empty; null when
  /// there is none.
  CertContextPtr find(const CertId& id);
  /// Adds a certificate unless one of the same issuer and serial number is there that is as new.
  Added add(const CertContext& certificate, std::string& error);
  /// Adds a certificate with its private key (DER or PEM), which must belong to it. False with the reason.
  virtual bool addWithKey(const CertContext& certificate, std::string_view key, std::string& error) = 0;
  /// Removes the certificate at an index, and its private key.
  bool remove(std::size_t index, std::string& error);
  /// Writes what was added and is not yet written.
  virtual bool save(std::string& error) = 0;
  /// What was skipped so far, once.
  std::vector<Skipped> takeSkipped();

 protected:
  explicit CertStorage(bool readOnly) : readOnly_(readOnly) {}
  virtual void load(std::vector<CertContextPtr>& certificates, std::vector<Skipped>& skipped) = 0;
  /// Writes a certificate, in place of `replaced` (an index) when it is not null.
  virtual bool put(const CertContext& certificate, const std::size_t* replaced, std::string& error) = 0;
  /// Removes what is kept of the certificate at an index, which is one.
  virtual bool takeOut(std::size_t index, std::string& error) = 0;
  bool isReadOnly(std::string& error) const;
  void loadOnce();
  std::vector<CertContextPtr>& loaded() noexcept { return certificates_; }

  std::size_t indexOf(const CertId& id);

 private:
  bool readOnly_;
  bool isLoaded_ = false;
  std::vector<CertContextPtr> certificates_;
  std::vector<Skipped> skipped_;
  struct Index;
  std::shared_ptr<Index> index_;
};

/// Whether the private key of a certificate is here and can be used; else why not.
bool canUseKey(const CertContext& certificate, std::string& error);

}  // namespace qv

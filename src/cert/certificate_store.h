// The places where certificates are kept and looked for.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cert/certificate.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "platform/cert_storage.h"

namespace qv {

/// Sets the directory below which all stores live; an empty path gives the default back, ".quorvel" in the
/// home of the user as the user database gives it. Stores that are opened from then on are found there. The
/// layout below it, where "current_user" and "local_machine" stand for the two roots:
///
///     <root>/my                                    a system store, with private keys in "keys"
///     <root>/registry/<key path>                   a registry store
void setCertificateStoreRoot(std::string_view path);
std::string certificateStoreRoot();

/// Where the certificates that came with mail are kept, below the machine's root.
inline constexpr std::string_view kReceivedCertificatesPath = "Software/Quorvel/SystemCertificates";

/// What is needed to open a store again.
class CertStoreSpec final : public QuorvelObject {
 public:
  enum Kind { kCurrentUser = 1, kLocalMachine = 2, kFile = 3, kRegistry = 4 };
  enum Location { kNowhere = 0, kUserRoot = 1, kMachineRoot = 2 };

  CertStoreSpec(int kind, int location, std::string_view path = {})
      : kind_(kind), location_(location), path_(path) {}
  int kind() const noexcept { return kind_; }
  int location() const noexcept { return location_; }
  std::string_view path() const noexcept { return path_; }
  bool operator==(const CertStoreSpec& other) const noexcept {
    return kind_ == other.kind_ && location_ == other.location_ && path_ == other.path_;
  }

  /// A list as one text: kind, location and base64 of the path of each, all joined by ",".
  static StringBuffer listText(const std::vector<CertStoreSpec>& list);

 private:
  int kind_;
  int location_;
  StringBuffer path_;
};

/// One open store. Every operation that fails says why in the log that the store was opened with, which may
/// be null; files in it that hold no certificate are skipped with an entry. Used by one thread at a time.
class CertificateStore final : public QuorvelObject {
 public:
  // Null when the store cannot be opened.
  static std::unique_ptr<CertificateStore> openCurrentUserStore(bool readOnly, CLog* log);
  static std::unique_ptr<CertificateStore> openLocalMachineStore(bool readOnly, CLog* log);
  /// `root` is a CertStoreSpec::Location. The path's names are separated by "/"; each must be there.
  static std::unique_ptr<CertificateStore> openRegistryStore(int root, std::string_view path, bool readOnly,
                                                             CLog* log);
  /// For reading and writing; what is missing of the path is made.
  static std::unique_ptr<CertificateStore> openOrCreateLocalMachineRegistryStore(std::string_view path,
                                                                                 CLog* log);
  /// A file of certificates, made when missing; nobody else has it open meanwhile.
  static std::unique_ptr<CertificateStore> openFileStore(std::string_view path, bool readOnly, CLog* log);
  static std::unique_ptr<CertificateStore> open(const CertStoreSpec& spec, bool readOnly, CLog* log);
  /// For reading and writing; a registry store that is missing is an empty one, made when something is added.
  static std::unique_ptr<CertificateStore> openForChanges(const CertStoreSpec& spec, CLog* log);

  /// Null when there is none.
  std::unique_ptr<Certificate> findByEmail(std::string_view address);
  std::unique_ptr<Certificate> findUsableByEmail(std::string_view address);
  CertContextPtr find(const CertId& id);
  /// True also when a certificate of the same issuer and serial number, and as new, is there already.
  bool addCertificate(const Certificate* certificate);
  /// Adds a certificate with its private key (DER or PEM).
  bool addWithKey(const Certificate& certificate, std::string_view key);
  /// Adds the certificate of a file, with its private key where the file holds that: PKCS #12, PEM or DER.
  /// `password` opens what is encrypted.
  bool importFile(std::string_view path, std::string_view password);
  /// Writes the certificate at an index and its private key to a file, as PKCS #12.
  bool exportFile(std::size_t index, std::string_view path, std::string_view password);
  /// Removes the certificate at an index, and its private key.
  bool remove(std::size_t index);
  /// All of them, in the order in which they are searched.
  const std::vector<CertContextPtr>& certificates();
  /// Writes a file store; the others are written as they change.
  bool save();
  StringBuffer describe() const;
  /// Where it lies; empty for a file store.
  const std::string& directory() const noexcept { return directory_; }
  const CertStoreSpec& spec() const noexcept { return spec_; }

 private:
  CertificateStore(std::unique_ptr<CertStorage> storage, CertStoreSpec spec, CLog* log);
  static std::unique_ptr<CertificateStore> openDirectory(const std::string& directory, CertStoreSpec spec,
                                                         std::string_view displayName, bool readOnly,
                                                         CLog* log);
  template <typename Wanted>
  std::unique_ptr<Certificate> findFirst(std::string_view address, Wanted wanted);
  void logSkipped();
  void logAdding(const Certificate& certificate);

  std::unique_ptr<CertStorage> storage_;
  CertStoreSpec spec_;
  CLog* log_;
  std::string directory_;
  bool isRegistry_ = false;
  StringBuffer displayName_;
};

}  // namespace qv

#include "platform/private_keys.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/private_files.h"
#include "platform/wipe.h"

namespace qv::ossl {

using private_files::failed;
using private_files::Handle;
using private_files::openAt;
using private_files::readAll;

namespace {

// Gives the password that the caller has. Nobody is asked for one.
int givePassword(char* room, int size, int, void* password) {
  const auto& known = *static_cast<const std::string_view*>(password);
  if (known.data() == nullptr || known.size() > static_cast<std::size_t>(size)) return -1;
  std::memcpy(room, known.data(), known.size());
  return static_cast<int>(known.size());
}

}  // namespace

Owned<EVP_PKEY> parseKey(std::string_view bytes, std::string_view password, std::string& error) {
  Owned<EVP_PKEY> key;
  if (bytes.find("-----BEGIN ") != std::string_view::npos) {
    if (const Owned<BIO> bio = readerOf(bytes)) {
      key.reset(PEM_read_bio_PrivateKey_ex(bio.get(), nullptr, givePassword, &password, context(), nullptr));
    }
  } else {
    const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
    key.reset(d2i_AutoPrivateKey_ex(nullptr, &at, static_cast<long>(bytes.size()), context(), nullptr));
  }
  if (!key) error = "private key: " + takeErrorText("not a private key");
  return key;
}

bool belongTogether(const CertContext& certificate, EVP_PKEY* key, std::string& error) {
  if (X509_check_private_key(x509Of(certificate), key) == 1) return true;
  error = "private key: " + takeErrorText("of another certificate");
  return false;
}

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
  Owned<EVP_PKEY> key = parseKey(secret.bytes, {}, error);
  if (key && !belongTogether(certificate, key.get(), error)) key.reset();
  return key;
}

}  // namespace qv::ossl

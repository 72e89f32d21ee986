// Certificates with their keys, made by OpenSSL directly for a test.
#pragma once

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <ctime>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cert/certificate.h"
#include "cert/certificate_store.h"
#include "mime/transfer_coding.h"
#include "platform/temporary_folder.h"

namespace qv_test {

struct Identity {
  std::string der;
  std::string keyPem;
  std::shared_ptr<X509> x509;
  std::shared_ptr<EVP_PKEY> key;
  std::string base64() const { return qv::ContentCoding::encodeBase64ToBuffer(der).str(); }
  qv::Certificate certificate() const { return {base64(), nullptr}; }
};

/// What a certificate is made of; what is not said is ordinary.
struct Recipe {
  using Attribute = std::pair<std::string, std::string>;  // a short name of OpenSSL, the bytes of the value
  std::vector<Attribute> subject{{"C", "US"}, {"CN", "Jane Roe"}, {"emailAddress", "jane@example.org"}};
  std::vector<Attribute> extensions{};  // OpenSSL's name and text; "DER:hex" gives the value's bytes
  std::string key = "rsa2048";          // or another of rsa..., or p256
  long serial = 1;
  const Identity* issuer = nullptr;  // self-signed without
  std::time_t from = 1000000000, to = 4000000000;
  int attributeType = MBSTRING_UTF8;  // or an ASN.1 type
  const char* digest = "SHA256";
};

inline std::string pemOf(EVP_PKEY* key) {
  BIO* bio = BIO_new(BIO_s_mem());
  PEM_write_bio_PKCS8PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
  char* text = nullptr;
  const long size = BIO_get_mem_data(bio, &text);
  std::string pem(text, static_cast<std::size_t>(size));
  BIO_free(bio);
  return pem;
}

/// Keys take time to make: one of each kind and number serves the whole process.
inline std::shared_ptr<EVP_PKEY> keyFor(const std::string& kind, int number) {
  static std::map<std::pair<std::string, int>, std::shared_ptr<EVP_PKEY>> keys;
  auto& key = keys[{kind, number}];
  if (!key) {
    EVP_PKEY* made =
        kind == "p256" ? EVP_EC_gen("P-256") : EVP_RSA_gen(static_cast<unsigned>(std::stoul(kind.substr(3))));
    if (made == nullptr) throw std::runtime_error("no key");
    key.reset(made, EVP_PKEY_free);
  }
  return key;
}

/// `number` tells keys of one kind apart.
inline Identity makeIdentity(const Recipe& recipe, int number = 0) {
  Identity made;
  made.key = keyFor(recipe.key, number);
  made.keyPem = pemOf(made.key.get());
  made.x509.reset(X509_new(), X509_free);
  X509* x = made.x509.get();
  X509_set_version(x, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x), recipe.serial);
  ASN1_TIME_set(X509_getm_notBefore(x), recipe.from);
  ASN1_TIME_set(X509_getm_notAfter(x), recipe.to);
  for (const auto& [name, value] : recipe.subject) {
    X509_NAME_add_entry_by_txt(X509_get_subject_name(x), name.c_str(), recipe.attributeType,
                               reinterpret_cast<const unsigned char*>(value.data()),
                               static_cast<int>(value.size()), -1, 0);
  }
  X509_set_issuer_name(x, X509_get_subject_name(recipe.issuer ? recipe.issuer->x509.get() : x));
  X509_set_pubkey(x, made.key.get());
  for (const auto& [name, value] : recipe.extensions) {
    X509_EXTENSION* extension = X509V3_EXT_conf(nullptr, nullptr, name.c_str(), value.c_str());
    if (extension == nullptr) throw std::runtime_error("no such extension: " + name + "=" + value);
    X509_add_ext(x, extension, -1);
    X509_EXTENSION_free(extension);
  }
  EVP_PKEY* signer = recipe.issuer ? recipe.issuer->key.get() : made.key.get();
  X509_sign(x, signer, EVP_get_digestbyname(recipe.digest));
  unsigned char* der = nullptr;
  const int size = i2d_X509(x, &der);
  made.der.assign(reinterpret_cast<char*>(der), static_cast<std::size_t>(size));
  OPENSSL_free(der);
  return made;
}

/// Jane signs and reads; Max is somebody else.
inline const Identity& jane() {
  static const Identity identity = makeIdentity({});
  return identity;
}
inline const Identity& max() {
  static const Identity identity = makeIdentity(
      {.subject = {{"CN", "Max Mustermann"}, {"emailAddress", "max@example.net"}}, .serial = 7}, 1);
  return identity;
}

/// Stores in a folder of their own for the time of a test.
class TemporaryStores {
 public:
  TemporaryStores() { qv::setCertificateStoreRoot(folder_ / "stores"); }
  ~TemporaryStores() { qv::setCertificateStoreRoot({}); }
  std::string operator/(std::string_view name) const { return folder_ / ("stores/" + std::string(name)); }
  /// Into the current user's store, with its key.
  void give(const Identity& identity) {
    qv::CertificateStore::openCurrentUserStore(false, nullptr)
        ->addWithKey(identity.certificate(), identity.keyPem);
  }

 private:
  qv::TemporaryFolder folder_;
};

}  // namespace qv_test

// What the sources of this folder that work with certificates share of OpenSSL; included by nobody else.
#pragma once

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>
#include <openssl/types.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/cert_context.h"

namespace qv::ossl {

struct Free {
  void operator()(BIO* bio) const noexcept { BIO_free_all(bio); }
  void operator()(CMS_ContentInfo* message) const noexcept { CMS_ContentInfo_free(message); }
  void operator()(EVP_CIPHER* cipher) const noexcept { EVP_CIPHER_free(cipher); }
  void operator()(EVP_MD* digest) const noexcept { EVP_MD_free(digest); }
  void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
  void operator()(PKCS12* bundle) const noexcept { PKCS12_free(bundle); }
  void operator()(PBE2PARAM* parameters) const noexcept { PBE2PARAM_free(parameters); }
  void operator()(PBEPARAM* parameters) const noexcept { PBEPARAM_free(parameters); }
  void operator()(PBKDF2PARAM* parameters) const noexcept { PBKDF2PARAM_free(parameters); }
  void operator()(PKCS7* message) const noexcept { PKCS7_free(message); }
  void operator()(PKCS8_PRIV_KEY_INFO* key) const noexcept { PKCS8_PRIV_KEY_INFO_free(key); }
  void operator()(STACK_OF(PKCS7) * all) const noexcept { sk_PKCS7_pop_free(all, PKCS7_free); }
  void operator()(STACK_OF(PKCS12_SAFEBAG) * all) const noexcept {
    sk_PKCS12_SAFEBAG_pop_free(all, PKCS12_SAFEBAG_free);
  }
  void operator()(X509* certificate) const noexcept { X509_free(certificate); }
  void operator()(STACK_OF(X509) * certificates) const noexcept { sk_X509_pop_free(certificates, X509_free); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

/// The component's own library context with the default and the legacy providers (RC4, RC2 and DES are in the
/// latter). The process's default context, which may be the host's, is left alone. Null when it could not be
/// made; lives as long as the process.
OSSL_LIB_CTX* context() noexcept;

/// The words for the last error of this thread, `otherwise` when there was none. The list of errors is empty
/// afterwards.
std::string takeErrorText(std::string_view otherwise = "unknown error");

/// A reading BIO over bytes that must outlive it; null when they are too many.
Owned<BIO> readerOf(std::string_view bytes);

/// An X.509 certificate of this library as a context of ours, made by sharing.
std::shared_ptr<const CertContext> contextOf(X509* certificate);
X509* x509Of(const CertContext& context) noexcept;

/// What names a certificate by its issuer and serial number.
CertId idOf(const X509_NAME* issuer, const ASN1_INTEGER* serial);

}  // namespace qv::ossl

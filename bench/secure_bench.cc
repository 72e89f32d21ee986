// Signing, verifying, encrypting and decrypting a 20 MB text, beside OpenSSL's own calls on the same bytes.
// The component's part is what a message costs beyond its composing and its transfer coding: QV_Crypt with
// its stores, keys read from their files included. "Message" is all of it: an e-mail with a 20 MB attachment,
// from the model to the text that is sent, and back.

#include <benchmark/benchmark.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/provider.h>
#include <openssl/x509.h>
#include <stdlib.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "cert/qv_crypt.h"
#include "email/email_reader.h"
#include "email/smime_writer.h"
#include "mime/transfer_coding.h"

namespace {

constexpr std::size_t kSize = 20 << 20;
constexpr const char* kTripleDes = "1.2.840.113549.3.7";

struct Person {
  X509* x509 = nullptr;
  EVP_PKEY* key = nullptr;
  std::unique_ptr<qv::Certificate> certificate;
};

// One person with a key in a store of its own, for the whole run.
const Person& person() {
  static const Person instance = [] {
    Person made;
    made.key = EVP_RSA_gen(2048);
    made.x509 = X509_new();
    X509_set_version(made.x509, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made.x509), 1);
    ASN1_TIME_set(X509_getm_notBefore(made.x509), 1000000000);
    ASN1_TIME_set(X509_getm_notAfter(made.x509), 4000000000);
    X509_NAME* name = X509_get_subject_name(made.x509);
    X509_NAME_add_entry_by_txt(name, "emailAddress", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>("bench@example.org"), -1, -1, 0);
    X509_set_issuer_name(made.x509, name);
    X509_set_pubkey(made.x509, made.key);
    X509_sign(made.x509, made.key, EVP_sha256());

    unsigned char* der = nullptr;
    const int size = i2d_X509(made.x509, &der);
    const std::string_view bytes(reinterpret_cast<char*>(der), static_cast<std::size_t>(size));
    made.certificate =
        std::make_unique<qv::Certificate>(qv::ContentCoding::encodeBase64ToBuffer(bytes).view(), nullptr);
    OPENSSL_free(der);
    BIO* pem = BIO_new(BIO_s_mem());
    PEM_write_bio_PrivateKey(pem, made.key, nullptr, nullptr, 0, nullptr, nullptr);
    char* text = nullptr;
    const long length = BIO_get_mem_data(pem, &text);
    static std::string folder = (std::filesystem::temp_directory_path() / "qvbenchXXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    std::atexit([] { std::filesystem::remove_all(folder); });
    qv::setCertificateStoreRoot(folder);
    qv::CertificateStore::openCurrentUserStore(false, nullptr)
        ->addWithKey(*made.certificate, {text, static_cast<std::size_t>(length)});
    BIO_free(pem);
    OSSL_PROVIDER_load(nullptr, "default");
    OSSL_PROVIDER_load(nullptr, "legacy");
    return made;
  }();
  return instance;
}

const std::string& text() {
  static const std::string instance = [] {
    std::string made(kSize, '\0');
    std::uint32_t state = 1;
    for (char& c : made) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return made;
  }();
  return instance;
}

void report(benchmark::State& state, bool isGood) {
  if (!isGood) state.SkipWithError("it failed");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

std::string derOf(CMS_ContentInfo* message) {
  std::string der(static_cast<std::size_t>(i2d_CMS_ContentInfo(message, nullptr)), '\0');
  auto* to = reinterpret_cast<unsigned char*>(der.data());
  i2d_CMS_ContentInfo(message, &to);
  CMS_ContentInfo_free(message);
  return der;
}
CMS_ContentInfo* parsed(std::string_view der) {
  const auto* at = reinterpret_cast<const unsigned char*>(der.data());
  return d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(der.size()));
}
BIO* readerOf(std::string_view bytes) {
  return BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size()));
}

// OpenSSL's own calls.

std::string opensslSign(std::string_view data, unsigned flags) {
  BIO* in = readerOf(data);
  std::string der =
      derOf(CMS_sign(person().x509, person().key, nullptr, in, CMS_BINARY | CMS_NOATTR | flags));
  BIO_free(in);
  return der;
}
bool opensslVerify(std::string_view der, bool detached, std::string_view data = text()) {
  CMS_ContentInfo* message = parsed(der);
  BIO* in = detached ? readerOf(data) : nullptr;
  BIO* out = BIO_new(detached ? BIO_s_null() : BIO_s_mem());
  const bool isGood =
      CMS_verify(message, nullptr, nullptr, in, out, CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
  BIO_free(in);
  BIO_free(out);
  CMS_ContentInfo_free(message);
  return isGood;
}
std::string opensslEncrypt(const char* cipher, std::string_view data) {
  STACK_OF(X509)* recipients = sk_X509_new_null();
  sk_X509_push(recipients, person().x509);
  BIO* in = readerOf(data);
  EVP_CIPHER* method = EVP_CIPHER_fetch(nullptr, cipher, nullptr);
  std::string der = derOf(CMS_encrypt(recipients, in, method, CMS_BINARY));
  EVP_CIPHER_free(method);
  BIO_free(in);
  sk_X509_free(recipients);
  return der;
}
bool opensslDecrypt(std::string_view der) {
  CMS_ContentInfo* message = parsed(der);
  BIO* out = BIO_new(BIO_s_mem());
  const bool isGood = CMS_decrypt(message, person().key, person().x509, nullptr, out, CMS_BINARY) == 1;
  BIO_free(out);
  CMS_ContentInfo_free(message);
  return isGood;
}

// The same with the component.

std::string sign(bool detached) {
  qv::BinaryData out;
  qv::QV_Crypt crypt(nullptr);
  const qv::Certificate* certificate = person().certificate.get();
  const bool isGood = detached ? crypt.createDetachedSignature(certificate, text(), out)
                               : crypt.createAttachedSignature(certificate, text(), out);
  return isGood ? std::string(out.view()) : "";
}
std::string encrypt(const char* cipher) {
  qv::BinaryData out;
  qv::QV_Crypt crypt(nullptr);
  crypt.setAlgorithm(cipher);
  return crypt.encryptData(text(), out, *person().certificate) ? std::string(out.view()) : "";
}

void BM_SignDetached(benchmark::State& state) {
  person();
  bool isGood = true;
  for (auto _ : state) {
    qv::BinaryData out;
    isGood &= qv::QV_Crypt(nullptr).createDetachedSignature(person().certificate.get(), text(), out);
  }
  report(state, isGood);
}
void BM_SignDetachedOpenssl(benchmark::State& state) {
  bool isGood = true;
  for (auto _ : state) isGood &= !opensslSign(text(), CMS_DETACHED).empty();
  report(state, isGood);
}

void BM_SignAttached(benchmark::State& state) {
  person();
  bool isGood = true;
  for (auto _ : state) {
    qv::BinaryData out;
    isGood &= qv::QV_Crypt(nullptr).createAttachedSignature(person().certificate.get(), text(), out);
  }
  report(state, isGood);
}
void BM_SignAttachedOpenssl(benchmark::State& state) {
  bool isGood = true;
  for (auto _ : state) isGood &= !opensslSign(text(), 0).empty();
  report(state, isGood);
}

void BM_VerifyDetached(benchmark::State& state) {
  const std::string message = sign(true);
  bool isGood = true;
  for (auto _ : state) {
    qv::CertificatePtr signer;
    isGood &= qv::QV_Crypt(nullptr).verifyDetachedSignature(message, text(), nullptr, signer) && signer;
  }
  report(state, isGood);
}
void BM_VerifyDetachedOpenssl(benchmark::State& state) {
  const std::string message = opensslSign(text(), CMS_DETACHED);
  bool isGood = true;
  for (auto _ : state) isGood &= opensslVerify(message, true);
  report(state, isGood);
}

void BM_VerifyAttached(benchmark::State& state) {
  const std::string message = sign(false);
  bool isGood = true;
  for (auto _ : state) {
    qv::BinaryData content;
    qv::CertificatePtr signer;
    isGood &= qv::QV_Crypt(nullptr).verifySignature(message, content, signer) && content.size() == kSize;
  }
  report(state, isGood);
}
void BM_VerifyAttachedOpenssl(benchmark::State& state) {
  const std::string message = opensslSign(text(), 0);
  bool isGood = true;
  for (auto _ : state) isGood &= opensslVerify(message, false);
  report(state, isGood);
}

// Argument 0: triple DES, 1: RC4.
constexpr const char* kCiphers[][2] = {{kTripleDes, "DES-EDE3-CBC"}, {"1.2.840.113549.3.4", "RC4"}};

void BM_Encrypt(benchmark::State& state) {
  person();
  bool isGood = true;
  for (auto _ : state) {
    qv::BinaryData out;
    qv::QV_Crypt crypt(nullptr);
    crypt.setAlgorithm(kCiphers[state.range(0)][0]);
    isGood &= crypt.encryptData(text(), out, *person().certificate);
  }
  report(state, isGood);
}
void BM_EncryptOpenssl(benchmark::State& state) {
  person();
  bool isGood = true;
  for (auto _ : state) isGood &= !opensslEncrypt(kCiphers[state.range(0)][1], text()).empty();
  report(state, isGood);
}
void BM_Decrypt(benchmark::State& state) {
  const std::string message = encrypt(kCiphers[state.range(0)][0]);
  bool isGood = true;
  for (auto _ : state) {
    qv::BinaryData content;
    qv::CertificatePtr whose;
    isGood &= qv::QV_Crypt(nullptr).decryptMessage(message, content, whose) && content.size() == kSize;
  }
  report(state, isGood);
}
void BM_DecryptOpenssl(benchmark::State& state) {
  const std::string message = encrypt(kCiphers[state.range(0)][0]);
  bool isGood = true;
  for (auto _ : state) isGood &= opensslDecrypt(message);
  report(state, isGood);
}

std::unique_ptr<qv::Email> largeEmail(bool isSigned, bool isEncrypted) {
  auto email = std::make_unique<qv::Email>(nullptr);
  email->setFrom("bench@example.org");
  email->addTo("", "bench@example.org");
  qv::Email::convertToMixed(*email);
  auto file = qv::Email::newEmptyPart(nullptr);
  file->setContentType("application/octet-stream", "large.bin");
  file->setTransferEncoding("base64");
  file->setDisposition("attachment", "large.bin");
  file->body().setForBase64(qv::BinaryData(text()));
  email->addPart(std::move(file));
  email->sendSecurity().sendSigned = isSigned;
  email->sendSecurity().sendEncrypted = isEncrypted;
  email->sendSecurity().encryptAlgorithm = qv::EncryptAlgorithm::tripleDes;
  return email;
}

// Argument 0: neither, 1: signed, 2: encrypted, 3: both.
qv::StringBuffer sentText(qv::Email& email) {
  bool failed = false;
  const auto made = qv::prepareSecurity(email, false, {}, nullptr, failed);
  qv::StringBuffer out;
  if (!failed) (made ? *made : email).writeMime(out, "QVX-");
  return out;
}
// The step between composing and writing alone, beside OpenSSL's calls on the very texts that it signs and
// encrypts: with both, what is encrypted is the signed message in base64.
void BM_PrepareMessage(benchmark::State& state) {
  person();
  const auto email = largeEmail((state.range(0) & 1) != 0, (state.range(0) & 2) != 0);
  bool isGood = true;
  for (auto _ : state) {
    bool failed = false;
    isGood &= qv::prepareSecurity(*email, false, {}, nullptr, failed) != nullptr;
  }
  report(state, isGood);
}
void BM_PrepareMessageOpenssl(benchmark::State& state) {
  const auto email = largeEmail(false, false);
  const bool isSigned = (state.range(0) & 1) != 0, isEncrypted = (state.range(0) & 2) != 0;
  const qv::StringBuffer message = sentText(*email);
  qv::StringBuffer toEncrypt;
  (isSigned ? *qv::createSignedData(*email, false, {}, nullptr) : *email).writeMime(toEncrypt, "QVX-");
  bool isGood = true;
  for (auto _ : state) {
    if (isSigned) isGood &= !opensslSign(message, isEncrypted ? 0 : CMS_DETACHED).empty();
    if (isEncrypted) isGood &= !opensslEncrypt("DES-EDE3-CBC", toEncrypt).empty();
  }
  report(state, isGood);
}
void BM_WriteMessage(benchmark::State& state) {
  person();
  const auto email = largeEmail((state.range(0) & 1) != 0, (state.range(0) & 2) != 0);
  bool isGood = true;
  for (auto _ : state) isGood &= sentText(*email).size() > kSize;
  report(state, isGood);
}
void BM_ReadMessage(benchmark::State& state) {
  person();
  const qv::StringBuffer message =
      sentText(*largeEmail((state.range(0) & 1) != 0, (state.range(0) & 2) != 0));
  bool isGood = true;
  for (auto _ : state) {
    const auto email = qv::createFromMimeText(message, {.processSecurity = true}, nullptr);
    isGood &= email->receivedSecurity().whollySigned == ((state.range(0) & 1) != 0) &&
              email->receivedSecurity().whollyEncrypted == ((state.range(0) & 2) != 0) &&
              email->numAttachments() == 1;
  }
  report(state, isGood);
}
// The layer alone, of a message of that size.
void BM_ReadMessageOpenssl(benchmark::State& state) {
  const qv::StringBuffer message = sentText(*largeEmail(false, false));
  const bool isSigned = state.range(0) == 1;
  const std::string layer =
      isSigned ? opensslSign(message, CMS_DETACHED) : opensslEncrypt("DES-EDE3-CBC", message);
  bool isGood = true;
  for (auto _ : state) isGood &= isSigned ? opensslVerify(layer, true, message) : opensslDecrypt(layer);
  report(state, isGood);
}

BENCHMARK(BM_SignDetached)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SignDetachedOpenssl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SignAttached)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SignAttachedOpenssl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyDetached)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyDetachedOpenssl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyAttached)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyAttachedOpenssl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encrypt)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncryptOpenssl)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decrypt)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecryptOpenssl)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PrepareMessage)->DenseRange(1, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PrepareMessageOpenssl)->DenseRange(1, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteMessage)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadMessage)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadMessageOpenssl)->DenseRange(1, 2)->Unit(benchmark::kMillisecond);

}  // namespace

#include "platform/crypt_messages.h"

#include <openssl/err.h>
#include <openssl/objects.h>

#include <algorithm>
#include <climits>
#include <set>
#include <utility>

#include "platform/openssl_support.h"
#include "platform/private_keys.h"

namespace qv::crypt {
namespace {

using ossl::Owned;

bool failed(Error::Stage stage, Error& error, std::string_view otherwise = "unknown error") {
  error.stage = stage;
  error.code = ERR_peek_last_error();
  error.text = ossl::takeErrorText(otherwise);
  return false;
}

// Longer than the library's own steps, so that a large text costs little more than its digest or cipher.
bool writeAll(BIO* to, std::string_view data) {
  constexpr std::size_t kStep = std::size_t{1} << 20;
  while (!data.empty()) {
    const auto step = static_cast<int>(std::min(data.size(), kStep));
    if (BIO_write(to, data.data(), step) != step) return false;
    data.remove_prefix(static_cast<std::size_t>(step));
  }
  return BIO_flush(to) == 1;
}

// Runs the data through the chain of a message that is being made, and writes the message.
template <typename Message>
bool finish(Message* message, BIO* (*init)(Message*, BIO*), int (*final)(Message*, BIO*),
            int (*encode)(const Message*, unsigned char**), std::string_view data, Output& out,
            Error& error) {
  const Owned<BIO> chain(init(message, nullptr));
  if (!chain || !writeAll(chain.get(), data) || final(message, chain.get()) != 1) {
    return failed(Error::Stage::process, error);
  }
  const int size = encode(message, nullptr);
  if (size <= 0) return failed(Error::Stage::process, error);
  auto* to = reinterpret_cast<unsigned char*>(out.extend(static_cast<std::size_t>(size)));
  encode(message, &to);
  return true;
}

bool finish(CMS_ContentInfo* message, std::string_view data, Output& out, Error& error) {
  return finish<CMS_ContentInfo>(message, CMS_dataInit, CMS_dataFinal, i2d_CMS_ContentInfo, data, out, error);
}

bool isTooLarge(std::string_view data, Error& error) {
  if (data.size() <= kLargestMessage) return false;
  error = {.text = "The text is too large"};
  return true;
}

Owned<CMS_ContentInfo> parse(std::string_view message, Error& error) {
  Owned<CMS_ContentInfo> parsed(CMS_ContentInfo_new_ex(ossl::context(), nullptr));
  const auto* at = reinterpret_cast<const unsigned char*>(message.data());
  CMS_ContentInfo* target = parsed.get();
  if (isTooLarge(message, error)) return nullptr;
  if (target == nullptr || message.empty() ||
      d2i_CMS_ContentInfo(&target, &at, static_cast<long>(message.size())) == nullptr) {
    if (target == nullptr) (void)parsed.release();  // OpenSSL freed it as it failed
    failed(Error::Stage::prepare, error, "not a PKCS #7 message");
    return nullptr;
  }
  return parsed;
}

// The digest that a certificate is signed with; SHA-256 where its signature has none of its own.
Owned<EVP_MD> digestOf(const CertContext& certificate) {
  int digest = NID_undef;
  X509_get_signature_info(ossl::x509Of(certificate), &digest, nullptr, nullptr, nullptr);
  if (digest == NID_undef) digest = NID_sha256;
  return Owned<EVP_MD>(EVP_MD_fetch(ossl::context(), OBJ_nid2sn(digest), nullptr));
}

// QUIRK: RC4 comes with parameters NULL from some programs, which the library takes for a fault. Gives the
// message without them; empty when it is no such message.
std::string withoutRc4Parameters(std::string_view message) {
  static constexpr std::string_view kRc4WithNull("\x06\x08\x2a\x86\x48\x86\xf7\x0d\x03\x04\x05\x00", 12);
  constexpr std::size_t kSearched = 64 << 10;  // it stands before the text, behind the recipients
  if (message.substr(0, kSearched).find(kRc4WithNull) == std::string_view::npos) return {};
  const auto* at = reinterpret_cast<const unsigned char*>(message.data());
  const Owned<PKCS7> parsed(d2i_PKCS7(nullptr, &at, static_cast<long>(message.size())));
  const bool isRc4 = parsed && PKCS7_type_is_enveloped(parsed.get()) &&
                     OBJ_obj2nid(parsed->d.enveloped->enc_data->algorithm->algorithm) == NID_rc4;
  ERR_clear_error();
  if (!isRc4) return {};
  X509_ALGOR* cipher = parsed->d.enveloped->enc_data->algorithm;
  ASN1_TYPE_free(std::exchange(cipher->parameter, nullptr));
  const int size = i2d_PKCS7(parsed.get(), nullptr);
  std::string der(static_cast<std::size_t>(std::max(size, 0)), '\0');
  auto* to = reinterpret_cast<unsigned char*>(der.data());
  if (size > 0) i2d_PKCS7(parsed.get(), &to);
  return der;
}

CertId idOf(const ASN1_OCTET_STRING* keyId, const X509_NAME* issuer, const ASN1_INTEGER* serial) {
  CertId id = ossl::idOf(issuer, serial);
  if (keyId != nullptr) {
    id.keyId.assign(reinterpret_cast<const char*>(ASN1_STRING_get0_data(keyId)),
                    static_cast<std::size_t>(ASN1_STRING_length(keyId)));
  }
  return id;
}

// Who a message is encrypted for, one after the other, until `visit` says that it is enough.
template <typename Visit>
void forEachRecipient(CMS_ContentInfo* message, Visit visit) {
  const STACK_OF(CMS_RecipientInfo)* all = CMS_get0_RecipientInfos(message);
  for (int i = 0; all != nullptr && i < sk_CMS_RecipientInfo_num(all); ++i) {
    CMS_RecipientInfo* recipient = sk_CMS_RecipientInfo_value(all, i);
    ASN1_OCTET_STRING* keyId = nullptr;
    X509_NAME* issuer = nullptr;
    ASN1_INTEGER* serial = nullptr;
    if (CMS_RecipientInfo_type(recipient) == CMS_RECIPINFO_TRANS) {
      if (CMS_RecipientInfo_ktri_get0_signer_id(recipient, &keyId, &issuer, &serial) == 1 &&
          visit(idOf(keyId, issuer, serial))) {
        return;
      }
    } else if (CMS_RecipientInfo_type(recipient) == CMS_RECIPINFO_AGREE) {
      STACK_OF(CMS_RecipientEncryptedKey)* keys = CMS_RecipientInfo_kari_get0_reks(recipient);
      for (int k = 0; keys != nullptr && k < sk_CMS_RecipientEncryptedKey_num(keys); ++k) {
        CMS_RecipientEncryptedKey* key = sk_CMS_RecipientEncryptedKey_value(keys, k);
        if (CMS_RecipientEncryptedKey_get0_id(key, &keyId, nullptr, nullptr, &issuer, &serial) == 1 &&
            visit(idOf(keyId, issuer, serial))) {
          return;
        }
      }
    }
  }
}

// Gives the message the key of a recipient who is known here. Only that recipient's own part of the message
// is tried with it: trying a key on others' parts told an attacker whether it fits (CVE-2019-1563).
bool unlock(CMS_ContentInfo* message, const CertFinder& findKey, CertContextPtr& recipient, Error& error) {
  bool isUnlocked = false;
  std::size_t tried = 0;
  error = {.text = "The message is encrypted for nobody whose private key is here"};
  forEachRecipient(message, [&](const CertId& id) {
    CertContextPtr certificate = findKey(id);
    if (!certificate) return false;
    std::string reason;
    const Owned<EVP_PKEY> key = ossl::loadKey(*certificate, reason);
    if (!key) {
      error.text = reason;
    } else if (CMS_decrypt_set1_pkey_and_peer(message, key.get(), ossl::x509Of(*certificate), nullptr) == 1) {
      isUnlocked = true;
      recipient = std::move(certificate);
    } else {
      failed(Error::Stage::prepare, error);
    }
    return isUnlocked || ++tried == kMaxKeys;
  });
  return isUnlocked;
}

bool readAll(BIO* from, std::size_t expected, Output& out) {
  constexpr std::size_t kStep = std::size_t{64} << 10;
  std::size_t size = 0, room = 0;
  room = std::clamp(expected, kStep, kLargestMessage);
  char* at = out.extend(room);
  for (;;) {
    if (size == room) {
      at = out.extend(kStep) - size;
      room += kStep;
    }
    const auto step = static_cast<int>(std::min(room - size, std::size_t{1} << 20));
    const int count = BIO_read(from, at + size, step);
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
  }
  // A bad last block shows only now; so does a tag that does not fit.
  const bool isGood = BIO_method_type(from) != BIO_TYPE_CIPHER || BIO_get_cipher_status(from) == 1;
  out.truncate(isGood ? size : 0);
  return isGood;
}

bool encryptAsPkcs7(std::string_view data, const EVP_CIPHER* cipher, const CertContext& recipient,
                    Output& out, Error& error) {
  const Owned<PKCS7> message(PKCS7_new_ex(ossl::context(), nullptr));
  if (!message || PKCS7_set_type(message.get(), NID_pkcs7_enveloped) != 1 ||
      PKCS7_add_recipient(message.get(), ossl::x509Of(recipient)) == nullptr ||
      PKCS7_set_cipher(message.get(), cipher) != 1) {
    return failed(Error::Stage::prepare, error);
  }
  return finish<PKCS7>(message.get(), PKCS7_dataInit, PKCS7_dataFinal, i2d_PKCS7, data, out, error);
}

bool encryptAsCms(std::string_view data, const EVP_CIPHER* cipher, const CertContext& recipient, Output& out,
                  Error& error) {
  const std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509)*)> recipients(
      sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_free(stack); });
  if (!recipients || sk_X509_push(recipients.get(), ossl::x509Of(recipient)) != 1) {
    return failed(Error::Stage::prepare, error);
  }
  const Owned<CMS_ContentInfo> message(
      CMS_encrypt_ex(recipients.get(), nullptr, cipher, CMS_BINARY | CMS_PARTIAL, ossl::context(), nullptr));
  if (!message) return failed(Error::Stage::prepare, error);
  return finish(message.get(), data, out, error);
}

}  // namespace

bool isProviderAvailable(std::string& error) {
  if (ossl::context() != nullptr) return true;
  error = ossl::takeErrorText("No cryptographic provider");
  return false;
}

bool sign(std::string_view data, const CertContext& signer, bool detached, Output& out, Error& error) {
  ERR_clear_error();
  error.stage = Error::Stage::prepare;
  if (isTooLarge(data, error)) return false;
  const Owned<EVP_PKEY> key = ossl::loadKey(signer, error.text);
  if (!key) return false;
  const unsigned flags = CMS_BINARY | CMS_PARTIAL | CMS_NOATTR | (detached ? CMS_DETACHED : 0U);
  const Owned<EVP_MD> digest = digestOf(signer);
  const Owned<CMS_ContentInfo> message(
      CMS_sign_ex(nullptr, nullptr, nullptr, nullptr, flags, ossl::context(), nullptr));
  if (!digest || !message ||
      CMS_add1_signer(message.get(), ossl::x509Of(signer), key.get(), digest.get(), flags) == nullptr) {
    return failed(Error::Stage::prepare, error);
  }
  return finish(message.get(), data, out, error);
}

bool encrypt(std::string_view data, std::string_view cipher, const CertContext& recipient, Output& out,
             Error& error) {
  ERR_clear_error();
  error.stage = Error::Stage::prepare;
  if (isTooLarge(data, error)) return false;
  const int nid = OBJ_txt2nid(std::string(cipher).c_str());
  const char* name = nid == NID_undef ? nullptr : OBJ_nid2sn(nid);
  const Owned<EVP_CIPHER> method(name == nullptr ? nullptr
                                                 : EVP_CIPHER_fetch(ossl::context(), name, nullptr));
  if (!method) return failed(Error::Stage::prepare, error, "The cipher is not known");
  // RC4 has no parameters, but the newer calls write some.
  const bool isPlainRc4 =
      nid == NID_rc4 && EVP_PKEY_is_a(X509_get0_pubkey(ossl::x509Of(recipient)), "RSA") == 1;
  return isPlainRc4 ? encryptAsPkcs7(data, method.get(), recipient, out, error)
                    : encryptAsCms(data, method.get(), recipient, out, error);
}

bool decrypt(std::string_view message, const CertFinder& findKey, Output& out, CertContextPtr& recipient,
             Error& error) {
  ERR_clear_error();
  error.stage = Error::Stage::prepare;
  recipient.reset();
  if (isTooLarge(message, error)) return false;
  const std::string repaired = withoutRc4Parameters(message);
  const Owned<CMS_ContentInfo> parsed = parse(repaired.empty() ? message : std::string_view(repaired), error);
  if (!parsed) return false;
  const int type = OBJ_obj2nid(CMS_get0_type(parsed.get()));
  if (type != NID_pkcs7_enveloped && type != NID_id_smime_ct_authEnvelopedData) {
    error.text = "The message is not encrypted";
    return false;
  }
  CertContextPtr found;
  if (!unlock(parsed.get(), findKey, found, error)) return false;
  const Owned<BIO> chain(CMS_dataInit(parsed.get(), nullptr));
  if (!chain || !readAll(chain.get(), message.size(), out)) {
    return failed(Error::Stage::process, error, "The text cannot be decrypted");
  }
  ERR_clear_error();
  recipient = std::move(found);
  return true;
}

struct SignedMessage::Held {
  Owned<CMS_ContentInfo> message;
  Owned<STACK_OF(X509)> certificates;
  Owned<BIO> digests;  // of the data, by every algorithm that a signer uses; null until they are made

  STACK_OF(CMS_SignerInfo) * signers() const { return CMS_get0_SignerInfos(message.get()); }
  bool digest(std::string_view data);
  X509* certificateOf(CMS_SignerInfo* signer) const;
};

// One pass over the data for each algorithm that the library knows and a signer names. The list of algorithms
// that the message carries is not asked: it may be as long as its maker likes.
bool SignedMessage::Held::digest(std::string_view data) {
  if (digests) return true;
  Owned<BIO> chain(BIO_new(BIO_s_null()));
  std::set<int> known;
  for (int i = 0; i < sk_CMS_SignerInfo_num(signers()); ++i) {
    X509_ALGOR* algorithm = nullptr;
    CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(signers(), i), nullptr, nullptr, &algorithm, nullptr);
    const int nid = OBJ_obj2nid(algorithm->algorithm);
    if (nid == NID_undef || !known.insert(nid).second) continue;
    const Owned<EVP_MD> method(EVP_MD_fetch(ossl::context(), OBJ_nid2sn(nid), nullptr));
    Owned<BIO> filter(method ? BIO_new(BIO_f_md()) : nullptr);
    if (!filter || BIO_set_md(filter.get(), method.get()) != 1) continue;  // its signers will fail
    chain.reset(BIO_push(filter.release(), chain.release()));
  }
  ERR_clear_error();
  if (!chain || !writeAll(chain.get(), data)) return false;
  digests = std::move(chain);
  return true;
}

X509* SignedMessage::Held::certificateOf(CMS_SignerInfo* signer) const {
  for (int i = 0; i < sk_X509_num(certificates.get()); ++i) {
    X509* certificate = sk_X509_value(certificates.get(), i);
    if (CMS_SignerInfo_cert_cmp(signer, certificate) == 0) return certificate;
  }
  return nullptr;
}

SignedMessage::SignedMessage(std::unique_ptr<Held> held) : held_(std::move(held)) {}
SignedMessage::~SignedMessage() = default;

std::unique_ptr<SignedMessage> SignedMessage::read(std::string_view message, Error& error) {
  ERR_clear_error();
  auto held = std::make_unique<Held>();
  held->message = parse(message, error);
  if (!held->message) return nullptr;
  error = {};
  if (OBJ_obj2nid(CMS_get0_type(held->message.get())) != NID_pkcs7_signed) {
    error.text = "The message is not signed";
  } else if (OBJ_obj2nid(CMS_get0_eContentType(held->message.get())) != NID_pkcs7_data) {
    error.text = "What is signed is no plain data";
  } else if (sk_CMS_SignerInfo_num(held->signers()) > static_cast<int>(kMaxSigners)) {
    error.text = "The message has too many signers";
  }
  if (!error.text.empty()) return nullptr;
  held->certificates.reset(CMS_get1_certs(held->message.get()));
  ERR_clear_error();
  return std::unique_ptr<SignedMessage>(new SignedMessage(std::move(held)));
}

std::size_t SignedMessage::numSigners() const noexcept {
  return static_cast<std::size_t>(std::max(sk_CMS_SignerInfo_num(held_->signers()), 0));
}

bool SignedMessage::hasContent() const noexcept {
  ASN1_OCTET_STRING** content = CMS_get0_content(held_->message.get());
  return content != nullptr && *content != nullptr;
}

std::string_view SignedMessage::content() const noexcept {
  ASN1_OCTET_STRING** content = CMS_get0_content(held_->message.get());
  if (content == nullptr || *content == nullptr || ASN1_STRING_length(*content) <= 0) return {};
  return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(*content)),
          static_cast<std::size_t>(ASN1_STRING_length(*content))};
}

SignedMessage::Check SignedMessage::verify(std::size_t index, std::string_view data, const CertFinder& find,
                                           CertContextPtr& signer, Error& error) {
  ERR_clear_error();
  signer.reset();
  error = {};
  if (index >= numSigners()) {
    error.text = "There is no such signer";
    return Check::noSigner;
  }
  CMS_SignerInfo* info = sk_CMS_SignerInfo_value(held_->signers(), static_cast<int>(index));
  X509* certificate = held_->certificateOf(info);
  CertContextPtr found;
  if (certificate == nullptr && find) {
    ASN1_OCTET_STRING* keyId = nullptr;
    X509_NAME* issuer = nullptr;
    ASN1_INTEGER* serial = nullptr;
    CMS_SignerInfo_get0_signer_id(info, &keyId, &issuer, &serial);
    found = find(idOf(keyId, issuer, serial));
    if (found) certificate = ossl::x509Of(*found);
  }
  if (certificate == nullptr) {
    error.text = "The certificate of the signer is not here";
    return Check::certificateNotFound;
  }
  CMS_SignerInfo_set1_signer_cert(info, certificate);
  const bool hasAttributes = CMS_signed_get_attr_count(info) >= 0;
  const bool isGood = held_->digest(data) && (!hasAttributes || CMS_SignerInfo_verify(info) == 1) &&
                      CMS_SignerInfo_verify_content(info, held_->digests.get()) == 1;
  if (!isGood) {
    failed(Error::Stage::process, error, "The signature does not fit");
    return Check::bad;
  }
  signer = found ? std::move(found) : ossl::contextOf(certificate);
  return Check::good;
}

}  // namespace qv::crypt

// Signing, verifying, encrypting and decrypting, and what is refused.
#include "cert/qv_crypt.h"

#include <gtest/gtest.h>
#include <openssl/cms.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/crypt_messages.h"
#include "support/log_lines.h"
#include "support/test_certificates.h"

namespace qv {
namespace {

using qv_test::Identity;
using qv_test::jane;
using qv_test::makeIdentity;

constexpr const char* kRc4 = "1.2.840.113549.3.4";
constexpr const char* kTripleDes = "1.2.840.113549.3.7";

std::string textOf(const BinaryData& bytes) {
  return std::string(bytes.view());
}

/// A message made by OpenSSL's own calls.
std::string cms(CMS_ContentInfo* message) {
  unsigned char* der = nullptr;
  const int size = i2d_CMS_ContentInfo(message, &der);
  std::string bytes(reinterpret_cast<char*>(der), static_cast<std::size_t>(size));
  OPENSSL_free(der);
  CMS_ContentInfo_free(message);
  return bytes;
}

std::string signedBy(const std::vector<const Identity*>& signers, std::string_view text, unsigned flags,
                     const char* digest = "SHA256") {
  BIO* in = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
  CMS_ContentInfo* message = CMS_sign(nullptr, nullptr, nullptr, nullptr, flags | CMS_PARTIAL | CMS_BINARY);
  for (const Identity* each : signers) {
    CMS_add1_signer(message, each->x509.get(), each->key.get(), EVP_get_digestbyname(digest),
                    flags | CMS_BINARY);
  }
  CMS_final(message, in, nullptr, flags | CMS_BINARY);
  BIO_free(in);
  return cms(message);
}

class QvCryptTest : public testing::Test {
 protected:
  /// "good" or what the last error says, up to the colon; and who signed.
  std::string verify(std::string_view signature, std::string_view text, SaveStore* saveStore = nullptr) {
    log_.clear();
    CertificatePtr signer;
    const bool isGood = QV_Crypt(log_.get()).verifyDetachedSignature(signature, text, saveStore, signer);
    if (!isGood) EXPECT_EQ(signer, nullptr);
    const std::string name = signer ? " " + std::string(signer->getSubjectAttribute("CN")) : "";
    return isGood ? "good" + name : log_.lastError().substr(0, log_.lastError().find(':'));
  }
  std::string open(std::string_view message) {
    log_.clear();
    BinaryData content("left over");
    CertificatePtr signer;
    const bool isGood = QV_Crypt(log_.get()).verifySignature(message, content, signer);
    if (!isGood) EXPECT_EQ(textOf(content) + (signer ? "signer" : ""), "");
    return isGood ? textOf(content) : log_.lastError().substr(0, log_.lastError().find(':'));
  }
  std::string decrypt(std::string_view message) {
    log_.clear();
    BinaryData content("left over");
    CertificatePtr whose;
    const bool isGood = QV_Crypt(log_.get()).decryptMessage(message, content, whose);
    if (!isGood) EXPECT_EQ(textOf(content) + (whose ? "certificate" : ""), "");
    return isGood ? textOf(content) : log_.lastError().substr(0, log_.lastError().find(':'));
  }
  std::string encrypted(std::string_view text, const char* cipher, const Identity& identity = jane()) {
    QV_Crypt crypt(log_.get());
    crypt.setAlgorithm(cipher);
    BinaryData out;
    EXPECT_TRUE(crypt.encryptData(text, out, identity.certificate())) << log_.text();
    return textOf(out);
  }
  std::string detached(std::string_view text, const Identity& identity = jane()) {
    BinaryData out;
    const Certificate certificate = identity.certificate();
    EXPECT_TRUE(QV_Crypt(log_.get()).createDetachedSignature(&certificate, text, out)) << log_.text();
    return textOf(out);
  }

  qv_test::TemporaryStores stores_;
  qv_test::LogLines log_;
};

TEST_F(QvCryptTest, SignsWithEveryKindOfKey) {
  const std::string text(100000, 'x');
  for (const char* key : {"rsa2048", "rsa4096", "p256"}) {
    for (const char* digest : {"SHA1", "SHA256", "SHA384", "MD5"}) {
      if (std::string_view(key) == "p256" && std::string_view(digest) == "MD5") continue;  // there is no such
      const Identity identity = makeIdentity({.key = key, .serial = 9, .digest = digest});
      stores_.give(identity);
      EXPECT_EQ(verify(detached(text, identity), text), "good Jane Roe") << key << digest;
      BinaryData attached;
      const Certificate certificate = identity.certificate();
      ASSERT_TRUE(QV_Crypt(log_.get()).createAttachedSignature(&certificate, text, attached)) << log_.text();
      EXPECT_EQ(open(attached.view()), text) << key << digest;
      std::filesystem::remove_all(stores_ / "current_user");
    }
  }
}

// SignedData 1.2.840.113549.1.7.2 of one certificate and one signer without attributes, by the certificate's
// own digest.
TEST_F(QvCryptTest, WritesNoMoreThanTheSignatureAndTheCertificate) {
  const Identity identity = makeIdentity({.digest = "SHA384"});
  stores_.give(identity);
  const std::string der = detached("text", identity);
  const auto* at = reinterpret_cast<const unsigned char*>(der.data());
  const std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)> message(
      d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(der.size())), CMS_ContentInfo_free);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(OBJ_obj2nid(CMS_get0_type(message.get())), NID_pkcs7_signed);
  EXPECT_EQ(CMS_is_detached(message.get()), 1);
  STACK_OF(X509)* certificates = CMS_get1_certs(message.get());
  EXPECT_EQ(sk_X509_num(certificates), 1);
  EXPECT_EQ(X509_cmp(sk_X509_value(certificates, 0), identity.x509.get()), 0);
  sk_X509_pop_free(certificates, X509_free);
  EXPECT_EQ(CMS_get1_crls(message.get()), nullptr);
  STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(message.get());
  ASSERT_EQ(sk_CMS_SignerInfo_num(signers), 1);
  CMS_SignerInfo* signer = sk_CMS_SignerInfo_value(signers, 0);
  EXPECT_EQ(CMS_signed_get_attr_count(signer), -1);
  EXPECT_EQ(CMS_unsigned_get_attr_count(signer), -1);
  X509_ALGOR* digest = nullptr;
  CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, nullptr);
  EXPECT_EQ(OBJ_obj2nid(digest->algorithm), NID_sha384);
}

TEST_F(QvCryptTest, SignsWithTheFirstCertificateThatCan) {
  BinaryData signature;
  QV_Crypt crypt(log_.get());
  EXPECT_FALSE(crypt.createDetachedSignature(std::string_view(), "text", signature));
  EXPECT_FALSE(crypt.createDetachedSignature(std::string_view(""), "text", signature));
  EXPECT_FALSE(crypt.createDetachedSignature(std::string_view("jane@example.org"), "text", signature));
  EXPECT_FALSE(crypt.createDetachedSignature(nullptr, "text", signature));
  EXPECT_FALSE(crypt.createAttachedSignature(nullptr, "text", signature));
  EXPECT_TRUE(log_.holds({"createDetachedSignature.1: Email address is NULL",
                          "createDetachedSignature.2: Email address is empty",
                          "No certificates for signing could be located",
                          "createDetachedSignature.3: certificate param is null",
                          "createAttachedSignature.1: certificate param is null"}));

  // One without a key, in a store before.
  const Certificate bare = makeIdentity({.serial = 30}).certificate();
  EXPECT_TRUE(CertificateStore::openLocalMachineStore(false, nullptr)->addCertificate(&bare));
  log_.clear();
  EXPECT_FALSE(crypt.createDetachedSignature(std::string_view("jane@example.org"), "text", signature));
  EXPECT_EQ(log_.count("createDetachedSignature.1: The private key of the certificate is not here"), 2U);
  EXPECT_EQ(log_.count("error_code: 0x0"), 2U);

  const Identity notUsable = makeIdentity({.extensions = {{"extendedKeyUsage", "clientAuth"}}, .serial = 31});
  stores_.give(notUsable);
  ASSERT_TRUE(
      QV_Crypt(log_.get()).createDetachedSignature(std::string_view("Jane@Example.ORG"), "text", signature));
  EXPECT_EQ(verify(signature.view(), "text"), "good Jane Roe");
}

TEST_F(QvCryptTest, RefusesWhatDoesNotFit) {
  const std::string text = "Content-Type: text/plain\r\n\r\nBuy 100";
  stores_.give(jane());
  const std::string good = detached(text);
  const std::string byJane = signedBy({&jane()}, text, CMS_DETACHED);
  // The signature's own end is the signature value: any change of it is seen.
  std::string changed = good;
  changed.back() = static_cast<char>(changed.back() ^ 1);
  const Identity other = makeIdentity({}, 1);  // the same names and number, another key
  std::string replaced = signedBy({&other}, text, CMS_DETACHED);
  const std::size_t at = replaced.find(other.der);
  ASSERT_NE(at, std::string::npos);
  replaced.replace(at, other.der.size(), jane().der);  // both have the same length
  const struct {
    const char* what;
    std::string signature, text;
    std::string result;
  } rows[] = {
      {"good", good, text, "good Jane Roe"},
      {"good, with attributes", byJane, text, "good Jane Roe"},
      {"good, with its own copy of the text", signedBy({&jane()}, text, 0), text, "good Jane Roe"},
      {"another text beside its own copy", signedBy({&jane()}, text, 0), "Buy 900",
       "verifyDetachedSignature.2"},
      {"another text", good, "Buy 900", "verifyDetachedSignature.2"},
      {"another text, with attributes", byJane, "Buy 900", "verifyDetachedSignature.2"},
      {"another end", good, text + " ", "verifyDetachedSignature.2"},
      {"changed", changed, text, "verifyDetachedSignature.2"},
      {"another's key", replaced, text, "verifyDetachedSignature.2"},
      {"nobody", signedBy({}, text, CMS_DETACHED), text, "good"},
      {"encrypted", encrypted(text, kTripleDes), text, "verifyDetachedSignature.2"},
      {"no signature", "", text, "verifyDetachedSignature.1"},
      {"no text", good, "", "verifyDetachedSignature.1"},
      {"garbage", "\x30\x03garbage", text, "verifyDetachedSignature.2"},
      {"indefinite without end", "\x30\x80\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02\xa0\x80", text,
       "verifyDetachedSignature.2"},
      {"a bad digest", signedBy({&jane()}, text, CMS_DETACHED, "SHA1") + "trailing", text, "good Jane Roe"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(verify(row.signature, row.text), row.result) << row.what << "\n" << log_.text();
  }
  verify("", text);
  EXPECT_TRUE(log_.holds({"verifyDetachedSignature.1: invalid parameters", "digital signature is missing"}));
  verify(good, {});
  EXPECT_TRUE(log_.holds({"verifyDetachedSignature.1: invalid parameters", "signed data is null"}));
  for (std::size_t size = 0; size < good.size(); size += 5) {
    EXPECT_EQ(verify(std::string_view(good).substr(0, size + 1), text), "verifyDetachedSignature.2") << size;
  }
}

// One byte changed anywhere in it: never good for another text.
TEST_F(QvCryptTest, SurvivesEveryChangedByte) {
  stores_.give(jane());
  const std::string good = detached("text"), envelope = encrypted("a secret text", kTripleDes);
  for (std::size_t at = 0; at < good.size(); at += 2) {
    std::string changed = good;
    changed[at] = static_cast<char>(changed[at] ^ 0x21);
    EXPECT_NE(verify(changed, "texT").substr(0, 5), "good ") << at;
  }
  for (std::size_t at = 0; at < envelope.size(); ++at) {
    std::string changed = envelope;
    changed[at] = static_cast<char>(changed[at] ^ 0x21);
    decrypt(changed);
    decrypt(std::string_view(envelope).substr(0, at));
    EXPECT_EQ(log_.text().find("PRIVATE"), std::string::npos);
  }
}

TEST_F(QvCryptTest, FindsTheSignerInTheStores) {
  const std::string text = "text";
  const std::string signature = signedBy({&jane()}, text, CMS_DETACHED | CMS_NOCERTS);
  const Identity withKeyId = makeIdentity({.extensions = {{"2.5.29.14", "DER:040401020304"}}, .serial = 5});
  const std::string byKeyId = signedBy({&withKeyId}, text, CMS_DETACHED | CMS_NOCERTS | CMS_USE_KEYID);
  const std::string opaque = signedBy({&jane()}, text, CMS_NOCERTS);
  EXPECT_EQ(verify(signature, text), "verifyDetachedSignature.3");
  EXPECT_EQ(open(opaque), "verifySignature.2");
  stores_.give(jane());
  EXPECT_EQ(verify(signature, text), "good Jane Roe");
  EXPECT_EQ(open(opaque), text);
  EXPECT_EQ(verify(byKeyId, text), "verifyDetachedSignature.3");
  stores_.give(withKeyId);
  EXPECT_EQ(verify(byKeyId, text), "good Jane Roe");
}

TEST_F(QvCryptTest, ChecksEverySigner) {
  const Identity& max = qv_test::max();
  const std::string text = "text";
  EXPECT_EQ(verify(signedBy({&jane(), &max}, text, CMS_DETACHED), text), "good Jane Roe");
  // The certificate of one of two is missing.
  std::string oneMissing = signedBy({&jane(), &max}, text, CMS_DETACHED);
  ASSERT_NE(oneMissing.find(max.der), std::string::npos);
  for (std::size_t at = oneMissing.find("max@example.net"); at < oneMissing.find(max.der) + max.der.size();
       at = oneMissing.find("max@example.net", at + 1)) {
    oneMissing[at] = 'n';
  }
  EXPECT_EQ(verify(oneMissing, text), "verifyDetachedSignature.3");
  EXPECT_EQ(open(signedBy({&jane(), &max}, text, 0)), text);
  EXPECT_EQ(open(signedBy({}, text, 0)), "verifySignature.1");
  EXPECT_EQ(open(signedBy({&jane()}, text, CMS_DETACHED)), "verifySignature.1");

  stores_.give(jane());
  const std::vector<const Identity*> many(crypt::kMaxSigners, &jane());
  EXPECT_EQ(verify(signedBy(many, text, CMS_DETACHED | CMS_NOCERTS), text), "good Jane Roe");
  const std::vector<const Identity*> tooMany(crypt::kMaxSigners + 1, &jane());
  EXPECT_EQ(verify(signedBy(tooMany, text, CMS_DETACHED | CMS_NOCERTS), text), "verifyDetachedSignature.2");
}

TEST_F(QvCryptTest, SavesAFewSigners) {
  std::vector<Identity> identities;
  for (long i = 0; i < 25; ++i) identities.push_back(makeIdentity({.serial = 1000 + i}));
  std::vector<const Identity*> signers;
  for (const Identity& each : identities) signers.push_back(&each);
  SaveStore into{.path = "x"};
  EXPECT_EQ(verify(signedBy(signers, "text", CMS_DETACHED), "text", &into).substr(0, 4), "good");
  EXPECT_EQ(log_.count("Successfully added certificate to certificate store."), SaveStore::kMaxSaved);
  EXPECT_EQ(log_.count("The message brings too many certificates, no more of it are saved."), 1U);
  // Nothing of a signature that is not good.
  SaveStore other{.path = "y"};
  verify(signedBy({&jane()}, "text", CMS_DETACHED), "other", &other);
  EXPECT_FALSE(std::filesystem::exists(stores_ / "local_machine/registry/y"));
}

// Two texts of the same length: encrypting hides which.
TEST_F(QvCryptTest, EncryptsWithEveryCipher) {
  stores_.give(jane());
  const std::string text(100001, 't');
  const struct {
    const char* oid;
    bool isStream;
  } rows[] = {{kRc4, true}, {"1.2.840.113549.3.2", false}, {"1.3.14.3.2.7", false}, {kTripleDes, false}};
  for (const auto& row : rows) {
    const std::string message = encrypted(text, row.oid);
    EXPECT_EQ(message.find("tttttttt"), std::string::npos) << row.oid;
    EXPECT_EQ(decrypt(message), text) << row.oid;
    EXPECT_EQ(decrypt(message.substr(0, message.size() - 1)), "decryptMessage.1") << row.oid;
    std::string flipped = message;
    flipped.back() = static_cast<char>(flipped.back() ^ 0x40);
    if (!row.isStream) EXPECT_EQ(decrypt(flipped), "decryptMessage.2") << row.oid;
  }
  QV_Crypt crypt(log_.get());
  BinaryData out("left over");
  EXPECT_FALSE(crypt.encryptData("", out, jane().certificate()));
  EXPECT_EQ(log_.lines().back(), "Nothing to encrypt, data size is zero");
  crypt.setAlgorithm("1.2.3");
  EXPECT_FALSE(crypt.encryptData("x", out, jane().certificate()));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(log_.lines().back().substr(0, 15), "encryptData.1: ");
}

TEST_F(QvCryptTest, DecryptsForAnEllipticKey) {
  const Identity identity = makeIdentity({.key = "p256"});
  stores_.give(identity);
  EXPECT_EQ(decrypt(encrypted("text", kTripleDes, identity)), "text");
}

// RC4 with parameters NULL, as some programs write it.
TEST_F(QvCryptTest, ReadsRc4WithNullParameters) {
  stores_.give(jane());
  const std::string message = encrypted("text", kRc4);
  const std::string rc4("\x30\x0a\x06\x08\x2a\x86\x48\x86\xf7\x0d\x03\x04", 12);
  const std::string withNull("\x30\x0c\x06\x08\x2a\x86\x48\x86\xf7\x0d\x03\x04\x05\x00", 14);
  std::string changed = message;
  const std::size_t at = changed.find(rc4);
  ASSERT_NE(at, std::string::npos);
  changed.replace(at, rc4.size(), withNull);
  // Every length around it grows by two: ContentInfo, [0], EnvelopedData, EncryptedContentInfo.
  for (const std::size_t length : {std::size_t{3}, std::size_t{18}, std::size_t{22}}) changed[length] += 2;
  changed[at - 12] += 2;
  EXPECT_EQ(decrypt(changed), "text") << log_.text();
}

TEST_F(QvCryptTest, IsForSomebodyHereOrFails) {
  const std::string forMax = encrypted("text", kTripleDes, qv_test::max());
  stores_.give(jane());
  EXPECT_EQ(decrypt(forMax), "decryptMessage.1");
  EXPECT_EQ(log_.lastError(),
            "decryptMessage.1: The message is encrypted for nobody whose private key is here");
  // A certificate without its key helps nobody.
  const Certificate bare = qv_test::max().certificate();
  EXPECT_TRUE(CertificateStore::openCurrentUserStore(false, nullptr)->addCertificate(&bare));
  EXPECT_EQ(decrypt(forMax), "decryptMessage.1");
  stores_.give(qv_test::max());
  EXPECT_EQ(decrypt(forMax), "text");
  EXPECT_EQ(decrypt(signedBy({&jane()}, "text", 0)), "decryptMessage.1");
  EXPECT_EQ(decrypt(""), "decryptMessage.1");
}

// What else a certificate says does not count; nobody looks at its dates, as the documentation says.
TEST_F(QvCryptTest, TakesOddCertificates) {
  const std::string nulName("Jane\0Roe <jane@example.org\0.evil>", 34);
  std::string zeros(400'000, '0');
  const struct {
    const char* what;
    qv_test::Recipe recipe;
  } rows[] = {
      {"no extensions", {.serial = 70}},
      {"a huge extension", {.extensions = {{"1.2.3.4", "DER:0483030D40" + zeros}}, .serial = 71}},
      {"NULs in names", {.subject = {{"CN", nulName}}, .serial = 72}},
      {"expired", {.serial = 73, .from = 100, .to = 200}},
      {"not yet valid", {.serial = 74, .from = 4000000000, .to = 4100000000}},
  };
  for (const auto& row : rows) {
    const Identity identity = makeIdentity(row.recipe);
    stores_.give(identity);
    EXPECT_EQ(verify(signedBy({&identity}, "text", CMS_DETACHED), "text").substr(0, 5), "good ") << row.what;
    EXPECT_EQ(verify(signedBy({&identity}, "text", CMS_DETACHED), "texT"), "verifyDetachedSignature.2")
        << row.what;
    EXPECT_EQ(open(signedBy({&identity}, "text", 0)), "text") << row.what;
    EXPECT_EQ(decrypt(encrypted("text", kTripleDes, identity)), "text") << row.what << log_.text();
  }
}

// A key whose certificate is not there helps nobody, and harms nobody.
TEST_F(QvCryptTest, AKeyAloneOpensNothing) {
  stores_.give(jane());
  for (const auto& each : std::filesystem::directory_iterator(stores_ / "current_user/my")) {
    if (each.is_regular_file()) std::filesystem::remove(each);
  }
  ASSERT_FALSE(std::filesystem::is_empty(stores_ / "current_user/my/keys"));
  EXPECT_EQ(decrypt(encrypted("text", kTripleDes)), "decryptMessage.1");
  BinaryData signature;
  EXPECT_FALSE(
      QV_Crypt(log_.get()).createDetachedSignature(std::string_view("jane@example.org"), "text", signature));
}

// The elements of a signature in another order than the one that DER asks for.
TEST_F(QvCryptTest, RefusesReorderedSignatures) {
  const std::string text = "Buy 100", good = signedBy({&jane()}, text, CMS_DETACHED);
  ASSERT_EQ(verify(good, text), "good Jane Roe");
  // SignedData begins with its version and the set of digests; the attributes with type and time.
  const std::string version("\x02\x01\x01\x31", 4),
      type("\x30\x18\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x09\x03", 13),
      time("\x30\x1c\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x09\x05", 13);
  const struct {
    const char* what;
    std::size_t first, second, end;
  } rows[] = {
      {"version and digests", good.find(version), good.find(version) + 3, good.find(version) + 3 + 17},
      {"attributes", good.find(type), good.find(time), good.find(time) + 30},
  };
  for (const auto& row : rows) {
    ASSERT_LT(row.first, row.second) << row.what;
    ASSERT_LT(row.end, good.size()) << row.what;
    const auto at = [](std::string& bytes, std::size_t offset) {
      return bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    };
    std::string changed = good;
    std::rotate(at(changed, row.first), at(changed, row.second), at(changed, row.end));
    EXPECT_NE(changed, good) << row.what;
    EXPECT_EQ(verify(changed, text), "verifyDetachedSignature.2") << row.what;
    EXPECT_EQ(verify(changed, "Buy 900"), "verifyDetachedSignature.2") << row.what;
  }
}

}  // namespace
}  // namespace qv

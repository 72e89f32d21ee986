// Certificates and keys that come from files, go to files, and are removed.
#include <gtest/gtest.h>
#include <openssl/pkcs12.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cert/certificate_store.h"
#include "cert/qv_crypt.h"
#include "platform/cert_bundle.h"
#include "platform/openssl_support.h"
#include "support/log_lines.h"
#include "support/test_certificates.h"

namespace qv {
namespace {

namespace fs = std::filesystem;
using qv_test::Identity;
using qv_test::jane;
using qv_test::makeIdentity;
using qv_test::max;

std::string bytesOf(PKCS12* file) {
  unsigned char* der = nullptr;
  const int size = i2d_PKCS12(file, &der);
  std::string bytes(reinterpret_cast<char*>(der), static_cast<std::size_t>(size > 0 ? size : 0));
  OPENSSL_free(der);
  PKCS12_free(file);
  return bytes;
}

/// Rounds of three bytes in DER, which a test can make too many.
constexpr int kManyRounds = 0x010203;

/// PKCS #12 of a certificate, which may be null, with a key and others.
std::string pkcs12(const Identity* own, EVP_PKEY* key, const char* password, int cipher = NID_aes_256_cbc,
                   const std::vector<const Identity*>& others = {}, int rounds = 10, int macRounds = 10) {
  STACK_OF(X509)* rest = sk_X509_new_null();
  for (const Identity* each : others) sk_X509_push(rest, each->x509.get());
  PKCS12* file = PKCS12_create_ex(password, "", key, own ? own->x509.get() : nullptr, rest, cipher, cipher,
                                  rounds, macRounds, 0, ossl::context(), nullptr);
  sk_X509_free(rest);
  return bytesOf(file);
}

/// The same with another number of rounds, the last one in the file; by default one that nobody means.
std::string withTooManyRounds(std::string file, std::string_view rounds = "\x02\x03\x7F\xFF\xFF") {
  const std::size_t at = file.rfind("\x02\x03\x01\x02\x03");
  EXPECT_NE(at, std::string::npos);
  return file.replace(at, rounds.size(), rounds);
}

/// The same with a good code for the password "x".
std::string sealedAgain(const std::string& bytes) {
  const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
  PKCS12* file = d2i_PKCS12(nullptr, &at, static_cast<long>(bytes.size()));
  PKCS12_set_mac(file, "x", -1, nullptr, 0, 10, EVP_sha256());
  return bytesOf(file);
}

std::string encryptedPem(const Identity& identity, std::string_view password) {
  BIO* bio = BIO_new(BIO_s_mem());
  PEM_write_bio_PKCS8PrivateKey(bio, identity.key.get(), EVP_aes_256_cbc(), password.data(),
                                static_cast<int>(password.size()), nullptr, nullptr);
  char* text = nullptr;
  const long size = BIO_get_mem_data(bio, &text);
  std::string pem(text, static_cast<std::size_t>(size));
  BIO_free(bio);
  return pem;
}

class CertificateFilesTest : public testing::Test {
 protected:
  std::unique_ptr<CertificateStore> open() {
    return CertificateStore::openForChanges({CertStoreSpec::kCurrentUser, CertStoreSpec::kUserRoot},
                                            log_.get());
  }
  std::string my() const { return stores_ / "current_user/my"; }
  std::string file(std::string_view bytes) {
    writeFile(folder_ / "file", bytes);
    return folder_ / "file";
  }
  static std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (!fs::exists(folder)) return names;
    for (const auto& each : fs::directory_iterator(folder)) {
      if (each.is_regular_file()) names.push_back(each.path().filename());
    }
    return names;
  }
  static unsigned modeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
  }
  /// What a store holds: the common name of each certificate, '+' when its key can be used.
  static std::string dump(CertificateStore& store) {
    std::string out, reason;
    for (const CertContextPtr& each : store.certificates()) {
      out += std::string(Certificate(each, nullptr).getSubjectAttribute("CN"));
      out += canUseKey(*each, reason) ? "+ " : " ";
    }
    return out;
  }

  TemporaryFolder folder_;
  qv_test::TemporaryStores stores_;
  qv_test::LogLines log_;
};

TEST_F(CertificateFilesTest, ImportsWhatAFileHolds) {
  const std::string pem = jane().certificate().context()->pem(),
                    maxPem = max().certificate().context()->pem();
  EVP_PKEY* key = jane().key.get();
  const std::string secret = "se cr\xC3\xA9t", whole = pkcs12(&jane(), key, secret.c_str());
  const std::string encrypted = encryptedPem(jane(), secret);
  const std::string wrong = "The password is not the right one";
  const struct {
    const char* what;
    std::string bytes;
    std::string password;
    bool needsPassword;
    std::string held;
    std::string error{};
  } rows[] = {
      {"DER", jane().der, "", false, "Jane Roe "},
      {"PEM", pem, "", false, "Jane Roe "},
      {"two certificates", pem + maxPem, "", false, "Jane Roe "},
      {"PEM, then key", pem + jane().keyPem, "", false, "Jane Roe+ "},
      {"key, then PEM", jane().keyPem + pem, "", false, "Jane Roe+ "},
      {"key behind another certificate", maxPem + pem + jane().keyPem, "", false, "Jane Roe+ "},
      {"encrypted PEM", pem + encrypted, secret, true, "Jane Roe+ "},
      {"encrypted PEM, wrong password", pem + encrypted, "x", true, "", wrong},
      {"encrypted PEM, no password", pem + encrypted, "", true, "", wrong},
      {"PKCS #12", whole, secret, true, "Jane Roe+ "},
      {"PKCS #12 with its authority", pkcs12(&jane(), key, "x", NID_aes_256_cbc, {&max()}), "x", true,
       "Jane Roe+ "},
      {"PKCS #12, certificate among others", pkcs12(nullptr, key, "x", NID_aes_256_cbc, {&max(), &jane()}),
       "x", true, "Jane Roe+ "},
      {"PKCS #12, triple DES", pkcs12(&jane(), key, "x", NID_pbe_WithSHA1And3_Key_TripleDES_CBC), "x", true,
       "Jane Roe+ "},
      {"PKCS #12, RC2 of 40 bits, as old programs write it",
       pkcs12(&jane(), key, "x", NID_pbe_WithSHA1And40BitRC2_CBC), "x", true, "Jane Roe+ "},
      {"PKCS #12, empty password", pkcs12(&jane(), key, ""), "", false, "Jane Roe+ "},
      {"PKCS #12, no password", pkcs12(&jane(), key, nullptr), "", false, "Jane Roe+ "},
      {"PKCS #12 without a key", pkcs12(nullptr, nullptr, "x", NID_aes_256_cbc, {&jane()}), "x", true,
       "Jane Roe "},
      {"PKCS #12, wrong password", whole, "x", true, "", wrong},
      {"PKCS #12, a longer password", whole, secret + std::string("\0x", 2), true, "", wrong},
      {"PKCS #12, no certificate", pkcs12(nullptr, key, "x"), "x", true, "",
       "There is no certificate for the key in it"},
      {"PKCS #12, a code of too many rounds",
       withTooManyRounds(pkcs12(&jane(), key, "x", NID_aes_256_cbc, {}, 10, kManyRounds)), "x", false, "",
       "It asks for too much work"},
      {"PKCS #12, a key of too many rounds",
       sealedAgain(withTooManyRounds(pkcs12(&jane(), key, "x", NID_aes_256_cbc, {}, kManyRounds))), "x", true,
       "", "It asks for too much work"},
      {"PKCS #12, too many rounds in all",
       sealedAgain(withTooManyRounds(pkcs12(&jane(), key, "x", NID_aes_256_cbc, {}, kManyRounds),
                                     "\x02\x03\x4C\x4B\x40")),
       "x", true, "", "It asks for too much work"},
      {"PKCS #12, certificates of too many rounds",
       sealedAgain(withTooManyRounds(
           pkcs12(nullptr, nullptr, "x", NID_pbe_WithSHA1And3_Key_TripleDES_CBC, {&jane()}, kManyRounds))),
       "x", true, "", "It asks for too much work"},
      {"PEM, another's key", pem + max().keyPem, "", false, "", "There is no certificate for the key in it"},
      {"PEM, a key alone", jane().keyPem, "", false, "", "There is no certificate for the key in it"},
      {"PEM, nothing", "-----BEGIN X-----\n", "", false, "", "There is no certificate in it"},
      {"PEM, half a key", pem + jane().keyPem.substr(0, 500) + "-----END PRIVATE KEY-----\n", "", false, "",
       "private key: "},
      {"huge", std::string((1 << 20) + 1, 'x'), "", false, "", "too large"},
  };
  for (const auto& row : rows) {
    fs::remove_all(my());
    log_.clear();
    const std::string path = file(row.bytes);
    EXPECT_EQ(needsPassword(path), row.needsPassword) << row.what;
    const auto store = open();
    EXPECT_EQ(store->importFile(path, row.password), row.error.empty()) << row.what << log_.text();
    EXPECT_EQ(dump(*store), row.held) << row.what << log_.text();
    EXPECT_EQ(dump(*open()), row.held) << row.what;
    const bool hasKey = row.held.find('+') != std::string::npos;
    ASSERT_EQ(filesIn(my() + "/keys").size(), hasKey ? 1U : 0U) << row.what;
    if (hasKey) EXPECT_EQ(modeOf(my() + "/keys/" + filesIn(my() + "/keys")[0]), 0600U) << row.what;
    if (hasKey) EXPECT_EQ(modeOf(my() + "/keys"), 0700U) << row.what;
    if (!row.error.empty()) EXPECT_EQ(log_.lastError().find("(importFile)" + row.error), 0U) << log_.text();
    EXPECT_EQ(log_.text().find(jane().keyPem.substr(40, 40)), std::string::npos) << row.what;
    EXPECT_EQ(log_.text().find(secret), std::string::npos) << row.what;
  }
}

TEST_F(CertificateFilesTest, WhatIsNoSuchFileImportsNothing) {
  const std::string whole = pkcs12(&jane(), jane().key.get(), "x");
  const auto store = open();
  for (std::size_t size = 0; size < whole.size(); size += 7) {
    EXPECT_FALSE(store->importFile(file(whole.substr(0, size)), "x")) << size;
  }
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ 0x21);
    store->importFile(file(changed), "x");
    needsPassword(folder_ / "file");
  }
  for (const std::string& path : {folder_ / "none", folder_ / "", std::string(), std::string("a\0b", 3)}) {
    EXPECT_FALSE(store->importFile(path, "x")) << path;
    EXPECT_FALSE(needsPassword(path)) << path;
  }
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(store->importFile(folder_ / "pipe", ""));
}

// Whoever gets a key later has it beside the certificate that is there.
TEST_F(CertificateFilesTest, AKeyJoinsTheCertificateThatIsThere) {
  fs::create_directories(my() + "/keys");
  writeFile(my() + "/jane.pem", jane().certificate().context()->pem());
  const std::string whole = file(pkcs12(&jane(), jane().key.get(), "x"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(open()->importFile(whole, "x")) << log_.text();
    EXPECT_EQ(dump(*open()), "Jane Roe+ ");
    EXPECT_EQ(filesIn(my() + "/keys"), std::vector<std::string>{"jane.key"});
  }
  // What is no key is replaced; another certificate's is not.
  writeFile(my() + "/keys/jane.key", "half a k");
  EXPECT_TRUE(open()->importFile(whole, "x"));
  EXPECT_EQ(dump(*open()), "Jane Roe+ ");
  writeFile(my() + "/keys/jane.key", max().keyPem);
  EXPECT_FALSE(open()->importFile(whole, "x"));
  EXPECT_EQ(contentsOf(my() + "/keys/jane.key"), max().keyPem);
}

TEST_F(CertificateFilesTest, ExportsWhatItCanReadBack) {
  stores_.give(jane());
  const Certificate bare = max().certificate();
  auto store = open();
  store->addCertificate(&bare);
  std::size_t janes = 0;
  while (store->certificates()[janes]->der() != jane().der) ++janes;
  const std::string path = folder_ / "jane.p12";
  writeFile(path, "before");
  chmod(path.c_str(), 0644);
  for (const std::string& password : {std::string("x \xC3\xA4"), std::string()}) {
    EXPECT_TRUE(store->exportFile(janes, path, password)) << log_.text();
    EXPECT_EQ(modeOf(path), 0600U);
    CertBundle back;
    std::string error;
    EXPECT_TRUE(readBundle(path, password, back, error)) << error;
    EXPECT_EQ(back.certificate->der(), jane().der);
    EXPECT_EQ(back.key.bytes, jane().keyPem);
    EXPECT_EQ(contentsOf(path).find(jane().der), std::string::npos);  // the certificate is encrypted too
  }
  EXPECT_FALSE(store->exportFile(1 - janes, folder_ / "max.p12", "x"));
  EXPECT_EQ(log_.lastError(), "(exportFile)The private key of the certificate is not here");
  EXPECT_FALSE(store->exportFile(2, folder_ / "none.p12", "x"));
  EXPECT_FALSE(store->exportFile(janes, folder_ / "nul.p12", std::string_view("a\0b", 3)));
  EXPECT_FALSE(store->exportFile(janes, folder_ / "no/such/folder", "x"));
  EXPECT_EQ(folder_.fileCount(), 1U);
}

TEST_F(CertificateFilesTest, RemovesACertificateWithItsKey) {
  stores_.give(jane());
  stores_.give(max());
  writeFile(my() + "/broken.cer", "x");
  auto store = open();
  ASSERT_EQ(store->certificates().size(), 2U);
  const CertContextPtr first = store->certificates()[0], second = store->certificates()[1];
  EXPECT_NE(store->find(first->id()), nullptr);
  EXPECT_FALSE(store->remove(2));
  EXPECT_TRUE(store->remove(0));
  EXPECT_EQ(store->find(first->id()), nullptr);
  EXPECT_EQ(store->find(second->id()), second);
  EXPECT_FALSE(fs::exists(first->keyFile()));
  EXPECT_TRUE(fs::exists(second->keyFile()));
  EXPECT_EQ(open()->certificates().size(), 1U);
  EXPECT_TRUE(store->remove(0));
  EXPECT_FALSE(store->remove(0));
  EXPECT_EQ(filesIn(my()), std::vector<std::string>{"broken.cer"});
  EXPECT_TRUE(filesIn(my() + "/keys").empty());

  // Two certificates of one name share the key of that name.
  writeFile(my() + "/a.cer", jane().der);
  writeFile(my() + "/a.crt", max().der);
  writeFile(my() + "/keys/a.key", max().keyPem);
  chmod((my() + "/keys/a.key").c_str(), 0600);
  EXPECT_TRUE(open()->remove(0));
  EXPECT_EQ(dump(*open()), "Max Mustermann+ ");
  EXPECT_TRUE(open()->remove(0));
  EXPECT_TRUE(filesIn(my() + "/keys").empty());

  const auto reading = CertificateStore::openCurrentUserStore(true, log_.get());
  writeFile(my() + "/b.cer", jane().der);
  EXPECT_FALSE(reading->remove(0));
  EXPECT_TRUE(fs::exists(my() + "/b.cer"));

  const auto inFile = CertificateStore::openFileStore(folder_ / "store.pem", false, log_.get());
  const Certificate janes = jane().certificate(), maxs = max().certificate();
  inFile->addCertificate(&janes);
  inFile->addCertificate(&maxs);
  EXPECT_TRUE(inFile->remove(0));
  EXPECT_EQ(contentsOf(folder_ / "store.pem"), maxs.context()->pem());
}

TEST_F(CertificateFilesTest, AMissingStoreIsAnEmptyOne) {
  for (const CertStoreSpec& spec : QV_Crypt::defaultStoreList()) {
    const auto store = CertificateStore::openForChanges(spec, log_.get());
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(store->certificates().empty());
    EXPECT_FALSE(fs::exists(store->directory()));
    EXPECT_TRUE(store->importFile(file(jane().der), ""));
    EXPECT_EQ(modeOf(store->directory()), 0700U);
  }
  StringBuffer description;
  EXPECT_NE(QV_Crypt(nullptr).findCertificateForEmail("jane@example.org", description), nullptr);
  EXPECT_EQ(CertificateStore::openForChanges({CertStoreSpec::kRegistry, CertStoreSpec::kUserRoot, "a/../.."},
                                             log_.get()),
            nullptr);
}

}  // namespace
}  // namespace qv

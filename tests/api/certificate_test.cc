// The certificate object, and the e-mail's members for signing and encryption.
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "cert/qv_crypt.h"
#include "email/email.h"
#include "email/smime_writer.h"
#include "support/pop_server.h"
#include "support/public_objects.h"
#include "support/test_certificates.h"

namespace {

using quorvel::IQuorvelCert;
using quorvel::IQuorvelCert2;
using quorvel::IQuorvelCertStore;
using quorvel::IQuorvelEmail3;
using quorvel::Ref;
using qv_test::jane;
using qv_test::newEmail;
using qv_test::reported;

Ref<IQuorvelCert2> newCert() {
  return quorvel::create<IQuorvelCert2>("QuorvelMail.QuorvelCert");
}

std::string fingerprintOf(const qv_test::Identity& identity) {
  unsigned char digest[32];
  EVP_Digest(identity.der.data(), identity.der.size(), digest, nullptr, EVP_sha256(), nullptr);
  char text[100];
  std::size_t size = 0;
  OPENSSL_buf2hexstr_ex(text, sizeof text, &size, digest, sizeof digest, ':');
  return text;
}

TEST(CertObject, ShowsItsCertificate) {
  const qv_test::Identity issuer =
      qv_test::makeIdentity({.subject = {{"CN", "Root"}, {"O", "a \"b\", c"}}}, 2);
  const qv_test::Identity identity =
      qv_test::makeIdentity({.subject = {{"CN", "n"},
                                         {"OU", "u"},
                                         {"O", "o, p"},
                                         {"L", "l"},
                                         {"ST", "s"},
                                         {"C", "DE"},
                                         {"emailAddress", "e@x"}},
                             .extensions = {{"extendedKeyUsage", "emailProtection,clientAuth"}},
                             .serial = 0x0ABC,
                             .issuer = &issuer,
                             .from = 1015354987});
  const auto cert = newCert();
  EXPECT_EQ(cert->get_SubjectCN() + cert->get_SerialNumber() + cert->get_IssuerE() + cert->get_Fingerprint(),
            "");
  EXPECT_EQ(cert->get_ValidFrom(), 0);
  cert->LoadFromBinary({identity.der.begin(), identity.der.end()});
  EXPECT_EQ(reported(), "(none)");
  EXPECT_EQ(cert->get_SubjectCN() + "|" + cert->get_SubjectOU() + "|" + cert->get_SubjectO() + "|" +
                cert->get_SubjectL() + "|" + cert->get_SubjectS() + "|" + cert->get_SubjectC() + "|" +
                cert->get_SubjectE(),
            "n|u|o, p|l|s|DE|e@x");
  EXPECT_EQ(cert->get_IssuerCN() + "|" + cert->get_IssuerO() + "|" + cert->get_IssuerE(), "Root|a \"b\", c|");
  EXPECT_EQ(cert->get_SerialNumber(), "0ABC");
  EXPECT_EQ(cert->get_Fingerprint(), fingerprintOf(identity));
  EXPECT_NEAR(cert->get_ValidFrom(), 37320.79383, 0.0001);
  EXPECT_GT(cert->get_ValidTo(), 70000);
  EXPECT_EQ(cert->get_ForSecureEmail(), 1);
  EXPECT_EQ(cert->get_ForClientAuthentication(), 1);
  EXPECT_EQ(cert->get_ForServerAuthentication() + cert->get_ForCodeSigning() + cert->get_ForTimeStamping(),
            0);
  EXPECT_EQ(cert->GetEncoded(), identity.base64());
}

TEST(CertObject, LoadsWhatIsACertificate) {
  const qv::TemporaryFolder folder;
  const std::string pem = jane().certificate().context()->pem();
  qv::writeFile(folder / "der", jane().der);
  qv::writeFile(folder / "pem", "Jane\n" + pem);
  const std::string lines = pem.substr(28, pem.size() - 28 - 26);
  const std::vector<void (*)(IQuorvelCert&, const std::string&)> loads{
      [](IQuorvelCert& c, const std::string& text) { c.SetFromEncoded(text); },
      [](IQuorvelCert& c, const std::string& text) { c.LoadFromBase64(text); },
      [](IQuorvelCert& c, const std::string& text) { c.LoadFromFile(text); },
      [](IQuorvelCert& c, const std::string& text) {
        c.LoadFromBinary({text.begin(), text.end()});
      },
  };
  const struct {
    std::size_t load;
    std::string text;
    bool works;
  } rows[] = {
      {0, jane().base64(), true},
      {0, lines, true},
      {0, "", false},
      {0, "AAAA", false},
      {1, jane().base64(), true},
      {1, pem, true},
      {1, "-----BEGIN ", false},
      {1, "x", false},
      {2, folder / "der", true},
      {2, folder / "pem", true},
      {2, folder / "no", false},
      {2, "", false},
      {3, jane().der, true},
      {3, pem, true},
      {3, "", false},
      {3, jane().der.substr(0, 300), false},
  };
  for (const auto& row : rows) {
    const auto cert = newCert();
    cert->SetFromEncoded(qv_test::max().base64());
    loads[row.load](*cert, row.text);
    EXPECT_EQ(cert->GetEncoded(), row.works ? jane().base64() : qv_test::max().base64())
        << row.load << row.text;
    if (row.works) continue;
    loads[row.load](*cert, row.text);
    EXPECT_NE(reported(), "(none)") << row.load << row.text;
    EXPECT_NE(cert->GetLog()->GetErrorEntries().find("CertCreateCertificateContext: "), std::string::npos);
  }
  const auto empty = newCert();
  EXPECT_EQ(empty->GetEncoded(), "");
  EXPECT_EQ(reported(), "Failed to get encoded certificate: no cert context found");
  empty->SaveXmlLog(folder / "log.xml");
  EXPECT_NE(qv::contentsOf(folder / "log.xml").find("no cert context found"), std::string::npos);
  empty->SaveXmlLog("/no/such/folder/log.xml");
  EXPECT_EQ(reported(), "Failed to save XML log");
}

TEST(CertStoreObject, KeepsCertificates) {
  const qv_test::TemporaryStores stores;
  const qv::TemporaryFolder folder;
  const std::string pem = folder / "jane.pem", bundle = folder / "jane.p12";
  qv::writeFile(pem, jane().certificate().context()->pem() + jane().keyPem);
  const auto store = quorvel::create<IQuorvelCertStore>("QuorvelMail.QuorvelCertStore");
  EXPECT_EQ(store->Open("nowhere"), 0);
  EXPECT_EQ(reported(), "There is no certificate store of that name.");
  const struct {
    const char* name;
    std::string location;
  } rows[] = {
      {"my", stores / "current_user/my"},
      {"people", stores / "current_user/registry/Software/Microsoft/SystemCertificates/AddressBook"},
      {"received", stores / "local_machine/registry/Software/Quorvel/SystemCertificates"},
      {"machine", stores / "local_machine/my"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(store->Open(row.name), 1) << reported();
    EXPECT_EQ(store->get_Location(), row.location);
    EXPECT_EQ(store->get_NumCerts(), 0);
    const auto cert = newCert();
    EXPECT_EQ(store->AddCert(cert.get()) + store->AddCert(nullptr), 0);
    EXPECT_EQ(reported(), "Failed to get encoded certificate");
    cert->SetFromEncoded(jane().base64());
    EXPECT_EQ(store->AddCert(cert.get()) + store->AddCert(cert.get()), 2);
    EXPECT_EQ(store->HasPrivateKey(0), 0);
    EXPECT_EQ(store->ExportFile(0, bundle, "x"), 0);
    EXPECT_EQ(store->ImportFile(pem, ""), 1) << reported();
    EXPECT_EQ(store->get_NumCerts(), 1);
    EXPECT_EQ(store->HasPrivateKey(0), 1);
    EXPECT_EQ(store->HasPrivateKey(1) + store->HasPrivateKey(-1), 0);
    EXPECT_EQ(store->GetCert(0)->GetEncoded(), jane().base64());
    EXPECT_FALSE(store->GetCert(1) || store->GetCert(-1));
    EXPECT_EQ(store->ExportFile(0, bundle, "x"), 1) << reported();
    EXPECT_EQ(store->NeedsPassword(bundle), 1);
    EXPECT_EQ(store->NeedsPassword(pem), 0);
    EXPECT_EQ(store->RemoveCert(1) + store->RemoveCert(-1), 0);
    EXPECT_EQ(store->RemoveCert(0), 1);
    EXPECT_EQ(store->ImportFile(bundle, "y"), 0);
    EXPECT_NE(reported().find("The password is not the right one"), std::string::npos);
    EXPECT_EQ(store->ImportFile(bundle, "x"), 1) << reported();
    EXPECT_EQ(store->Open(row.name), 1);
    EXPECT_EQ(store->HasPrivateKey(0), 1);
  }
}

TEST(EmailSecurity, TakesNoEmptyCertificate) {
  const auto email = newEmail();
  email->SetEncryptCert(newCert().get());
  EXPECT_NE(reported().find("Failed to get encoded certificate"), std::string::npos);
  EXPECT_FALSE(email->GetEncryptCert());
}

TEST(EmailSecurity, ShowsWhatReadingFound) {
  const qv_test::TemporaryStores stores;
  const auto email = newEmail();
  EXPECT_EQ(email->LoadMime("Subject: s\r\n\r\nx"), 1);
  EXPECT_EQ(email->get_ReceivedSigned() + email->get_ReceivedEncrypted(), 0);
  EXPECT_EQ(email->get_SignaturesValid() + email->get_Decrypted(), 2);
  EXPECT_EQ(email->LoadMime("Content-Type: application/pkcs7-mime; smime-type=signed-data\r\n\r\nx"), 1);
  EXPECT_EQ(email->get_ReceivedSigned(), 1);
  EXPECT_EQ(email->get_SignaturesValid() + email->get_WhollySigned(), 0);
  EXPECT_EQ(email->LoadMime("Content-Type: application/pkcs7-mime\r\n\r\nx"), 1);
  EXPECT_EQ(email->get_ReceivedEncrypted(), 1);
  EXPECT_EQ(email->get_Decrypted() + email->get_WhollyEncrypted(), 0);
  EXPECT_EQ(email->get_NumSecurityLayers(), 1);
  EXPECT_EQ(email->GetLayerKind(0), "encrypted");
  EXPECT_EQ(email->GetLayerOpened(0), 0);
  EXPECT_EQ(email->GetLayerWhole(0), 1);
  EXPECT_FALSE(email->GetLayerCert(0));
  EXPECT_EQ(email->GetLayerKind(1) + email->GetLayerKind(-1), "");

  // A reply to it was not received.
  const auto reply = email->CreateReply().as<IQuorvelEmail3>();
  EXPECT_EQ(reply->get_NumSecurityLayers(), 0);
}

TEST(EmailSecurity, HandsOutWhoSignedALayer) {
  qv_test::TemporaryStores stores;
  stores.give(jane());
  qv::BinaryData bytes;
  const qv::Certificate signer = jane().certificate();
  ASSERT_TRUE(qv::QV_Crypt(nullptr).createAttachedSignature(&signer, "\r\nx", bytes));
  const auto email = newEmail();
  email->LoadMime(
      "Content-Type: application/pkcs7-mime; smime-type=signed-data\r\n"
      "Content-Transfer-Encoding: binary\r\n\r\n" +
      std::string(bytes.view()));
  EXPECT_EQ(email->GetLayerKind(0), "signed");
  EXPECT_EQ(email->GetLayerOpened(0) + email->GetLayerWhole(0), 2);
  const auto cert = email->GetLayerCert(0);
  ASSERT_TRUE(cert);
  EXPECT_EQ(cert->GetEncoded(), jane().base64());
}

TEST(EmailSecurity, SavesCertificatesOfWhatIsFetched) {
  qv_test::TemporaryStores stores;
  stores.give(jane());
  qv::Email email(nullptr);
  email.setFrom("jane@example.org");
  email.sendSecurity().sendSigned = true;
  bool failed = true;
  qv::StringBuffer text;
  qv::prepareSecurity(email, false, {}, nullptr, failed)->writeMime(text, "QVX-");
  qv::writeFile(stores / "mailbox", "From a\r\n" + text.str() + "\r\n");

  const struct {
    const char* operation;
    std::function<void(quorvel::IQuorvelMailMan3&)> fetch;
    bool alwaysSaves;
  } rows[] = {
      {"CopyMail", [](auto& mailMan) { mailMan.CopyMail(); }, false},
      {"TransferMail", [](auto& mailMan) { mailMan.TransferMail(); }, false},
      {"GetAllHeaders", [](auto& mailMan) { mailMan.GetAllHeaders(10000); }, false},
      {"FetchEmail", [](auto& mailMan) { mailMan.FetchEmail("id-1"); }, false},
      {"FetchMultiple",
       [](auto& mailMan) {
         const auto ids = quorvel::create<quorvel::IQvStringArray>("QuorvelMail.QvStringArray");
         ids->Append("id-1");
         mailMan.FetchMultiple(ids.get());
       },
       false},
      {"GetFullEmail",
       [](auto& mailMan) {
         const auto header = newEmail();
         header->AddHeaderField("X-UIDL", "id-1");
         mailMan.GetFullEmail(header.get());
       },
       false},
      {"LoadMbx", [&](auto& mailMan) { mailMan.LoadMbx(stores / "mailbox"); }, true},
  };
  const std::string saved = stores / ("local_machine/registry/" + std::string(qv::kReceivedCertificatesPath));
  for (const auto& row : rows) {
    for (const int wanted : {0, 1}) {
      std::filesystem::remove_all(saved);
      const qv_test::PopServer server({text.str()});
      const auto mailMan = qv_test::newMailMan();
      mailMan->put_MailHost("127.0.0.1");
      mailMan->put_MailPort(server.port());
      mailMan->put_PopUsername("ann");
      mailMan->put_PopPassword("secret");
      mailMan->GetLog()->ClearLog();
      mailMan->put_AutoSaveCerts(wanted);
      row.fetch(*mailMan);
      EXPECT_EQ(std::filesystem::exists(saved), row.alwaysSaves || wanted == 1)
          << row.operation << wanted << mailMan->GetLog()->GetErrorEntries();
    }
  }
}

}  // namespace

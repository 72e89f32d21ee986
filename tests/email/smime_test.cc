// Signed and encrypted e-mails: written, and read back.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "cert/qv_crypt.h"
#include "core/text.h"
#include "email/email_reader.h"
#include "email/smime_reader.h"
#include "email/smime_writer.h"
#include "email_fixture.h"
#include "support/linear_cost.h"
#include "support/small_stack.h"
#include "support/test_certificates.h"

namespace qv {
namespace {

using qv_test::dump;
using qv_test::jane;

constexpr std::string_view kHeader =
    "From: jane@example.org\r\nTo: max@example.net\r\nSubject: s\r\nDate: Tue, 05 Mar 2002 14:03:07 "
    "-0500\r\n";

std::string base64(std::string_view bytes) {
  StringBuffer text;
  ContentCoding::encodeBase64Lines(bytes, text);
  return text.str();
}

/// An entity around another one, whose text begins with its header. `headerFields` come before its own.
std::string signedBeside(std::string_view content, std::string_view headerFields = {}, int number = 0,
                         const qv_test::Identity& signer = jane()) {
  BinaryData signature;
  const Certificate certificate = signer.certificate();
  EXPECT_TRUE(QV_Crypt(nullptr).createDetachedSignature(&certificate, content, signature));
  const std::string boundary = "=_b" + std::to_string(number) + "_";
  return std::string(headerFields) +
         "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\";\r\n boundary=\"" +
         boundary + "\"\r\n\r\n--" + boundary + "\r\n" + std::string(content) + "\r\n--" + boundary +
         "\r\nContent-Type: application/pkcs7-signature\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
         base64(signature.view()) + "\r\n--" + boundary + "--\r\n";
}
std::string pkcs7(std::string_view bytes, std::string_view type, std::string_view headerFields) {
  return std::string(headerFields) + "Content-Type: application/pkcs7-mime; smime-type=" + std::string(type) +
         "\r\nContent-Transfer-Encoding: binary\r\n\r\n" + std::string(bytes);
}
std::string signedAround(std::string_view content, std::string_view headerFields = {}) {
  BinaryData bytes;
  const Certificate certificate = jane().certificate();
  EXPECT_TRUE(QV_Crypt(nullptr).createAttachedSignature(&certificate, content, bytes));
  return pkcs7(bytes.view(), "signed-data", headerFields);
}
std::string encrypted(std::string_view content, std::string_view headerFields = {},
                      const qv_test::Identity& identity = jane()) {
  QV_Crypt crypt(nullptr);
  crypt.setAlgorithm("1.2.840.113549.3.7");
  BinaryData bytes;
  EXPECT_TRUE(crypt.encryptData(content, bytes, identity.certificate()));
  return pkcs7(bytes.view(), "enveloped-data", headerFields);
}

std::string plain(std::string_view text) {
  return "Content-Type: text/plain\r\n\r\n" + std::string(text);
}
std::string mixed(const std::vector<std::string>& parts, std::string_view headerFields = {}) {
  std::string text = std::string(headerFields) + "Content-Type: multipart/mixed; boundary=\"=_mix_\"\r\n\r\n";
  for (const std::string& part : parts) text += "--=_mix_\r\n" + part + "\r\n";
  return text + "--=_mix_--\r\n";
}

/// Layers signed and encrypted (good or not), whether the message was wholly so, who it was.
std::string dump(const ReceivedSecurity& found) {
  std::string out = std::to_string(found.numPartsSigned) + (found.signaturesValid ? "s" : "S!") +
                    std::to_string(found.numPartsEncrypted) + (found.decrypted ? "e" : "E!");
  if (found.whollySigned) out += " wholly signed";
  if (found.whollyEncrypted) out += " wholly encrypted";
  for (const auto& each : found.signedBy) out += " by " + std::string(each->getSubjectAttribute("CN"));
  for (const auto& each : found.encryptedBy) out += " for " + std::string(each->getSubjectAttribute("CN"));
  return out;
}

/// Each layer: what it is, '+' when it was opened, '*' when it held the whole message, and whose it is.
std::string dumpLayers(const ReceivedSecurity& found) {
  std::string out;
  for (const SecurityLayer& layer : found.layers) {
    out += out.empty() ? "" : ", ";
    out += layer.isEncrypted ? "encrypted" : "signed";
    if (layer.isOpened) out += '+';
    if (layer.isWhole) out += '*';
    if (layer.certificate) out += " " + std::string(layer.certificate->getSubjectAttribute("CN"));
  }
  return out;
}

class SmimeTest : public qv_test::EmailTest {
 protected:
  std::unique_ptr<Email> read(std::string_view text, bool autoSaveCerts = false) {
    return createFromMimeText(text, {.processSecurity = true, .autoSaveCerts = autoSaveCerts}, log_.get());
  }
  static std::string sent(const Email& email) {
    StringBuffer text;
    email.writeMime(text, "QVX-");
    return text.str();
  }
  std::unique_ptr<Email> composed() {
    auto made = std::make_unique<Email>(log_.get());
    Email& email = *made;
    email.setSubject("Offer");
    email.setFrom("\"Jane\" <jane@example.org>");
    email.addTo("Jane too", "jane@example.org");
    email.addCc("", "max@example.net");
    email.addBcc("", "secret@example.com");
    email.setBody("Hello\r\n", false);
    email.setHeaderField("X-Custom", "c");
    email.setHeaderField("QVX-FileDistList", "/list");
    return made;
  }
  std::unique_ptr<Email> prepared(Email& email, bool isSigned, bool isEncrypted, bool fails = false) {
    email.sendSecurity().sendSigned = isSigned;
    email.sendSecurity().sendEncrypted = isEncrypted;
    bool failed = false;
    auto made = prepareSecurity(email, false, {}, log_.get(), failed);
    EXPECT_EQ(failed, fails) << log_.text();
    return made;
  }

  qv_test::TemporaryStores stores_;
};

// --- Writing

TEST_F(SmimeTest, NothingIsMadeOfAnEmailThatAsksForNothing) {
  Email email(nullptr);
  EXPECT_EQ(prepared(email, false, false), nullptr);
  EXPECT_EQ(log_.text(), "");
}

TEST_F(SmimeTest, SignedMessageHasItsShape) {
  stores_.give(jane());
  const auto original = composed();
  Email& email = *original;
  const auto made = prepared(email, true, false);
  ASSERT_NE(made, nullptr);
  const std::string text = sent(*made);
  const std::string boundary(made->boundary());
  EXPECT_NE(text.find("Content-Type: multipart/signed;\r\n\tboundary=\"" + boundary +
                      "\";\r\n\tprotocol=\"application/x-pkcs7-signature\";\r\n\tmicalg=SHA1\r\n"),
            std::string::npos)
      << text;
  const std::size_t inside = text.find("\r\n\r\n");
  EXPECT_NE(text.find("X-Custom: c"), std::string::npos);
  EXPECT_GT(text.find("X-Custom: c"), inside);
  for (const char* absent : {"QVX-", "secret@", "/list"})
    EXPECT_EQ(text.find(absent), std::string::npos) << absent;
  for (const char* once : {"Subject: Offer", "From:", "To: ", "CC:", "Date:", "Message-ID:", "X-Mailer:",
                           "X-Priority:", "MIME-Version:"}) {
    const std::size_t at = findNoCase(text, once);
    EXPECT_LT(at, inside) << once;
    EXPECT_EQ(findNoCase(text, std::string("\r\n") + once, at + 1), std::string::npos) << once;
  }
  EXPECT_NE(
      text.find("Content-Transfer-Encoding: base64\r\nContent-Type: application/x-pkcs7-signature;\r\n\t"
                "name=\"smime.p7s\"\r\nContent-Disposition: attachment; filename=\"smime.p7s\"\r\n\r\n"),
      std::string::npos)
      << text;
  EXPECT_EQ(made->numBcc(), 1U);
  EXPECT_EQ(made->getFrom().view(), email.getFrom().view());
  EXPECT_EQ(made->getHeaderField("Message-ID") == email.getHeaderField("Message-ID"), false);
}

TEST_F(SmimeTest, WhatIsWrittenReadsBack) {
  stores_.give(jane());
  const std::vector<std::pair<const char*, std::function<void(Email&)>>> shapes{
      {"plain", [](Email&) {}},
      {"no body", [](Email& e) { e.setBody("", false); }},
      {"lone line ends", [](Email& e) { e.setBody("a\rb\nc\r\n.\r\n..d", false); }},
      {"no line end", [](Email& e) { e.setBody("abc", false); }},
      {"8-bit, printable",
       [](Email& e) {
         e.setBody("\xE4 = \xFC  \r\n" + std::string(200, 'x'), false);
         e.setTransferEncoding("quoted-printable");
         e.body().setCoding(MimeBody::Coding::quotedPrintable);
       }},
      {"html", [](Email& e) { e.setHtmlBody("<html><body>x</body></html>"); }},
      {"two texts", [](Email& e) { e.addAlternativePart(e.newBodyPart("<b>x</b>", true)); }},
      {"an attachment",
       [](Email& e) {
         Email::convertToMixed(e);
         auto file = Email::newEmptyPart(nullptr);
         file->setContentType("application/octet-stream", "f.bin");
         file->setTransferEncoding("base64");
         file->setDisposition("attachment", "f.bin");
         file->body().setForBase64(BinaryData(std::string(54 * 40, '\1')));
         e.addPart(std::move(file));
       }},
      {"its own type is no multipart",
       [](Email& e) {
         Email::convertToMixed(e);
         e.setContentType("application/x");
       }},
      {"its own boundary inside",
       [](Email& e) {
         Email::convertToMixed(e);
         e.setBody("--" + std::string(e.boundary()) + "--\r\n", false);
       }},
  };
  for (const auto& [what, shape] : shapes) {
    for (const auto& [isSigned, isEncrypted] : {std::pair{true, false}, {false, true}, {true, true}}) {
      log_.clear();
      const auto original = composed();
      Email& email = *original;
      shape(email);
      StringBuffer before;
      email.makeLineEndsUniform();
      email.writeMime(before, "QVX-");
      const auto made = prepared(email, isSigned, isEncrypted);
      ASSERT_NE(made, nullptr) << what << log_.text();
      const std::string first = sent(*made);
      EXPECT_EQ(first, sent(*made)) << what;  // a session writes it for each recipient
      const auto back = read(first);
      const auto expected = createFromMimeText(before, {}, nullptr);
      EXPECT_EQ(dump(*back), dump(*expected)) << what << log_.text();
      EXPECT_EQ(dump(back->receivedSecurity()),
                std::string(isSigned ? "1s" : "0s") + (isEncrypted ? "1e" : "0e") +
                    (isSigned ? " wholly signed" : "") + (isEncrypted ? " wholly encrypted" : "") +
                    (isSigned ? " by Jane Roe" : "") + (isEncrypted ? " for Jane Roe" : ""))
          << what << log_.text();
      EXPECT_EQ(back->getSubject(), "Offer") << what;
      StringBuffer after;
      email.writeMime(after, "QVX-");
      EXPECT_EQ(after.view() == before.view() || std::string_view(what).starts_with("its own"), true)
          << what << ": the e-mail changed";
    }
  }
}

TEST_F(SmimeTest, EncryptedMessageHidesTheText) {
  stores_.give(jane());
  for (const auto algorithm :
       {EncryptAlgorithm::rc4, EncryptAlgorithm::rc2, EncryptAlgorithm::des, EncryptAlgorithm::tripleDes}) {
    for (const bool isSigned : {false, true}) {
      const auto original = composed();
      Email& email = *original;
      email.sendSecurity().encryptAlgorithm = algorithm;
      const auto made = prepared(email, isSigned, true);
      ASSERT_NE(made, nullptr) << log_.text();
      const std::string text = sent(*made);
      EXPECT_NE(
          text.find(
              "\r\nContent-Disposition: attachment; filename=\"smime.p7m\"\r\nContent-Transfer-Encoding: "
              "base64\r\nContent-Type: application/x-pkcs7-mime;\r\n\tname=\"smime.p7m\"\r\n\r\n"),
          std::string::npos)
          << text;
      EXPECT_EQ(text.find("signed-data"), std::string::npos);
      EXPECT_EQ(made->getHeaderField("QVX-FileDistList"), "/list");  // the session still expands it
      EXPECT_EQ(made->getHeaderField("Message-ID"), email.getHeaderField("Message-ID"));
      const auto back = read(text);
      EXPECT_EQ(back->getBody(), "Hello\r\n");
      EXPECT_EQ(back->numHeaderFields(), createFromMimeText(sent(email), {}, nullptr)->numHeaderFields());
      EXPECT_EQ(log_.text().find("Hello"), std::string::npos);
    }
  }
}

TEST_F(SmimeTest, CertificatesOfTheEmailComeFirst) {
  stores_.give(jane());
  stores_.give(qv_test::max());
  for (const bool isBoth : {false, true}) {
    const auto original = composed();
    Email& email = *original;
    email.sendSecurity().signingCert.set(qv_test::max().base64());
    email.sendSecurity().encryptCert.set(qv_test::max().base64());
    EXPECT_EQ(dump(read(sent(*prepared(email, true, isBoth)))->receivedSecurity()),
              isBoth ? "1s1e wholly signed wholly encrypted by Max Mustermann for Max Mustermann"
                     : "1s0e wholly signed by Max Mustermann");
  }
}

TEST_F(SmimeTest, SaysWhyItCannot) {
  using Lines = std::vector<std::string>;
  const struct {
    const char* what;
    bool isSigned, isEncrypted;
    void (*change)(Email&);
    Lines lines;
  } rows[] = {
      {"no certificate",
       true,
       false,
       [](Email&) {},
       {"No certificates for signing could be located", "Failed to create detached signature",
        "signer_address: jane@example.org", "Failed to create a mulitpart/signed message"}},
      {"no sender",
       true,
       false,
       [](Email& e) { e.removeHeaderField("From"); },
       {"createDetachedSignature.2: Email address is empty", "Failed to create detached signature"}},
      {"a damaged certificate",
       true,
       false,
       [](Email& e) { e.sendSecurity().signingCert = "AAAA"; },
       {"createDetachedSignature.3: certificate param is null", "Failed to create detached signature"}},
      {"nobody to encrypt for",
       false,
       true,
       [](Email&) {},
       {"Failed to find certificate for encryption", "certificate_email_address: jane@example.org",
        "Failed to create an encrypted message"}},
      {"no recipient",
       false,
       true,
       [](Email& e) { e.clearTo(); },
       {"Failed to find certificate for encryption", "certificate_email_address: "}},
      {"both",
       true,
       true,
       [](Email&) {},
       {"Failed to find certificate for digital signature", "certificate_email_address: jane@example.org",
        "Failed to create a signed-data message"}},
      {"a certificate without key",
       true,
       true,
       [](Email& e) { e.sendSecurity().signingCert.set(jane().base64()); },
       {"signature_certificate: US, Jane Roe, jane@example.org",
        "createAttachedSignature.2: The private key of the certificate is not here",
        "Failed to create digitally signed message", "Failed to create a signed-data message"}},
  };
  for (const auto& row : rows) {
    log_.clear();
    const auto original = composed();
    Email& email = *original;
    row.change(email);
    EXPECT_EQ(prepared(email, row.isSigned, row.isEncrypted, true), nullptr);
    EXPECT_TRUE(log_.holds(row.lines)) << row.what;
  }
  stores_.give(jane());
  log_.clear();
  const auto original = composed();
  Email& email = *original;
  email.clearTo();
  email.addTo("", "max@example.net");
  EXPECT_EQ(prepared(email, true, true, true), nullptr);
  EXPECT_TRUE(log_.holds({"certificate_store: (registry) HKEY_CURRENT_USER/[Current User Certificate Store]",
                          "Failed to find certificate for encryption",
                          "Failed to create an signed/encrypted message"}));
}

TEST_F(SmimeTest, TellsWhenACertificateCameWithMail) {
  stores_.give(jane());
  BinaryData ignored;
  read(signedBeside(plain("x"), kHeader), true);
  std::filesystem::remove_all(stores_ / "current_user");
  log_.clear();
  const auto original = composed();
  Email& email = *original;
  EXPECT_NE(prepared(email, false, true), nullptr);
  constexpr std::string_view kWarning = "The certificate for encryption came with received mail.";
  EXPECT_EQ(log_.count(kWarning), 1U);

  // The same certificate where the user put it.
  std::filesystem::remove_all(stores_ / "local_machine");
  stores_.give(jane());
  log_.clear();
  EXPECT_NE(prepared(*composed(), false, true), nullptr);
  EXPECT_EQ(log_.count(kWarning), 0U);
}

// --- Reading

TEST_F(SmimeTest, OpensLayersWhereTheyAre) {
  stores_.give(jane());
  const std::string x = plain("x");
  const std::string s = signedBeside(x), o = signedAround(x), e = encrypted(x);
  std::string badSigned = signedBeside(x, kHeader);
  badSigned.replace(badSigned.find("\r\n\r\nx\r\n") + 4, 1, "y");
  std::string badOpaque = signedAround(x, kHeader);
  badOpaque.resize(badOpaque.size() - 20);
  std::string signatureFirst = signedBeside(x, kHeader);
  const std::size_t first = signatureFirst.find("--=_b0_\r\n"),
                    second = signatureFirst.find("--=_b0_\r\n", first + 1),
                    end = signatureFirst.find("--=_b0_--");
  signatureFirst = signatureFirst.substr(0, first) + signatureFirst.substr(second, end - second) +
                   signatureFirst.substr(first, second - first) + signatureFirst.substr(end);
  std::string threeParts = signedBeside(x, kHeader);
  threeParts.insert(threeParts.find("--=_b0_--"), "--=_b0_\r\n" + plain("z") + "\r\n");
  std::string otherType = signedBeside(x, kHeader);
  otherType.replace(otherType.rfind("application/pkcs7-signature"), 27, "application/pgp-signature");
  // A gateway made quoted-printable of 8 bits.
  std::string reencoded = signedBeside(
      "Content-Type: text/plain; charset=iso-8859-1\r\nContent-Transfer-Encoding: 8bit\r\n\r\n\xFC", kHeader);
  reencoded.replace(reencoded.find("8bit\r\n\r\n\xFC"), 9, "quoted-printable\r\n\r\n=FC");
  const struct {
    const char* what;
    std::string text;
    std::string tree;  // how it begins, where a layer stays closed
    std::string security;
  } rows[] = {
      {"plain", std::string(kHeader) + x, "plain=x", "0s0e"},
      {"signed", signedBeside(x, kHeader), "plain=x", "1s0e wholly signed by Jane Roe"},
      {"opaque", signedAround(x, kHeader), "plain=x", "1s0e wholly signed by Jane Roe"},
      {"encrypted", encrypted(x, kHeader), "plain=x", "0s1e wholly encrypted for Jane Roe"},
      {"signed, then encrypted", encrypted(o, kHeader), "plain=x",
       "1s1e wholly signed wholly encrypted by Jane Roe for Jane Roe"},
      {"encrypted, then signed", signedBeside(e, kHeader), "plain=x",
       "1s1e wholly signed wholly encrypted by Jane Roe for Jane Roe"},
      {"all of them", encrypted(signedAround(signedBeside(encrypted(x))), kHeader), "plain=x",
       "2s2e wholly signed wholly encrypted by Jane Roe by Jane Roe for Jane Roe for Jane Roe"},
      {"beside foreign text", mixed({plain("f"), s, plain("g")}, kHeader), "mixed(plain=f plain=x plain=g)",
       "1s0e by Jane Roe"},
      {"foreign text around what is encrypted",
       mixed({"Content-Type: text/html\r\n\r\n<img src=\"//evil/", e, plain("\">")}, kHeader),
       "mixed(html=<img src=\"//evil/ plain=x plain=\">)", "0s1e for Jane Roe"},
      {"a multipart inside", signedBeside(mixed({x, e}), kHeader), "mixed(plain=x plain=x)",
       "1s1e wholly signed by Jane Roe for Jane Roe"},
      {"a changed text", badSigned, "signed(plain=y application/pkcs7-signature=", "1S!0e"},
      {"coded anew on the way", reencoded, "signed(plain=\xFC application/pkcs7-signature=", "1S!0e"},
      {"cut off", badOpaque, "application/pkcs7-mime=", "1S!0e"},
      {"signature first", signatureFirst, "signed(application/pkcs7-signature=", "1S!0e"},
      {"three parts", threeParts, "signed(plain=x application/pkcs7-signature=", "1s0e"},
      {"another kind of signature", otherType, "signed(plain=x application/pgp-signature=", "1s0e"},
      {"a good one behind a bad one", mixed({badSigned, s}, kHeader),
       "mixed(signed(plain=y application/pkcs7-signature=", "2S!0e by Jane Roe"},
      {"for somebody else", encrypted(x, kHeader, qv_test::max()), "application/pkcs7-mime=", "0s1E!"},
      {"nothing in it", std::string(kHeader) + "Content-Type: application/pkcs7-mime\r\n\r\n",
       "application/pkcs7-mime", "0s1E!"},
      {"an empty text signed", signedAround("", kHeader), "", "1s0e wholly signed by Jane Roe"},
      {"line ends of another machine", signedAround("Content-Type: text/plain\n\nx\ny", kHeader),
       "plain=x\r\ny", "1s0e wholly signed by Jane Roe"},
  };
  for (const auto& row : rows) {
    const auto email = read(row.text);
    EXPECT_EQ(dump(*email).substr(0, row.tree.size()), row.tree) << row.what << log_.text();
    EXPECT_EQ(dump(email->receivedSecurity()), row.security) << row.what << log_.text();
    // A message of one layer that did not open is what it would be if nobody had tried.
    if (row.security != "1S!0e" && row.security != "0s1E!") continue;
    StringBuffer tried, untouched;
    email->writeMime(tried, {});
    createFromMimeText(row.text, {}, nullptr)->writeMime(untouched, {});
    EXPECT_EQ(tried.view(), untouched.view()) << row.what;
  }
}

// The bound holds for a message, not for each of its layers.
TEST_F(SmimeTest, SavesAFewCertificatesOfAMessage) {
  constexpr std::size_t kSaved = SaveStore::kMaxSaved;
  for (const std::size_t count : {kSaved, kSaved + 1}) {
    std::filesystem::remove_all(stores_ / "local_machine");
    std::vector<std::string> parts;
    for (std::size_t n = 0; n < count; ++n) {
      const qv_test::Identity signer = qv_test::makeIdentity({.serial = 1000 + static_cast<long>(n)});
      stores_.give(signer);
      parts.push_back(signedBeside(plain("x"), {}, static_cast<int>(n), signer));
    }
    log_.clear();
    EXPECT_EQ(read(mixed(parts, kHeader), true)->receivedSecurity().signedBy.size(), count);
    EXPECT_EQ(log_.count("Successfully added certificate to certificate store."), kSaved);
    EXPECT_EQ(log_.count("The message brings too many certificates, no more of it are saved."),
              count - kSaved);
  }
}

TEST_F(SmimeTest, FieldsOfTheContentCount) {
  stores_.give(jane());
  const std::string content =
      "Subject: inner\r\nX-New: =?utf-8?Q?=C3=A4?=\r\nX-New: b\r\nQVX-FileDistList: /etc/passwd\r\n"
      "Content-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\na=3Db";
  for (const std::string& text :
       {signedBeside(content, kHeader), signedAround(content, kHeader), encrypted(content, kHeader)}) {
    const auto email = read(text);
    EXPECT_EQ(email->getSubject(), "inner");
    EXPECT_EQ(email->getHeaderField("X-New"), "b");
    EXPECT_EQ(email->getHeaderField("QVX-FileDistList"), "");
    EXPECT_EQ(email->getFromAddress(), "jane@example.org");
    EXPECT_EQ(email->contentType(), "text/html");
    EXPECT_EQ(email->charset(), "utf-8");
    EXPECT_EQ(email->getContentTypeParams().smimeType.view(), "");
    EXPECT_EQ(email->getBody(), "a=b");
    EXPECT_TRUE(email->utf8Header());
  }
}

TEST_F(SmimeTest, LogsWhatItMet) {
  stores_.give(jane());
  const std::string x = plain("x");
  std::string bad = signedBeside(x, kHeader);
  bad.replace(bad.find("\r\n\r\nx\r\n") + 4, 1, "y");
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } rows[] = {
      {signedBeside(x, std::string(kHeader) + "Message-ID: <1@x>\r\n"),
       {"signature_cert_issuer: US, Jane Roe, jane@example.org",
        "signature_cert_subject: US, Jane Roe, jane@example.org", "A digitally signed email was received",
        "All signatures are valid", "num_parts_signed: 1", "from: jane@example.org", "message_id: 1@x"}},
      {encrypted(x, kHeader),
       {"decrypt_cert_issuer: US, Jane Roe, jane@example.org",
        "decrypt_cert_subject: US, Jane Roe, jane@example.org", "An encrypted email was received",
        "All data successfully decrypted", "num_parts_encrypted: 1"}},
      {encrypted(signedAround(x), kHeader),
       {"A signed and encrypted email was received", "All signatures are valid",
        "All data successfully decrypted", "num_parts_signed: 1", "num_parts_encrypted: 1"}},
      {bad, {"Failed to verify detached digital signature", "Not all signatures were valid"}},
      {encrypted(x, kHeader, qv_test::max()), {"Failed to decrypt message", "Not all data was decrypted"}},
  };
  for (const auto& row : rows) {
    log_.clear();
    read(row.text);
    EXPECT_TRUE(log_.holds(row.lines));
  }
  log_.clear();
  read(std::string(kHeader) + x);
  EXPECT_EQ(log_.text(), "");
}

TEST_F(SmimeTest, SavesTheCertificateOfAGoodDetachedSignature) {
  const std::string folder = stores_ / ("local_machine/registry/" + std::string(kReceivedCertificatesPath));
  stores_.give(jane());
  const std::string x = plain("x");
  std::string bad = signedBeside(x, kHeader);
  bad.replace(bad.find("\r\n\r\nx\r\n") + 4, 1, "y");
  for (const std::string& text :
       {std::string(kHeader) + x, bad, signedAround(x, kHeader), encrypted(x, kHeader)}) {
    read(text, true);
    EXPECT_FALSE(std::filesystem::exists(folder));
  }
  read(signedBeside(x, kHeader), false);
  EXPECT_FALSE(std::filesystem::exists(folder));
  read(signedBeside(x, kHeader), true);
  EXPECT_TRUE(std::filesystem::exists(folder) && !std::filesystem::is_empty(folder));
}

TEST_F(SmimeTest, TellsOfEachLayer) {
  stores_.give(jane());
  const std::string x = plain("x"), forMax = encrypted(x, {}, qv_test::max());
  std::string bad = signedBeside(x);
  bad.replace(bad.find("\r\n\r\nx\r\n") + 4, 1, "y");
  std::string threeParts = signedBeside(x, kHeader);
  threeParts.insert(threeParts.find("--=_b0_--"), "--=_b0_\r\n" + x + "\r\n");
  const struct {
    std::string text;
    std::string layers;
  } rows[] = {
      {std::string(kHeader) + x, ""},
      {encrypted(signedAround(x), kHeader), "encrypted+* Jane Roe, signed+* Jane Roe"},
      {signedBeside(mixed({x, encrypted(signedBeside(x))}), kHeader),
       "signed+* Jane Roe, encrypted+ Jane Roe, signed+ Jane Roe"},
      {std::string(kHeader) + bad, "signed*"},
      {std::string(kHeader) + forMax, "encrypted*"},
      {signedAround(forMax, kHeader), "signed+* Jane Roe, encrypted*"},
      {mixed({bad, forMax, signedAround(x)}, kHeader), "signed, encrypted, signed+ Jane Roe"},
      {threeParts, "signed*"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dumpLayers(read(row.text)->receivedSecurity()), row.layers) << row.text;
  }
}

// One more layer than the bound stays closed, whatever kinds the others are.
TEST_F(SmimeTest, OpensThirtyLayersOnAPath) {
  stores_.give(jane());
  const std::function<std::string(const std::string&)> kinds[] = {
      [](const std::string& inner) { return signedAround(inner); },
      [](const std::string& inner) { return signedBeside(inner, {}, static_cast<int>(inner.size())); },
      [](const std::string& inner) { return encrypted(inner); },
      [](const std::string& inner) { return mixed({inner}); },
  };
  for (const std::size_t numLayers : {kMaxLayersOnPath, kMaxLayersOnPath + 1}) {
    for (const std::size_t first : {0U, 1U, 2U}) {
      std::string text = plain("x");
      for (std::size_t i = 0; i < numLayers; ++i) {
        text = kinds[first == 2 ? i % 3 : first](text);
        if (first == 2 && i == 10) text = kinds[3](text);
      }
      const auto email = read(std::string(kHeader) + text);
      const ReceivedSecurity& found = email->receivedSecurity();
      EXPECT_EQ(found.numPartsSigned + found.numPartsEncrypted, static_cast<int>(kMaxLayersOnPath));
      const Email* leaf = email.get();
      while (!leaf->parts().empty()) leaf = leaf->parts().at(0);
      const bool isOpen = leaf->body().data().view() == "x" && email->contentType() != "multipart/signed";
      EXPECT_EQ(isOpen, numLayers == kMaxLayersOnPath) << first;
    }
  }
  EXPECT_EQ(log_.count("The message has too many security layers, the rest stays closed."), 3U);
}

TEST_F(SmimeTest, OpensAHundredLayersOfAMessage) {
  stores_.give(jane());
  for (const std::size_t numLayers : {kMaxLayersInMessage, kMaxLayersInMessage + 1}) {
    const auto email = read(mixed(std::vector<std::string>(numLayers, signedAround(plain("x"))), kHeader));
    EXPECT_EQ(email->receivedSecurity().numPartsSigned, static_cast<int>(kMaxLayersInMessage));
    EXPECT_EQ(dump(*email->parts().at(kMaxLayersInMessage - 1)), "plain=x");
    EXPECT_EQ(dump(*email->parts().at(numLayers - 1)) == "plain=x", numLayers == kMaxLayersInMessage);
  }
}

TEST_F(SmimeTest, NestsWithoutAStack) {
  stores_.give(jane());
  std::string text = plain("x");
  for (int i = 0; i < 190; ++i) {
    const std::string boundary = "b" + std::to_string(i) + ".";
    text = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" + boundary + "\r\n" +
           text + "\r\n--" + boundary + "--\r\n";
  }
  const std::string deep = encrypted(signedBeside(signedAround(text)), kHeader);
  qv_test::runOnSmallStack([&] {
    const auto email = read(deep);
    EXPECT_EQ(email->getBody(), "x");
  });
}

TEST_F(SmimeTest, CostGrowsWithTheMessage) {
  stores_.give(jane());
  struct Kind {
    const char* what;
    std::size_t n;
    std::function<std::string(std::size_t)> make;
  };
  const Kind kinds[] = {
      {"large text", 1 << 20,
       [](std::size_t n) { return signedBeside(plain(std::string(n, 'x')), kHeader); }},
      {"fields", 8000,
       [](std::size_t n) {
         std::string text = plain("x");
         for (std::size_t layer = 0; layer < 25; ++layer) {
           std::string fields;
           for (std::size_t i = 0; i < n / 25; ++i)
             fields += "X-" + std::to_string(layer * n + i) + ": v\r\n";
           text = signedAround(fields + text);
         }
         return std::string(kHeader) + text;
       }},
      {"signatures that are none", 20000,
       [](std::size_t n) {
         std::string text = std::string(kHeader) + "Content-Type: multipart/mixed; boundary=m\r\n\r\n";
         for (std::size_t i = 0; i < n; ++i)
           text += "--m\r\nContent-Type: multipart/signed; boundary=s\r\n\r\n--s\r\n\r\nx\r\n--s--\r\n";
         return text;
       }},
      {"bytes that are no message", 1 << 20,
       [](std::size_t n) { return pkcs7(std::string(n, '\x30'), "x", kHeader); }},
  };
  for (const Kind& kind : kinds) {
    const double growth = qv_test::costOfTwice(kind.n, kind.make, [](const std::string& text) {
      createFromMimeText(text, {.processSecurity = true}, nullptr);
    });
    EXPECT_LT(growth, 3) << kind.what;
  }
}

// Whatever byte of a message is changed, a changed text never counts as signed.
TEST_F(SmimeTest, NothingFlippedIsWhollySigned) {
  stores_.give(jane());
  const std::string text = "pay 100 to Jane";
  for (const std::string& good :
       {encrypted(signedAround(plain(text)), kHeader), signedBeside(plain(text), kHeader)}) {
    for (std::size_t at = kHeader.size(); at < good.size(); at += 3) {
      std::string changed = good;
      changed[at] = static_cast<char>(changed[at] ^ 1);
      const auto email = createFromMimeText(changed, {.processSecurity = true}, nullptr);
      ASSERT_NE(email, nullptr);
      if (email->receivedSecurity().whollySigned) EXPECT_EQ(email->getBody(), text) << at;
    }
  }
}

}  // namespace
}  // namespace qv

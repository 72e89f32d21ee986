#include "email/smime_writer.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "cert/qv_crypt.h"
#include "core/text.h"
#include "mime/mime_header.h"

namespace qv {
namespace {

// Fields that tell the component what to do never leave the machine, inside a layer as little as outside.
constexpr std::string_view kPrivatePrefix = "QVX-";

// What of a message is said by the outer one, or by nobody.
constexpr std::string_view kOuterFields[] = {
    "subject",      "to",         "cc",        "bcc",
    "from",         "date",       "X-Mailer",  "Message-ID",
    "MIME-Version", "X-Priority", "X-RCPT-TO", "Status",
    "X-UIDL",       "Importance", "X-MimeOLE", "X-MSMail-Priority",
};

constexpr std::string_view cipherOf(EncryptAlgorithm algorithm) noexcept {
  switch (algorithm) {
    case EncryptAlgorithm::rc2:
      return "1.2.840.113549.3.2";
    case EncryptAlgorithm::des:
      return "1.3.14.3.2.7";
    case EncryptAlgorithm::tripleDes:
      return "1.2.840.113549.3.7";
    case EncryptAlgorithm::rc4:
      break;
  }
  return "1.2.840.113549.3.4";
}

// Runs `work`; what escapes from it is logged as `failure`, and there is no result.
template <typename Work>
auto guarded(std::string_view failure, CLog* log, Work work) -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    logError(log, failure);
    return {};
  }
}

QV_Crypt cryptFor(bool useService, const LoginInfo& login, CLog* log) {
  QV_Crypt crypt(log);
  if (useService) crypt.setServiceLogin(login);
  return crypt;
}

StringBuffer textOf(const Email& email) {
  StringBuffer text;
  email.writeMime(text, kPrivatePrefix);
  return text;
}

// The boundary that the text of a message is written with, which is not the e-mail's own when that occurs in
// what it separates.
std::string writtenBoundary(std::string_view header) {
  MimeHeader fields;
  bool ignored = false;
  fields.parseHeader(header, ignored);
  return readContentFields(fields).boundary.str();
}

void removeOuterFields(Email& part) {
  for (const std::string_view name : kOuterFields) part.removeHeaderField(name);
  part.header().removeFieldsWithPrefix(kPrivatePrefix);
  if (equalsNoCase(part.contentType(), "text/plain") || equalsNoCase(part.contentType(), "text/html")) return;
  // The fields that stay, as they stand: their parameters may be more than the e-mail knows.
  MimeHeader kept;
  for (std::size_t i = 0; i < part.numHeaderFields(); ++i) {
    const MimeField& field = *part.header().getField(i);
    const bool stays = equalsNoCase(field.getName(), "content-type") ||
                       equalsNoCase(field.getName(), "content-transfer-encoding");
    if (stays) kept.appendField(field.clone());
  }
  part.removeHeaderField("content-disposition");
  part.removeHeaderField("content-id");
  part.header() = std::move(kept);
}

/// The part that is signed, and the very text that it is written as.
class SignedPart {
 public:
  /// `text` ends with the content, written in full, from `contentStart` on.
  SignedPart(std::unique_ptr<Email> part, StringBuffer text, std::size_t contentStart)
      : part_(std::move(part)), text_(std::move(text)), contentStart_(contentStart) {
    StringBuffer header;
    part_->header().writeHeader(header, kPrivatePrefix);
    header.append("\r\n\r\n");
    if (header.size() <= contentStart_) {
      // In front of the content where that lies: a large text is not written twice.
      start_ = contentStart_ - header.size();
      std::copy_n(header.view().data(), header.size(), text_.extend(0) - text_.size() + start_);
    } else {
      const std::size_t headerSize = header.size();
      header.append(text_.view().substr(contentStart_));
      text_ = std::move(header);
      contentStart_ = headerSize;
    }
  }

  std::string_view view() const noexcept { return text_.view().substr(start_); }

  /// The part with its content as the text that it was written as: whatever writes the message again writes
  /// these very bytes.
  std::unique_ptr<Email> take() {
    BinaryData content;
    content.take(text_);
    content.set(content.view().substr(contentStart_));
    part_->body().setRawData(std::move(content));
    return std::move(part_);
  }

 private:
  std::unique_ptr<Email> part_;
  StringBuffer text_;
  std::size_t start_ = 0;
  std::size_t contentStart_;
};

SignedPart makeSignedPart(const Email& email, CLog* log) {
  StringBuffer text = textOf(email);
  std::unique_ptr<Email> part = Email::withoutFields(log);
  part->copyHeaderFrom(email);
  const std::size_t headerEnd = findText(text, "\r\n\r\n");
  if (!email.parts().empty()) {
    const std::string boundary = writtenBoundary(text.view().substr(0, headerEnd));
    if (boundary != email.boundary() || !email.isMultipart()) {
      ContentTypeParams params = email.getContentTypeParams();
      if (!email.isMultipart()) params.type = "multipart/mixed";
      params.boundary.set(boundary);
      part->setContentType(params);
    }
  }
  removeOuterFields(*part);
  part->clearBcc();
  return {std::move(part), std::move(text), headerEnd + 4};
}

std::unique_ptr<Email> makeSignaturePart(BinaryData signature, CLog* log) {
  std::unique_ptr<Email> part = Email::newEmptyPart(log);
  part->setTransferEncoding("base64");
  part->setContentType({.type = "application/x-pkcs7-signature", .name = "smime.p7s"});
  part->setDisposition("attachment", "smime.p7s");
  part->body().setForBase64(std::move(signature));
  return part;
}

std::unique_ptr<Email> makeSignedMessage(const Email& email, CLog* log) {
  auto outer = std::make_unique<Email>(log);
  outer->setContentType({.type = "multipart/signed",
                         .protocol = "application/x-pkcs7-signature",
                         .micalg = "SHA1",
                         .boundary = Email::newBoundary()});
  outer->setSubject(email.getSubject());
  outer->removeHeaderField("content-transfer-encoding");
  outer->copyAddressesFrom(email);
  return outer;
}

// The message around a PKCS #7 body, under the header of the e-mail.
std::unique_ptr<Email> makePkcs7Message(const Email& email, BinaryData body, std::string_view smimeType,
                                        CLog* log) {
  std::unique_ptr<Email> outer = Email::withoutFields(log);
  outer->copyHeaderFrom(email);
  outer->setDisposition("attachment", "smime.p7m");
  outer->setTransferEncoding("base64");
  outer->setContentType({.type = "application/x-pkcs7-mime", .name = "smime.p7m", .smimeType = smimeType});
  outer->body().setForBase64(std::move(body));
  return outer;
}

// The certificate set on the e-mail, or the first one that matches the address.
struct Chosen {
  std::unique_ptr<Certificate> certificate;
  StringBuffer store;
  std::optional<CertStoreSpec> spec;
};
Chosen choose(const QV_Crypt& crypt, std::string_view encoded, std::string_view address, CLog* log) {
  Chosen chosen;
  if (!encoded.empty()) {
    chosen.certificate = std::make_unique<Certificate>(encoded, log);
    if (chosen.certificate->isEmpty()) chosen.certificate.reset();
  } else {
    chosen.certificate = crypt.findCertificateForEmail(address, chosen.store, &chosen.spec);
  }
  return chosen;
}

void logMissing(std::string_view message, std::string_view address, CLog* log) {
  logError(log, message);
  logData(log, "certificate_email_address", address);
}

}  // namespace

std::unique_ptr<Email> createMultipartSigned(const Email& email, bool useService, const LoginInfo& login,
                                             CLog* log) {
  return guarded("Unexpected exception in Email.createMultipartSigned", log, [&]() -> std::unique_ptr<Email> {
    std::unique_ptr<Email> outer = makeSignedMessage(email, log);
    SignedPart inner = makeSignedPart(email, log);

    const std::string address(email.getFromAddress());
    const StringBuffer& chosen = email.sendSecurity().signingCert;
    QV_Crypt crypt = cryptFor(useService, login, log);
    BinaryData signature;
    bool isSigned = false;
    if (chosen.empty()) {
      isSigned = crypt.createDetachedSignature(std::string_view(address), inner.view(), signature);
    } else {
      const Certificate certificate(chosen, log);
      isSigned = crypt.createDetachedSignature(&certificate, inner.view(), signature);
    }
    if (!isSigned) {
      logError(log, "Failed to create detached signature");
      logData(log, "signer_address", address);
      return nullptr;
    }
    outer->addPart(inner.take());
    outer->addPart(makeSignaturePart(std::move(signature), log));
    return outer;
  });
}

std::unique_ptr<Email> createSignedData(const Email& email, bool useService, const LoginInfo& login,
                                        CLog* log) {
  return guarded("Unexpected exception in Email.createSignedData", log, [&]() -> std::unique_ptr<Email> {
    const StringBuffer text = textOf(email);
    const std::string address(email.getFromAddress());
    QV_Crypt crypt = cryptFor(useService, login, log);
    const StringBuffer& encoded = email.sendSecurity().signingCert;
    const Chosen chosen = guarded(encoded.empty() ? "Unexpected exception in Email.createSignedData.1"
                                                  : "Unexpected exception in Email.createSignedData.4",
                                  log, [&] { return choose(crypt, encoded, address, log); });
    if (!chosen.certificate) {
      logMissing("Failed to find certificate for digital signature", address, log);
      return nullptr;
    }
    logData(log, "signature_certificate", chosen.certificate->getSubjectName());
    logData(log, "certificate_store", chosen.store);
    BinaryData signedData;
    const bool isSigned = guarded("Unexpected exception in Email.createSignedData.2", log, [&] {
      return crypt.createAttachedSignature(chosen.certificate.get(), text, signedData);
    });
    if (!isSigned) {
      logError(log, "Failed to create digitally signed message");
      return nullptr;
    }
    return guarded("Unexpected exception in Email.createSignedData.3", log,
                   [&] { return makePkcs7Message(email, std::move(signedData), "signed-data", log); });
  });
}

std::unique_ptr<Email> createPkcs7Mime(const Email& email, bool useService, const LoginInfo& login,
                                       CLog* log) {
  return guarded("Unexpected exception in Email.createPkcs7Mime", log, [&]() -> std::unique_ptr<Email> {
    const StringBuffer text = textOf(email);
    const std::string address(email.getToAddr(0));
    QV_Crypt crypt = cryptFor(useService, login, log);
    crypt.setAlgorithm(cipherOf(email.sendSecurity().encryptAlgorithm));
    const Chosen chosen = choose(crypt, email.sendSecurity().encryptCert, address, log);
    if (!chosen.certificate) {
      logMissing("Failed to find certificate for encryption", address, log);
      return nullptr;
    }
    logData(log, "encryption_certificate", chosen.certificate->getSubjectName());
    logData(log, "certificate_store", chosen.store);
    // Whoever sent that mail says whose certificate it is, and nobody else.
    if (chosen.spec && chosen.spec->path() == kReceivedCertificatesPath) {
      logInfo(log, "The certificate for encryption came with received mail.");
    }
    BinaryData enveloped;
    if (!crypt.encryptData(text, enveloped, *chosen.certificate)) {
      logError(log, "Failed to encrypt message");
      return nullptr;
    }
    return makePkcs7Message(email, std::move(enveloped), {}, log);
  });
}

std::unique_ptr<Email> prepareSecurity(Email& email, bool useService, const LoginInfo& login, CLog* log,
                                       bool& failed) {
  const bool isSigned = email.sendSecurity().sendSigned, isEncrypted = email.sendSecurity().sendEncrypted;
  failed = false;
  if (!isSigned && !isEncrypted) return nullptr;
  email.makeLineEndsUniform();

  std::unique_ptr<Email> made;
  std::string_view failure;
  if (!isEncrypted) {
    made = createMultipartSigned(email, useService, login, log);
    failure = "Failed to create a mulitpart/signed message";
  } else if (!isSigned) {
    made = createPkcs7Mime(email, useService, login, log);
    failure = "Failed to create an encrypted message";
  } else if (const auto signedData = createSignedData(email, useService, login, log)) {
    made = createPkcs7Mime(*signedData, useService, login, log);
    failure = "Failed to create an signed/encrypted message";
  } else {
    failure = "Failed to create a signed-data message";
  }
  if (made) return made;
  logError(log, failure);
  failed = true;
  return nullptr;
}

}  // namespace qv

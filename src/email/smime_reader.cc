#include "email/smime_reader.h"

#include <utility>
#include <vector>

#include "cert/qv_crypt.h"
#include "core/text.h"
#include "email/line_ends.h"

namespace qv {
namespace {

// The second name is that of RFC 5751.
bool isSignature(const MimeMessage2& part) noexcept {
  return equalsNoCase(part.getContentType(), "application/x-pkcs7-signature") ||
         equalsNoCase(part.getContentType(), "application/pkcs7-signature");
}

bool isLayer(const MimeMessage2& entity) noexcept {
  return entity.isMultipartSigned() || entity.isPkcs7Enveloped() || entity.isPkcs7SignedData();
}

// Reads what a layer held as an entity. QUIRK: some programs sign and encrypt texts with the line ends of
// their machine.
void readContent(std::string_view text, std::size_t depth, MimeMessage2& content) {
  const bool hasForeignEnds = findText(text, "\r\n\r\n") == std::string_view::npos &&
                              findText(text, "\n\n") != std::string_view::npos;
  if (!hasForeignEnds) return content.parseMime(text, depth);
  StringBuffer uniform;
  appendWithCrLf(text, uniform);
  content.parseMime(uniform, depth);
}

/// Walks down a tree and opens layers as it meets them. What is to be visited waits in a list instead of on
/// the call stack.
class Unwrapper {
 public:
  Unwrapper(bool autoSaveCerts, CLog* log) : autoSaveCerts_(autoSaveCerts), log_(log), crypt_(log) {
    result_.signaturesValid = true;
    result_.decrypted = true;
  }

  ReceivedSecurity open(MimeMessage2& top) {
    waiting_.push_back({&top, 0, 0});
    while (!waiting_.empty()) {
      Place place = waiting_.back();
      waiting_.pop_back();
      openLayers(place, place.entity == &top);
      for (std::size_t i = place.entity->getNumParts(); i-- > 0;) {
        waiting_.push_back({place.entity->getPart(i), place.depth + 1, place.numLayers});
      }
    }
    top.setModified(true);
    return std::move(result_);
  }

 private:
  struct Place {
    MimeMessage2* entity;
    std::size_t depth;      ///< below the top of the tree
    std::size_t numLayers;  ///< met on the way to it
  };

  // Layer after layer of one entity, until it is no layer or one that does not open.
  void openLayers(Place& place, bool isTop) {
    bool isOpened = true;
    while (isOpened && isLayer(*place.entity)) {
      if (place.numLayers == kMaxLayersOnPath || numLayers_ == kMaxLayersInMessage) {
        logError(log_, "The message has too many security layers, the rest stays closed.");
        return;
      }
      ++place.numLayers;
      ++numLayers_;
      result_.securityFound = true;
      isOpened = openLayer(*place.entity, place.depth, isTop);
    }
  }

  bool openLayer(MimeMessage2& entity, std::size_t depth, bool isTop) {
    const bool isEncrypted = entity.isPkcs7Enveloped();
    ++(isEncrypted ? result_.numPartsEncrypted : result_.numPartsSigned);
    result_.layers.push_back({.isEncrypted = isEncrypted, .isWhole = isTop});
    const bool isOpened = isEncrypted                  ? decrypt(entity, depth, isTop)
                          : entity.isMultipartSigned() ? unwrapSigned(entity, isTop)
                                                       : unwrapSignedData(entity, depth, isTop);
    result_.layers.back().isOpened = isOpened;
    return isOpened;
  }

  bool unwrapSigned(MimeMessage2& entity, bool isTop) {
    if (entity.getNumParts() != 2) {
      logError(log_, "unwrap multipart/signed: number of parts is not equal to 2");
      logDataLong(log_, "num_parts", static_cast<long>(entity.getNumParts()));
      return false;
    }
    MimeMessage2* content = entity.getPart(0);
    MimeMessage2* signature = entity.getPart(1);
    if (content == nullptr || signature == nullptr) {
      logError(log_, "unwrap multipart/signed -- missing subparts");
      return false;
    }
    if (isSignature(*content)) {
      std::swap(content, signature);
    } else if (!isSignature(*signature)) {
      logError(log_, "unwrap multipart/signed: unexpected content type");
      logData(log_, "content_type", signature->getContentType());
      return false;
    }
    CertificatePtr signer;
    if (!crypt_.verifyDetachedSignature(signature->body().data().view(), content->signedText(), saveStore(),
                                        signer)) {
      logError(log_, "Failed to verify detached digital signature");
      result_.signaturesValid = false;
      return false;
    }
    noteSigner(std::move(signer), isTop);
    entity.replaceByContent(*content);
    return true;
  }

  bool unwrapSignedData(MimeMessage2& entity, std::size_t depth, bool isTop) {
    BinaryData text;
    CertificatePtr signer;
    if (!crypt_.verifySignature(entity.body().data().view(), text, signer)) {
      result_.signaturesValid = false;
      return false;
    }
    noteSigner(std::move(signer), isTop);
    replaceByText(entity, depth, std::move(text));
    return true;
  }

  bool decrypt(MimeMessage2& entity, std::size_t depth, bool isTop) {
    BinaryData text;
    CertificatePtr recipient;
    if (!crypt_.decryptMessage(entity.body().data().view(), text, recipient)) {
      logError(log_, "Failed to decrypt message");
      result_.decrypted = false;
      return false;
    }
    note(std::move(recipient), "decrypt_cert_issuer", "decrypt_cert_subject", result_.encryptedBy);
    if (isTop) result_.whollyEncrypted = true;
    replaceByText(entity, depth, std::move(text));
    return true;
  }

  void replaceByText(MimeMessage2& entity, std::size_t depth, BinaryData text) {
    MimeMessage2 content(log_);
    readContent(text.view(), depth, content);
    text.clear();
    entity.replaceByContent(content);
  }

  void noteSigner(CertificatePtr signer, bool isTop) {
    if (isTop && signer) result_.whollySigned = true;
    note(std::move(signer), "signature_cert_issuer", "signature_cert_subject", result_.signedBy);
  }

  void note(CertificatePtr certificate, std::string_view issuerTag, std::string_view subjectTag,
            std::vector<CertificatePtr>& list) {
    if (!certificate) return;
    logData(log_, issuerTag, certificate->getIssuerName());
    logData(log_, subjectTag, certificate->getSubjectName());
    result_.layers.back().certificate = certificate;
    list.push_back(std::move(certificate));
  }

  SaveStore* saveStore() { return autoSaveCerts_ ? &saveStore_ : nullptr; }

  bool autoSaveCerts_;
  CLog* log_;
  QV_Crypt crypt_;
  SaveStore saveStore_;
  std::vector<Place> waiting_;
  std::size_t numLayers_ = 0;
  ReceivedSecurity result_;
};

}  // namespace

ReceivedSecurity unwrapSecurity(MimeMessage2& top, bool autoSaveCerts, CLog* log) {
  return Unwrapper(autoSaveCerts, log).open(top);
}

void logSecurity(const ReceivedSecurity& found, CLog* log) {
  if (!found.securityFound) return;
  const bool isSigned = found.numPartsSigned > 0, isEncrypted = found.numPartsEncrypted > 0;
  logInfo(log, isSigned && isEncrypted ? "A signed and encrypted email was received"
               : isEncrypted           ? "An encrypted email was received"
                                       : "A digitally signed email was received");
  if (!found.signaturesValid) {
    logError(log, "Not all signatures were valid");
  } else if (isSigned) {
    logInfo(log, "All signatures are valid");
  }
  if (!found.decrypted) {
    logError(log, "Not all data was decrypted");
  } else if (isEncrypted) {
    logInfo(log, "All data successfully decrypted");
  }
  if (isSigned) logDataLong(log, "num_parts_signed", found.numPartsSigned);
  if (isEncrypted) logDataLong(log, "num_parts_encrypted", found.numPartsEncrypted);
}

}  // namespace qv

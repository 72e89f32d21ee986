#include "cert/qv_crypt.h"

#include <cstdio>
#include <utility>

#include "platform/crypt_messages.h"

namespace qv {
namespace {

using crypt::SignedMessage;

class BinaryOutput final : public crypt::Output {
 public:
  explicit BinaryOutput(BinaryData& bytes) : bytes_(bytes) { bytes_.clear(); }
  char* extend(std::size_t count) override { return bytes_.extend(count); }
  void truncate(std::size_t size) override { bytes_.truncate(size); }

 private:
  BinaryData& bytes_;
};

std::string joined(std::string_view prefix, std::string_view text) {
  return std::string(prefix).append(text);
}

}  // namespace

bool QV_Crypt::createDetachedSignature(std::string_view address, std::string_view data, BinaryData& out) {
  out.clear();
  if (address.data() == nullptr) {
    logError(log_, "createDetachedSignature.1: Email address is NULL");
    return false;
  }
  if (address.empty()) {
    logError(log_, "createDetachedSignature.2: Email address is empty");
    return false;
  }
  for (const auto find : {&CertificateStore::findUsableByEmail, &CertificateStore::findByEmail}) {
    for (const CertStoreSpec& spec : defaultStoreList()) {
      const auto store = CertificateStore::open(spec, false, log_);
      if (!store) continue;
      const std::unique_ptr<Certificate> certificate = (store.get()->*find)(address);
      if (certificate && createDetachedSignature(certificate.get(), data, out)) return true;
    }
  }
  logError(log_, "No certificates for signing could be located");
  return false;
}

bool QV_Crypt::createDetachedSignature(const Certificate* certificate, std::string_view data,
                                       BinaryData& out) {
  out.clear();
  if (certificate == nullptr || certificate->isEmpty()) {
    logError(log_, "createDetachedSignature.3: certificate param is null");
    return false;
  }
  return sign(*certificate, data, true, "createDetachedSignature.1: ", "createDetachedSignature.2: ", out);
}

bool QV_Crypt::createAttachedSignature(const Certificate* certificate, std::string_view data,
                                       BinaryData& out) {
  out.clear();
  if (certificate == nullptr || certificate->isEmpty()) {
    logError(log_, "createAttachedSignature.1: certificate param is null");
    return false;
  }
  return sign(*certificate, data, false, "createAttachedSignature.2: ", "createAttachedSignature.3: ", out);
}

bool QV_Crypt::sign(const Certificate& certificate, std::string_view data, bool detached,
                    std::string_view prepareFailed, std::string_view processFailed, BinaryData& out) {
  BinaryOutput output(out);
  crypt::Error error;
  if (crypt::sign(data, *withPrivateKey(certificate.context()), detached, output, error)) return true;
  out.clear();
  const bool isPrepare = error.stage == crypt::Error::Stage::prepare;
  logError(log_, joined(isPrepare ? prepareFailed : processFailed, error.text));
  if (isPrepare) {
    char code[32];
    std::snprintf(code, sizeof code, "0x%lx", error.code);
    logData(log_, "error_code", code);
  }
  return false;
}

bool QV_Crypt::encryptData(std::string_view data, BinaryData& out, const Certificate& recipient) {
  BinaryOutput output(out);
  if (data.empty()) {
    logError(log_, "Nothing to encrypt, data size is zero");
    return false;
  }
  if (!acquireProvider()) return false;
  crypt::Error error{.text = "no certificate"};
  if (!recipient.isEmpty() && crypt::encrypt(data, algorithm_, *recipient.context(), output, error))
    return true;
  out.clear();
  const bool isPrepare = error.stage == crypt::Error::Stage::prepare;
  logError(log_, joined(isPrepare ? "encryptData.1: " : "encryptData.2: ", error.text));
  return false;
}

bool QV_Crypt::decryptMessage(std::string_view message, BinaryData& out, CertificatePtr& certificate) {
  BinaryOutput output(out);
  certificate.reset();
  if (!acquireProvider()) return false;
  crypt::Error error;
  CertContextPtr recipient;
  if (crypt::decrypt(
          message, [this](const CertId& id) { return findWithKey(id); }, output, recipient, error)) {
    certificate = std::make_shared<const Certificate>(std::move(recipient), log_);
    return true;
  }
  out.clear();
  const bool isPrepare = error.stage == crypt::Error::Stage::prepare;
  logError(log_, joined(isPrepare ? "decryptMessage.1: " : "decryptMessage.2: ", error.text));
  return false;
}

bool QV_Crypt::verifyDetachedSignature(std::string_view signature, std::string_view data,
                                       SaveStore* saveStore, CertificatePtr& signer) {
  signer.reset();
  const std::string_view missing = signature.empty()        ? "digital signature is missing"
                                   : data.data() == nullptr ? "signed data is null"
                                   : data.empty()           ? "length of signed data is 0"
                                                            : std::string_view{};
  if (!missing.empty()) {
    logError(log_, "verifyDetachedSignature.1: invalid parameters");
    logError(log_, missing);
    return false;
  }
  crypt::Error error;
  const auto message = SignedMessage::read(signature, error);
  CertificatePtr last;
  for (std::size_t index = 0; message; ++index) {
    std::string_view stage = "verifyDetachedSignature.2: ";
    CertContextPtr found;
    SignedMessage::Check check = message->verify(index, data, {}, found, error);
    if (check == SignedMessage::Check::certificateNotFound) {
      stage = "verifyDetachedSignature.3: ";
      const auto find = [this](const CertId& id) { return findSubjectCertificate(id); };
      check = message->verify(index, data, find, found, error);
    }
    if (check == SignedMessage::Check::noSigner) {
      signer = std::move(last);
      return true;
    }
    if (check != SignedMessage::Check::good) {
      logError(log_, joined(stage, error.text));
      return false;
    }
    last = std::make_shared<const Certificate>(std::move(found), log_);
    if (saveStore != nullptr) save(*saveStore, *last);
  }
  logError(log_, joined("verifyDetachedSignature.2: ", error.text));
  return false;
}

void QV_Crypt::save(SaveStore& into, const Certificate& signer) {
  if (into.numSaved == 0)
    into.store = CertificateStore::openOrCreateLocalMachineRegistryStore(into.path, log_);
  if (into.numSaved++ < SaveStore::kMaxSaved) {
    if (into.store) into.store->addCertificate(&signer);
  } else if (into.numSaved == SaveStore::kMaxSaved + 1) {
    logInfo(log_, "The message brings too many certificates, no more of it are saved.");
  }
}

bool QV_Crypt::verifySignature(std::string_view message, BinaryData& content, CertificatePtr& signer) {
  content.clear();
  signer.reset();
  crypt::Error error;
  std::string_view stage = "verifySignature.1: ";
  const auto parsed = SignedMessage::read(message, error);
  if (parsed && !parsed->hasContent()) error.text = "The message holds nothing that is signed";
  CertificatePtr first;
  bool isGood = parsed && parsed->hasContent();
  // Without a signer the look at the first one fails.
  for (std::size_t index = 0; isGood && (index == 0 || index < parsed->numSigners()); ++index) {
    CertContextPtr found;
    SignedMessage::Check check = parsed->verify(index, parsed->content(), {}, found, error);
    if (check == SignedMessage::Check::certificateNotFound) {
      stage = "verifySignature.2: ";
      const auto find = [this](const CertId& id) { return findSubjectCertificate(id); };
      check = parsed->verify(index, parsed->content(), find, found, error);
    } else if (check == SignedMessage::Check::bad) {
      stage = "verifySignature.3: ";
    }
    isGood = check == SignedMessage::Check::good;
    if (isGood && index == 0) first = std::make_shared<const Certificate>(std::move(found), log_);
  }
  if (!isGood) {
    logError(log_, joined(stage, error.text));
    return false;
  }
  content.set(parsed->content());
  signer = std::move(first);
  return true;
}

// The providers by type, as the report lists them. The one that is used here offers the first type only.
bool QV_Crypt::acquireProvider() {
  std::string error;
  if (crypt::isProviderAvailable(error)) return true;
  logError(log_, joined("getCSP_full: ", error));
  const LogContext context(log_, "cryptographic_providers");
  for (const std::string_view type :
       {"PROV_RSA_FULL", "PROV_RSA_SIG", "PROV_DSS", "PROV_DSS_DH", "PROV_DH_SCHANNEL", "PROV_FORTEZZA",
        "PROV_MS_EXCHANGE", "PROV_RSA_SCHANNEL", "PROV_SSL"}) {
    logData(log_, type, type == "PROV_RSA_FULL" && crypt::isProviderAvailable(error) ? "yes" : "no");
  }
  return false;
}

}  // namespace qv

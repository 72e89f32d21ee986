// The members of the e-mail object for signing and encryption.
#include "api/counts.h"
#include "api/public_call.h"
#include "api/quorvel_cert.h"
#include "api/quorvel_email.h"

namespace qv {
namespace {

std::string nameOfFirst(const std::vector<std::shared_ptr<const Certificate>>& certificates) {
  return std::string(certificates.empty() ? std::string_view() : certificates.front()->getSubjectName());
}

/// Null when there is none of that index.
const SecurityLayer* layerAt(const ReceivedSecurity& found, std::int32_t index) {
  const std::size_t at = asIndex(index);
  return at < found.layers.size() ? &found.layers[at] : nullptr;
}

Outcome keep(quorvel::IQuorvelCert* certificate, StringBuffer& into, CLog* log) {
  if (certificate == nullptr) {
    logError(log, "Failed to create internal certificate object");
    return Outcome::failed;
  }
  const std::string encoded = certificate->GetEncoded();
  if (encoded.empty()) {
    logError(log, "Failed to get encoded certificate");
    return Outcome::failed;
  }
  into.set(encoded);
  return Outcome::done;
}

Outcome handOut(const StringBuffer& kept, std::string_view missing, quorvel::Ref<quorvel::IQuorvelCert>& out,
                CLog* log) {
  if (kept.empty()) {
    logError(log, missing);
    return Outcome::failed;
  }
  auto made = quorvel::make<CQuorvelCert>();
  const StringBuffer encoded = Certificate(kept, log).getEncoded();
  made->SetFromEncoded(encoded);
  if (encoded.empty()) {
    logError(log, "Failed to create IQuorvelCert instance.");
    return Outcome::failed;
  }
  out = std::move(made);
  return Outcome::done;
}

}  // namespace

std::int32_t CQuorvelEmail::get_ReceivedEncrypted() {
  return publicRead(plain("get_ReceivedEncrypted"),
                    [this](CLog*) { return email_->receivedSecurity().numPartsEncrypted > 0 ? 1 : 0; });
}
std::int32_t CQuorvelEmail::get_ReceivedSigned() {
  return publicRead(plain("get_ReceivedSigned"),
                    [this](CLog*) { return email_->receivedSecurity().numPartsSigned > 0 ? 1 : 0; });
}
std::string CQuorvelEmail::get_SignedBy() {
  return publicRead(plain("get_SignedBy"),
                    [this](CLog*) { return nameOfFirst(email_->receivedSecurity().signedBy); });
}
std::int32_t CQuorvelEmail::get_SignaturesValid() {
  return publicRead(plain("get_SignaturesValid"),
                    [this](CLog*) { return email_->receivedSecurity().signaturesValid ? 1 : 0; });
}
std::int32_t CQuorvelEmail::get_Decrypted() {
  return publicRead(plain("get_Decrypted"),
                    [this](CLog*) { return email_->receivedSecurity().decrypted ? 1 : 0; });
}
std::string CQuorvelEmail::get_EncryptedBy() {
  return publicRead(plain("get_EncryptedBy"),
                    [this](CLog*) { return nameOfFirst(email_->receivedSecurity().encryptedBy); });
}
std::int32_t CQuorvelEmail::get_WhollySigned() {
  return publicRead(plain("get_WhollySigned"),
                    [this](CLog*) { return email_->receivedSecurity().whollySigned ? 1 : 0; });
}
std::int32_t CQuorvelEmail::get_WhollyEncrypted() {
  return publicRead(plain("get_WhollyEncrypted"),
                    [this](CLog*) { return email_->receivedSecurity().whollyEncrypted ? 1 : 0; });
}

std::int32_t CQuorvelEmail::get_NumSecurityLayers() {
  return publicRead(plain("get_NumSecurityLayers"),
                    [this](CLog*) { return asCount(email_->receivedSecurity().layers.size()); });
}
std::string CQuorvelEmail::GetLayerKind(std::int32_t index) {
  return publicRead(plain("GetLayerKind"), [&](CLog*) -> std::string {
    const SecurityLayer* layer = layerAt(email_->receivedSecurity(), index);
    if (layer == nullptr) return {};
    return layer->isEncrypted ? "encrypted" : "signed";
  });
}
std::int32_t CQuorvelEmail::GetLayerOpened(std::int32_t index) {
  return publicRead(plain("GetLayerOpened"), [&](CLog*) {
    const SecurityLayer* layer = layerAt(email_->receivedSecurity(), index);
    return layer != nullptr && layer->isOpened ? 1 : 0;
  });
}
std::int32_t CQuorvelEmail::GetLayerWhole(std::int32_t index) {
  return publicRead(plain("GetLayerWhole"), [&](CLog*) {
    const SecurityLayer* layer = layerAt(email_->receivedSecurity(), index);
    return layer != nullptr && layer->isWhole ? 1 : 0;
  });
}
quorvel::Ref<quorvel::IQuorvelCert2> CQuorvelEmail::GetLayerCert(std::int32_t index) {
  return publicRead(plain("GetLayerCert"), [&](CLog*) -> quorvel::Ref<quorvel::IQuorvelCert2> {
    const SecurityLayer* layer = layerAt(email_->receivedSecurity(), index);
    if (layer == nullptr || !layer->certificate) return nullptr;
    return quorvel::make<CQuorvelCert>(layer->certificate);
  });
}

std::int32_t CQuorvelEmail::get_SendSigned() {
  return publicRead(plain("get_SendSigned"),
                    [this](CLog*) { return email_->sendSecurity().sendSigned ? 1 : 0; });
}
void CQuorvelEmail::put_SendSigned(std::int32_t wanted) {
  publicCall(plain("put_SendSigned"), [&](CLog*) { email_->sendSecurity().sendSigned = wanted != 0; });
}
std::int32_t CQuorvelEmail::get_SendEncrypted() {
  return publicRead(plain("get_SendEncrypted"),
                    [this](CLog*) { return email_->sendSecurity().sendEncrypted ? 1 : 0; });
}
void CQuorvelEmail::put_SendEncrypted(std::int32_t wanted) {
  publicCall(plain("put_SendEncrypted"), [&](CLog*) { email_->sendSecurity().sendEncrypted = wanted != 0; });
}

quorvel::Ref<quorvel::IQuorvelCert> CQuorvelEmail::GetEncryptCert() {
  quorvel::Ref<quorvel::IQuorvelCert> certificate;
  publicCall(inContext("GetEncryptCert"), [&](CLog* log) {
    return handOut(email_->sendSecurity().encryptCert,
                   "No encryption certificate has been set for this email.", certificate, log);
  });
  return certificate;
}
void CQuorvelEmail::SetEncryptCert(quorvel::IQuorvelCert* cert) {
  publicCall(inContext("SetEncryptCert"),
             [&](CLog* log) { return keep(cert, email_->sendSecurity().encryptCert, log); });
}
quorvel::Ref<quorvel::IQuorvelCert> CQuorvelEmail::GetSigningCert() {
  quorvel::Ref<quorvel::IQuorvelCert> certificate;
  publicCall(inContext("GetSigningCert"), [&](CLog* log) {
    return handOut(email_->sendSecurity().signingCert, "No signing certificate has been set for this email.",
                   certificate, log);
  });
  return certificate;
}
void CQuorvelEmail::SetSigningCert(quorvel::IQuorvelCert* cert) {
  publicCall(inContext("SetSigningCert"),
             [&](CLog* log) { return keep(cert, email_->sendSecurity().signingCert, log); });
}

void CQuorvelEmail::SetAlgorithmRC2() {
  setAlgorithm("SetAlgorithmRC2", EncryptAlgorithm::rc2);
}
void CQuorvelEmail::SetAlgorithmRC4() {
  setAlgorithm("SetAlgorithmRC4", EncryptAlgorithm::rc4);
}
void CQuorvelEmail::SetAlgorithmDES() {
  setAlgorithm("SetAlgorithmDES", EncryptAlgorithm::des);
}
void CQuorvelEmail::SetAlgorithm3DES() {
  setAlgorithm("SetAlgorithm3DES", EncryptAlgorithm::tripleDes);
}
void CQuorvelEmail::setAlgorithm(std::string_view name, EncryptAlgorithm algorithm) {
  publicCall(inContext(name), [&](CLog*) { email_->sendSecurity().encryptAlgorithm = algorithm; });
}

}  // namespace qv

#include "cert/certificate.h"

#include <utility>

#include "core/text.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

// RFC 5280 4.2.1.3, as bits of the first byte.
struct UsageBit {
  unsigned bit;
  bool CertificateUsage::*flag;
};
constexpr UsageBit kUsageBits[] = {
    {0x80, &CertificateUsage::digitalSignature},   {0x40, &CertificateUsage::nonRepudiation},
    {0x20, &CertificateUsage::keyEncipherment},    {0x10, &CertificateUsage::dataEncipherment},
    {0x04, &CertificateUsage::certificateSigning}, {0x02, &CertificateUsage::crlSigning},
};

// RFC 5280 4.2.1.12. Every other purpose is ignored.
struct Purpose {
  std::string_view oid;
  bool CertificateUsage::*flag;
};
constexpr Purpose kPurposes[] = {
    {"1.3.6.1.5.5.7.3.1", &CertificateUsage::serverAuthentication},
    {"1.3.6.1.5.5.7.3.2", &CertificateUsage::clientAuthentication},
    {"1.3.6.1.5.5.7.3.3", &CertificateUsage::codeSigning},
    {"1.3.6.1.5.5.7.3.4", &CertificateUsage::emailProtection},
    {"1.3.6.1.5.5.7.3.8", &CertificateUsage::timeStamping},
};

CertificateUsage usageOf(const CertContext& context) {
  CertificateUsage usage;
  const unsigned bits = context.keyUsage().value_or(0);
  for (const UsageBit& each : kUsageBits) usage.*each.flag = (bits & each.bit) != 0;
  if (const auto purposes = context.extendedKeyUsage()) {
    usage.hasExtendedKeyUsage = true;
    for (const std::string& purpose : *purposes) {
      for (const Purpose& each : kPurposes) {
        if (purpose == each.oid) usage.*each.flag = true;
      }
    }
  }
  return usage;
}

std::string_view valueOf(const ExtPtrArray<StringPair>& attributes, std::string_view key) noexcept {
  for (const auto& attribute : attributes) {
    if (attribute->name() == key) return attribute->value();
  }
  return {};
}

}  // namespace

void splitNameAttributes(std::string_view name, ExtPtrArray<StringPair>& out) {
  for (const std::string_view piece : splitOutsideQuotes(name, ',')) {
    const auto parts = splitOutsideQuotes(piece, '=');
    if (parts.size() != 2) continue;
    out.append(std::make_unique<StringPair>(toUpper(trimmed(parts[0])), trimmed(parts[1])));
  }
}

Certificate::Certificate(std::string_view base64, CLog* log) : log_(log) {
  std::string error;
  context_ = CertContext::fromDer(ContentCoding::decodeBase64(base64).view(), error);
  if (!context_) logError(log_, "CertCreateCertificateContext: " + error);
  readContext();
}

Certificate::Certificate(CertContextPtr context, CLog* log) : log_(log), context_(std::move(context)) {
  readContext();
}

void Certificate::readContext() {
  if (!context_) return;
  using Party = CertContext::Party;
  subjectDn_.set(context_->x500Name(Party::subject));
  issuerDn_.set(context_->x500Name(Party::issuer));
  subjectName_.set(context_->simpleName(Party::subject));
  issuerName_.set(context_->simpleName(Party::issuer));
  splitNameAttributes(subjectDn_, subjectAttributes_);
  splitNameAttributes(issuerDn_, issuerAttributes_);
  usage_ = usageOf(*context_);
}

StringBuffer Certificate::getEncoded() const {
  if (!context_) {
    logError(log_, "Failed to get encoded certificate: no cert context found");
    return {};
  }
  if (context_->der().empty()) {
    logError(log_, "Failed to get encoded certificate: no encoded data found within cert context");
    return {};
  }
  return ContentCoding::encodeBase64ToBuffer(context_->der());
}

std::string_view Certificate::getSubjectAttribute(std::string_view key) const noexcept {
  return valueOf(subjectAttributes_, key);
}

std::string_view Certificate::getIssuerAttribute(std::string_view key) const noexcept {
  return valueOf(issuerAttributes_, key);
}

bool Certificate::matchesEmail(std::string_view address) const noexcept {
  return !address.empty() && findNoCase(subjectName_, address) != std::string_view::npos;
}

bool Certificate::isUsableForEmail() const noexcept {
  if (usage_.hasExtendedKeyUsage && !usage_.emailProtection) return false;
  return getSubjectAttribute("E").find('@') != std::string_view::npos;
}

CertContext::Algorithm Certificate::getSignatureAlgorithm() const {
  return context_ ? context_->signatureAlgorithm() : CertContext::Algorithm{};
}

}  // namespace qv

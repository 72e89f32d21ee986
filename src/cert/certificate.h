// One X.509 certificate as the component sees it.
#pragma once

#include <memory>
#include <string_view>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "platform/cert_context.h"

namespace qv {

using CertContextPtr = std::shared_ptr<const CertContext>;

/// What a certificate says that its key is for; all 0 where its extensions do not say it.
struct CertificateUsage {
  bool digitalSignature = false;
  bool nonRepudiation = false;
  bool keyEncipherment = false;
  bool dataEncipherment = false;
  bool certificateSigning = false;
  bool crlSigning = false;
  bool hasExtendedKeyUsage = false;
  bool emailProtection = false;
  bool serverAuthentication = false;
  bool clientAuthentication = false;
  bool codeSigning = false;
  bool timeStamping = false;
};

/// Never changes once it is made. One that could not be made has no context: its texts are empty and it
/// matches nothing. Nothing here asks whether it is valid now or who vouches for it.
class Certificate final : public QuorvelObject {
 public:
  /// From base64 of DER. `log` may be null and is not owned.
  Certificate(std::string_view base64, CLog* log);
  /// `context` may be null.
  Certificate(CertContextPtr context, CLog* log);

  const CertContextPtr& context() const noexcept { return context_; }
  bool isEmpty() const noexcept { return context_ == nullptr; }

  /// Base64 of the DER bytes on one line; empty, with an entry in the log, when there is none.
  StringBuffer getEncoded() const;

  /// In X.500 form, as "CN=Jane Roe, O=Acme"; see `CertContext::x500Name`.
  std::string_view subjectDn() const noexcept { return subjectDn_; }
  std::string_view issuerDn() const noexcept { return issuerDn_; }
  /// The attribute values only, joined by ", ".
  std::string_view getSubjectName() const noexcept { return subjectName_; }
  std::string_view getIssuerName() const noexcept { return issuerName_; }
  /// The value of the first attribute with exactly this key ("CN", "OU", "O", "L", "S", "C", "E"), in its
  /// quotes where it needs any; empty when there is none.
  std::string_view getSubjectAttribute(std::string_view key) const noexcept;
  std::string_view getIssuerAttribute(std::string_view key) const noexcept;
  const ExtPtrArray<StringPair>& subjectAttributes() const noexcept { return subjectAttributes_; }
  const ExtPtrArray<StringPair>& issuerAttributes() const noexcept { return issuerAttributes_; }

  const CertificateUsage& usage() const noexcept { return usage_; }
  /// Whether the address occurs in the subject's simple name, ignoring ASCII case. An empty one occurs
  /// nowhere.
  bool matchesEmail(std::string_view address) const noexcept;
  /// Whether no extension keeps it from mail and its subject has an e-mail address.
  bool isUsableForEmail() const noexcept;
  /// The algorithm that the certificate itself is signed with; its digest is the one for signing with it.
  CertContext::Algorithm getSignatureAlgorithm() const;

  CLog* log() const noexcept { return log_; }

 private:
  void readContext();

  CLog* log_;
  CertContextPtr context_;
  StringBuffer subjectDn_, issuerDn_;
  StringBuffer subjectName_, issuerName_;
  ExtPtrArray<StringPair> subjectAttributes_, issuerAttributes_;
  CertificateUsage usage_;
};

/// The attributes of a name in X.500 form: split at each "," and then at "=", outside double quotes and not
/// behind a backslash. The key is upper-cased and trimmed, the value trimmed. A piece that is no key and
/// value is left out.
void splitNameAttributes(std::string_view name, ExtPtrArray<StringPair>& out);

}  // namespace qv

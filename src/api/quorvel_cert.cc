#include "api/quorvel_cert.h"

#include <atomic>
#include <optional>
#include <utility>

#include "api/quorvel_log.h"
#include "core/binary_data.h"
#include "core/file_sys.h"
#include "mime/date_parser.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

std::int32_t nextNumber() {
  static std::atomic<std::int32_t> counter{0};
  return ++counter;
}

// A value without the quotes that only keep it together in the text of the whole name.
std::string withoutQuotes(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  std::string text;
  value = value.substr(1, value.size() - 2);
  for (std::size_t i = 0; i < value.size(); ++i) {
    if ((value[i] == '"' || value[i] == '\\') && i + 1 < value.size()) ++i;  // stands doubled
    text += value[i];
  }
  return text;
}

CertContextPtr fromBase64(std::string_view text, std::string& error) {
  return CertContext::fromDer(ContentCoding::decodeBase64(text).view(), error);
}

}  // namespace

CQuorvelCert::CQuorvelCert(std::shared_ptr<const Certificate> certificate)
    : store_(std::make_shared<LogStore>()),
      ownLog_(store_),
      number_(nextNumber()),
      certificate_(certificate ? std::move(certificate)
                               : std::make_shared<const Certificate>(CertContextPtr(), nullptr)) {}

// A failure stands in both logs: the shared one is where error reports come from.
Outcome CQuorvelCert::fail(std::string_view message, CLog* shared) {
  ownLog_.LogError(message);
  logError(shared, message);
  return Outcome::failed;
}

std::string CQuorvelCert::get_Version() {
  return publicRead(plain("get_Version"), [](CLog*) { return std::string(component::kVersion); });
}
quorvel::Ref<quorvel::IQuorvelLog2> CQuorvelCert::GetLog() {
  return publicRead(plain("GetLog"), [this](CLog*) -> quorvel::Ref<quorvel::IQuorvelLog2> {
    return quorvel::make<CQuorvelLog>(store_);
  });
}

std::int32_t CQuorvelCert::usage(std::string_view name, bool CertificateUsage::*flag) {
  return publicRead(plain(name), [&](CLog*) { return certificate_->usage().*flag ? 1 : 0; });
}
std::int32_t CQuorvelCert::get_ForSecureEmail() {
  return usage("get_ForSecureEmail", &CertificateUsage::emailProtection);
}
std::int32_t CQuorvelCert::get_ForServerAuthentication() {
  return usage("get_ForServerAuthentication", &CertificateUsage::serverAuthentication);
}
std::int32_t CQuorvelCert::get_ForClientAuthentication() {
  return usage("get_ForClientAuthentication", &CertificateUsage::clientAuthentication);
}
std::int32_t CQuorvelCert::get_ForCodeSigning() {
  return usage("get_ForCodeSigning", &CertificateUsage::codeSigning);
}
std::int32_t CQuorvelCert::get_ForTimeStamping() {
  return usage("get_ForTimeStamping", &CertificateUsage::timeStamping);
}

std::string CQuorvelCert::get_SerialNumber() {
  return publicRead(plain("get_SerialNumber"), [this](CLog*) {
    return certificate_->isEmpty() ? std::string() : certificate_->context()->serialNumber();
  });
}

std::string CQuorvelCert::get_Fingerprint() {
  return publicRead(plain("get_Fingerprint"), [this](CLog*) {
    return certificate_->isEmpty() ? std::string() : certificate_->context()->fingerprint();
  });
}

double CQuorvelCert::date(std::string_view name, std::optional<CalendarTime> (CertContext::*read)() const) {
  return publicRead(plain(name), [&](CLog*) {
    double result = 0;
    if (certificate_->isEmpty()) return result;
    const std::optional<CalendarTime> time = (*certificate_->context().*read)();
    if (time && !DateParser::calendarToOleDate(*time, result)) result = 0;
    return result;
  });
}
double CQuorvelCert::get_ValidFrom() {
  return date("get_ValidFrom", &CertContext::validFrom);
}
double CQuorvelCert::get_ValidTo() {
  return date("get_ValidTo", &CertContext::validTo);
}

std::string CQuorvelCert::subject(std::string_view name, std::string_view key) {
  return publicRead(plain(name),
                    [&](CLog*) { return withoutQuotes(certificate_->getSubjectAttribute(key)); });
}
std::string CQuorvelCert::issuer(std::string_view name, std::string_view key) {
  return publicRead(plain(name), [&](CLog*) { return withoutQuotes(certificate_->getIssuerAttribute(key)); });
}
std::string CQuorvelCert::get_SubjectCN() {
  return subject("get_SubjectCN", "CN");
}
std::string CQuorvelCert::get_SubjectOU() {
  return subject("get_SubjectOU", "OU");
}
std::string CQuorvelCert::get_SubjectO() {
  return subject("get_SubjectO", "O");
}
std::string CQuorvelCert::get_SubjectL() {
  return subject("get_SubjectL", "L");
}
std::string CQuorvelCert::get_SubjectS() {
  return subject("get_SubjectS", "S");
}
std::string CQuorvelCert::get_SubjectC() {
  return subject("get_SubjectC", "C");
}
std::string CQuorvelCert::get_SubjectE() {
  return subject("get_SubjectE", "E");
}
std::string CQuorvelCert::get_IssuerCN() {
  return issuer("get_IssuerCN", "CN");
}
std::string CQuorvelCert::get_IssuerOU() {
  return issuer("get_IssuerOU", "OU");
}
std::string CQuorvelCert::get_IssuerO() {
  return issuer("get_IssuerO", "O");
}
std::string CQuorvelCert::get_IssuerL() {
  return issuer("get_IssuerL", "L");
}
std::string CQuorvelCert::get_IssuerS() {
  return issuer("get_IssuerS", "S");
}
std::string CQuorvelCert::get_IssuerC() {
  return issuer("get_IssuerC", "C");
}
std::string CQuorvelCert::get_IssuerE() {
  return issuer("get_IssuerE", "E");
}

std::int32_t CQuorvelCert::GetImpl() {
  return publicRead(plain("GetImpl"), [this](CLog*) { return number_; });
}

std::string CQuorvelCert::GetEncoded() {
  std::string encoded;
  publicCall(inContext("GetEncoded"), [&](CLog* log) {
    if (certificate_->isEmpty()) return fail("Failed to get encoded certificate: no cert context found", log);
    encoded = certificate_->getEncoded().str();
    return Outcome::done;
  });
  return encoded;
}

// `read` gives the certificate, or null with the reason.
template <typename Read>
void CQuorvelCert::load(std::string_view name, Read read) {
  publicCall(inContext(name), [&](CLog* log) {
    std::string error;
    CertContextPtr context = read(error);
    if (!context) return fail("CertCreateCertificateContext: " + error, log);
    certificate_ = std::make_shared<const Certificate>(std::move(context), nullptr);
    return Outcome::done;
  });
}

void CQuorvelCert::SetFromEncoded(std::string_view encodedCert) {
  load("SetFromEncoded", [&](std::string& error) { return fromBase64(encodedCert, error); });
}

void CQuorvelCert::LoadFromFile(std::string_view filename) {
  load("LoadFromFile", [&](std::string& error) -> CertContextPtr {
    BinaryData bytes;
    if (bytes.loadFile(filename, &ownLog_)) return CertContext::fromFileBytes(bytes.view(), error);
    error = "The file cannot be read";
    FileSys::canRead(filename, error);  // for the reason
    return nullptr;
  });
}

void CQuorvelCert::LoadFromBase64(std::string_view encodedCert) {
  load("LoadFromBase64", [&](std::string& error) {
    const bool isPem = encodedCert.find("-----BEGIN ") != std::string_view::npos;
    return isPem ? CertContext::fromFileBytes(encodedCert, error) : fromBase64(encodedCert, error);
  });
}

void CQuorvelCert::LoadFromBinary(const quorvel::Bytes& binaryBlob) {
  load("LoadFromBinary", [&](std::string& error) {
    return CertContext::fromFileBytes({reinterpret_cast<const char*>(binaryBlob.data()), binaryBlob.size()},
                                      error);
  });
}

void CQuorvelCert::SaveXmlLog(std::string_view filename) {
  publicCall(inContext("SaveXmlLog"), [&](CLog* log) {
    return ownLog_.SaveXml(false, filename) ? Outcome::done : fail("Failed to save XML log", log);
  });
}

}  // namespace qv

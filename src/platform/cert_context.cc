#include "platform/cert_context.h"

#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <climits>
#include <ctime>

#include "platform/openssl_support.h"

namespace qv {

using ossl::Owned;

struct CertContext::Held {
  Owned<X509> x509;
  std::string der;
  CertId id;
  std::string keyFile;
};

namespace {

std::string_view viewOf(const ASN1_STRING* text) {
  if (text == nullptr || ASN1_STRING_length(text) <= 0) return {};
  return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
          static_cast<std::size_t>(ASN1_STRING_length(text))};
}

// The DER that `encode` writes: OpenSSL's i2d functions, called with a null pointer for the length first.
template <typename Object>
std::string derOf(const Object* object, int (*encode)(const Object*, unsigned char**)) {
  const int size = encode(object, nullptr);
  if (size <= 0) return {};
  std::string der(static_cast<std::size_t>(size), '\0');
  auto* out = reinterpret_cast<unsigned char*>(der.data());
  encode(object, &out);
  return der;
}

void appendHex(std::string_view bytes, std::string_view digits, std::string& out) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
}

std::string dotted(const ASN1_OBJECT* object) {
  std::array<char, 128> room;
  const int size = OBJ_obj2txt(room.data(), static_cast<int>(room.size()), object, 1);
  if (size <= 0) return {};
  if (size < static_cast<int>(room.size())) return room.data();
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  OBJ_obj2txt(text.data(), size + 1, object, 1);
  text.pop_back();
  return text;
}

std::string keyOf(const ASN1_OBJECT* attribute) {
  struct Key {
    int nid;
    std::string_view name;
  };
  static constexpr Key kKeys[] = {
      {NID_commonName, "CN"},
      {NID_organizationalUnitName, "OU"},
      {NID_organizationName, "O"},
      {NID_localityName, "L"},
      {NID_stateOrProvinceName, "S"},
      {NID_countryName, "C"},
      {NID_pkcs9_emailAddress, "E"},
      {NID_streetAddress, "STREET"},
      {NID_title, "T"},
      {NID_givenName, "G"},
      {NID_initials, "I"},
      {NID_surname, "SN"},
      {NID_domainComponent, "DC"},
      {NID_serialNumber, "SERIALNUMBER"},
  };
  const int nid = OBJ_obj2nid(attribute);
  for (const Key& key : kKeys) {
    if (key.nid == nid) return std::string(key.name);
  }
  return "OID." + dotted(attribute);
}

std::string textOf(const ASN1_STRING* value) {
  unsigned char* utf8 = nullptr;
  const int size = ASN1_STRING_to_UTF8(&utf8, value);
  if (size < 0) {
    ossl::takeErrorText();
    return std::string(viewOf(value));
  }
  std::string text(reinterpret_cast<const char*>(utf8), static_cast<std::size_t>(size));
  OPENSSL_free(utf8);
  return text;
}

std::string quoted(const std::string& value) {
  const auto isWhite = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  const bool isPlain = !value.empty() && value.find_first_of(",+=\"\\\r\n<>#;") == std::string::npos &&
                       !isWhite(value.front()) && !isWhite(value.back());
  if (isPlain) return value;
  std::string out = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') out += c;
    out += c;
  }
  return out + '"';
}

template <typename Visit>
void forEachAttribute(const X509* x509, CertContext::Party party, Visit visit) {
  const X509_NAME* name =
      party == CertContext::Party::subject ? X509_get_subject_name(x509) : X509_get_issuer_name(x509);
  const int count = X509_NAME_entry_count(name);
  for (int i = 0; i < count; ++i) {
    const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
    visit(X509_NAME_ENTRY_get_object(entry), X509_NAME_ENTRY_get_data(entry));
  }
}

std::optional<CalendarTime> calendarTime(const ASN1_TIME* time) {
  std::tm parts{};
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
  const auto small = [](int value) { return static_cast<std::uint16_t>(value); };
  return CalendarTime{.year = small(parts.tm_year + 1900),
                      .month = small(parts.tm_mon + 1),
                      .dayOfWeek = small(parts.tm_wday),
                      .day = small(parts.tm_mday),
                      .hour = small(parts.tm_hour),
                      .minute = small(parts.tm_min),
                      .second = small(parts.tm_sec)};
}

std::shared_ptr<const CertContext> makeContext(Owned<X509> x509, std::string der) {
  auto held = std::make_unique<CertContext::Held>();
  held->id = ossl::idOf(X509_get_issuer_name(x509.get()), X509_get0_serialNumber(x509.get()));
  held->id.keyId = viewOf(X509_get0_subject_key_id(x509.get()));
  held->x509 = std::move(x509);
  held->der = std::move(der);
  ossl::takeErrorText();  // an extension that cannot be read is none
  return std::make_shared<const CertContext>(std::move(held));
}

}  // namespace

namespace ossl {

std::shared_ptr<const CertContext> contextOf(X509* certificate) {
  std::string der = derOf<X509>(certificate, i2d_X509);
  if (der.empty() || X509_up_ref(certificate) != 1) return nullptr;
  return makeContext(Owned<X509>(certificate), std::move(der));
}

X509* x509Of(const CertContext& certificate) noexcept {
  return certificate.held().x509.get();
}

CertId idOf(const X509_NAME* issuer, const ASN1_INTEGER* serial) {
  CertId id;
  if (issuer == nullptr || serial == nullptr) return id;
  id.issuer = derOf<X509_NAME>(issuer, i2d_X509_NAME);
  id.serial = derOf<ASN1_INTEGER>(serial, i2d_ASN1_INTEGER);
  return id;
}

}  // namespace ossl

CertContext::CertContext(std::unique_ptr<Held> held) : held_(std::move(held)) {}
CertContext::~CertContext() = default;

std::shared_ptr<const CertContext> CertContext::fromDer(std::string_view der, std::string& error) {
  Owned<X509> x509(X509_new_ex(ossl::context(), nullptr));
  const auto* at = reinterpret_cast<const unsigned char*>(der.data());
  X509* target = x509.get();
  if (x509 == nullptr || der.empty() || der.size() > LONG_MAX ||
      d2i_X509(&target, &at, static_cast<long>(der.size())) == nullptr) {
    if (target == nullptr) (void)x509.release();  // OpenSSL freed it as it failed
    error = ossl::takeErrorText("not a certificate");
    return nullptr;
  }
  const auto used = static_cast<std::size_t>(at - reinterpret_cast<const unsigned char*>(der.data()));
  return makeContext(std::move(x509), std::string(der.substr(0, used)));
}

std::shared_ptr<const CertContext> CertContext::fromFileBytes(std::string_view bytes, std::string& error) {
  if (bytes.find("-----BEGIN ") == std::string_view::npos) return fromDer(bytes, error);
  std::vector<std::string> faults;
  std::vector<std::shared_ptr<const CertContext>> all = allFromPem(bytes, faults);
  if (!all.empty()) return std::move(all.front());
  error = faults.empty() ? "no certificate in it" : faults.front();
  return nullptr;
}

std::vector<std::shared_ptr<const CertContext>> CertContext::allFromPem(std::string_view text,
                                                                        std::vector<std::string>& faults) {
  static constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----",
                                    kEnd = "-----END CERTIFICATE-----";
  std::vector<std::shared_ptr<const CertContext>> found;
  for (std::size_t at = text.find(kBegin); at != std::string_view::npos;) {
    const std::size_t next = text.find(kBegin, at + kBegin.size());
    const std::string_view block = text.substr(at, next == std::string_view::npos ? next : next - at);
    at = next;
    unsigned char* der = nullptr;
    long size = 0;
    const Owned<BIO> bio = ossl::readerOf(block);
    std::string error = "half a certificate";
    std::shared_ptr<const CertContext> certificate;
    if (block.find(kEnd) != std::string_view::npos) {
      if (bio &&
          PEM_bytes_read_bio(&der, &size, nullptr, PEM_STRING_X509, bio.get(), nullptr, nullptr) == 1) {
        certificate = fromDer({reinterpret_cast<const char*>(der), static_cast<std::size_t>(size)}, error);
        OPENSSL_free(der);
      } else {
        error = ossl::takeErrorText("not a certificate");
      }
    }
    if (certificate) {
      found.push_back(std::move(certificate));
    } else {
      faults.push_back(std::move(error));
    }
  }
  return found;
}

std::string_view CertContext::der() const noexcept {
  return held_->der;
}

std::string CertContext::pem() const {
  const Owned<BIO> bio(BIO_new(BIO_s_mem()));
  char* text = nullptr;
  if (!bio || PEM_write_bio_X509(bio.get(), held_->x509.get()) != 1) return {};
  const long size = BIO_get_mem_data(bio.get(), &text);
  return {text, static_cast<std::size_t>(size)};
}

std::string CertContext::x500Name(Party party) const {
  std::string name;
  forEachAttribute(held_->x509.get(), party, [&](const ASN1_OBJECT* key, const ASN1_STRING* value) {
    if (!name.empty()) name += ", ";
    name.append(keyOf(key)).append("=").append(quoted(textOf(value)));
  });
  return name;
}

std::string CertContext::simpleName(Party party) const {
  std::string name;
  forEachAttribute(held_->x509.get(), party, [&](const ASN1_OBJECT*, const ASN1_STRING* value) {
    if (!name.empty()) name += ", ";
    name += textOf(value);
  });
  return name;
}

std::string CertContext::serialNumber() const {
  const ASN1_INTEGER* serial = X509_get0_serialNumber(held_->x509.get());
  std::string text = ASN1_STRING_type(serial) == V_ASN1_NEG_INTEGER ? "-" : "";
  appendHex(viewOf(serial), "0123456789ABCDEF", text);
  return text;
}

std::string CertContext::fingerprint() const {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  const Owned<EVP_MD> sha256(EVP_MD_fetch(ossl::context(), "SHA256", nullptr));
  if (!sha256 || X509_digest(held_->x509.get(), sha256.get(), digest.data(), &size) != 1) {
    ossl::takeErrorText();
    return {};
  }
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    if (i > 0) text += ':';
    appendHex({reinterpret_cast<const char*>(&digest[i]), 1}, "0123456789ABCDEF", text);
  }
  return text;
}

std::optional<CalendarTime> CertContext::validFrom() const {
  return calendarTime(X509_get0_notBefore(held_->x509.get()));
}

std::optional<CalendarTime> CertContext::validTo() const {
  return calendarTime(X509_get0_notAfter(held_->x509.get()));
}

bool CertContext::isNewerThan(const CertContext& other) const {
  return ASN1_TIME_compare(X509_get0_notBefore(held_->x509.get()),
                           X509_get0_notBefore(other.held_->x509.get())) == 1;
}

std::optional<std::uint8_t> CertContext::keyUsage() const {
  auto* bits =
      static_cast<ASN1_BIT_STRING*>(X509_get_ext_d2i(held_->x509.get(), NID_key_usage, nullptr, nullptr));
  if (bits == nullptr) {
    ossl::takeErrorText();
    return std::nullopt;
  }
  const std::string_view bytes = viewOf(bits);
  const auto first = static_cast<std::uint8_t>(bytes.empty() ? 0 : bytes.front());
  ASN1_BIT_STRING_free(bits);
  return first;
}

std::optional<std::vector<std::string>> CertContext::extendedKeyUsage() const {
  if (X509_get_ext_by_NID(held_->x509.get(), NID_ext_key_usage, -1) < 0) return std::nullopt;
  std::vector<std::string> purposes;
  auto* usage = static_cast<EXTENDED_KEY_USAGE*>(
      X509_get_ext_d2i(held_->x509.get(), NID_ext_key_usage, nullptr, nullptr));
  for (int i = 0; usage != nullptr && i < sk_ASN1_OBJECT_num(usage); ++i) {
    purposes.push_back(dotted(sk_ASN1_OBJECT_value(usage, i)));
  }
  sk_ASN1_OBJECT_pop_free(usage, ASN1_OBJECT_free);
  ossl::takeErrorText();
  return purposes;
}

CertContext::Algorithm CertContext::signatureAlgorithm() const {
  const X509_ALGOR* algorithm = X509_get0_tbs_sigalg(held_->x509.get());
  const ASN1_OBJECT* object = nullptr;
  X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
  Algorithm result{.oid = dotted(object), .parameters = {}};
  if (algorithm->parameter != nullptr) {
    result.parameters = derOf<ASN1_TYPE>(algorithm->parameter, i2d_ASN1_TYPE);
  }
  return result;
}

const CertId& CertContext::id() const noexcept {
  return held_->id;
}

std::string CertContext::fileStem() const {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  std::size_t size = 0;
  const std::string name = held_->id.issuer + held_->id.serial;
  if (EVP_Q_digest(ossl::context(), "SHA256", nullptr, name.data(), name.size(), digest.data(), &size) != 1) {
    return {};
  }
  std::string stem;
  appendHex({reinterpret_cast<const char*>(digest.data()), std::min<std::size_t>(size, 20)},
            "0123456789abcdef", stem);
  return stem;
}

const std::string& CertContext::keyFile() const noexcept {
  return held_->keyFile;
}

std::shared_ptr<const CertContext> CertContext::withKeyFile(std::string path) const {
  auto held = std::make_unique<Held>();
  X509_up_ref(held_->x509.get());
  held->x509.reset(held_->x509.get());
  held->der = held_->der;
  held->id = held_->id;
  held->keyFile = std::move(path);
  return std::make_shared<const CertContext>(std::move(held));
}

}  // namespace qv

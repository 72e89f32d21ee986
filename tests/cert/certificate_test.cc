// What a certificate says, from its bytes.
#include "cert/certificate.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/test_certificates.h"

namespace qv {
namespace {

using qv_test::Identity;
using qv_test::makeIdentity;
using qv_test::Recipe;

const std::string kNulName("jane@example.org\0.evil.example", 30);

std::string dumpAttributes(const ExtPtrArray<StringPair>& attributes) {
  std::string out;
  for (const auto& each : attributes) out += "(" + each->name().str() + ", " + each->value().str() + ")";
  return out;
}

TEST(Certificate, ShowsNames) {
  const struct {
    const char* what;
    Recipe recipe;
    std::string dn, simple, attributes;
  } rows[] = {
      {"plain",
       {},
       "C=US, CN=Jane Roe, E=jane@example.org",
       "US, Jane Roe, jane@example.org",
       "(C, US)(CN, Jane Roe)(E, jane@example.org)"},
      {"all keys",
       {.subject = {{"CN", "a"},
                    {"OU", "b"},
                    {"O", "c"},
                    {"L", "d"},
                    {"ST", "e"},
                    {"C", "DE"},
                    {"emailAddress", "g"}}},
       "CN=a, OU=b, O=c, L=d, S=e, C=DE, E=g",
       "a, b, c, d, e, DE, g",
       "(CN, a)(OU, b)(O, c)(L, d)(S, e)(C, DE)(E, g)"},
      {"a comma",
       {.subject = {{"O", "Acme, Ltd"}, {"CN", "x"}}},
       "O=\"Acme, Ltd\", CN=x",
       "Acme, Ltd, x",
       "(O, \"Acme, Ltd\")(CN, x)"},
      {"a forged attribute",
       {.subject = {{"CN", "x, E=max@example.net"}}},
       "CN=\"x, E=max@example.net\"",
       "x, E=max@example.net",
       "(CN, \"x, E=max@example.net\")"},
      {"quotes and equal signs",
       {.subject = {{"O", "a \"b\" = c"}, {"CN", "x"}}},
       "O=\"a \"\"b\"\" = c\", CN=x",
       "a \"b\" = c, x",
       "(O, \"a \"\"b\"\" = c\")(CN, x)"},
      {"a backslash at the end",
       {.subject = {{"O", "a\\"}, {"CN", "x"}}},
       "O=\"a\\\\\", CN=x",
       "a\\, x",
       "(O, \"a\\\\\")(CN, x)"},
      {"an odd key",
       {.subject = {{"1.2.3.4", "v"}, {"CN", "x"}}},
       "OID.1.2.3.4=v, CN=x",
       "v, x",
       "(OID.1.2.3.4, v)(CN, x)"},
      {"nothing", {.subject = {}}, "", "", ""},
      {"UTF-8 of another string type",
       {.subject = {{"CN", "J\xE4ne"}}, .attributeType = V_ASN1_T61STRING},
       "CN=J\xC3\xA4ne",
       "J\xC3\xA4ne",
       "(CN, J\xC3\xA4ne)"},
      {"a NUL",
       {.subject = {{"CN", kNulName}}, .attributeType = V_ASN1_UTF8STRING},
       "CN=" + kNulName,
       kNulName,
       "(CN, " + kNulName + ")"},
  };
  for (const auto& row : rows) {
    const Certificate certificate = makeIdentity(row.recipe).certificate();
    EXPECT_EQ(certificate.subjectDn(), row.dn) << row.what;
    EXPECT_EQ(certificate.getSubjectName(), row.simple) << row.what;
    EXPECT_EQ(dumpAttributes(certificate.subjectAttributes()), row.attributes) << row.what;
    EXPECT_EQ(certificate.issuerDn(), row.dn) << row.what;
  }
}

TEST(Certificate, AttributesAreSplitOutsideQuotes) {
  const struct {
    std::string_view name;
    std::string attributes;
  } rows[] = {
      {"CN=Jane Roe, O=Acme Ltd, c=US", "(CN, Jane Roe)(O, Acme Ltd)(C, US)"},
      {"O=a\\,b, CN=x", "(O, a\\,b)(CN, x)"},
      {"a, b=1=2, c=3,=4, d=", "(C, 3)(, 4)(D, )"},
      {"O=\"a, b", "(O, \"a, b)"},
      {"", ""},
  };
  for (const auto& row : rows) {
    ExtPtrArray<StringPair> attributes;
    splitNameAttributes(row.name, attributes);
    EXPECT_EQ(dumpAttributes(attributes), row.attributes) << row.name;
  }
}

// d n k e c r: the bits of the key usage; X: has an extended one; m s l o t: its purposes.
std::string dump(const CertificateUsage& usage) {
  std::string out;
  const std::pair<char, bool> flags[] = {
      {'d', usage.digitalSignature},     {'n', usage.nonRepudiation},     {'k', usage.keyEncipherment},
      {'e', usage.dataEncipherment},     {'c', usage.certificateSigning}, {'r', usage.crlSigning},
      {'X', usage.hasExtendedKeyUsage},  {'m', usage.emailProtection},    {'s', usage.serverAuthentication},
      {'l', usage.clientAuthentication}, {'o', usage.codeSigning},        {'t', usage.timeStamping}};
  for (const auto& [letter, isSet] : flags) {
    if (isSet) out += letter;
  }
  return out;
}

TEST(Certificate, SaysWhatItIsFor) {
  const std::vector<Recipe::Attribute> noAddress{{"CN", "jane@example.org"}};
  const struct {
    const char* what;
    Recipe recipe;
    std::string usage;
    bool isUsableForEmail;
  } rows[] = {
      {"no extensions", {}, "", true},
      {"bits",
       {.extensions = {{"keyUsage", "digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment"}}},
       "dnke",
       true},
      {"more bits",
       {.extensions = {{"keyUsage", "keyAgreement,keyCertSign,cRLSign,encipherOnly"}}},
       "cr",
       true},
      {"mail among purposes",
       {.extensions = {{"extendedKeyUsage",
                        "serverAuth,clientAuth,codeSigning,emailProtection,timeStamping"}}},
       "Xmslot",
       true},
      {"no mail among purposes",
       {.extensions = {{"extendedKeyUsage", "clientAuth,1.3.6.1.5.5.7.3.5"}}},
       "Xl",
       false},
      {"purposes that cannot be read", {.extensions = {{"2.5.29.37", "DER:3003020101"}}}, "X", false},
      {"bits that cannot be read", {.extensions = {{"2.5.29.15", "DER:020101"}}}, "", true},
      {"no bits", {.extensions = {{"2.5.29.15", "DER:030100"}}}, "", true},
      {"no address", {.subject = noAddress}, "", false},
      {"no address, but mail",
       {.subject = noAddress, .extensions = {{"extendedKeyUsage", "emailProtection"}}},
       "Xm",
       false},
  };
  for (const auto& row : rows) {
    const Certificate certificate = makeIdentity(row.recipe).certificate();
    EXPECT_EQ(dump(certificate.usage()), row.usage) << row.what;
    EXPECT_EQ(certificate.isUsableForEmail(), row.isUsableForEmail) << row.what;
    EXPECT_TRUE(certificate.matchesEmail("JANE@Example.org")) << row.what;
    EXPECT_FALSE(certificate.matchesEmail("")) << row.what;
    EXPECT_FALSE(certificate.matchesEmail("jane@example.net")) << row.what;
  }
}

TEST(Certificate, CrossesAsBase64) {
  const Identity& jane = qv_test::jane();
  std::string inLines = jane.base64() + "\r\n";
  for (std::size_t at = 64; at < inLines.size(); at += 66) inLines.insert(at, "\r\n");
  for (const std::string& text : {jane.base64(), inLines}) {
    qv_test::LogLines log;
    const Certificate certificate(text, log.get());
    EXPECT_EQ(certificate.getEncoded().view(), jane.base64());
    EXPECT_EQ(log.text(), "");
  }
}

TEST(Certificate, ThatCannotBeReadMatchesNothing) {
  const std::string& der = qv_test::jane().der;
  std::vector<std::string> damaged{"", "x", std::string(1000, '\0'), "\x30\x80" + der.substr(4)};
  for (std::size_t size = 1; size < der.size(); size += 7) damaged.push_back(der.substr(0, size));
  for (const std::string& bytes : damaged) {
    qv_test::LogLines log;
    const Certificate certificate(ContentCoding::encodeBase64ToBuffer(bytes), log.get());
    EXPECT_TRUE(certificate.isEmpty());
    EXPECT_FALSE(certificate.matchesEmail("jane@example.org"));
    EXPECT_FALSE(certificate.isUsableForEmail());
    EXPECT_EQ(certificate.getEncoded().view(), "");
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].rfind("CertCreateCertificateContext: ", 0), 0U) << lines[0];
    EXPECT_EQ(lines[1], "Failed to get encoded certificate: no cert context found");
  }
}

// One byte changed anywhere: it is read or refused, and what is read can be looked at.
TEST(Certificate, SurvivesEveryChangedByte) {
  const std::string& der = qv_test::jane().der;
  for (std::size_t at = 0; at < der.size(); ++at) {
    for (const char change : {'\x01', '\x20', '\x80', '\x7f'}) {
      std::string changed = der;
      changed[at] = static_cast<char>(changed[at] ^ change);
      const Certificate certificate(ContentCoding::encodeBase64ToBuffer(changed), nullptr);
      if (certificate.isEmpty()) continue;
      EXPECT_FALSE(certificate.getEncoded().empty());
      (void)certificate.context()->validFrom();
      (void)certificate.context()->serialNumber();
      (void)certificate.getSignatureAlgorithm();
    }
  }
}

TEST(Certificate, SaysWhenAndByWhichNumber) {
  const Certificate certificate =
      makeIdentity({.serial = 0xABCDEF, .from = 1015354987, .to = 1015354988}).certificate();
  EXPECT_EQ(certificate.context()->serialNumber(), "ABCDEF");
  const CalendarTime from{
      .year = 2002, .month = 3, .dayOfWeek = 2, .day = 5, .hour = 19, .minute = 3, .second = 7};
  EXPECT_EQ(certificate.context()->validFrom(), from);
  EXPECT_EQ(certificate.context()->validTo()->second, 8);
  EXPECT_EQ(certificate.getSignatureAlgorithm().oid, "1.2.840.113549.1.1.11");
  EXPECT_EQ(certificate.getSignatureAlgorithm().parameters, std::string("\x05\x00", 2));
  EXPECT_EQ(makeIdentity({.serial = -255}).certificate().context()->serialNumber(), "-FF");
}

TEST(Certificate, CostsNoMoreThanItsSize) {
  const auto withPurposes = [](std::size_t count) {
    std::string purposes = "emailProtection";
    for (std::size_t i = 0; i < count; ++i) purposes += ",1.2.3." + std::to_string(i);
    Recipe recipe{.extensions = {{"extendedKeyUsage", purposes}}};
    for (std::size_t i = 0; i < count; ++i) recipe.subject.emplace_back("OU", "a=\"b\", c");
    return makeIdentity(recipe).base64();
  };
  EXPECT_LT(qv_test::costOfTwice(3000, withPurposes,
                                 [](const std::string& text) {
                                   const Certificate certificate(text, nullptr);
                                   ASSERT_TRUE(certificate.usage().emailProtection);
                                 }),
            3);
}

}  // namespace
}  // namespace qv

#include "quorvel/securing.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <CLI/CLI.hpp>

#include "quorvel/certificates.h"
#include "quorvel/commands.h"

namespace cli {

namespace {

struct Cipher {
  std::string_view name;
  void (quorvel::IQuorvelEmail2::*set)();
};
constexpr std::array<Cipher, 4> kCiphers = {{
    {"3des", &quorvel::IQuorvelEmail2::SetAlgorithm3DES},
    {"rc2", &quorvel::IQuorvelEmail2::SetAlgorithmRC2},
    {"rc4", &quorvel::IQuorvelEmail2::SetAlgorithmRC4},
    {"des", &quorvel::IQuorvelEmail2::SetAlgorithmDES},
}};

std::string isCipher(const std::string& name) {
  const auto isIts = [&](const Cipher& each) { return each.name == name; };
  return std::any_of(kCiphers.begin(), kCiphers.end(), isIts) ? "" : "no cipher: " + name;
}

/// The component encrypts for one certificate only.
void warnOfOthers(quorvel::IQuorvelEmail2& email, const SecurityOptions& options) {
  const std::int32_t count = email.get_NumTo() + email.get_NumCC() + email.get_NumBcc();
  if (count < 2) return;
  const std::string who = options.certificate.empty() ? email.GetTo(0) : options.certificate;
  warn("encrypted for " + who + " alone; the others get the mail too and cannot read it");
}

}  // namespace

void addSecurityOptions(CLI::App& command, SecurityOptions& options) {
  auto* sign = command.add_flag("--sign", options.sign, "Sign with the sender's certificate");
  auto* encrypt = command.add_flag("--encrypt", options.encrypt, "Encrypt for the first recipient in To");
  command
      .add_option("--cert", options.certificate,
                  "With --encrypt the certificate of the recipient, else that of the signer, where it is not "
                  "found by the address: a file, or its address or serial number in quorvel cert list")
      ->type_name("CERT")
      ->check(isGiven);
  command.add_option("--signer", options.signer, "The same for the signer, beside --encrypt")
      ->type_name("CERT")
      ->check(isGiven)
      ->needs(sign);
  command.add_option("--cipher", options.cipher, "3des, as without it, rc2, rc4 or des")
      ->type_name("NAME")
      ->check(isCipher)
      ->needs(encrypt);
  addCertificatesOption(command);
}

void secure(quorvel::IQuorvelEmail2& email, const SecurityOptions& options) {
  if (!options.any()) {
    if (!options.certificate.empty()) throw usage("--cert is for --sign and --encrypt: give one of them");
    return;
  }
  if (!options.encrypt && !options.certificate.empty() && !options.signer.empty()) {
    throw usage("--cert and --signer both name who signs: give one of them");
  }
  if (!email.get_FileDistList().empty()) {
    throw usage("a mail to a list can be neither signed nor encrypted", "send it to each address by itself");
  }
  const bool isForSigner = !options.encrypt && options.signer.empty();
  const std::string& signer = isForSigner ? options.certificate : options.signer;
  if (options.sign && !signer.empty()) email.SetSigningCert(readCertificate(signer).get());
  if (options.encrypt && !options.certificate.empty()) {
    email.SetEncryptCert(readCertificate(options.certificate).get());
  }
  email.put_SendSigned(options.sign ? 1 : 0);
  email.put_SendEncrypted(options.encrypt ? 1 : 0);
  const auto isChosen = [&](const Cipher& each) { return each.name == options.cipher; };
  (email.*std::find_if(kCiphers.begin(), kCiphers.end(), isChosen)->set)();
  if (options.encrypt) warnOfOthers(email, options);
}

void warnOfCertificates(const Entries& entries) {
  constexpr std::string_view kReceived = "The certificate for encryption came with received mail.";
  if (std::find(entries.infos.begin(), entries.infos.end(), kReceived) == entries.infos.end()) return;
  warn(
      "the certificate for encryption came with received mail: whoever sent that mail may read this one. "
      "quorvel cert show tells its fingerprint, to compare; --cert names another certificate");
}

bool failedToSecure(const Entries& entries) {
  constexpr std::array<std::string_view, 4> kFailures = {
      "Failed to create a mulitpart/signed message", "Failed to create an encrypted message",
      "Failed to create a signed-data message", "Failed to create an signed/encrypted message"};
  return std::find_first_of(entries.errors.begin(), entries.errors.end(), kFailures.begin(),
                            kFailures.end()) != entries.errors.end();
}

}  // namespace cli

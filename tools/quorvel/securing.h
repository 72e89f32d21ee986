// Signing and encrypting a mail that is about to be sent.
#pragma once

#include <string>

#include <quorvel/quorvel.h>

#include "quorvel/command_line.h"
#include "quorvel/session.h"

namespace cli {

/// What the command line says. Certificates are names or files (see `readCertificate`).
struct SecurityOptions {
  bool sign = false;
  bool encrypt = false;
  std::string certificate;  ///< the recipient's when it is encrypted, else the signer's
  std::string signer;
  std::string cipher = "3des";
  bool any() const noexcept { return sign || encrypt; }
};

/// --sign, --encrypt, --cert, --signer, --cipher and --certificates.
void addSecurityOptions(CLI::App& command, SecurityOptions& options);

/// Has the component sign and encrypt a mail as it sends it. Throws a Failure when that cannot be.
void secure(quorvel::IQuorvelEmail2& email, const SecurityOptions& options);

/// Tells on standard error what the log says about the certificates of a mail.
void warnOfCertificates(const Entries& entries);

/// Whether the log tells that a mail was not sent because it could not be signed or encrypted.
bool failedToSecure(const Entries& entries);

}  // namespace cli

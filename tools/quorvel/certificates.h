// Certificates as the commands name and tell them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/command_line.h"

namespace cli {

/// The stores, in the order in which commands tell them.
inline const std::vector<std::string> kStores = {"my", "people", "received", "machine"};

/// --certificates: the directory below which the component looks for certificates and keys. Where it may be
/// missing it is made when something is kept there.
void addCertificatesOption(CLI::App& command, bool mayBeMissing = false);

/// Who a certificate is for, in its own words: "Jane Roe <jane@example.org>". Not fit for a terminal yet.
std::string holderOf(quorvel::IQuorvelCert& certificate);
/// Who made it, in the same way.
std::string issuerOf(quorvel::IQuorvelCert& certificate);
/// "expired", "not yet valid", or empty. The component does not ask for it.
std::string faultOfDates(quorvel::IQuorvelCert& certificate);

/// Opens a store; throws a Failure when it cannot be read. Tells on standard error what is no certificate.
quorvel::Ref<quorvel::IQuorvelCertStore> openStore(const std::string& name);

/// A certificate in its place.
struct StoredCertificate {
  std::string storeName;
  quorvel::Ref<quorvel::IQuorvelCertStore> store;
  std::int32_t index = 0;
  quorvel::Ref<quorvel::IQuorvelCert2> certificate;
};
/// The one certificate that `name` is the serial number, the address, the common name or the fingerprint of.
/// Of the same one in several stores, it is that with a private key. `storeName` is where to look, empty for
/// everywhere. Throws a Failure when there is none, or several.
StoredCertificate findCertificate(const std::string& name, const std::string& storeName = {});
/// The same, or the one of a file.
quorvel::Ref<quorvel::IQuorvelCert2> readCertificate(const std::string& nameOrFile);

}  // namespace cli

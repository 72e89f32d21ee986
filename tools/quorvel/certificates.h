// Certificates as the commands name and tell them.
#pragma once

#include <string>

#include <quorvel/quorvel.h>
#include <CLI/CLI.hpp>

namespace cli {

/// --certificates: the directory below which the component looks for certificates and keys.
void addCertificatesOption(CLI::App& command);

/// Who a certificate is for, in its own words: "Jane Roe <jane@example.org>". Not fit for a terminal yet.
std::string holderOf(quorvel::IQuorvelCert& certificate);
/// Who made it, in the same way.
std::string issuerOf(quorvel::IQuorvelCert& certificate);

}  // namespace cli

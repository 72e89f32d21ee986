#include "quorvel/certificates.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "quorvel/commands.h"

namespace cli {

namespace {

/// A place without certificates would only be told as a key that is missing.
std::string isDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error) ? "" : "no such directory: " + path;
}

/// The first of the names that is one, and the address.
std::string told(std::initializer_list<std::string> names, const std::string& address) {
  const auto* name = std::find_if(names.begin(), names.end(), [](const auto& each) { return !each.empty(); });
  if (name == names.end()) return address.empty() ? "somebody without a name" : address;
  return address.empty() ? *name : *name + " <" + address + ">";
}

}  // namespace

void addCertificatesOption(CLI::App& command) {
  command
      .add_option_function<std::string>(
          "--certificates", [](const std::string& path) { quorvel::setCertificateRoot(path); },
          "Directory of certificates and keys; ~/.quorvel when not given")
      ->type_name("DIR")
      ->check(isDirectory);
}

std::string holderOf(quorvel::IQuorvelCert& certificate) {
  return told({certificate.get_SubjectCN(), certificate.get_SubjectO(), certificate.get_SubjectOU()},
              certificate.get_SubjectE());
}

std::string issuerOf(quorvel::IQuorvelCert& certificate) {
  return told({certificate.get_IssuerCN(), certificate.get_IssuerO(), certificate.get_IssuerOU()},
              certificate.get_IssuerE());
}

}  // namespace cli

#include "quorvel/certificates.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include <CLI/CLI.hpp>

#include "quorvel/commands.h"
#include "quorvel/session.h"

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

/// Now, as the component tells dates.
double now() {
  constexpr double kEpoch = 25569;  // 1 January 1970
  const std::chrono::duration<double, std::ratio<86400>> days =
      std::chrono::system_clock::now().time_since_epoch();
  return kEpoch + days.count();
}

bool isNamed(quorvel::IQuorvelCert2& certificate, const std::string& name) {
  for (const std::string& known : {certificate.get_SerialNumber(), certificate.get_SubjectE(),
                                   certificate.get_SubjectCN(), certificate.get_Fingerprint()}) {
    if (!known.empty() && equalsNoCase(known, name)) return true;
  }
  return false;
}

std::vector<StoredCertificate> allNamed(const std::string& name, const std::string& storeName) {
  std::vector<StoredCertificate> found;
  for (const std::string& each : kStores) {
    if (!storeName.empty() && each != storeName) continue;
    const auto store = openStore(each);
    for (std::int32_t n = 0; n < store->get_NumCerts(); ++n) {
      auto certificate = store->GetCert(n);
      if (certificate && isNamed(*certificate, name)) found.push_back({each, store, n, certificate});
    }
  }
  return found;
}

}  // namespace

void addCertificatesOption(CLI::App& command, bool mayBeMissing) {
  command
      .add_option_function<std::string>(
          "--certificates", [](const std::string& path) { quorvel::setCertificateRoot(path); },
          "Directory of certificates and keys; ~/.quorvel when not given")
      ->type_name("DIR")
      ->check(mayBeMissing ? isGiven : isDirectory);
}

std::string holderOf(quorvel::IQuorvelCert& certificate) {
  return told({certificate.get_SubjectCN(), certificate.get_SubjectO(), certificate.get_SubjectOU()},
              certificate.get_SubjectE());
}

std::string issuerOf(quorvel::IQuorvelCert& certificate) {
  return told({certificate.get_IssuerCN(), certificate.get_IssuerO(), certificate.get_IssuerOU()},
              certificate.get_IssuerE());
}

std::string faultOfDates(quorvel::IQuorvelCert& certificate) {
  if (certificate.get_ValidTo() < now()) return "expired";
  return certificate.get_ValidFrom() > now() ? "not yet valid" : "";
}

quorvel::Ref<quorvel::IQuorvelCertStore> openStore(const std::string& name) {
  constexpr std::string_view kSkipped = "cert_file: ";
  Session session;
  session.beginOperation();
  auto store = quorvel::create<quorvel::IQuorvelCertStore>("QuorvelMail.QuorvelCertStore");
  if (!store || store->Open(name) != 1) {
    const auto report = quorvel::lastError();
    throw Failure{Status::file, "cannot read the certificates of the store " + name,
                  report ? report->description : "", "check --certificates and its permissions"};
  }
  for (const std::string& entry : session.entries().infos) {
    if (entry.starts_with(kSkipped)) warn("no certificate can be read from " + entry.substr(kSkipped.size()));
  }
  return store;
}

StoredCertificate findCertificate(const std::string& name, const std::string& storeName) {
  std::vector<StoredCertificate> found = allNamed(name, storeName);
  const std::string where = storeName.empty() ? "" : " in the store " + storeName;
  if (found.empty()) {
    throw Failure{Status::file, "there is no certificate of " + name + where, "",
                  "quorvel cert list tells which there are; quorvel cert import adds one"};
  }
  const std::string fingerprint = found.front().certificate->get_Fingerprint();
  std::string all;
  bool isOne = true;
  for (const StoredCertificate& each : found) {
    isOne = isOne && each.certificate->get_Fingerprint() == fingerprint;
    all += each.storeName + "  " + each.certificate->get_SerialNumber() + "  " + holderOf(*each.certificate) +
           "\n";
  }
  if (!isOne) {
    throw Failure{Status::usage, "several certificates are of " + name + where, all,
                  "name the one that is meant by its serial number"};
  }
  const auto hasKey = [](const StoredCertificate& each) {
    return each.store->HasPrivateKey(each.index) == 1;
  };
  const auto best = std::find_if(found.begin(), found.end(), hasKey);
  return best == found.end() ? found.front() : *best;
}

quorvel::Ref<quorvel::IQuorvelCert2> readCertificate(const std::string& nameOrFile) {
  std::error_code error;
  if (!std::filesystem::exists(nameOrFile, error)) return findCertificate(nameOrFile).certificate;
  auto certificate = quorvel::create<quorvel::IQuorvelCert2>("QuorvelMail.QuorvelCert");
  certificate->LoadFromFile(nameOrFile);
  if (const auto report = quorvel::lastError()) {
    throw Failure{
        Status::file, "cannot read a certificate from " + nameOrFile, report->description,
        "a .p12 file is for quorvel cert import; afterwards its certificate is found by its address"};
  }
  return certificate;
}

}  // namespace cli

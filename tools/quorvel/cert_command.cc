// quorvel cert: looking at the certificates that the component uses, bringing them in, taking them out.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/certificates.h"
#include "quorvel/columns.h"
#include "quorvel/commands.h"
#include "quorvel/dates.h"
#include "quorvel/login.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the command line says; a command uses what it needs.
struct CertOptions {
  std::string name;  // of a certificate
  std::string file;
  std::string store;  // empty: all, or the one that fits
  bool withKey = false;
  PasswordSource password;
};

std::string reported() {
  const auto report = quorvel::lastError();
  return report ? report->description : std::string();
}

std::string day(double date) {
  return dateText(date).substr(0, 10);
}

/// A value as one field of a line.
std::string field(std::string value) {
  std::replace_if(
      value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
  return printable(value);
}

// --- list

struct Row {
  std::string store, serial, key, until, holder, issuer;
};

std::vector<Row> rowsOf(const std::string& wanted) {
  std::vector<Row> rows;
  for (const std::string& name : kStores) {
    if (!wanted.empty() && name != wanted) continue;
    const auto store = openStore(name);
    for (std::int32_t n = 0; n < store->get_NumCerts(); ++n) {
      const auto certificate = store->GetCert(n);
      if (!certificate) continue;
      const std::string fault = faultOfDates(*certificate);
      rows.push_back({name, certificate->get_SerialNumber(), store->HasPrivateKey(n) == 1 ? "key" : "-",
                      fault.empty() ? day(certificate->get_ValidTo()) : fault, field(holderOf(*certificate)),
                      field(issuerOf(*certificate))});
    }
  }
  return rows;
}

Status list(const CertOptions& options) {
  const std::vector<Row> rows = rowsOf(options.store);
  std::size_t serial = 0;
  for (const Row& row : rows) serial = std::max(serial, row.serial.size());
  for (const Row& row : rows) {
    if (isTerminal(1)) {
      std::cout << fitted(row.store, 8) << "  " << fitted(row.key, 3) << "  " << fitted(row.until, 13) << "  "
                << fitted(row.serial, serial) << "  " << row.holder << '\n';
    } else {
      std::cout << row.store << '\t' << row.serial << '\t' << row.key << '\t' << row.until << '\t'
                << row.holder << '\t' << row.issuer << '\n';
    }
  }
  std::cout << std::flush;
  return Status::ok;
}

// --- show

void line(std::string_view name, const std::string& value) {
  std::cout << fitted(name, 10) << "  " << field(value) << '\n';
}

/// What the certificate itself says that it is for.
std::string purposesOf(quorvel::IQuorvelCert& certificate) {
  std::string purposes;
  const auto add = [&](std::int32_t is, std::string_view what) {
    if (is == 1) purposes.append(purposes.empty() ? "" : ", ").append(what);
  };
  add(certificate.get_ForSecureEmail(), "secure mail");
  add(certificate.get_ForServerAuthentication(), "servers");
  add(certificate.get_ForClientAuthentication(), "clients");
  add(certificate.get_ForCodeSigning(), "signing code");
  add(certificate.get_ForTimeStamping(), "time stamps");
  return purposes.empty() ? "not said" : purposes;
}

void print(quorvel::IQuorvelCert2& certificate) {
  const std::string fault = faultOfDates(certificate);
  line("Holder", holderOf(certificate));
  line("Issuer", issuerOf(certificate));
  line("Serial", certificate.get_SerialNumber());
  line("Valid", dateText(certificate.get_ValidFrom()) + " to " + dateText(certificate.get_ValidTo()) +
                    " UTC" + (fault.empty() ? "" : ", " + fault));
  line("For", purposesOf(certificate));
  line("SHA-256", certificate.get_Fingerprint());
}

Status show(const CertOptions& options) {
  std::error_code error;
  if (options.store.empty() && std::filesystem::exists(options.name, error)) {
    print(*readCertificate(options.name));
    return Status::ok;
  }
  const StoredCertificate found = findCertificate(options.name, options.store);
  print(*found.certificate);
  line("Store", found.storeName + ", " + found.store->get_Location());
  line("Key", found.store->HasPrivateKey(found.index) == 1 ? "here" : "not here, or not usable");
  return Status::ok;
}

// --- import

/// Where a certificate belongs: one's own has a key.
std::string storeFor(const CertOptions& options) {
  if (!options.store.empty()) return options.store;
  const bool isPem = readFile(options.file, "certificate").find("PRIVATE KEY-----") != std::string::npos;
  const auto certificate = quorvel::create<quorvel::IQuorvelCert>("QuorvelMail.QuorvelCert");
  certificate->LoadFromFile(options.file);
  return isPem || quorvel::lastError() ? "my" : "people";
}

std::int32_t importInto(quorvel::IQuorvelCertStore& store, const CertOptions& options) {
  if (store.NeedsPassword(options.file) != 1) return store.ImportFile(options.file, "");
  const Password password(options.password, options.file);
  return store.ImportFile(options.file, password.view());
}

Status import(const CertOptions& options) {
  const std::string name = storeFor(options);
  const auto store = openStore(name);
  if (importInto(*store, options) != 1) {
    throw Failure{Status::file, "cannot import " + options.file, reported(),
                  "nothing was changed; it must be a PKCS #12, PEM or DER file, and the password its own"};
  }
  std::cerr << printable("imported into the store " + name + ", " + store->get_Location()) << std::endl;
  return Status::ok;
}

// --- export

std::string pemOf(quorvel::IQuorvelCert& certificate) {
  constexpr std::size_t kLine = 64;
  const std::string encoded = certificate.GetEncoded();
  std::string pem = "-----BEGIN CERTIFICATE-----\n";
  for (std::size_t at = 0; at < encoded.size(); at += kLine) pem += encoded.substr(at, kLine) + "\n";
  return pem + "-----END CERTIFICATE-----\n";
}

void exportKey(const StoredCertificate& found, const CertOptions& options) {
  if (found.store->HasPrivateKey(found.index) != 1) {
    throw Failure{Status::file, "there is no usable private key of " + options.name, "",
                  "quorvel cert list tells which certificates have one"};
  }
  const Password password(options.password, options.file + " (a new one)");
  if (!options.password.file && !options.password.descriptor) {
    const Password again(options.password, options.file + " (again)");
    if (again.view() != password.view()) throw usage("the passwords differ", "nothing was written");
  }
  if (found.store->ExportFile(found.index, options.file, password.view()) == 1) return;
  throw Failure{Status::file, "cannot write " + options.file, reported(),
                "may this user write there, and is the private key usable?"};
}

Status exportOne(const CertOptions& options) {
  const StoredCertificate found = findCertificate(options.name, options.store);
  std::error_code error;
  if (!options.file.empty() &&
      std::filesystem::exists(std::filesystem::symlink_status(options.file, error))) {
    throw Failure{Status::file, options.file + " exists", "", "nothing was written; give another name"};
  }
  if (options.withKey) {
    exportKey(found, options);
  } else if (options.file.empty()) {
    std::cout << pemOf(*found.certificate) << std::flush;
  } else if (!(std::ofstream(options.file, std::ios::binary) << pemOf(*found.certificate) << std::flush)) {
    throw Failure{Status::file, "cannot write " + options.file, "", "may this user write there?"};
  }
  return Status::ok;
}

// --- remove

Status remove(const CertOptions& options) {
  const StoredCertificate found = findCertificate(options.name, options.store);
  if (!options.withKey && found.store->HasPrivateKey(found.index) == 1) {
    throw usage("its private key would be removed too: give --with-key",
                "mail that was encrypted for it can then never be read again; quorvel cert export --with-key "
                "keeps a copy");
  }
  if (found.store->RemoveCert(found.index) != 1) {
    throw Failure{Status::file, "cannot remove " + options.name, reported(), "may this user write there?"};
  }
  std::cerr << printable("removed from the store " + found.storeName) << std::endl;
  return Status::ok;
}

CLI::App& addSub(CLI::App& cert, const std::string& name, const std::string& what, Run& run,
                 const std::shared_ptr<CertOptions>& options, Status (*work)(const CertOptions&)) {
  CLI::App& command = *cert.add_subcommand(name, what);
  const bool imports = work == import;
  command.add_option("--store", options->store, imports ? "Where it is kept" : "Where to look")
      ->type_name("STORE")
      ->check(CLI::IsMember(kStores));
  addCertificatesOption(command, imports);
  command.callback([&run, options, work] { run = [options, work] { return work(*options); }; });
  return command;
}

void addName(CLI::App& command, CertOptions& options) {
  command.add_option("CERT", options.name, "Its address, name, serial number or fingerprint")
      ->required()
      ->check(isGiven);
}

}  // namespace

void addCertCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<CertOptions>();
  CLI::App& cert = *app.add_subcommand("cert", "Certificates and private keys: list, show, import, ...");
  cert.require_subcommand(1);
  addSub(cert, "list", "List the certificates", run, options, list);
  CLI::App& shown = addSub(cert, "show", "Show what a certificate says", run, options, show);
  shown.add_option("CERT", options->name, "A file, or its address, name, serial number or fingerprint")
      ->required()
      ->check(isGiven);
  CLI::App& imported =
      addSub(cert, "import", "Import a certificate, with its private key", run, options, import);
  imported.add_option("FILE", options->file, "PKCS #12 (.p12, .pfx), PEM or DER")->required();
  addPasswordOptions(imported, options->password, nullptr);
  CLI::App& exported = addSub(cert, "export", "Write a certificate, as PEM", run, options, exportOne);
  addName(exported, *options);
  auto* to = exported.add_option("--to", options->file, "New file; standard output when not given")
                 ->type_name("FILE")
                 ->check(isGiven);
  auto* withKey = exported
                      .add_flag("--with-key", options->withKey,
                                "With its private key, as PKCS #12; the password for it is asked for")
                      ->needs(to);
  addPasswordOptions(exported, options->password, withKey);
  CLI::App& removed = addSub(cert, "remove", "Remove a certificate", run, options, remove);
  addName(removed, *options);
  removed.add_flag("--with-key", options->withKey, "Its private key too, for ever");
}

}  // namespace cli

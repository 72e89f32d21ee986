// quorvel show and quorvel extract: what a host sees of a received message, and its files.
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include <quorvel/quorvel.h>

#include "quorvel/arrived.h"
#include "quorvel/certificates.h"
#include "quorvel/commands.h"
#include "quorvel/dates.h"
#include "quorvel/message_file.h"
#include "quorvel/session.h"

namespace cli {

namespace {

void line(std::string_view name, std::string_view value) {
  std::string text(name);
  text.resize(14, ' ');
  std::string shown(value);
  for (char& c : shown) {
    if (c == '\r' || c == '\n') c = ' ';
  }
  std::cout << printable(text + shown) << '\n';
}

void section(const std::string& title, std::string_view text) {
  std::cout << '\n' << printable(title) << '\n';
  std::string lines;
  for (const char c : text) {
    if (c != '\r') lines += c;
  }
  if (!lines.empty()) std::cout << printable(indented(lines, "  "));
}

void showBodies(const Email& email) {
  const std::int32_t count = email->get_NumAlternatives();
  if (count == 0) {
    const std::string body = email->get_Body();
    section("body, " + email->GetAlternativeContentType(0) + ", " + counted(body.size(), "byte"), body);
  }
  for (std::int32_t n = 0; n < count; ++n) {
    const std::string body = email->GetAlternativeBody(n);
    section("alternative " + std::to_string(n) + ", " + email->GetAlternativeContentType(n) + ", " +
                counted(body.size(), "byte"),
            body);
  }
}

/// What a layer that was opened says, and no more: whose certificate it was.
std::string opened(const Email& email, std::int32_t layer, bool isSigned) {
  const auto certificate = email->GetLayerCert(layer);
  if (!certificate) return isSigned ? "signed by nobody" : "opened";
  const std::string who = holderOf(*certificate);
  if (!isSigned) return "opened, for " + who;
  const bool isSender = equalsNoCase(certificate->get_SubjectE(), email->get_FromAddress());
  return "valid, by " + who + (isSender ? "" : " (not the address in From)") + ", certificate " +
         certificate->get_SerialNumber() + " of " + issuerOf(*certificate);
}

/// A line for each layer, from the outside in.
void showLayers(const Email& email) {
  for (std::int32_t n = 0; n < email->get_NumSecurityLayers(); ++n) {
    const bool isSigned = email->GetLayerKind(n) == "signed";
    const std::string closed =
        isSigned ? "not valid; it stays as it came" : "not opened; it stays as it came";
    line(isSigned ? "Signed" : "Encrypted",
         std::string(email->GetLayerWhole(n) == 1 ? "the whole message, " : "a part, ") +
             (email->GetLayerOpened(n) == 1 ? opened(email, n, isSigned) : closed));
  }
}

Status show(const std::string& file) {
  const Email email = readMessage(file);
  line("From", email->get_From());
  for (std::int32_t n = 0; n < email->get_NumTo(); ++n) line("To", email->GetTo(n));
  for (std::int32_t n = 0; n < email->get_NumCC(); ++n) line("Cc", email->GetCC(n));
  line("Date", dateText(email->get_EmailDate()) + " UTC");
  line("Subject", email->get_Subject());
  line("Size", counted(static_cast<std::size_t>(email->get_Size()), "byte"));
  line("Fields", std::to_string(email->NumHeaderFields()));
  showLayers(email);
  section("parts", outlineOf(email->GetMime()));
  showBodies(email);
  const std::int32_t attachments = email->get_NumAttachments();
  if (attachments > 0) section("attachments", "");
  for (std::int32_t n = 0; n < attachments; ++n) {
    std::cout << "  " << n << "  "
              << printable(email->GetAttachmentFilename(n) + ", " +
                           counted(email->GetAttachmentData(n).size(), "byte"))
              << '\n';
  }
  const std::int32_t related = email->get_NumRelatedItems();
  if (related > 0) section("related items", "");
  for (std::int32_t n = 0; n < related; ++n) {
    std::cout << "  " << n << "  "
              << printable(email->GetRelatedContentID(n) + " " + email->GetRelatedFilename(n) + ", " +
                           counted(email->GetRelatedData(n).size(), "byte"))
              << '\n';
  }
  return Status::ok;
}

/// Saves the items of one kind; each file is told as the log of the component tells it.
void save(Session& session, const std::string& folder, std::int32_t count, std::string_view kind,
          const std::function<std::int32_t(std::int32_t, std::string_view)>& saveOne) {
  constexpr std::string_view kFile = "filename: ";
  for (std::int32_t n = 0; n < count; ++n) {
    session.mailMan().GetLog()->ClearLog();
    if (saveOne(n, folder) != 1) {
      throw Failure{Status::file,
                    "cannot save " + std::string(kind) + " " + std::to_string(n) + " to " + folder,
                    session.logText("%m"), "may this user write there?"};
    }
    const std::string log = session.logText("%m");
    const std::size_t at = log.find(kFile);
    if (at != std::string::npos) {
      std::cout << printable(log.substr(at + kFile.size(), log.find('\n', at) - at - kFile.size())) << '\n';
    }
  }
}

Status extract(const std::string& file, const std::string& folder) {
  const Email email = readMessage(file);
  Session session;
  save(session, folder, email->get_NumAttachments(), "attachment",
       [&](std::int32_t n, std::string_view to) { return email->SaveAttachedFile(n, to); });
  save(session, folder, email->get_NumRelatedItems(), "related item",
       [&](std::int32_t n, std::string_view to) { return email->SaveRelatedItem(n, to); });
  return Status::ok;
}

}  // namespace

void addShowCommand(CLI::App& app, Run& run) {
  const auto file = std::make_shared<std::string>();
  CLI::App& command = *app.add_subcommand("show", "Show a message file as a host sees it");
  command.add_option("FILE", *file, "Message file")->required();
  addCertificatesOption(command);
  command.callback([&run, file] { run = [file] { return show(*file); }; });
}

void addExtractCommand(CLI::App& app, Run& run) {
  const auto file = std::make_shared<std::string>();
  const auto folder = std::make_shared<std::string>();
  CLI::App& command =
      *app.add_subcommand("extract", "Save the attachments and related items of a message file");
  command.add_option("FILE", *file, "Message file")->required();
  command.add_option("--to", *folder, "Folder; made when missing. No existing file is written over")
      ->required()
      ->type_name("FOLDER");
  addCertificatesOption(command);
  command.callback([&run, file, folder] { run = [file, folder] { return extract(*file, *folder); }; });
}

}  // namespace cli

// quorvel show and quorvel extract: what a host sees of a received message, and its files.
#include <cmath>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/quorvel.h>

#include "quorvel/arrived.h"
#include "quorvel/commands.h"
#include "quorvel/session.h"

namespace cli {

namespace {

using Email = quorvel::Ref<quorvel::IQuorvelEmail3>;

Email loaded(const std::string& file) {
  auto email = newEmail().as<quorvel::IQuorvelEmail3>();
  if (email && email->LoadEml(file) == 1) return email;
  const auto error = quorvel::lastError();
  throw Failure{Status::file, "cannot read the message " + file, error ? error->description : std::string(),
                "is it a message file?"};
}

/// An OLE automation date (days since 30 December 1899) as "2026-11-22 21:25:19".
std::string dateText(double date) {
  long long seconds = std::llround(date * 86400);
  long long days = seconds / 86400;
  seconds %= 86400;
  if (seconds < 0) {
    seconds += 86400;
    --days;
  }
  // The civil calendar from a day number, by eras of 400 years that begin on 1 March.
  const long long z = days + 693899;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const long long dayOfEra = z - era * 146097;
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long march = (5 * dayOfYear + 2) / 153;
  const long long day = dayOfYear - (153 * march + 2) / 5 + 1;
  const long long month = march < 10 ? march + 3 : march - 9;
  const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  char text[120];
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", year, month, day,
                seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

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

std::string bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

void showBodies(const Email& email) {
  const std::int32_t count = email->get_NumAlternatives();
  if (count == 0) {
    const std::string body = email->get_Body();
    section("body, " + email->GetAlternativeContentType(0) + ", " + bytes(body.size()), body);
  }
  for (std::int32_t n = 0; n < count; ++n) {
    const std::string body = email->GetAlternativeBody(n);
    section("alternative " + std::to_string(n) + ", " + email->GetAlternativeContentType(n) + ", " +
                bytes(body.size()),
            body);
  }
}

Status show(const std::string& file) {
  const Email email = loaded(file);
  line("From", email->get_From());
  for (std::int32_t n = 0; n < email->get_NumTo(); ++n) line("To", email->GetTo(n));
  for (std::int32_t n = 0; n < email->get_NumCC(); ++n) line("Cc", email->GetCC(n));
  line("Date", dateText(email->get_EmailDate()) + " UTC");
  line("Subject", email->get_Subject());
  line("Size", bytes(static_cast<std::size_t>(email->get_Size())));
  line("Fields", std::to_string(email->NumHeaderFields()));
  section("parts", outlineOf(email->GetMime()));
  showBodies(email);
  const std::int32_t attachments = email->get_NumAttachments();
  if (attachments > 0) section("attachments", "");
  for (std::int32_t n = 0; n < attachments; ++n) {
    std::cout << "  " << n << "  "
              << printable(email->GetAttachmentFilename(n) + ", " + bytes(email->GetAttachmentData(n).size()))
              << '\n';
  }
  const std::int32_t related = email->get_NumRelatedItems();
  if (related > 0) section("related items", "");
  for (std::int32_t n = 0; n < related; ++n) {
    std::cout << "  " << n << "  "
              << printable(email->GetRelatedContentID(n) + " " + email->GetRelatedFilename(n) + ", " +
                           bytes(email->GetRelatedData(n).size()))
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
  const Email email = loaded(file);
  Session session(Server{});
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
  command.callback([&run, file, folder] { run = [file, folder] { return extract(*file, *folder); }; });
}

}  // namespace cli

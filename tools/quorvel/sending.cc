#include "quorvel/sending.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace cli {

namespace {

/// The recipient that an error entry says was refused.
std::optional<std::string> refusedRecipient(std::string_view entry) {
  for (const std::string_view kind : {"RCPT", "cc RCPT", "bcc RCPT"}) {
    const std::string start = "Failed when sending " + std::string(kind) + " TO:<";
    if (!entry.starts_with(start) || !entry.ends_with('>')) continue;
    const std::string_view address = entry.substr(start.size(), entry.size() - start.size() - 1);
    // What the envelope says in place of visible recipients; nobody is missing.
    if (address == "undisclosed-recipients") return std::nullopt;
    return std::string(address);
  }
  return std::nullopt;
}

/// Whether the log says that a mail counts as sent although nobody took it: a list all of whose addresses
/// were refused one by one.
bool reachedNobody(const std::vector<std::string>& infos) {
  return std::find(infos.begin(), infos.end(), "Mail sent to 0 recipient") != infos.end();
}

}  // namespace

bool loggedIn(const Entries& entries) {
  constexpr std::string_view kMethod = "login_method: ";
  const auto method = std::find_if(entries.infos.begin(), entries.infos.end(),
                                   [&](const std::string& entry) { return entry.starts_with(kMethod); });
  const bool failed = std::any_of(entries.infos.begin(), entries.infos.end(), [](const std::string& entry) {
    return entry.starts_with("Failed to login using");
  });
  if (failed || method == entries.infos.end()) return false;
  const std::string_view name = std::string_view(*method).substr(kMethod.size());
  // Those that the component can do; beside them it goes on without a login.
  constexpr std::array<std::string_view, 4> kLogins = {"NTLM", "CRAM_MD5", "LOGIN", "PLAIN"};
  return std::find(kLogins.begin(), kLogins.end(), name) != kLogins.end();
}

Outcome send(Session& session, quorvel::IQuorvelEmail2& email, ProgressBar* bar) {
  Outcome outcome;
  std::optional<quorvel::ErrorReport> report;
  bool sent = false;
  session.beginOperation();
  {
    const ShownProgress progress(session.mailMan(), ShownProgress::Work::sending, bar);
    sent = session.mailMan().SendEmail(&email) == 1;
    report = quorvel::lastError();
  }
  outcome.entries = session.entries();
  outcome.loggedIn = loggedIn(outcome.entries);
  for (const std::string& entry : outcome.entries.errors) {
    if (auto address = refusedRecipient(entry)) outcome.refused.push_back(*std::move(address));
  }
  if (report) {
    outcome.report = report->description;
    outcome.status = statusOf(outcome.entries);
    outcome.brokenOff = outcome.status != Status::unreachable;
  } else if (reachedNobody(outcome.entries.infos)) {
    outcome.status = Status::refused;
    for (const std::string& entry : outcome.entries.errors) outcome.report += entry + "\n";
  } else if (!sent || !outcome.refused.empty()) {
    outcome.status = Status::partly;
  }
  return outcome;
}

}  // namespace cli

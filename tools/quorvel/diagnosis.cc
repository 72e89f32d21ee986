#include "quorvel/diagnosis.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>
#include <vector>

#include "quorvel/reach.h"

namespace cli {

namespace {

/// Where an operation ended.
enum class Stage { connecting, greeting, introduction, login, work };
/// Why it did, by what came from the server there.
enum class Cause { refusal, silence, closing, otherAnswer };

bool startsWithNoCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(),
                    [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

/// A server's refusal: "550 No such user", "452 Later", "-ERR No", "Cannot ..., response to UIDL = -ERR No".
bool isRefusal(std::string_view entry) {
  constexpr std::string_view kResponse = " = ";
  const std::size_t response = entry.starts_with("Cannot ") ? entry.find(kResponse) : std::string_view::npos;
  if (response != std::string_view::npos) entry.remove_prefix(response + kResponse.size());
  if (startsWithNoCase(entry, "-ERR")) return true;
  const auto digit = [&](std::size_t at) { return std::isdigit(static_cast<unsigned char>(entry[at])) != 0; };
  return entry.size() >= 3 && (entry[0] == '4' || entry[0] == '5') && digit(1) && digit(2) &&
         (entry.size() == 3 || entry[3] == ' ' || entry[3] == '-');
}

bool has(const std::vector<std::string>& entries, std::string_view start) {
  return std::any_of(entries.begin(), entries.end(),
                     [&](const std::string& entry) { return entry.starts_with(start); });
}

struct StageMark {
  std::string_view entry;  // how the entry begins
  bool isError;            // or an information
  Stage stage;
};

constexpr std::array<StageMark, 7> kStages = {{
    {"Failed to connect to POP3 server", true, Stage::connecting},
    {"Failed to get POP server's hello", true, Stage::greeting},
    {"Failed to login to POP3 server", true, Stage::login},
    {"Failed to get initial response", true, Stage::greeting},
    {"Failed to login using", false, Stage::login},
    {"Failed to get response to Hello", true, Stage::introduction},
    {"Failed to send Hello", true, Stage::introduction},
}};

Stage stageOf(const Entries& entries) {
  // "Failed to connect to SMTP server." says only that there is no session; what there is no connection to
  // is told by the shorter one.
  if (std::find(entries.errors.begin(), entries.errors.end(), "Failed to connect") != entries.errors.end()) {
    return Stage::connecting;
  }
  const auto* mark = std::find_if(kStages.begin(), kStages.end(), [&](const StageMark& row) {
    return has(row.isError ? entries.errors : entries.infos, row.entry);
  });
  return mark == kStages.end() ? Stage::work : mark->stage;
}

Cause causeOf(const Entries& entries) {
  if (std::any_of(entries.errors.begin(), entries.errors.end(), isRefusal)) return Cause::refusal;
  if (has(entries.errors, "Socket read timeout")) return Cause::silence;
  if (has(entries.errors, "The peer has closed")) return Cause::closing;
  return Cause::otherAnswer;
}

Status statusOf(Stage stage, Cause cause) {
  if (stage == Stage::connecting) return Status::unreachable;
  if (cause == Cause::refusal) return Status::refused;
  const bool answered = cause == Cause::otherAnswer;
  switch (stage) {
    case Stage::greeting:
    case Stage::introduction:
      return Status::unreachable;
    case Stage::login:
      return answered ? Status::refused : Status::failed;
    default:
      return Status::failed;
  }
}

/// What stands in the table below, with the texts put in: {s} the server, {p} the protocol, {u} the user,
/// {t} the seconds to wait for an answer.
std::string filled(std::string_view text, Protocol protocol, const Server& server, const std::string& user) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '{') {
      result += text[at];
      continue;
    }
    switch (text[at + 1]) {
      case 's':
        result += server.toText();
        break;
      case 'p':
        result += nameOf(protocol);
        break;
      case 'u':
        result += user;
        break;
      default:
        result += std::to_string(server.readTimeout);
    }
    at += 2;
  }
  return result;
}

struct Words {
  Stage stage;
  Cause cause;
  std::string_view reason;
  std::string_view nextStep;
};

constexpr std::string_view kSlow =
    "a slow server may need a longer --read-timeout; --log shows how far it came";
constexpr std::string_view kOtherService = "is that the port for {p}? --log shows what was said";
constexpr std::string_view kOwnWords = "its own words stand above; --log shows all that was said";

constexpr std::array<Words, 15> kWords = {{
    {Stage::greeting, Cause::refusal, "{s} turns this machine away", kOwnWords},
    {Stage::greeting, Cause::silence, "{s} takes the connection, but sends no greeting within {t} seconds",
     "is that the port for {p}? One that encrypts from the start waits too; others may need a longer "
     "--read-timeout"},
    {Stage::greeting, Cause::closing, "{s} takes the connection, but closes it without a greeting",
     "is that the port for {p}, and does it let this machine in?"},
    {Stage::greeting, Cause::otherAnswer, "what listens at {s} does not greet as {p} has it", kOtherService},
    {Stage::introduction, Cause::refusal, "{s} turns this machine away", kOwnWords},
    {Stage::introduction, Cause::silence, "{s} greets, and then says nothing for {t} seconds", kSlow},
    {Stage::introduction, Cause::closing, "{s} greets, and then closes the connection", kOtherService},
    {Stage::introduction, Cause::otherAnswer, "{s} greets, but does not speak {p}", kOtherService},
    {Stage::login, Cause::refusal, "{s} refuses the login of {u}",
     "check --user and the password: some servers want the whole address as the name, or a password of its "
     "own for each program; --log shows all that was said"},
    {Stage::login, Cause::silence, "{s} does not answer the login of {u} within {t} seconds", kSlow},
    {Stage::login, Cause::closing, "{s} closes the connection during the login of {u}",
     "check --user and the password; a server that was asked too often may want a pause"},
    {Stage::login, Cause::otherAnswer, "{s} does not let {u} log in this way",
     "does it know that way to log in? --log shows what it said"},
    {Stage::work, Cause::refusal, "{s} refuses", kOwnWords},
    {Stage::work, Cause::silence, "{s} does not answer any more within {t} seconds", kSlow},
    {Stage::work, Cause::closing, "{s} closed the connection", "try again; --log shows how far it came"},
}};

Failure unreachable(Protocol protocol, const Server& server) {
  const Reach reach = tryToReach(server);
  const std::string at = server.toText();
  const auto failure = [](std::string what, std::string nextStep) {
    return Failure{Status::unreachable, std::move(what), "", std::move(nextStep)};
  };
  switch (reach.kind) {
    case Reach::Kind::unknownHost:
      return failure("cannot find the host " + server.host + " (" + reach.reason + ")",
                     "check the name in --server, and that this machine is on the network");
    case Reach::Kind::refused:
      return failure("nobody listens at " + at + " (" + reach.reason + ")",
                     "is " + std::string(nameOf(protocol)) +
                         " served there? To try it with a server of this program's own: quorvel serve");
    case Reach::Kind::silent:
      return failure(at + " does not answer",
                     "is the host up, and does a firewall let connections to this port through?");
    default:
      return failure("there was no connection to " + at,
                     "it can be reached now: try again, or with a longer --connect-timeout");
  }
}

}  // namespace

Status statusOf(const Entries& entries) {
  return statusOf(stageOf(entries), causeOf(entries));
}

Failure diagnose(Protocol protocol, const Server& server, const std::string& user, const Entries& entries) {
  const Stage stage = stageOf(entries);
  const Cause cause = causeOf(entries);
  Failure failure{statusOf(stage, cause), server.toText() + " did not do what was asked", "",
                  "--log shows all that was said"};
  const auto* words = std::find_if(kWords.begin(), kWords.end(), [&](const Words& row) {
    return row.stage == stage && row.cause == cause;
  });
  if (stage == Stage::connecting) {
    failure = unreachable(protocol, server);
  } else if (words != kWords.end()) {
    failure.what = filled(words->reason, protocol, server, user);
    failure.nextStep = filled(words->nextStep, protocol, server, user);
  }
  for (const std::string& entry : entries.errors) failure.details += entry + "\n";
  return failure;
}

}  // namespace cli

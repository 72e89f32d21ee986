// quorvel merge: a letter to everybody on a list, made out to each.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "mail_server/mail_server.h"
#include "quorvel/commands.h"
#include "quorvel/composing.h"
#include "quorvel/delivery.h"
#include "quorvel/letter.h"
#include "quorvel/merge_table.h"
#include "quorvel/merging.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the command line says.
struct MergeOptions {
  std::string message;  // file; "-" is standard input, empty where it is written here
  std::string from;
  ContentOptions content;
  std::string charset;
  RecipientListOptions list;
  bool everyRow = false;
  std::string report;
  std::size_t shown = 3;  // by a dry run
  DeliveryOptions delivery;
};

void checkOptions(const MergeOptions& options) {
  if (options.list.path().empty()) throw usage("nobody to send to: give --csv or --list");
  if (options.message.empty()) {
    checkContent(options.content);
    if (options.from.empty()) throw usage("no sender: give --from");
  }
  if (options.report.empty() && !options.delivery.dryRun) {
    throw usage("--report is missing: the file that keeps who was sent the mail",
                "with the same file, a further run sends only what is left");
  }
  checkStandardInput(options.delivery.login, options.message == "-" || options.content.readsStandardInput());
}

Letter letterOf(const MergeOptions& options, const std::vector<std::string>& titles) {
  Email email;
  if (options.message.empty()) {
    email = newEmail().as<quorvel::IQuorvelEmail3>();
    addContent(*email, options.content);
  } else {
    email = readMessage(options.message);
  }
  if (!options.from.empty()) setSender(*email, options.from);
  if (email->get_FromAddress().empty()) {
    throw Failure{Status::usage, "the message has no sender", "", "give --from"};
  }
  return {email, titles, options.charset};
}

void warnOfLetter(const Letter& letter, const MergePlan& plan, const MergeOptions& options) {
  if (!options.list.csvFile.empty()) {
    warnOfList("the message has these in braces, and the list has no column of that title:",
               letter.unknownTitles());
  }
  if (!plan.isAscii && options.charset.empty() && !letter.isUtf8()) {
    warn(
        "the list is not plain ASCII, and the message is not labelled as UTF-8; for UTF-8 give --charset "
        "utf-8");
  }
}

/// A server of the program's own, which keeps the mails that a dry run is to show, just as they would go out.
class ShowingServer {
 public:
  ShowingServer() {
    qv::MailServerOptions settings;
    settings.onMessage = [this](const qv::ReceivedMessage& message) {
      const std::lock_guard lock(mutex_);
      messages_.push_back(message);
    };
    if (server_.start(0, "", std::move(settings))) return;
    throw Failure{Status::failed, server_.error(), "", "this program must be allowed to listen on 127.0.0.1"};
  }
  Server toServer() const { return {.host = "127.0.0.1", .port = server_.port()}; }
  void print() {
    const std::lock_guard lock(mutex_);
    for (const qv::ReceivedMessage& message : messages_) {
      std::cout << "To " << printable(message.recipients.front()) << ":\n" << message.text << '\n';
    }
    std::cout << std::flush;
  }

 private:
  std::mutex mutex_;  // the server has a thread of its own
  std::vector<qv::ReceivedMessage> messages_;
  qv::MailServer server_;
};

std::size_t numLeftOut(const MergePlan& plan) {
  return plan.steps.size() - plan.toSend - plan.sentBefore;
}

Status showFirst(RecipientList& list, Letter& letter, const MergePlan& plan, const MergeOptions& options) {
  ShowingServer showing;
  const Server server = showing.toServer();
  Session session(server);
  useSmtp(session, server);
  session.mailMan().put_DefaultCharset(options.charset);
  const std::size_t count = std::min(plan.toSend, options.shown);
  Merging merging({session, server, "", letter, list, plan, nullptr, nullptr, count, false});
  if (const auto failure = merging.run()) throw Failure(*failure);
  showing.print();
  std::cerr << "dry run: " << count << " of " << counted(plan.toSend, "mail") << " shown, none sent; "
            << numLeftOut(plan) << " of the list left out, " << plan.sentBefore << " sent before\n";
  return Status::ok;
}

std::string summary(const MergeReport& report, const MergePlan& plan) {
  std::string text = counted(report.count(MergeResult::sent), "mail") + " sent";
  for (const MergeResult result : {MergeResult::refused, MergeResult::uncertain, MergeResult::leftOut}) {
    if (report.count(result) == 0) continue;
    text += ", " + std::to_string(report.count(result)) + " " + std::string(nameOf(result));
  }
  if (plan.sentBefore > 0) text += ", " + std::to_string(plan.sentBefore) + " sent before";
  return text + "; the report is " + report.path();
}

/// How it went, when nothing ended it before its time. Throws a Failure when nobody has the mail.
Status statusOf(const MergeReport& report, const MergePlan& plan) {
  const bool isAnySent = report.count(MergeResult::sent) + plan.sentBefore > 0;
  if (!isAnySent && report.count(MergeResult::refused) > 0) {
    throw Failure{Status::refused, "the server refused every mail", "",
                  "its answers stand in " + report.path() +
                      "; check --from, the addresses, and that it takes mail from this machine"};
  }
  if (!isAnySent && report.count(MergeResult::uncertain) == 0) {
    throw Failure{Status::file, "nobody on the list can be sent a mail", "",
                  "the reasons stand in " + report.path() + "; a list with columns is given by --csv"};
  }
  const bool isWhole =
      report.count(MergeResult::refused) == 0 && report.count(MergeResult::uncertain) == 0 &&
      std::find(plan.steps.begin(), plan.steps.end(), MergeStep::noAddress) == plan.steps.end();
  return isWhole ? Status::ok : Status::partly;
}

Status sendAll(RecipientList& list, Letter& letter, const MergePlan& plan, MergeReport& report,
               const MergeOptions& options) {
  const DeliveryOptions& delivery = options.delivery;
  const Server server = serverOf(delivery.server, Protocol::smtp);
  checkWritable(delivery.journal, "journal");
  Session session(server);
  useSmtp(session, server, delivery.login);
  session.mailMan().put_LogMailSentFilename(delivery.journal);
  session.mailMan().put_DefaultCharset(options.charset);
  ProgressBar bar(std::cerr, "sending", true);
  ProgressBar* const shown = isTerminal(2) && !delivery.quiet ? &bar : nullptr;

  Merging merging({session, server, delivery.login.user, letter, list, plan, &report, shown, plan.toSend,
                   delivery.log.print});
  const std::optional<Failure> failure = merging.run();
  bar.finish();
  if (!delivery.quiet) {
    printTable(report, isTerminal(1) ? terminalWidth() : 0);
    std::cerr << printable(summary(report, plan)) << std::endl;
  }
  if (failure) {
    throw Failure{failure->status, "stopped before the end of the list: " + failure->what, failure->details,
                  failure->nextStep + "; the same command sends what is left"};
  }
  if (plan.toSend > 0 && !delivery.login.user.empty() && !merging.loggedIn()) {
    warn("sent without a login: " + server.toText() + " offers none that this program knows");
  }
  return statusOf(report, plan);
}

Status runMerge(const MergeOptions& options) {
  checkOptions(options);
  RecipientList first(options.list);
  std::optional<MergeReport> report;  // before it is read: nobody else writes it from then on
  if (!options.delivery.dryRun) report.emplace(options.report);
  const MergePlan plan = planOf(first, readSent(options.report), options.everyRow);
  if (plan.steps.empty()) {
    throw Failure{Status::file, "the list " + options.list.path() + " names nobody", "",
                  "is it the right file?"};
  }
  Letter letter = letterOf(options, first.titles());
  warnOfLetter(letter, plan, options);
  RecipientList list(options.list);
  return report ? sendAll(list, letter, plan, *report, options) : showFirst(list, letter, plan, options);
}

std::string isCharset(const std::string& name) {
  const bool isOne = !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.' || c == ':';
  });
  return isOne ? "" : "no name of a charset";
}

void addMergeOptions(CLI::App& command, MergeOptions& options) {
  auto* message = command.add_option("MESSAGE", options.message,
                                     "Message file; - reads standard input. Else write it here");
  addSenderOption(command, options.from);
  addContentOptions(command, options.content);
  for (const char* name : {"--reply-to", "--receipt", "--subject", "--body", "--text", "--html", "--attach",
                           "--related", "--header"}) {
    command.get_option(name)->excludes(message);
  }
  command.add_option("--charset", options.charset, "What the texts are labelled with, as utf-8")
      ->type_name("NAME")
      ->check(isCharset);
  addListOptions(command, options.list);
  command.add_flag("--every-row", options.everyRow,
                   "An address that stands in several rows gets a mail for each, not for the first alone");
  command
      .add_option(
          "--report", options.report,
          "File that keeps who was sent the mail (CSV); with the same one a further run sends what is left")
      ->type_name("FILE")
      ->check(isGiven);
  command.add_option("--first", options.shown, "With --dry-run: how many mails to show")
      ->type_name("N")
      ->capture_default_str();
}

}  // namespace

void addMergeCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<MergeOptions>();
  CLI::App& command =
      *app.add_subcommand("merge", "Send everybody on a list a mail of their own, made out to each");
  addMergeOptions(command, *options);
  addDeliveryOptions(command, options->delivery);
  command.remove_option(command.get_option("--log-xml"));
  command.get_option("--first")->needs("--dry-run");
  command.get_option("--dry-run")->description("Show the first mails instead of sending any");
  command.get_option("--log")->description("Print the log of each mail as it goes out");
  command.get_option("--quiet")->description("Neither progress bar nor table");
  command.callback([&run, options] { run = [options] { return runMerge(*options); }; });
}

}  // namespace cli

// quorvel check, list and delete: looking at a mailbox and tidying it.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/commands.h"
#include "quorvel/mailbox.h"
#include "quorvel/message_table.h"
#include "quorvel/system.h"

namespace cli {

namespace {

Status runCheck(const MailboxOptions& options) {
  Mailbox mailbox(options);
  const ToldLog told(mailbox.session(), options.log);
  std::cout << counted(static_cast<std::size_t>(mailbox.count()), "message") << std::endl;
  return Status::ok;
}

struct ListOptions {
  MailboxOptions mailbox;
  std::string filter;
};

Status statusOf(const Download& download) {
  warnOfLack(download);
  return download.isWhole() ? Status::ok : Status::partly;
}

void print(Mailbox& mailbox, const Download& download) {
  print(rowsOf(download.emails, mailbox.uidls()), isTerminal(1) ? terminalWidth() : 0);
  std::cout << std::flush;
}

Status runList(const ListOptions& options) {
  Mailbox mailbox(options.mailbox);
  const ToldLog told(mailbox.session(), options.mailbox.log);
  const Download download = mailbox.headers(options.filter);
  print(mailbox, download);
  return statusOf(download);
}

struct DeleteOptions {
  MailboxOptions mailbox;
  std::vector<std::string> uidls;
  std::string filter;
  bool dryRun = false;
};

std::vector<std::string> uidlsOf(const std::vector<Email>& emails) {
  std::vector<std::string> uidls;
  uidls.reserve(emails.size());
  for (const Email& email : emails) uidls.push_back(email->get_ServerUidl());
  return uidls;
}

Status remove(Mailbox& mailbox, const std::vector<std::string>& uidls) {
  const Removal removal = uidls.empty() ? Removal() : mailbox.remove(uidls);
  std::cout << counted(removal.deleted, "message") << " deleted" << std::endl;
  warnOfRest(removal);
  return removal.isWhole() ? Status::ok : Status::partly;
}

Status runDelete(const DeleteOptions& options) {
  // A filter without text keeps every message. Nobody who writes one, perhaps from a variable that is not
  // set, means to delete them all.
  if (options.uidls.empty() && options.filter.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw usage("nothing says what to delete: give --uidl or --filter");
  }
  Mailbox mailbox(options.mailbox);
  const ToldLog told(mailbox.session(), options.mailbox.log);
  if (!options.uidls.empty()) return remove(mailbox, options.uidls);
  const Download download = mailbox.headers(options.filter);
  const Status seen = statusOf(download);
  if (options.dryRun) {
    print(mailbox, download);
    return seen;
  }
  const Status done = remove(mailbox, uidlsOf(download.emails));
  return done == Status::ok ? seen : done;
}

}  // namespace

void addCheckCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<MailboxOptions>();
  CLI::App& command = *app.add_subcommand("check", "Print how many messages a mailbox holds");
  addMailboxOptions(command, *options);
  command.callback([&run, options] { run = [options] { return runCheck(*options); }; });
}

void addListCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App& command = *app.add_subcommand("list", "List the messages in a mailbox");
  addMailboxOptions(command, options->mailbox);
  command
      .add_option("--filter", options->filter, "Only those that this keeps, as 'Subject like \"*report*\"'")
      ->type_name("EXPRESSION");
  command.callback([&run, options] { run = [options] { return runList(*options); }; });
}

void addDeleteCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<DeleteOptions>();
  CLI::App& command = *app.add_subcommand("delete", "Delete messages from a mailbox");
  addMailboxOptions(command, options->mailbox);
  auto* uidls = command.add_option("--uidl", options->uidls, "The message with this unique id; repeatable")
                    ->type_name("ID")
                    ->check(isGiven)
                    ->allow_extra_args(false);
  auto* filter = command.add_option("--filter", options->filter, "All messages that this keeps")
                     ->type_name("EXPRESSION")
                     ->excludes(uidls);
  command.add_flag("--dry-run", options->dryRun, "List what would be deleted, and delete nothing")
      ->needs(filter);
  command.callback([&run, options] { run = [options] { return runDelete(*options); }; });
}

}  // namespace cli

// quorvel fetch: messages of a mailbox into a folder.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/certificates.h"
#include "quorvel/commands.h"
#include "quorvel/mailbox.h"
#include "quorvel/message_file.h"
#include "quorvel/progress_bar.h"
#include "quorvel/received_journal.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the command line says.
struct FetchOptions {
  MailboxOptions mailbox;
  std::string folder;
  std::string filter;
  std::int32_t maxCount = 999999;
  std::size_t sizeLimit = std::numeric_limits<std::size_t>::max();
  std::vector<std::string> uidls;
  bool remove = false;
  std::string journal;
  bool quiet = false;
};

/// What was done so far.
struct Fetched {
  std::vector<std::string> written;  ///< unique ids of the messages that are in files now
  std::size_t tooBig = 0;
  std::vector<std::string> missing;  ///< unique ids that were asked for, and did not come
};

Download download(Mailbox& mailbox, const std::string& journal, const FetchOptions& options) {
  if (!options.uidls.empty()) return mailbox.fetch(options.uidls);
  ProgressBar bar(std::cerr, "receiving", true);
  return mailbox.copy(options.maxCount, journal, isTerminal(2) && !options.quiet ? &bar : nullptr);
}

/// Appends one journal to another.
void append(const std::string& from, const std::string& to) {
  std::ifstream source(from, std::ios::binary);
  if (to.empty() || source.peek() == std::ifstream::traits_type::eof()) return;
  std::ofstream target(to, std::ios::binary | std::ios::app);
  if (!(target << source.rdbuf()) || !target.flush()) warn("cannot write the journal file " + to);
}

/// What is written of a message is what came, byte for byte: it may be signed. A fetch by unique ids leaves
/// no journal; there it is the message as the component writes it.
std::string textOf(quorvel::IQuorvelEmail3& email, ReceivedJournal& received, const FetchOptions& options) {
  if (!options.uidls.empty()) return email.GetMime();
  std::string text;
  if (received.next(text)) return text;
  throw Failure{Status::file, "cannot keep the messages as they came", "",
                "nothing was deleted; is there room for all of them twice in " + options.folder + "?"};
}

/// Each message is let go of as soon as it is in its file.
Fetched write(Mailbox& mailbox, Download& download, ReceivedJournal& received, MessageFolder& folder,
              const FetchOptions& options) {
  Fetched fetched;
  std::set<std::string> missing(options.uidls.begin(), options.uidls.end());
  mailbox.session().mailMan().put_Filter(options.filter);
  for (Email& held : download.emails) {
    const Email email = std::exchange(held, nullptr);
    const std::string text = textOf(*email, received, options);
    const std::string uidl = email->get_ServerUidl();
    missing.erase(uidl);
    if (mailbox.session().mailMan().MatchFilter(email.get()) != 1) continue;
    if (text.size() > options.sizeLimit) {
      ++fetched.tooBig;
      continue;
    }
    const std::string path = folder.keep(uidl, text);
    if (!options.quiet) std::cout << printable(path) << std::endl;
    fetched.written.push_back(uidl);
  }
  fetched.missing.assign(missing.begin(), missing.end());
  return fetched;
}

/// Deletes from the server what is safely on the disk, and nothing else.
Removal removeWritten(Mailbox& mailbox, const MessageFolder& folder, const Fetched& fetched) {
  if (fetched.written.empty()) return {};
  try {
    folder.settle();
    return mailbox.remove(fetched.written);
  } catch (Failure& failure) {
    failure.what = counted(fetched.written.size(), "message") + " fetched, but " + failure.what;
    throw;
  }
}

std::string summary(const Fetched& fetched, const Removal& removal, const FetchOptions& options) {
  std::string text = counted(fetched.written.size(), "message") + " fetched into " + options.folder;
  if (options.remove) text += ", " + std::to_string(removal.deleted) + " deleted from the server";
  return text;
}

Status runFetch(const FetchOptions& options) {
  Mailbox mailbox(options.mailbox);
  const ToldLog told(mailbox.session(), options.mailbox.log);
  checkWritable(options.journal, "journal");
  MessageFolder folder(options.folder);

  // Beside the files that come of it, where there is room for all of them.
  const TemporaryFolder scratch(options.folder);
  const std::string journal = scratch.path() + "/received";
  Download downloaded = download(mailbox, journal, options);
  append(journal, options.journal);
  ReceivedJournal received(journal);
  const Fetched fetched = write(mailbox, downloaded, received, folder, options);
  const Removal removal = options.remove ? removeWritten(mailbox, folder, fetched) : Removal();

  if (!options.quiet) std::cerr << printable(summary(fetched, removal, options)) << std::endl;
  if (fetched.tooBig > 0) {
    warn(counted(fetched.tooBig, "message") + " of more than " + std::to_string(options.sizeLimit) +
         " bytes left on the server");
  }
  warnOfLack(downloaded);
  warnOfList("asked for, but not fetched:", fetched.missing);
  warnOfRest(removal);
  return downloaded.isWhole() && fetched.missing.empty() && removal.isWhole() ? Status::ok : Status::partly;
}

void addChoice(CLI::App& command, FetchOptions& options) {
  auto* uidls = command.add_option("--uidl", options.uidls, "The message with this unique id; repeatable")
                    ->type_name("ID")
                    ->check(isGiven)
                    ->allow_extra_args(false);
  command
      .add_option("--filter", options.filter, "Only those that this keeps, as 'Subject like \"*report*\"'")
      ->type_name("EXPRESSION")
      ->excludes(uidls);
  command.add_option("--max-count", options.maxCount, "Look at no more than the first N messages")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->excludes(uidls);
  command.add_option("--size-limit", options.sizeLimit, "Neither keep nor delete messages of more bytes")
      ->type_name("BYTES");
  command.add_option("--journal", options.journal, "File to append every message to, just as it came")
      ->type_name("FILE")
      ->excludes(uidls);
}

}  // namespace

void addFetchCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<FetchOptions>();
  CLI::App& command = *app.add_subcommand("fetch", "Fetch the messages of a mailbox into a folder");
  command
      .add_option("--to", options->folder,
                  "Folder, made when missing; each message is a new file in it, whose name is printed")
      ->type_name("FOLDER")
      ->check(isGiven)
      ->required();
  addMailboxOptions(command, options->mailbox);
  addCertificatesOption(command);
  addChoice(command, *options);
  command.add_flag("--delete", options->remove, "Delete from the server what is in files then");
  command.add_flag("--quiet", options->quiet, "Tell of failures only");
  command.callback([&run, options] { run = [options] { return runFetch(*options); }; });
}

}  // namespace cli

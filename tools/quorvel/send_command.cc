// quorvel send: a mail that is written on the command line.
#include <memory>
#include <string>

#include "quorvel/commands.h"
#include "quorvel/composing.h"
#include "quorvel/delivery.h"
#include "quorvel/session.h"

namespace cli {

namespace {

/// What the command line says.
struct SendOptions {
  std::string from;
  RecipientOptions recipients;
  ContentOptions content;
  std::string listFile;
  bool oneByOne = false;  // as without it; it says so
  bool inBatches = false;
  DeliveryOptions delivery;
};

/// What can be known to be wrong before any work is done.
void checkOptions(const SendOptions& options) {
  if (!options.listFile.empty() && options.recipients.any()) {
    throw usage("--list takes the place of --to, --cc and --bcc: a mail goes to the list alone");
  }
  if (options.listFile.empty() && !options.recipients.any()) {
    throw usage("no recipient: give --to, --cc, --bcc or --list");
  }
  checkContent(options.content);
  checkStandardInput(options.delivery.login, options.content.readsStandardInput());
}

/// The component takes a list that it cannot read for an empty one, and would send to nobody on it.
void checkList(const std::string& path) {
  if (readFile(path, "list").find('@') != std::string::npos) return;
  throw Failure{Status::file, "the list " + path + " holds no e-mail address", "",
                "write one address a line"};
}

Status runSend(SendOptions& options) {
  checkOptions(options);
  const auto email = newEmail();
  setSender(*email, options.from);
  addRecipients(*email, options.recipients);
  if (!options.listFile.empty()) {
    checkList(options.listFile);
    email->put_FileDistList(options.listFile);
  }
  addContent(*email, options.content);
  options.delivery.oneByOne = !options.inBatches;
  return deliver(*email, options.delivery);
}

void addListOptions(CLI::App& send, SendOptions& options) {
  auto* list =
      send.add_option("--list", options.listFile, "File of recipients, an address a line")->type_name("FILE");
  auto* oneByOne = send.add_flag("--one-by-one", options.oneByOne,
                                 "Each address of the list gets a mail of its own (the default)")
                       ->needs(list);
  send.add_flag("--in-batches", options.inBatches, "One mail for every 100 addresses of the list, as Bcc")
      ->needs(list)
      ->excludes(oneByOne);
}

}  // namespace

void addSendCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<SendOptions>();
  CLI::App& send = *app.add_subcommand("send", "Send a mail");
  addSenderOption(send, options->from)->required();
  addRecipientOptions(send, options->recipients);
  addListOptions(send, *options);
  addContentOptions(send, options->content);
  addDeliveryOptions(send, options->delivery);
  send.footer(
      "Exit status: 0 sent, 1 failed, 2 wrong usage, 3 no connection, 4 refused by the server,\n"
      "5 a local file, 6 sent but not to every recipient.");
  send.callback([&run, options] { run = [options] { return runSend(*options); }; });
}

}  // namespace cli

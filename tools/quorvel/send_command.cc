// quorvel send: a mail that is written on the command line.
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

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

/// The component takes a list that it cannot read for an empty one, and would send to nobody on it. Lines
/// without '@' it passes over.
void checkList(const std::string& path) {
  const std::string list = readFile(path, "list");
  for (std::size_t cr = list.find('\r'); cr != std::string::npos; cr = list.find('\r', cr + 1)) {
    if (cr + 1 == list.size() || list[cr + 1] == '\n') continue;
    throw Failure{Status::file, "the list " + path + " has lines that end with CR alone", "",
                  "save it with the line ends LF or CR LF; quorvel merge takes it as it is"};
  }
  std::vector<std::string> passedOver;
  std::istringstream lines(list);
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line);) {
    const bool isBlank = line.find_first_not_of(" \t\r") == std::string::npos;
    const bool isAddress = line.find('@') != std::string::npos;
    count += isAddress ? 1 : 0;
    if (!isBlank && !isAddress) passedOver.push_back(line.substr(0, line.find_last_not_of(" \t\r") + 1));
  }
  if (count == 0) {
    throw Failure{Status::file, "the list " + path + " holds no e-mail address", "",
                  "write one address a line"};
  }
  warnOfList("lines of the list that hold no address, and are left out:", passedOver);
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
  addSecurityOptions(send, options->delivery.security);
  addDeliveryOptions(send, options->delivery);
  send.footer(
      "Exit status: 0 sent, 1 failed, 2 wrong usage, 3 no connection, 4 refused by the server,\n"
      "5 a local file, 6 sent but not to every recipient.");
  send.callback([&run, options] { run = [options] { return runSend(*options); }; });
}

}  // namespace cli

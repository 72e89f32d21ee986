#include "quorvel/delivery.h"

#include <iostream>

#include <CLI/CLI.hpp>

#include "quorvel/diagnosis.h"
#include "quorvel/progress_bar.h"
#include "quorvel/sending.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the user may do about a mail that was not sent.
std::string nextStepAfter(const Outcome& outcome, const Server& server, const DeliveryOptions& options) {
  const bool login = !options.login.user.empty();
  if (outcome.status == Status::refused && (!login || outcome.loggedIn)) {
    return "the lines with a number are the server's own words; check --from, the recipients, and that the "
           "server takes mail from this machine" +
           std::string(login ? "" : "; where it wants a login, give --user") +
           ". --log shows all that was said";
  }
  const Failure found = diagnose(Protocol::smtp, server, options.login.user, outcome.entries);
  return found.what + ": " + found.nextStep;
}

}  // namespace

void addDeliveryOptions(CLI::App& command, DeliveryOptions& options) {
  addServerOptions(command, options.server, "localhost:25");
  addMethodOptions(command, options.login, addLoginOptions(command, options.login));
  addLogOptions(command, options.log);
  command.add_option("--journal", options.journal, "File to append every sent mail to")->type_name("FILE");
  command.add_flag("--dry-run", options.dryRun, "Print the mail instead of sending it")
      ->excludes("--log")
      ->excludes("--log-xml");
  command.add_flag("--quiet", options.quiet, "No progress bar, on a terminal either");
}

void checkStandardInput(const LoginOptions& login, bool isTaken) {
  if (login.password.descriptor != 0 || !isTaken) return;
  throw usage("standard input cannot be both the text and the password: give --password-file");
}

Status deliver(quorvel::IQuorvelEmail2& email, const DeliveryOptions& options) {
  const Server server = serverOf(options.server, Protocol::smtp);
  secure(email, options.security);
  if (options.dryRun) {
    if (options.security.any()) warn("this is the mail before it is signed or encrypted");
    std::cout << email.GetMime() << std::flush;
    return Status::ok;
  }
  checkWritable(options.journal, "journal");
  Session session(server);
  const ToldLog told(session, options.log);
  useSmtp(session, server, options.login);
  session.mailMan().put_LogMailSentFilename(options.journal);
  session.mailMan().put_SendIndividual(options.oneByOne ? 1 : 0);
  const bool talks = isTerminal(2) && !options.quiet;
  ProgressBar bar(std::cerr, "sending", true);
  const Outcome outcome = send(session, email, talks ? &bar : nullptr);

  if (outcome.status != Status::ok && failedToSecure(outcome.entries)) {
    throw Failure{
        Status::file, "not sent: the mail cannot be signed or encrypted", outcome.report,
        "quorvel cert list tells which certificates and keys there are; quorvel cert import adds one"};
  }
  if (outcome.status != Status::ok && outcome.status != Status::partly) {
    const bool some = !email.get_FileDistList().empty() && outcome.brokenOff;
    throw Failure{outcome.status,
                  (some ? "not sent to all of the list through " : "not sent through ") + server.toText(),
                  outcome.report, nextStepAfter(outcome, server, options)};
  }
  warnOfCertificates(outcome.entries);
  if (!options.login.user.empty() && !outcome.loggedIn) {
    warn("sent without a login: " + server.toText() + " offers none that this program knows");
  }
  if (outcome.status == Status::partly) {
    warnOfList("sent, but not to every recipient. Refused:", outcome.refused);
    std::cerr << "Next: check these addresses; --log shows the server's words\n";
  } else if (talks) {
    std::cerr << "sent\n";
  }
  return outcome.status;
}

}  // namespace cli

// Sending a mail that is ready: the options of it, and what is said of how it went.
#pragma once

#include <string>

#include <quorvel/quorvel.h>

#include "quorvel/command_line.h"
#include "quorvel/log_options.h"
#include "quorvel/login.h"
#include "quorvel/report.h"
#include "quorvel/securing.h"
#include "quorvel/server.h"

namespace cli {

struct DeliveryOptions {
  ServerOptions server;
  LoginOptions login;
  LogOptions log;
  SecurityOptions security;  ///< off unless the command has `addSecurityOptions` too
  std::string journal;
  bool dryRun = false;
  bool quiet = false;
  bool oneByOne = true;  ///< for a list: a mail for each address
};

void addDeliveryOptions(CLI::App& command, DeliveryOptions& options);
/// Throws a Failure when standard input is taken by something else, and the password is to come from there.
void checkStandardInput(const LoginOptions& login, bool isTaken);

/// Sends, or prints with --dry-run. Tells on standard error who does not get it. Throws a Failure when nobody
/// does, or it is not known.
Status deliver(quorvel::IQuorvelEmail2& email, const DeliveryOptions& options);

}  // namespace cli

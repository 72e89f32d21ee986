// Who logs in to a server, and with what.
#pragma once

#include <string>
#include <string_view>

#include "quorvel/command_line.h"
#include "quorvel/password.h"
#include "quorvel/server.h"
#include "quorvel/session.h"

namespace cli {

/// What the command line says.
struct LoginOptions {
  std::string user;
  PasswordSource password;
  std::string method;  ///< for SMTP; empty and "auto" are the best that the server offers
  std::string domain;
};

/// --password-file and --password-fd, which make sense with `with` only; null for always.
void addPasswordOptions(CLI::App& command, PasswordSource& source, CLI::Option* with);
/// --user, --password-file and --password-fd.
CLI::Option* addLoginOptions(CLI::App& command, LoginOptions& options);
/// --auth and --domain beside them.
void addMethodOptions(CLI::App& command, LoginOptions& options, CLI::Option* user);

/// Makes a session send through a server, without a login.
void useSmtp(Session& session, const Server& server);
/// With a login where the options name a user; throws a Failure when the password cannot be had.
void useSmtp(Session& session, const Server& server, const LoginOptions& login);
/// Makes a session read a mailbox. Without a user nothing but the connection can be tried.
void usePop3(Session& session, const Server& server, std::string_view user, std::string_view password);

}  // namespace cli

// quorvel verify: whether a server is there, and whether it takes a login.
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/commands.h"
#include "quorvel/diagnosis.h"
#include "quorvel/log_options.h"
#include "quorvel/login.h"
#include "quorvel/sending.h"

namespace cli {

namespace {

struct VerifyOptions {
  std::string protocol;
  ServerOptions server;
  LoginOptions login;
  LogOptions log;
};

/// Checks of the component: they say whether all went well, and leave the reasons in the log.
using Check = std::int32_t (quorvel::IQuorvelMailMan2::*)();

struct Checks {
  Check connection, login;
};

Checks checksOf(Protocol protocol) {
  using MailMan = quorvel::IQuorvelMailMan2;
  if (protocol == Protocol::smtp) return {&MailMan::VerifySmtpConnection, &MailMan::VerifySmtpLogin};
  return {&MailMan::VerifyPopConnection, &MailMan::VerifyPopLogin};
}

/// Runs a check and gives what it logged. Throws a Failure when it does not go well.
Entries pass(Check check, Session& session, Protocol protocol, const Server& server,
             const std::string& user) {
  session.beginOperation();
  const bool good = (session.mailMan().*check)() == 1;
  Entries entries = session.entries();
  if (!good) throw diagnose(protocol, server, user, entries);
  return entries;
}

/// The password is read only once it is known that there is a server to send it to.
void useLogin(Session& session, Protocol protocol, const Server& server, const LoginOptions& login) {
  if (protocol == Protocol::smtp) return useSmtp(session, server, login);
  const Password password(login.password, login.user + " at " + server.toText());
  usePop3(session, server, login.user, password.view());
}

Status runVerify(const VerifyOptions& options) {
  const Protocol protocol = options.protocol == "smtp" ? Protocol::smtp : Protocol::pop3;
  const std::string& user = options.login.user;
  if (protocol == Protocol::pop3 && !(options.login.method.empty() && options.login.domain.empty())) {
    throw usage("--auth and --domain are for SMTP: POP3 has one way to log in");
  }
  const Server server = serverOf(options.server, protocol);
  Session session(server);
  const ToldLog told(session, options.log);
  const Checks checks = checksOf(protocol);

  useSmtp(session, server);
  usePop3(session, server, "", "");
  pass(checks.connection, session, protocol, server, user);
  std::cout << nameOf(protocol) << " server at " << server.toText() << ": it answers" << std::endl;
  if (user.empty()) return Status::ok;
  useLogin(session, protocol, server, options.login);
  const Entries entries = pass(checks.login, session, protocol, server, user);
  if (protocol == Protocol::smtp && !loggedIn(entries)) {
    throw Failure{Status::refused, server.toText() + " offers no login that this program knows", "",
                  "perhaps it takes mail from this machine without one: leave --user away; --log shows what "
                  "was said"};
  }
  std::cout << "Login of " << printable(user) << ": it is taken" << std::endl;
  return Status::ok;
}

}  // namespace

void addVerifyCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App& command = *app.add_subcommand("verify", "Check that a server answers, and takes a login");
  command.add_option("PROTOCOL", options->protocol, "smtp or pop3")
      ->required()
      ->type_name("PROTOCOL")
      ->transform(CLI::IsMember(std::vector<std::string>{"smtp", "pop3"}, CLI::ignore_case).description(""));
  addServerOptions(command, options->server, "localhost:25, or 110 for pop3");
  auto* user = addLoginOptions(command, options->login);
  addMethodOptions(command, options->login, user);
  addLogOptions(command, options->log);
  command.callback([&run, options] { run = [options] { return runVerify(*options); }; });
}

}  // namespace cli

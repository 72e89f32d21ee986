#include "quorvel/login.h"

#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/report.h"

namespace cli {

namespace {

const std::vector<std::string> kMethods = {"ntlm", "cram-md5", "login", "plain", "auto"};

/// What is wrong with a user's name; nothing when a server can be sent it.
std::string isUserName(const std::string& name) {
  const bool good = !name.empty() && name.size() <= Password::kMaxBytes && isOneLine(name);
  return good ? "" : "no name that a server could be sent";
}

}  // namespace

void addPasswordOptions(CLI::App& command, PasswordSource& source, CLI::Option* with) {
  auto* file = command.add_option("--password-file", source.file, "File whose first line is the password")
                   ->type_name("FILE");
  auto* descriptor = command
                         .add_option("--password-fd", source.descriptor,
                                     "Open descriptor to read the password from; 0 is standard input")
                         ->type_name("N")
                         ->check(CLI::NonNegativeNumber)
                         ->excludes(file);
  if (with == nullptr) return;
  file->needs(with);
  descriptor->needs(with);
}

CLI::Option* addLoginOptions(CLI::App& command, LoginOptions& options) {
  auto* user = command.add_option("--user", options.user, "Name to log in by; the password is asked for")
                   ->type_name("NAME")
                   ->check(isUserName);
  addPasswordOptions(command, options.password, user);
  return user;
}

void addMethodOptions(CLI::App& command, LoginOptions& options, CLI::Option* user) {
  command
      .add_option("--auth", options.method,
                  "How to log in: ntlm, cram-md5, login, plain; auto takes the best that the server offers")
      ->type_name("METHOD")
      ->transform(CLI::IsMember(kMethods, CLI::ignore_case).description(""))
      ->needs(user);
  command.add_option("--domain", options.domain, "Domain of the user, for ntlm")
      ->type_name("DOMAIN")
      ->needs(user);
}

void useSmtp(Session& session, const Server& server) {
  session.mailMan().put_SmtpHost(server.host);
  session.mailMan().put_SmtpPort(server.port);
  // Without it the component would take the best login that the server offers, without a name to log in by.
  session.mailMan().put_SmtpAuthMethod("NONE");
}

void useSmtp(Session& session, const Server& server, const LoginOptions& login) {
  useSmtp(session, server);
  if (login.user.empty()) return;
  const Password password(login.password, login.user + " at " + server.toText());
  session.mailMan().put_SmtpUsername(login.user);
  session.mailMan().put_SmtpPassword(password.view());
  session.mailMan().put_SmtpLoginDomain(login.domain);
  session.mailMan().put_SmtpAuthMethod(login.method == "auto" ? "" : login.method);
}

void usePop3(Session& session, const Server& server, std::string_view user, std::string_view password) {
  session.mailMan().put_MailHost(server.host);
  session.mailMan().put_MailPort(server.port);
  session.mailMan().put_PopUsername(user);
  session.mailMan().put_PopPassword(password);
}

}  // namespace cli

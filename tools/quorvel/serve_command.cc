#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "mail_server/mail_server.h"
#include "quorvel/arrived.h"
#include "quorvel/commands.h"
#include "quorvel/login.h"
#include "quorvel/system.h"

namespace cli {

namespace {

struct ServeOptions {
  std::uint16_t port = 2525;
  std::optional<std::uint16_t> popPort;
  LoginOptions popLogin;
  std::string folder = "mail";
  std::size_t maxSize = qv::SmtpRules{}.maxMessageBytes;
  std::vector<std::string> refusedSenders, refusedRecipients;
  bool quiet = false;
};

std::string timeOfDay() {
  char text[16] = "";
  const std::time_t now = std::time(nullptr);
  if (const std::tm* parts = std::localtime(&now)) std::strftime(text, sizeof text, "%H:%M:%S", parts);
  return text;
}

/// One line about a message: time, sender and recipients of the envelope, subject, size, file.
std::string lineOf(const qv::ReceivedMessage& message) {
  std::string line = timeOfDay() + "  <" + message.sender + "> to";
  constexpr std::size_t kNamed = 3;
  for (std::size_t i = 0; i < message.recipients.size() && i < kNamed; ++i) {
    line += " <" + message.recipients[i] + ">";
  }
  if (message.recipients.size() > kNamed) {
    line += " and " + std::to_string(message.recipients.size() - kNamed) + " more";
  }
  return line + "  \"" + fieldOf(headerOf(message.text), "Subject") + "\"  " + std::to_string(message.size) +
         " bytes  " + message.file;
}

/// Who may fetch mail; anybody when no user is named.
qv::PopRules popRulesOf(const LoginOptions& login) {
  if (login.user.empty()) return {};
  const Password password(login.password, login.user + " to fetch mail with");
  return {.user = login.user, .password = std::string(password.view())};
}

Status runServe(const ServeOptions& options) {
  holdStopSignals();
  qv::MailServerOptions settings;
  settings.popPort = options.popPort;
  settings.popRules = popRulesOf(options.popLogin);
  settings.rules.maxMessageBytes = options.maxSize;
  settings.rules.refusedSenders = options.refusedSenders;
  settings.rules.refusedRecipients = options.refusedRecipients;
  if (!options.quiet) {
    settings.onMessage = [](const qv::ReceivedMessage& message) {
      std::cout << printable(lineOf(message)) << std::endl;
    };
  }
  qv::MailServer server;
  if (!server.start(options.port, options.folder, std::move(settings))) {
    std::error_code ignored;
    const bool hasFolder = std::filesystem::is_directory(options.folder, ignored);
    throw Failure{hasFolder ? Status::failed : Status::file, server.error(), "",
                  hasFolder ? "another program may have the port; --port 0 takes a free one"
                            : "--dir names another folder"};
  }
  std::cout << "Listening on 127.0.0.1:" << server.port() << ", keeping mail in " << options.folder
            << ". Ctrl-C ends it." << std::endl;
  if (options.popPort) {
    std::cout << "POP3 on 127.0.0.1:" << server.popPort() << ", for "
              << (options.popLogin.user.empty() ? "any user name and password"
                                                : printable(options.popLogin.user) + " alone")
              << "." << std::endl;
  }
  waitForStopSignal();
  server.stop();
  if (!options.quiet) std::cout << "Stopped. Messages kept: " << server.counts().messages << std::endl;
  return Status::ok;
}

}  // namespace

void addServeCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<ServeOptions>();
  CLI::App& serve =
      *app.add_subcommand("serve", "Run a mail server for trying things out: it keeps what it is given");
  serve.add_option("--port", options->port, "Port on 127.0.0.1; 0 takes a free one")
      ->type_name("PORT")
      ->capture_default_str();
  auto* popPort =
      serve
          .add_option("--pop3-port", options->popPort,
                      "Let the messages be fetched by POP3 at this port of 127.0.0.1; 0 takes a free one")
          ->type_name("PORT");
  addLoginOptions(serve, options->popLogin)
      ->needs(popPort)
      ->description("Who alone may fetch them; without it anybody may");
  serve.add_option("--dir", options->folder, "Folder for the messages, made when missing")
      ->type_name("FOLDER")
      ->capture_default_str();
  serve
      .add_option("--refuse-sender", options->refusedSenders,
                  "Refuse such senders, * for any text; repeatable")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  serve
      .add_option("--refuse-recipient", options->refusedRecipients,
                  "Refuse such recipients, * for any text; repeatable")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  serve.add_option("--max-size", options->maxSize, "Refuse messages of more bytes")
      ->type_name("BYTES")
      ->capture_default_str();
  serve.add_flag("--quiet", options->quiet, "Do not print the messages as they arrive");
  serve.callback([&run, options] { run = [options] { return runServe(*options); }; });
}

}  // namespace cli

// quorvel: sends, fetches and shows mail from the command line, and runs a loopback mail server to try it on.

#include <array>
#include <exception>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include <quorvel/quorvel.h>

#include "quorvel/commands.h"

namespace {

using cli::Status;

/// In the order that --help lists them.
constexpr std::array kCommands = {
    cli::addSendCommand,    cli::addReplyCommand, cli::addForwardCommand, cli::addMergeCommand,
    cli::addCheckCommand,   cli::addListCommand,  cli::addFetchCommand,   cli::addDeleteCommand,
    cli::addVerifyCommand,  cli::addShowCommand,  cli::addExtractCommand, cli::addFilterCommand,
    cli::addConvertCommand, cli::addCertCommand,  cli::addServeCommand,   cli::addDemoCommand,
};

Status runProgram(int argc, char** argv) {
  CLI::App app("quorvel sends and fetches e-mail. Try it without a mail server of your own: quorvel serve",
               "quorvel");
  const std::string banner = "quorvel " + std::string(quorvel::version());
  app.set_version_flag("--version", banner);
  app.require_subcommand(1);

  cli::Run run;
  for (const auto add : kCommands) add(app, run);
  app.add_subcommand("version", "Print the version")->callback([&] {
    run = [&] {
      std::cout << banner << "\n";
      return Status::ok;
    };
  });

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // The library's own statuses tell what was wrong with the command line; here that is one status.
    return app.exit(error) == 0 ? Status::ok : Status::usage;
  }
  try {
    return run();
  } catch (const cli::Failure& failure) {
    cli::print(failure);
    return failure.status;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return static_cast<int>(runProgram(argc, argv));
  } catch (const std::exception& error) {
    std::cerr << "quorvel: " << error.what() << "\n";
    return static_cast<int>(Status::failed);
  }
}

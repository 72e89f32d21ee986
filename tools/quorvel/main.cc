// quorvel: sends and shows mail from the command line, and runs a loopback mail server to try it on.

#include <exception>
#include <iostream>
#include <string>

#include <quorvel/quorvel.h>

#include "quorvel/commands.h"

namespace {

using cli::Status;

Status runProgram(int argc, char** argv) {
  CLI::App app("quorvel sends e-mail. Try it without a mail server of your own: quorvel serve", "quorvel");
  const std::string banner = "quorvel " + std::string(quorvel::version());
  app.set_version_flag("--version", banner);
  app.require_subcommand(1);

  cli::Run run;
  cli::addSendCommand(app, run);
  cli::addServeCommand(app, run);
  cli::addShowCommand(app, run);
  cli::addExtractCommand(app, run);
  cli::addDemoCommand(app, run);
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

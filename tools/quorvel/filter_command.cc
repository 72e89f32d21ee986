// quorvel filter: what an expression does with message files.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/certificates.h"
#include "quorvel/commands.h"
#include "quorvel/message_file.h"
#include "quorvel/session.h"

namespace cli {

namespace {

struct FilterOptions {
  std::string expression;
  std::vector<std::string> files;
  bool explain = false;
};

bool showOne(Session& session, const std::string& file, bool explain) {
  const Email email = readMessage(file);
  const bool kept = session.mailMan().MatchFilter(email.get()) == 1;
  std::cout << (kept ? "kept      " : "left out  ") << printable(file) << '\n';
  if (explain) std::cout << printable(indented(session.mailMan().ExplainFilter(email.get()), "    "));
  std::cout << std::flush;
  return kept;
}

Status runFilter(const FilterOptions& options) {
  Session session;
  session.mailMan().put_Filter(options.expression);
  std::size_t kept = 0;
  std::size_t read = 0;
  Status status = Status::ok;
  for (const std::string& file : options.files) {
    try {
      if (showOne(session, file, options.explain || options.files.size() == 1)) ++kept;
      ++read;
    } catch (const Failure& failure) {
      print(failure);
      status = failure.status;
    }
  }
  if (read > 0) std::cout << kept << " of " << counted(read, "message") << " kept" << std::endl;
  return status;
}

}  // namespace

void addFilterCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<FilterOptions>();
  CLI::App& command = *app.add_subcommand("filter", "Try a filter on message files");
  command.add_option("EXPRESSION", options->expression, "As 'Subject like \"*report*\"'; empty keeps all")
      ->required();
  command.add_option("FILE", options->files, "Message files")->required();
  addCertificatesOption(command);
  command.add_flag("--explain", options->explain, "Show step by step how the result comes about");
  command.callback([&run, options] { run = [options] { return runFilter(*options); }; });
}

}  // namespace cli

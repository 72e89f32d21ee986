#include "quorvel/log_options.h"

#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "quorvel/report.h"

namespace cli {

void addLogOptions(CLI::App& command, LogOptions& options) {
  command.add_flag("--log", options.print, "Print the log afterwards");
  command.add_option("--log-xml", options.xmlFile, "File to write the log to, as XML")->type_name("FILE");
}

ToldLog::ToldLog(Session& session, const LogOptions& options) : session_(session), options_(options) {
  checkWritable(options.xmlFile, "log");
}

// What fails here is no failure of the command: its work is done.
ToldLog::~ToldLog() {
  try {
    if (options_.print) std::cout << printable(session_.logText()) << std::flush;
  } catch (const Failure& failure) {
    print(failure);
  } catch (const std::exception& error) {
    warn(error.what());
  }
  if (options_.xmlFile.empty()) return;
  session_.mailMan().SaveXmlLog(options_.xmlFile);
  if (const auto error = quorvel::lastError()) warn(error->description);
}

}  // namespace cli

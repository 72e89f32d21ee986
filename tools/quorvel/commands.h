// The program's commands. Each adds itself to the command line; what it leaves in `run` is called after
// parsing, and gives the exit status or throws a Failure.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "quorvel/report.h"

namespace cli {

using Run = std::function<Status()>;

void addSendCommand(CLI::App& app, Run& run);
void addServeCommand(CLI::App& app, Run& run);
void addShowCommand(CLI::App& app, Run& run);
void addExtractCommand(CLI::App& app, Run& run);
void addDemoCommand(CLI::App& app, Run& run);

}  // namespace cli

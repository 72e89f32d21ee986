// The program's commands. Each adds itself to the command line; what it leaves in `run` is called after
// parsing, and gives the exit status or throws a Failure.
#pragma once

#include <functional>
#include <string>

#include "quorvel/command_line.h"
#include "quorvel/report.h"

namespace cli {

using Run = std::function<Status()>;

/// For options whose value must not be empty, as it is where a script's variable is not set.
inline std::string isGiven(const std::string& value) {
  return value.empty() ? "empty" : "";
}

void addSendCommand(CLI::App& app, Run& run);
void addCheckCommand(CLI::App& app, Run& run);
void addListCommand(CLI::App& app, Run& run);
void addFetchCommand(CLI::App& app, Run& run);
void addDeleteCommand(CLI::App& app, Run& run);
void addVerifyCommand(CLI::App& app, Run& run);
void addFilterCommand(CLI::App& app, Run& run);
void addConvertCommand(CLI::App& app, Run& run);
void addReplyCommand(CLI::App& app, Run& run);
void addForwardCommand(CLI::App& app, Run& run);
void addMergeCommand(CLI::App& app, Run& run);
void addShowCommand(CLI::App& app, Run& run);
void addExtractCommand(CLI::App& app, Run& run);
void addCertCommand(CLI::App& app, Run& run);
void addServeCommand(CLI::App& app, Run& run);
void addDemoCommand(CLI::App& app, Run& run);

}  // namespace cli

// --log and --log-xml.
#pragma once

#include <string>

#include "quorvel/command_line.h"
#include "quorvel/session.h"

namespace cli {

struct LogOptions {
  bool print = false;
  std::string xmlFile;
};

void addLogOptions(CLI::App& command, LogOptions& options);

/// Tells the log as the options ask for, at the end of the scope, whatever came of the work. The constructor
/// throws a Failure when the file cannot be written.
class ToldLog {
 public:
  ToldLog(Session& session, const LogOptions& options);
  ~ToldLog();
  ToldLog(const ToldLog&) = delete;
  ToldLog& operator=(const ToldLog&) = delete;

 private:
  Session& session_;
  const LogOptions& options_;
};

}  // namespace cli

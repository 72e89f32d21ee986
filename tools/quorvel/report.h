// How the program ends: exit statuses, and what it says about a failure.
#pragma once

#include <string>
#include <string_view>

namespace cli {

/// Exit statuses; docs/command-line.md lists them for scripts, so their numbers stay.
enum class Status {
  ok = 0,           ///< done; a mail went to every recipient
  failed = 1,       ///< another failure
  usage = 2,        ///< the command line makes no sense
  unreachable = 3,  ///< no connection to the server
  refused = 4,      ///< the server refused the sender, every recipient, or the message
  file = 5,         ///< a file or folder of this machine cannot be read or written
  partly = 6,       ///< the mail went out, but not to every recipient
};

/// Ends a command: thrown where it fails, and printed by `main`.
struct Failure {
  Status status = Status::failed;
  std::string what;      ///< one line
  std::string details;   ///< the error report's text; lines, often none
  std::string nextStep;  ///< what the user may do about it
};

/// Prints a failure on standard error: the first few lines of its details only.
void print(const Failure& failure);

/// Prints "quorvel: " and a text on standard error.
void warn(std::string_view text);

/// A text from a file, a message or a server as one that may go to a terminal: control bytes other than tab
/// and line feed become '?', so that it cannot move the cursor or colour the screen.
std::string printable(std::string_view text);

/// `indent` in front of every line; the text's last line end is made sure of.
std::string indented(std::string_view text, std::string_view indent);

/// The bytes of a file, or of standard input for "-". Throws a Failure when it cannot be read.
std::string readFile(const std::string& path, std::string_view purpose);

}  // namespace cli

// How the program ends: exit statuses, and what it says about a failure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// Exit statuses; docs/command-line.md lists them for scripts, so their numbers stay.
enum class Status {
  ok = 0,           ///< done, all of it
  failed = 1,       ///< another failure
  usage = 2,        ///< the command line makes no sense
  unreachable = 3,  ///< no connection to the server
  refused = 4,      ///< the server refused: the login, the sender, every recipient, the message
  file = 5,         ///< a file or folder of this machine cannot be read or written
  partly = 6,       ///< done in part: not every recipient, not every message
};

/// Ends a command: thrown where it fails, and printed by `main`.
struct Failure {
  Status status = Status::failed;
  std::string what;      ///< one line
  std::string details;   ///< the error report's text; lines, often none
  std::string nextStep;  ///< what the user may do about it
};

/// The failure of a command line that makes no sense.
Failure usage(std::string what, std::string nextStep = "the command with --help tells its options");

/// Prints a failure on standard error: the first few lines of its details only.
void print(const Failure& failure);

/// Prints "quorvel: " and a text on standard error.
void warn(std::string_view text);

/// The same, with the first few of a list below it. Nothing when the list is empty.
void warnOfList(std::string_view text, const std::vector<std::string>& list);

/// A text from a file, a message or a server as one that may go to a terminal: control bytes other than tab
/// and line feed become '?', so that it cannot move the cursor or colour the screen.
std::string printable(std::string_view text);

/// Whether a text holds no line end and no NUL, which no command to a server can carry.
bool isOneLine(std::string_view text) noexcept;

/// Whether two texts are the same but for the case of ASCII letters.
bool equalsNoCase(std::string_view a, std::string_view b) noexcept;
/// A text with its ASCII letters in lower case.
std::string lowerCase(std::string_view text);

/// "1 message", "2 messages".
std::string counted(std::size_t count, std::string_view noun);

/// `indent` in front of every line; the text's last line end is made sure of.
std::string indented(std::string_view text, std::string_view indent);

/// The bytes of a file, or of standard input for "-". Throws a Failure when it cannot be read.
std::string readFile(const std::string& path, std::string_view purpose);

/// Throws a Failure when a file cannot be appended to, so that this is found out before the work is done, not
/// after. An empty path is no file.
void checkWritable(const std::string& path, std::string_view purpose);

}  // namespace cli

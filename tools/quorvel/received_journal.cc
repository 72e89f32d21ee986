#include "quorvel/received_journal.h"

namespace cli {

bool ReceivedJournal::next(std::string& text) {
  text.clear();
  std::string line;
  if (!std::getline(file_, line) || line != "--BEGIN RECEIVED QUORVEL EMAIL--") return false;
  // Nothing in a text can pass for its end: a line that is a dot alone has a second one there.
  for (bool afterCrLf = true; std::getline(file_, line); afterCrLf = line.ends_with('\r')) {
    if (afterCrLf && line == ".\r") {
      return std::getline(file_, line) && line.empty() && std::getline(file_, line) &&
             line == "--END RECEIVED QUORVEL EMAIL--";
    }
    text.append(line, line.starts_with("..") ? 1 : 0).append("\n");
  }
  return false;
}

}  // namespace cli

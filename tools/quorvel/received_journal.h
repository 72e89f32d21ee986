// Reading the journal of received mail that the component writes.
#pragma once

#include <fstream>
#include <string>

namespace cli {

/// A journal (`LogMailReceivedFilename`): one entry for every message that was downloaded, in that order,
/// with its text as the server sent it.
class ReceivedJournal {
 public:
  /// One that is not there holds no entry.
  explicit ReceivedJournal(const std::string& path) : file_(path, std::ios::binary) {}
  /// The text of the next message, without what POP3 adds to it for the way (RFC 1939 3): the second dot of
  /// lines that begin with one, and the line that ends it. False when there is none, or none that is whole.
  bool next(std::string& text);

 private:
  std::ifstream file_;
};

}  // namespace cli

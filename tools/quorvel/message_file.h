// Files that hold a message each, and folders of them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include <quorvel/quorvel.h>

namespace cli {

using Email = quorvel::Ref<quorvel::IQuorvelEmail3>;

/// As the component reads message files: one in which no line ends with CR LF has LF line ends.
std::string withMailLineEnds(std::string text);

/// The e-mail of a file, or of standard input for "-". Throws a Failure when it cannot be read.
Email readMessage(const std::string& file);

/// A folder that messages are kept in, each in a file of its own. No file that exists is ever written over.
class MessageFolder {
 public:
  /// Makes it where it is missing. Throws a Failure when it cannot.
  explicit MessageFolder(std::string path);
  /// Writes a message to a new file that only this user may read, and gives its path. The file is there once
  /// it is whole. It has the name of the message's unique id, of which letters, digits and a few signs are
  /// taken, and a number where that name is taken. Throws a Failure when it cannot be written.
  std::string keep(std::string_view uidl, std::string_view text);
  /// Returns once the disk has all that was written. Throws a Failure when it does not say so.
  void settle() const;

 private:
  std::string path_;
  std::map<std::string, std::size_t> numbers_;  ///< the last number that a name was given
};

}  // namespace cli

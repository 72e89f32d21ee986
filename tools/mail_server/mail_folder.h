// A folder of message files.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "mail_server/smtp_server_dialogue.h"

namespace qv {

/// A message file of a folder.
struct StoredMessage {
  std::string name;        ///< of the file, without folder and ".eml"
  std::uint64_t size = 0;  ///< of the file, in bytes
};

/// 1 to 70 printable characters that stay the same as long as the message keeps its name (RFC 1939 7): the
/// name where it is such a text, else a checksum of it.
std::string uniqueIdOf(const StoredMessage& message);

/// Each message is two files with one name, which sorts in the order of arrival:
///
///     20261122-212519-000001.eml        the text, byte for byte as it was sent
///     20261122-212519-000001.envelope   "MAIL FROM:<...>", then a line "RCPT TO:<...>" per recipient
///
/// A message is there once its .eml file is: the envelope is written before, and the text comes into place
/// whole, by renaming. Other .eml files that somebody puts there are messages too. Several servers may share
/// a folder. Safe for several threads.
class MailFolder {
 public:
  /// Makes the folder and those above it where they are missing. False, with the reason, when it cannot.
  /// Until it is opened a folder is empty.
  bool open(const std::string& path, std::string& error);
  /// Keeps a message and sets its `file`. False, with the reason and nothing left behind, when it cannot.
  bool keep(ReceivedMessage& message, std::string& error);

  /// The messages by their names.
  std::vector<StoredMessage> list() const;
  std::string pathOf(const StoredMessage& message) const { return path_ + "/" + message.name + ".eml"; }
  /// Removes a message's files. True also when they are gone already.
  bool remove(const StoredMessage& message, std::string& error) const;

 private:
  std::string nextName();

  std::string path_;
  std::mutex mutex_;
  std::uint64_t counter_ = 0;
};

}  // namespace qv

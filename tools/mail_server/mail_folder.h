// A folder of message files.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "mail_server/server_dialogue.h"

namespace qv {

/// Each message is two files with one name, which sorts in the order of arrival:
///
///     20261122-212519-000001.eml        the text, byte for byte as it was sent
///     20261122-212519-000001.envelope   "MAIL FROM:<...>", then a line "RCPT TO:<...>" per recipient
///
/// A message is there once its .eml file is: the envelope is written before, and the text comes into place
/// whole, by renaming. Several servers may share a folder. Safe for several threads.
class MailFolder {
 public:
  /// Makes the folder and those above it where they are missing. False, with the reason, when it cannot.
  bool open(const std::string& path, std::string& error);
  /// Keeps a message and sets its `file`. False, with the reason and nothing left behind, when it cannot.
  bool keep(ReceivedMessage& message, std::string& error);

 private:
  std::string nextName();

  std::string path_;
  std::mutex mutex_;
  std::uint64_t counter_ = 0;
};

}  // namespace qv

// Where messages go to: mailbox files, folders of message files, XML documents and zip archives.
#pragma once

#include <memory>
#include <string>

#include "quorvel/message_source.h"

namespace cli {

/// Takes messages one by one. What is not finished was never there, but for messages that are in a folder.
class MessageSink {
 public:
  MessageSink() = default;
  virtual ~MessageSink() = default;
  MessageSink(const MessageSink&) = delete;
  MessageSink& operator=(const MessageSink&) = delete;

  /// Both throw a Failure when they cannot.
  virtual void write(const Message& message) = 0;
  /// Returns once all of it is in its place, and on the disk.
  virtual void finish() = 0;
};

/// Throws a Failure when it cannot be written, or there is a file and it must not be replaced. Nothing that
/// is in a folder is ever replaced.
std::unique_ptr<MessageSink> openSink(Store store, const std::string& path, bool replace);

}  // namespace cli

// Where messages come from: mailbox files, folders of message files, XML documents and zip archives.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "quorvel/message_file.h"
#include "quorvel/session.h"

namespace cli {

/// What messages are kept in.
enum class Store { mailbox, folder, xml, zip };

struct Message {
  Email email;
  std::string text;  ///< with CR LF line ends; byte for byte what was kept, where that was text
  std::string name;  ///< for a file of it; names sort as the messages stand, and are not to be trusted
};

/// Gives messages one by one, in their order.
class MessageSource {
 public:
  MessageSource() = default;
  virtual ~MessageSource() = default;
  MessageSource(const MessageSource&) = delete;
  MessageSource& operator=(const MessageSource&) = delete;

  /// False when there are no more. Throws a Failure for one that cannot be read; the next call goes on behind
  /// it.
  virtual bool next(Message& message) = 0;
  /// How much has been gone through, from 0 to 100.
  virtual int percent() const = 0;
};

/// By what the path is, and what the file begins with, and its extension. Throws a Failure when there is no
/// such file or folder.
Store storeAt(const std::string& path);

/// Throws a Failure when it cannot be read at all. The session must outlive it.
std::unique_ptr<MessageSource> openSource(Store store, const std::string& path, Session& session);

/// Lower case, with its dot; empty when there is none.
std::string extensionOf(const std::string& path);

/// Whether a line is one that a mailbox file has with one more '>' in front: "From ", below any number of
/// '>'.
bool isQuotedInMailbox(std::string_view line) noexcept;

}  // namespace cli

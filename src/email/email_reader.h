// E-mails made from received text.
#pragma once

#include <memory>
#include <string_view>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"
#include "mime/mime_message.h"

namespace qv {

struct ReadOptions {
  /// Opens signed and encrypted layers.
  bool processSecurity = false;
  /// Adds the certificates that are met there to the component's own store.
  bool autoSaveCerts = false;
  /// Keeps the fields that begin with "QVX-". They tell the component what to do, so only those of the host's
  /// own e-mails are: its copies and its XML. From everything else they are removed, at every level.
  bool keepPrivateFields = false;
};

/// Makes an e-mail of a tree of entities: each becomes an e-mail entity with the same fields, content values,
/// body and parts. Nothing is sorted into bodies and attachments; looking for them does that. Fields and
/// bodies are moved into the e-mail, so that what is left of the tree is only good for deleting.
///
/// Of each entity the fields without a value are removed. The sender is the first address of "From". Without
/// a date that can be read, it is now. Linear in the tree, at any depth and without recursion.
///
/// `log` may be null; the e-mail keeps it. Null, with an entry in the log, only when memory runs out or the
/// like.
std::unique_ptr<Email> createFromMimeObject(MimeMessage2&& mime, const ReadOptions& options, CLog* log);

/// Makes an e-mail of a message text, which need not outlive the call.
std::unique_ptr<Email> createFromMimeText(std::string_view text, const ReadOptions& options, CLog* log);

/// Makes an e-mail of what a POP3 server sent for a message, opening its security layers. The text may end
/// with the line of one dot that ends a transfer; that and what follows is no part of the message, and a dot
/// that was doubled at the start of a line is one (RFC 1939 3). `dropFinalCrLf` leaves out the line break
/// that is then at the end, if any.
std::unique_ptr<Email> createFromPop3(StringBuffer&& retrievedText, bool dropFinalCrLf, bool autoSaveCerts,
                                      CLog* log);

}  // namespace qv

// The engine behind the mail manager's receiving operations.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/string_buffer.h"
#include "email/email.h"
#include "email/mail_bundle.h"
#include "net/pop_session.h"
#include "net/progress_monitor.h"

namespace qv {

/// The mail manager's settings for receiving.
struct ReceiveSettings {
  PopSettings pop;
  bool autoSaveCerts = true;
  StringBuffer logMailReceivedFilename;
  StringBuffer filter;  ///< empty keeps everything
  std::int32_t maxCount = 999999;
  std::int32_t sizeLimit = 999999999;
};

/// Which headers to copy: all, or those at the positions `from` to `to` of the listing, counted from 0.
struct HeaderRange {
  bool all = true;
  std::int32_t from = 0;
  std::int32_t to = 0;
};

/// Each operation opens a session of its own and closes it before it returns, which makes deletions
/// permanent. It runs inside the public operation's log context and logs whatever happens. A null, false or
/// negative result is a failure. Progress goes to the sink on the calling thread.
///
/// What the server's answers or the mail make a step throw is logged and ends the operation with its failure
/// result. Any other exception, as one of the sink between two steps, comes out after the session was closed.
///
/// Each message is fetched, read and judged before the next is asked for, so that memory holds one raw
/// message beside what is kept. The cost is in proportion to what the server sends; looking up ids adds the
/// logarithm of their number.
class MailMan {
 public:
  /// `sink` and `log` may be null. Nothing is owned; settings are read at each call.
  MailMan(const ReceiveSettings& settings, FireComEvent* sink, CLog* log) noexcept
      : settings_(settings), sink_(sink), log_(log) {}

  /// The messages that the filter keeps, in server order, up to maxCount downloaded.
  std::unique_ptr<MailBundle> copyMail();
  /// The same, and deletes from the server what the bundle holds, and nothing else. A deletion that fails
  /// leaves its message on the server; the bundle has it all the same.
  std::unique_ptr<MailBundle> xferMail();
  /// Headers and `numBodyLines` lines of each body, of what the filter keeps. maxCount and sizeLimit do not
  /// apply.
  std::unique_ptr<MailBundle> copyHeaders(const HeaderRange& range, std::int32_t numBodyLines);
  /// The number of messages; `ok` is false when the server cannot tell.
  std::int32_t checkMail(bool& ok);
  /// Appends the unique ids in listing order.
  bool getUidls(std::vector<StringBuffer>& uidls);
  /// Null also when no message has this id.
  std::unique_ptr<Email> fetchEmail(std::string_view uidl);
  /// In server order, marked as copied; ids that are not on the server are passed over. A message that cannot
  /// be fetched is tried again as often as its id is requested again. Here and below ids are compared byte
  /// for byte with what the server lists, and are never sent.
  std::unique_ptr<MailBundle> fetchMultiple(const std::vector<StringBuffer>& uidls);
  /// Deletes every message that has this id, or one of these. Only the log tells what came of it.
  void deleteEmail(std::string_view uidl);
  void deleteMultiple(const std::vector<StringBuffer>& uidls);
  bool verifyPopLogin();
  bool verifyPopConnection();
  /// The messages of a mailbox file that the filter keeps, in file order. Never null; a file that cannot be
  /// read gives an empty bundle, and the log says why. Memory holds a piece of the file and a message beside
  /// the bundle.
  std::unique_ptr<MailBundle> loadMbx(std::string_view fileName);
  /// The e-mails of an XML document that the filter keeps, in document order; null when the text holds no
  /// element.
  std::unique_ptr<MailBundle> loadXml(std::string_view text);

 private:
  std::unique_ptr<MailBundle> copyFrom(PopConn& session);
  std::unique_ptr<MailBundle> copyHeadersFrom(PopConn& session, const HeaderRange& range,
                                              std::int32_t numBodyLines);
  ProgressMonitor progressOf(std::int64_t total) const;

  const ReceiveSettings& settings_;
  FireComEvent* sink_;
  CLog* log_;
};

}  // namespace qv

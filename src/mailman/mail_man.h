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

/// Each operation opens a session of its own and closes it before it returns, which makes deletions permanent.
/// It runs inside the public operation's log context, logs whatever happens and throws nothing. A null, false
/// or negative result is a failure. Progress goes to the sink on the calling thread.
class MailMan {
 public:
  /// `sink` and `log` may be null. Nothing is owned; settings are read at each call.
  MailMan(const ReceiveSettings& settings, FireComEvent* sink, CLog* log) noexcept
      : settings_(settings), sink_(sink), log_(log) {}

  /// The messages that the filter keeps, in server order, up to maxCount downloaded.
  std::unique_ptr<MailBundle> copyMail();
  /// The same, and deletes from the server what the bundle holds.
  std::unique_ptr<MailBundle> xferMail();
  /// Headers and `numBodyLines` lines of each body.
  std::unique_ptr<MailBundle> copyHeaders(const HeaderRange& range, std::int32_t numBodyLines);
  /// The number of messages; `ok` is false when the server cannot tell.
  std::int32_t checkMail(bool& ok);
  /// Appends the unique ids in listing order.
  bool getUidls(std::vector<StringBuffer>& uidls);
  /// Null also when no message has this id.
  std::unique_ptr<Email> fetchEmail(std::string_view uidl);
  /// In server order, marked as copied; ids that are not on the server are passed over.
  std::unique_ptr<MailBundle> fetchMultiple(const std::vector<StringBuffer>& uidls);
  void deleteEmail(std::string_view uidl);
  void deleteMultiple(const std::vector<StringBuffer>& uidls);
  bool verifyPopLogin();
  bool verifyPopConnection();

 private:
  const ReceiveSettings& settings_;
  FireComEvent* sink_;
  CLog* log_;
};

}  // namespace qv

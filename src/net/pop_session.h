// One client session with a POP3 server (RFC 1939).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"
#include "email/email.h"
#include "net/progress_monitor.h"
#include "net/secret_text.h"

namespace qv {

/// Where and how to reach a server. Time-outs are seconds; 0 waits as long as it takes.
struct PopSettings {
  StringBuffer host{};
  std::int32_t port = 110;
  StringBuffer username{};
  SecretText password{};
  std::int32_t connectTimeout = 0;
  std::int32_t readTimeout = 0;
};

/// What is known of one message on the server.
struct MailOnServer : QuorvelObject {
  std::int32_t number = 0;  ///< the message number, good for this session only
  std::int32_t size = 0;    ///< octets; the listing of unique ids tells none, so 0
  bool deleted = false;     ///< DELE succeeded in this session
  StringBuffer uidl;
  std::unique_ptr<Email> email;  ///< what RETR or TOP brought, until somebody takes it
};

/// The messages of the last listings, in listing order; one entry per number. Adding, finding by number and
/// reading by position take constant time.
class MailBox {
 public:
  /// Null when no entry has this number.
  MailOnServer* find(std::int32_t number) const;
  /// Appends an entry; one with the same number goes.
  void add(std::int32_t number, std::int32_t size, std::string_view uidl);
  std::size_t count() const noexcept { return places_.size(); }
  /// By position in the listing; null when out of range.
  MailOnServer* at(std::size_t position) const;

 private:
  /// Spreads the numbers by a secret, as they are the server's choice: no choice of them makes finding one
  /// slow.
  class Scatter {
   public:
    Scatter();
    std::size_t operator()(std::int32_t number) const noexcept;

   private:
    std::uint64_t secret_ = 0;
  };
  void closeHoles() const;

  // Entries that went leave holes, which close when somebody looks at the order.
  mutable std::vector<std::unique_ptr<MailOnServer>> entries_;
  mutable std::unordered_map<std::int32_t, std::size_t, Scatter> places_;
  mutable std::size_t holes_ = 0;
};

/// A session that is logged in. Destroying it says QUIT, where the connection still stands and nobody has
/// said it yet, which makes its deletions permanent (RFC 1939 6). A send or receive that fails ends the
/// connection; every later step then fails. Each step says in the log, which may be null, why it failed.
///
/// Whatever number the server lists is in the mailbox. Messages are numbered from 1 (RFC 1939 4), so one
/// below names no message: fetching and deleting it fail without a command.
class PopConn : public QuorvelObject {
 public:
  virtual std::size_t messageCount() const noexcept = 0;
  virtual MailBox& mailbox() noexcept = 0;
  /// The number of messages and the sum of their octets.
  virtual bool stat(std::int32_t& count, std::int32_t& totalSize) = 0;
  /// Fills the mailbox. True, with what was listed so far, also when the connection breaks in the listing;
  /// false when there is no end of it.
  virtual bool listUidls(CLog* log) = 0;
  /// The same, and appends each line's number and unique id, in listing order, to the two lists.
  virtual bool getUidls(CLog* log, ExtIntArray& numbers, std::vector<StringBuffer>& uidls) = 0;
  /// Fetches a message whole; its entry in the mailbox then holds it. `progress` may be null; what its sink
  /// throws breaks the session off, without a QUIT.
  virtual bool retrieve(std::int32_t number, std::string_view receivedLogFileName, CLog* log,
                        ProgressMonitor* progress, bool autoSaveCerts) = 0;
  /// Fetches the header and the first `numBodyLines` lines of the body, of which 1 to 10000 can be had.
  virtual bool top(std::int32_t number, std::int32_t numBodyLines, std::string_view receivedLogFileName,
                   CLog* log, bool autoSaveCerts) = 0;
  /// Marks a message as deleted. Marking one twice succeeds.
  virtual bool dele(std::int32_t number, CLog* log) = 0;
  virtual bool quit(CLog* log) = 0;
  virtual bool isConnected() const noexcept = 0;
};

/// Opens a session: greeting, USER and PASS, STAT. Null, with the reasons in the log, when it fails.
std::unique_ptr<PopConn> popConnect(const PopSettings& settings, CLog* log);
/// Greeting only, then QUIT.
bool popCheckConnection(const PopSettings& settings, CLog* log);

}  // namespace qv

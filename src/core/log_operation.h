// What the log keeps of one operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/growable_bytes.h"

namespace qv {

enum class LogKind : std::uint8_t { context, error, info, debug, data, xml };

/// One entry as it is read and written; its texts belong to whoever handed it out.
struct LogEntry {
  LogKind kind = LogKind::info;
  /// How many contexts were open around it. A `context` entry opens one at its depth; it reaches as far as
  /// the entries behind it are deeper.
  std::uint16_t depth = 0;
  bool reportErrors = false;  ///< of a context
  std::int64_t time = 0;      ///< milliseconds since 1970, universal time
  std::string_view text;      ///< the message, the value of data, the name of a context
  std::string_view keyword;   ///< of a message; the tag of data
  std::string_view format;    ///< the name of the layout asked for; empty for the log's own
};

/// The entries of one top-level context with all that is nested in it, or of one thread outside any context,
/// in the order in which they were logged. They lie one behind the other in one block of bytes, so that an
/// entry costs a copy of its texts. Not locked; LogStore does that.
class LogOperation {
 public:
  void add(const LogEntry& entry);

  std::size_t count() const noexcept { return count_; }
  std::size_t bytes() const noexcept { return bytes_.size(); }
  /// How many entries `dropOldest` took away so far.
  std::size_t dropped() const noexcept { return dropped_; }

  /// Calls `visit(const LogEntry&)` for every entry in order.
  template <typename Visit>
  void forEach(Visit visit) const {
    for (std::size_t at = 0; at < bytes_.size(); at += sizeAt(at)) visit(entryAt(at));
  }

  /// Takes away the oldest entries, `wanted` of them if there are as many besides the newest one and the
  /// contexts that still hold what stays. Gives how many went.
  std::size_t dropOldest(std::size_t wanted);
  /// Takes away everything except the first `openContexts` contexts that are open.
  void clear(std::size_t openContexts);

  /// A context of it is open on some thread.
  bool isOpen = false;
  /// It stands in the log; one that was dropped or cleared away does not.
  bool isListed = false;

 private:
  struct Head {
    std::int64_t time;
    std::uint64_t textLength;
    std::uint32_t keywordLength;
    std::uint32_t formatLength;
    std::uint16_t depth;
    LogKind kind;
    bool reportErrors;
  };
  Head headAt(std::size_t at) const noexcept {
    Head head;
    std::memcpy(&head, bytes_.data() + at, sizeof head);
    return head;
  }
  std::size_t sizeAt(std::size_t at) const noexcept;
  LogEntry entryAt(std::size_t at) const noexcept;
  class OpenContexts;
  void keep(const OpenContexts& contexts, std::size_t from);

  GrowableBytes bytes_;
  std::size_t count_ = 0;
  std::size_t dropped_ = 0;
};

}  // namespace qv

// The log object: what is kept of every operation, by which thread, and how much.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/log_operation.h"
#include "core/log_render.h"
#include "core/log_text.h"

namespace qv {

/// One log, safe for use by several threads.
///
/// Operations. A thread that enters a context while it has none open begins an operation, which ends when it
/// leaves that context; what it logs meanwhile stands together in the log, whatever other threads log at the
/// same time. What a thread logs outside any context stands together, too, until it enters one. Operations
/// are listed in the order in which they began.
///
/// Bounds. The high-water mark is how many entries the log keeps (a context counts as one). It is kept to
/// at all times, also by hosts that never call `checkHighWater`: the oldest operations that have ended go
/// first; when one that still runs fills the log alone, its own oldest entries go and a note says how many.
/// Beyond the mark, no more than 64 MiB of text are kept. 0 or less means no bound of either kind.
class LogStore {
 public:
  static constexpr long kDefaultHighWaterMark = 50000;
  static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
  /// Contexts nested deeper are counted, but not shown. The component itself never needs more than a few.
  static constexpr std::size_t kMaxContextDepth = 100;
  /// Longer context names are cut: each line of text repeats them.
  static constexpr std::size_t kMaxContextName = 255;
  static constexpr std::string_view kVersion = "2.9.0";

  void enterContext(std::string_view name, bool reportErrors);
  /// False when this thread has no context open.
  bool leaveContext();
  void logMessage(LogKind kind, std::string_view message, std::string_view keyword = {},
                  std::string_view format = {});
  void logData(std::string_view tag, std::string_view value);
  void logXml(std::string_view fragment);
  /// Contexts that are open stay open.
  void clear();
  void checkHighWater();

  /// Entries of one kind as text (see LogLayout). Data and XML fragments count as information.
  std::string entries(LogKind kind) const;
  /// Messages logged with exactly this keyword; none for an empty one.
  std::string keywordEntries(std::string_view keyword) const;
  /// Every entry as text.
  std::string text() const;
  /// See LogXmlWriter.
  std::string xml(bool timestamps) const;
  /// The error messages, one to a line, of the operation that the calling thread is in or ran last, those of
  /// nested contexts included. The outermost context, and every one that reports its errors, begins one;
  /// when that ends inside another one, it answers until the other logs an error or ends.
  /// errors outside any context count as an operation of their own. Empty when that operation logged none, or
  /// the thread has run none. Dropping entries does not shorten it.
  std::string lastError() const;

  std::string lineFormat() const;
  void setLineFormat(std::string_view format);  ///< empty for the default
  std::string namedFormat(std::string_view name) const;
  void setNamedFormat(std::string_view name, std::string_view format);  ///< an empty format removes it
  std::string continuationPrefix() const;
  void setContinuationPrefix(std::string_view prefix);
  bool isHtml() const;
  void setHtml(bool html);
  std::string componentName() const;
  void setComponentName(std::string_view name);
  long highWaterMark() const;
  void setHighWaterMark(long entries);
  long unusedProperty() const { return unusedProperty_; }
  void setUnusedProperty(long value) { unusedProperty_ = value; }

 private:
  using OperationPtr = std::shared_ptr<LogOperation>;
  /// The errors of an operation in which another one runs, as of a host that is called back.
  struct Suspended {
    std::size_t depth;
    LogErrorText errors;
  };
  struct ThreadState {
    /// The operation that another one ran in goes on, and answers for that one too.
    void resume();

    std::weak_ptr<const char> alive;
    OperationPtr operation;        // the one that is open, else the entries outside any context, else null
    std::size_t depth = 0;         // contexts open
    LogErrorText errors;           // of the operation that `lastError` answers for
    bool errorsOfContext = false;  // that one was a context
    std::vector<Suspended> suspended;
    bool innerEnded = false;  // `errors` are of an operation that ran inside the last suspended one
  };

  ThreadState& threadState();
  void forgetEndedThreads();
  OperationPtr beginOperation();
  void add(ThreadState& thread, const LogEntry& entry);
  void drop(std::list<OperationPtr>::iterator operation);
  std::size_t trim(LogOperation& operation, std::size_t entries);
  bool isAboveMark() const;
  void keepToMark();
  bool makeRoom();
  template <typename Wanted>
  std::string render(Wanted wanted, bool withNotes) const;

  mutable std::mutex mutex_;
  std::list<OperationPtr> operations_;  // in the order in which they began
  std::unordered_map<std::uint64_t, ThreadState> threads_;
  std::size_t forgetAt_ = 16;  // as many threads make it worth looking for ended ones
  std::size_t entries_ = 0;    // in all operations
  std::size_t bytes_ = 0;
  std::size_t dropped_ = 0;  // entries of operations that went whole
  LogLayout layout_;
  std::string componentName_;
  long highWaterMark_ = kDefaultHighWaterMark;
  std::atomic<long> unusedProperty_{0};
};

}  // namespace qv

// The component log as the component's own code sees it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/quorvel_object.h"

namespace qv {

class LogStore;

/// The log that every operation reports through. One instance serves a whole process (see
/// `api/component.h`); internal classes hold a non-owning pointer that may be null and use the free
/// functions below, which then do nothing.
///
/// Operations without a result return whether the log took the call. Texts are 8-bit; any byte may be
/// logged. Safe to call from several threads: each thread has its own stack of open contexts. None throws.
/// What is kept and for how long is told in log_store.h, how it is shown in log_render.h and log_text.h.
class CLog : public QuorvelComponent {
 public:
  /// The store behind this log, shared; null when there is none.
  virtual std::shared_ptr<LogStore> GetInterface() = 0;

  virtual bool LogError(std::string_view message) = 0;
  virtual bool LogInfo(std::string_view message) = 0;
  virtual std::string GetInfoEntries() = 0;
  virtual std::string GetErrorEntries() = 0;
  virtual std::string get_LineFormat() = 0;
  virtual bool put_LineFormat(std::string_view format) = 0;
  virtual std::string get_Version() = 0;
  virtual bool LogError2(std::string_view message, std::string_view keyword) = 0;
  virtual bool LogInfo2(std::string_view message, std::string_view keyword) = 0;
  virtual bool ClearLog() = 0;
  virtual bool AppendToFile(std::string_view filename) = 0;
  virtual std::string GetKeywordEntries(std::string_view keyword) = 0;
  virtual bool LogError3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual bool LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual bool SetNamedFormat(std::string_view formatName, std::string_view formatString) = 0;
  virtual std::string GetNamedFormat(std::string_view formatName) = 0;
  virtual bool get_IsHTML() = 0;
  virtual bool put_IsHTML(bool isHtml) = 0;
  virtual bool LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual bool LogDebug2(std::string_view message, std::string_view keyword) = 0;
  virtual bool LogDebug(std::string_view message) = 0;
  virtual std::string GetDebugEntries() = 0;
  virtual std::string get_ContinuationPrefix() = 0;
  virtual bool put_ContinuationPrefix(std::string_view prefix) = 0;
  virtual bool EnterContext(std::string_view contextName, bool reportErrors) = 0;
  virtual bool LeaveContext() = 0;
  virtual bool LogData(std::string_view dataTag, std::string_view dataValue) = 0;
  virtual std::string GetXml(bool includeTimestamps) = 0;
  virtual bool SaveXml(bool includeTimestamps, std::string_view filename) = 0;
  virtual long get_UnusedProperty1() = 0;
  virtual bool put_UnusedProperty1(long value) = 0;
  virtual std::string get_LastError() = 0;
  virtual bool UnusedMethod1(std::string_view emailAddress) = 0;
  virtual std::string get_ComponentName() = 0;
  virtual bool put_ComponentName(std::string_view name) = 0;
  virtual long get_HighWaterMark() = 0;
  virtual bool put_HighWaterMark(long entries) = 0;
  virtual bool CheckHighWater() = 0;
  virtual bool LogCommonError(std::string_view msg) = 0;
  virtual bool LogXml(std::string_view data) = 0;
  virtual bool LogDataLong(std::string_view dataTag, long value) = 0;
  virtual bool UseSystemEventLog() = 0;
};

/// The log over a store. Without a store every operation does nothing and fails, so that a component
/// whose log could not be made works on without one.
class CLogImpl final : public CLog {
 public:
  explicit CLogImpl(std::shared_ptr<LogStore> store) : store_(std::move(store)) {}

  std::shared_ptr<LogStore> GetInterface() override { return store_; }

  bool LogError(std::string_view message) override;
  bool LogInfo(std::string_view message) override;
  std::string GetInfoEntries() override;
  std::string GetErrorEntries() override;
  std::string get_LineFormat() override;
  bool put_LineFormat(std::string_view format) override;
  std::string get_Version() override;
  bool LogError2(std::string_view message, std::string_view keyword) override;
  bool LogInfo2(std::string_view message, std::string_view keyword) override;
  bool ClearLog() override;
  bool AppendToFile(std::string_view filename) override;
  std::string GetKeywordEntries(std::string_view keyword) override;
  bool LogError3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  bool LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  bool SetNamedFormat(std::string_view formatName, std::string_view formatString) override;
  std::string GetNamedFormat(std::string_view formatName) override;
  bool get_IsHTML() override;
  bool put_IsHTML(bool isHtml) override;
  bool LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  bool LogDebug2(std::string_view message, std::string_view keyword) override;
  bool LogDebug(std::string_view message) override;
  std::string GetDebugEntries() override;
  std::string get_ContinuationPrefix() override;
  bool put_ContinuationPrefix(std::string_view prefix) override;
  bool EnterContext(std::string_view contextName, bool reportErrors) override;
  bool LeaveContext() override;
  bool LogData(std::string_view dataTag, std::string_view dataValue) override;
  std::string GetXml(bool includeTimestamps) override;
  bool SaveXml(bool includeTimestamps, std::string_view filename) override;
  long get_UnusedProperty1() override;
  bool put_UnusedProperty1(long value) override;
  std::string get_LastError() override;
  bool UnusedMethod1(std::string_view emailAddress) override;
  std::string get_ComponentName() override;
  bool put_ComponentName(std::string_view name) override;
  long get_HighWaterMark() override;
  bool put_HighWaterMark(long entries) override;
  bool CheckHighWater() override;
  bool LogCommonError(std::string_view msg) override;
  bool LogXml(std::string_view data) override;
  bool LogDataLong(std::string_view dataTag, long value) override;
  bool UseSystemEventLog() override;

 private:
  std::shared_ptr<LogStore> store_;
};

// Logging through a log that may be null.
void logError(CLog* log, std::string_view message);
void logInfo(CLog* log, std::string_view message);
void logDebug(CLog* log, std::string_view message);
void logCommonError(CLog* log, std::string_view message);
void logData(CLog* log, std::string_view tag, std::string_view value);
void logDataLong(CLog* log, std::string_view tag, long value);

/// A log context that is left on every path out of a scope. `log` may be null.
class LogContext {
 public:
  LogContext(CLog* log, std::string_view name, bool reportErrors = false);
  ~LogContext() { leave(); }
  LogContext(const LogContext&) = delete;
  LogContext& operator=(const LogContext&) = delete;
  /// Leaves the context now; the destructor then does nothing.
  void leave() noexcept;

 private:
  CLog* log_;
};

}  // namespace qv

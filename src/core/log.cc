#include "core/log.h"

#include "core/file_sys.h"
#include "core/log_store.h"
#include "platform/files.h"

namespace qv {

namespace {

/// The result of a call on the store; the empty value when there is none, or when the call ran out of memory:
/// a log must never be why an operation fails.
template <typename Call>
auto onStore(const std::shared_ptr<LogStore>& store, Call call) noexcept -> decltype(call(*store)) {
  if (!store) return {};
  try {
    return call(*store);
  } catch (...) {
    return {};
  }
}

/// The same for calls without a result: whether the store took it.
template <typename Call>
bool taken(const std::shared_ptr<LogStore>& store, Call call) noexcept {
  return onStore(store, [&](LogStore& log) {
    call(log);
    return true;
  });
}

}  // namespace

// Messages.

bool CLogImpl::LogError(std::string_view message) {
  return LogError3(message, {}, {});
}
bool CLogImpl::LogInfo(std::string_view message) {
  return LogInfo3(message, {}, {});
}
bool CLogImpl::LogDebug(std::string_view message) {
  return LogDebug3(message, {}, {});
}
bool CLogImpl::LogCommonError(std::string_view msg) {
  return LogError3(msg, {}, {});
}

bool CLogImpl::LogError2(std::string_view message, std::string_view keyword) {
  return LogError3(message, keyword, {});
}
bool CLogImpl::LogInfo2(std::string_view message, std::string_view keyword) {
  return LogInfo3(message, keyword, {});
}
bool CLogImpl::LogDebug2(std::string_view message, std::string_view keyword) {
  return LogDebug3(message, keyword, {});
}

bool CLogImpl::LogError3(std::string_view msg, std::string_view keyword, std::string_view format) {
  return taken(store_, [&](LogStore& log) { log.logMessage(LogKind::error, msg, keyword, format); });
}
bool CLogImpl::LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) {
  return taken(store_, [&](LogStore& log) { log.logMessage(LogKind::info, msg, keyword, format); });
}
bool CLogImpl::LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) {
  return taken(store_, [&](LogStore& log) { log.logMessage(LogKind::debug, msg, keyword, format); });
}

bool CLogImpl::LogData(std::string_view dataTag, std::string_view dataValue) {
  return taken(store_, [&](LogStore& log) { log.logData(dataTag, dataValue); });
}
bool CLogImpl::LogDataLong(std::string_view dataTag, long value) {
  return taken(store_, [&](LogStore& log) { log.logData(dataTag, std::to_string(value)); });
}
bool CLogImpl::LogXml(std::string_view data) {
  return taken(store_, [&](LogStore& log) { log.logXml(data); });
}

bool CLogImpl::EnterContext(std::string_view contextName, bool reportErrors) {
  return taken(store_, [&](LogStore& log) { log.enterContext(contextName, reportErrors); });
}
bool CLogImpl::LeaveContext() {
  return onStore(store_, [](LogStore& log) { return log.leaveContext(); });
}

// Reading.

std::string CLogImpl::GetInfoEntries() {
  return onStore(store_, [](LogStore& log) { return log.entries(LogKind::info); });
}
std::string CLogImpl::GetErrorEntries() {
  return onStore(store_, [](LogStore& log) { return log.entries(LogKind::error); });
}
std::string CLogImpl::GetDebugEntries() {
  return onStore(store_, [](LogStore& log) { return log.entries(LogKind::debug); });
}
std::string CLogImpl::GetKeywordEntries(std::string_view keyword) {
  return onStore(store_, [&](LogStore& log) { return log.keywordEntries(keyword); });
}
std::string CLogImpl::GetXml(bool includeTimestamps) {
  return onStore(store_, [&](LogStore& log) { return log.xml(includeTimestamps); });
}
std::string CLogImpl::get_LastError() {
  return onStore(store_, [](LogStore& log) { return log.lastError(); });
}

// A log that cannot be written says so by its result only; an entry about it would land in the very log that
// the host is trying to keep.
bool CLogImpl::AppendToFile(std::string_view filename) {
  return onStore(store_, [&](LogStore& log) { return FileSys::append(filename, log.text()); });
}
bool CLogImpl::SaveXml(bool includeTimestamps, std::string_view filename) {
  return onStore(store_, [&](LogStore& log) {
    const std::string document = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n" + log.xml(includeTimestamps);
    return FileSys::writeWhole(filename, document, nullptr);
  });
}

// Keeping.

bool CLogImpl::ClearLog() {
  return taken(store_, [](LogStore& log) { log.clear(); });
}
bool CLogImpl::CheckHighWater() {
  return taken(store_, [](LogStore& log) { log.checkHighWater(); });
}
long CLogImpl::get_HighWaterMark() {
  return onStore(store_, [](LogStore& log) { return log.highWaterMark(); });
}
bool CLogImpl::put_HighWaterMark(long entries) {
  return taken(store_, [&](LogStore& log) { log.setHighWaterMark(entries); });
}

// Settings.

std::string CLogImpl::get_LineFormat() {
  return onStore(store_, [](LogStore& log) { return log.lineFormat(); });
}
bool CLogImpl::put_LineFormat(std::string_view format) {
  return taken(store_, [&](LogStore& log) { log.setLineFormat(format); });
}
bool CLogImpl::SetNamedFormat(std::string_view formatName, std::string_view formatString) {
  return taken(store_, [&](LogStore& log) { log.setNamedFormat(formatName, formatString); });
}
std::string CLogImpl::GetNamedFormat(std::string_view formatName) {
  return onStore(store_, [&](LogStore& log) { return log.namedFormat(formatName); });
}
bool CLogImpl::get_IsHTML() {
  return onStore(store_, [](LogStore& log) { return log.isHtml(); });
}
bool CLogImpl::put_IsHTML(bool isHtml) {
  return taken(store_, [&](LogStore& log) { log.setHtml(isHtml); });
}
std::string CLogImpl::get_ContinuationPrefix() {
  return onStore(store_, [](LogStore& log) { return log.continuationPrefix(); });
}
bool CLogImpl::put_ContinuationPrefix(std::string_view prefix) {
  return taken(store_, [&](LogStore& log) { log.setContinuationPrefix(prefix); });
}
std::string CLogImpl::get_ComponentName() {
  return onStore(store_, [](LogStore& log) { return log.componentName(); });
}
bool CLogImpl::put_ComponentName(std::string_view name) {
  return taken(store_, [&](LogStore& log) { log.setComponentName(name); });
}
std::string CLogImpl::get_Version() {
  return store_ ? std::string(LogStore::kVersion) : std::string();
}

// Members kept for hosts that call them.

long CLogImpl::get_UnusedProperty1() {
  return onStore(store_, [](LogStore& log) { return log.unusedProperty(); });
}
bool CLogImpl::put_UnusedProperty1(long value) {
  return taken(store_, [&](LogStore& log) { log.setUnusedProperty(value); });
}
bool CLogImpl::UnusedMethod1(std::string_view) {
  return store_ != nullptr;
}
bool CLogImpl::UseSystemEventLog() {
  return store_ != nullptr;
}

// Logging through a log that may be null.

void logError(CLog* log, std::string_view message) {
  if (log != nullptr) log->LogError(message);
}
void logInfo(CLog* log, std::string_view message) {
  if (log != nullptr) log->LogInfo(message);
}
void logDebug(CLog* log, std::string_view message) {
  if (log != nullptr) log->LogDebug(message);
}
void logCommonError(CLog* log, std::string_view message) {
  if (log != nullptr) log->LogCommonError(message);
}
void logData(CLog* log, std::string_view tag, std::string_view value) {
  if (log != nullptr) log->LogData(tag, value);
}
void logDataLong(CLog* log, std::string_view tag, long value) {
  if (log != nullptr) log->LogDataLong(tag, value);
}

LogContext::LogContext(CLog* log, std::string_view name, bool reportErrors) : log_(log) {
  // A context that was not entered must not be left: that would leave the one around it.
  if (log_ != nullptr && !log_->EnterContext(name, reportErrors)) log_ = nullptr;
}

void LogContext::leave() noexcept {
  if (log_ != nullptr) log_->LeaveContext();
  log_ = nullptr;
}

}  // namespace qv

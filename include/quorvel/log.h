// The component log as hosts read it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/object.h>

namespace quorvel {

/// The log of all operations of all objects. It is not created by a host: a mail manager's `GetLog` hands it
/// out. Entries are errors, infos and debug entries; they accumulate until `ClearLog`, or until more than
/// `HighWaterMark` are there when a network operation begins. Passwords are never among them.
class QUORVEL_API IQuorvelLog : public IQuorvelObject {
 public:
  using Base = IQuorvelObject;
  static constexpr std::string_view kInterfaceName = "IQuorvelLog";

  virtual void LogError(std::string_view message) = 0;
  virtual void LogInfo(std::string_view message) = 0;
  /// The entries of one sort as text, each laid out by its format or else by `LineFormat`.
  virtual std::string GetInfoEntries() = 0;
  virtual std::string GetErrorEntries() = 0;
  virtual std::string get_LineFormat() = 0;
  virtual void put_LineFormat(std::string_view format) = 0;
  virtual std::string get_Version() = 0;
  virtual void LogError2(std::string_view message, std::string_view keyword) = 0;
  virtual void LogInfo2(std::string_view message, std::string_view keyword) = 0;
  virtual void ClearLog() = 0;
  /// Appends the text form to a file; 0 when it cannot be written.
  virtual std::int32_t AppendToFile(std::string_view filename) = 0;
  virtual std::string GetKeywordEntries(std::string_view keyword) = 0;
  virtual void LogError3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual void LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual void SetNamedFormat(std::string_view formatName, std::string_view formatString) = 0;
  virtual std::string GetNamedFormat(std::string_view formatName) = 0;
  virtual std::int32_t get_IsHTML() = 0;
  virtual void put_IsHTML(std::int32_t isHtml) = 0;
  virtual void LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) = 0;
  virtual void LogDebug2(std::string_view message, std::string_view keyword) = 0;
  virtual void LogDebug(std::string_view message) = 0;
  virtual std::string GetDebugEntries() = 0;
  virtual std::string get_ContinuationPrefix() = 0;
  virtual void put_ContinuationPrefix(std::string_view prefix) = 0;
};

/// Contexts: what is logged between `EnterContext` and `LeaveContext` belongs to one step of the work. Each
/// thread has its own stack of open contexts.
class QUORVEL_API IQuorvelLog2 : public IQuorvelLog {
 public:
  using Base = IQuorvelLog;
  static constexpr std::string_view kInterfaceName = "IQuorvelLog2";

  virtual void EnterContext(std::string_view contextName, std::int32_t reportErrors) = 0;
  virtual void LeaveContext() = 0;
  virtual void LogData(std::string_view dataTag, std::string_view dataValue) = 0;
  virtual std::string GetXml(std::int32_t includeTimestamps) = 0;
  /// Fails with an error report when the file cannot be written.
  virtual void SaveXml(std::int32_t includeTimestamps, std::string_view filename) = 0;
  virtual std::int32_t get_UnusedProperty1() = 0;
  virtual void put_UnusedProperty1(std::int32_t value) = 0;
  /// The errors of the operation that failed last, one a line.
  virtual std::string get_LastError() = 0;
  virtual void UnusedMethod1(std::string_view emailAddress) = 0;
  virtual std::string get_ComponentName() = 0;
  virtual void put_ComponentName(std::string_view name) = 0;
  virtual std::int32_t get_HighWaterMark() = 0;
  virtual void put_HighWaterMark(std::int32_t entries) = 0;
  virtual void CheckHighWater() = 0;
  virtual void LogCommonError(std::string_view msg) = 0;
  virtual void LogXml(std::string_view data) = 0;
  virtual void LogDataLong(std::string_view dataTag, std::int32_t value) = 0;
  virtual void UseSystemEventLog() = 0;
};

}  // namespace quorvel

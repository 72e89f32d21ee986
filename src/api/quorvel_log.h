// The public log object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/log.h>

#include "api/object_base.h"
#include "core/log.h"
#include "core/log_store.h"

namespace qv {

/// Hands every operation to the log over a store, which it shares with whoever made it. Its operations open
/// no context: the host's own entries stand where the host puts them.
class CQuorvelLog final : public ObjectBase<quorvel::IQuorvelLog2> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelLog";

  explicit CQuorvelLog(std::shared_ptr<LogStore> store) : log_(std::move(store)) {}
  std::string_view className() const noexcept override { return kClassName; }

  void LogError(std::string_view message) override;
  void LogInfo(std::string_view message) override;
  std::string GetInfoEntries() override;
  std::string GetErrorEntries() override;
  std::string get_LineFormat() override;
  void put_LineFormat(std::string_view format) override;
  std::string get_Version() override;
  void LogError2(std::string_view message, std::string_view keyword) override;
  void LogInfo2(std::string_view message, std::string_view keyword) override;
  void ClearLog() override;
  std::int32_t AppendToFile(std::string_view filename) override;
  std::string GetKeywordEntries(std::string_view keyword) override;
  void LogError3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  void LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  void SetNamedFormat(std::string_view formatName, std::string_view formatString) override;
  std::string GetNamedFormat(std::string_view formatName) override;
  std::int32_t get_IsHTML() override;
  void put_IsHTML(std::int32_t isHtml) override;
  void LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) override;
  void LogDebug2(std::string_view message, std::string_view keyword) override;
  void LogDebug(std::string_view message) override;
  std::string GetDebugEntries() override;
  std::string get_ContinuationPrefix() override;
  void put_ContinuationPrefix(std::string_view prefix) override;
  void EnterContext(std::string_view contextName, std::int32_t reportErrors) override;
  void LeaveContext() override;
  void LogData(std::string_view dataTag, std::string_view dataValue) override;
  std::string GetXml(std::int32_t includeTimestamps) override;
  void SaveXml(std::int32_t includeTimestamps, std::string_view filename) override;
  std::int32_t get_UnusedProperty1() override;
  void put_UnusedProperty1(std::int32_t value) override;
  std::string get_LastError() override;
  void UnusedMethod1(std::string_view emailAddress) override;
  std::string get_ComponentName() override;
  void put_ComponentName(std::string_view name) override;
  std::int32_t get_HighWaterMark() override;
  void put_HighWaterMark(std::int32_t entries) override;
  void CheckHighWater() override;
  void LogCommonError(std::string_view msg) override;
  void LogXml(std::string_view data) override;
  void LogDataLong(std::string_view dataTag, std::int32_t value) override;
  void UseSystemEventLog() override;

 private:
  CLogImpl log_;
};

}  // namespace qv

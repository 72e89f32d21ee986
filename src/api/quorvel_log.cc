#include "api/quorvel_log.h"

#include "api/public_call.h"

namespace qv {

void CQuorvelLog::LogError(std::string_view message) {
  publicCall(plain("LogError"), [&](CLog*) { log_.LogError(message); });
}
void CQuorvelLog::LogInfo(std::string_view message) {
  publicCall(plain("LogInfo"), [&](CLog*) { log_.LogInfo(message); });
}
std::string CQuorvelLog::GetInfoEntries() {
  return publicRead(plain("GetInfoEntries"), [this](CLog*) { return log_.GetInfoEntries(); });
}
std::string CQuorvelLog::GetErrorEntries() {
  return publicRead(plain("GetErrorEntries"), [this](CLog*) { return log_.GetErrorEntries(); });
}
std::string CQuorvelLog::get_LineFormat() {
  return publicRead(plain("get_LineFormat"), [this](CLog*) { return log_.get_LineFormat(); });
}
void CQuorvelLog::put_LineFormat(std::string_view format) {
  publicCall(plain("put_LineFormat"), [&](CLog*) { log_.put_LineFormat(format); });
}
std::string CQuorvelLog::get_Version() {
  return publicRead(plain("get_Version"), [this](CLog*) { return log_.get_Version(); });
}
void CQuorvelLog::LogError2(std::string_view message, std::string_view keyword) {
  publicCall(plain("LogError2"), [&](CLog*) { log_.LogError2(message, keyword); });
}
void CQuorvelLog::LogInfo2(std::string_view message, std::string_view keyword) {
  publicCall(plain("LogInfo2"), [&](CLog*) { log_.LogInfo2(message, keyword); });
}
void CQuorvelLog::ClearLog() {
  publicCall(plain("ClearLog"), [this](CLog*) { log_.ClearLog(); });
}
std::int32_t CQuorvelLog::AppendToFile(std::string_view filename) {
  return publicRead(plain("AppendToFile"), [&](CLog*) { return log_.AppendToFile(filename) ? 1 : 0; });
}
std::string CQuorvelLog::GetKeywordEntries(std::string_view keyword) {
  return publicRead(plain("GetKeywordEntries"), [&](CLog*) { return log_.GetKeywordEntries(keyword); });
}
void CQuorvelLog::LogError3(std::string_view msg, std::string_view keyword, std::string_view format) {
  publicCall(plain("LogError3"), [&](CLog*) { log_.LogError3(msg, keyword, format); });
}
void CQuorvelLog::LogInfo3(std::string_view msg, std::string_view keyword, std::string_view format) {
  publicCall(plain("LogInfo3"), [&](CLog*) { log_.LogInfo3(msg, keyword, format); });
}
void CQuorvelLog::SetNamedFormat(std::string_view formatName, std::string_view formatString) {
  publicCall(plain("SetNamedFormat"), [&](CLog*) { log_.SetNamedFormat(formatName, formatString); });
}
std::string CQuorvelLog::GetNamedFormat(std::string_view formatName) {
  return publicRead(plain("GetNamedFormat"), [&](CLog*) { return log_.GetNamedFormat(formatName); });
}
std::int32_t CQuorvelLog::get_IsHTML() {
  return publicRead(plain("get_IsHTML"), [this](CLog*) { return log_.get_IsHTML() ? 1 : 0; });
}
void CQuorvelLog::put_IsHTML(std::int32_t isHtml) {
  publicCall(plain("put_IsHTML"), [&](CLog*) { log_.put_IsHTML(isHtml != 0); });
}
void CQuorvelLog::LogDebug3(std::string_view msg, std::string_view keyword, std::string_view format) {
  publicCall(plain("LogDebug3"), [&](CLog*) { log_.LogDebug3(msg, keyword, format); });
}
void CQuorvelLog::LogDebug2(std::string_view message, std::string_view keyword) {
  publicCall(plain("LogDebug2"), [&](CLog*) { log_.LogDebug2(message, keyword); });
}
void CQuorvelLog::LogDebug(std::string_view message) {
  publicCall(plain("LogDebug"), [&](CLog*) { log_.LogDebug(message); });
}
std::string CQuorvelLog::GetDebugEntries() {
  return publicRead(plain("GetDebugEntries"), [this](CLog*) { return log_.GetDebugEntries(); });
}
std::string CQuorvelLog::get_ContinuationPrefix() {
  return publicRead(plain("get_ContinuationPrefix"), [this](CLog*) { return log_.get_ContinuationPrefix(); });
}
void CQuorvelLog::put_ContinuationPrefix(std::string_view prefix) {
  publicCall(plain("put_ContinuationPrefix"), [&](CLog*) { log_.put_ContinuationPrefix(prefix); });
}
void CQuorvelLog::EnterContext(std::string_view contextName, std::int32_t reportErrors) {
  publicCall(plain("EnterContext"), [&](CLog*) { log_.EnterContext(contextName, reportErrors != 0); });
}
void CQuorvelLog::LeaveContext() {
  publicCall(plain("LeaveContext"), [this](CLog*) { log_.LeaveContext(); });
}
void CQuorvelLog::LogData(std::string_view dataTag, std::string_view dataValue) {
  publicCall(plain("LogData"), [&](CLog*) { log_.LogData(dataTag, dataValue); });
}
std::string CQuorvelLog::GetXml(std::int32_t includeTimestamps) {
  return publicRead(plain("GetXml"), [&](CLog*) { return log_.GetXml(includeTimestamps != 0); });
}

void CQuorvelLog::SaveXml(std::int32_t includeTimestamps, std::string_view filename) {
  publicCall(plain("SaveXml"), [&](CLog*) {
    if (log_.SaveXml(includeTimestamps != 0, filename)) return Outcome::done;
    log_.LogError("Failed to save XML log");
    return Outcome::failed;
  });
}

std::int32_t CQuorvelLog::get_UnusedProperty1() {
  return publicRead(plain("get_UnusedProperty1"),
                    [this](CLog*) { return static_cast<std::int32_t>(log_.get_UnusedProperty1()); });
}
void CQuorvelLog::put_UnusedProperty1(std::int32_t value) {
  publicCall(plain("put_UnusedProperty1"), [&](CLog*) { log_.put_UnusedProperty1(value); });
}
std::string CQuorvelLog::get_LastError() {
  return publicRead(plain("get_LastError"), [this](CLog*) { return log_.get_LastError(); });
}
void CQuorvelLog::UnusedMethod1(std::string_view emailAddress) {
  publicCall(plain("UnusedMethod1"), [&](CLog*) { log_.UnusedMethod1(emailAddress); });
}
std::string CQuorvelLog::get_ComponentName() {
  return publicRead(plain("get_ComponentName"), [this](CLog*) { return log_.get_ComponentName(); });
}
void CQuorvelLog::put_ComponentName(std::string_view name) {
  publicCall(plain("put_ComponentName"), [&](CLog*) { log_.put_ComponentName(name); });
}
std::int32_t CQuorvelLog::get_HighWaterMark() {
  return publicRead(plain("get_HighWaterMark"),
                    [this](CLog*) { return static_cast<std::int32_t>(log_.get_HighWaterMark()); });
}
void CQuorvelLog::put_HighWaterMark(std::int32_t entries) {
  publicCall(plain("put_HighWaterMark"), [&](CLog*) { log_.put_HighWaterMark(entries); });
}
void CQuorvelLog::CheckHighWater() {
  publicCall(plain("CheckHighWater"), [this](CLog*) { log_.CheckHighWater(); });
}
void CQuorvelLog::LogCommonError(std::string_view msg) {
  publicCall(plain("LogCommonError"), [&](CLog*) { log_.LogCommonError(msg); });
}
void CQuorvelLog::LogXml(std::string_view data) {
  publicCall(plain("LogXml"), [&](CLog*) { log_.LogXml(data); });
}
void CQuorvelLog::LogDataLong(std::string_view dataTag, std::int32_t value) {
  publicCall(plain("LogDataLong"), [&](CLog*) { log_.LogDataLong(dataTag, value); });
}
void CQuorvelLog::UseSystemEventLog() {
  publicCall(plain("UseSystemEventLog"), [this](CLog*) { log_.UseSystemEventLog(); });
}

}  // namespace qv

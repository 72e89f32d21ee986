#include "api/qv_string_array.h"

#include <algorithm>

#include "api/public_call.h"

namespace qv {

CQvStringArray::CQvStringArray(const std::vector<StringBuffer>& texts) {
  for (const StringBuffer& text : texts) list_.append(text);
}

std::int32_t CQvStringArray::get_Count() {
  return publicRead(plain("get_Count"), [this](CLog*) { return static_cast<std::int32_t>(list_.count()); });
}
void CQvStringArray::Append(std::string_view str) {
  publicCall(plain("Append"), [&](CLog*) { list_.append(str); });
}
void CQvStringArray::Clear() {
  publicCall(plain("Clear"), [this](CLog*) { list_.clear(); });
}
std::int32_t CQvStringArray::Contains(std::string_view str) {
  return publicRead(plain("Contains"), [&](CLog*) { return list_.contains(str) ? 1 : 0; });
}
void CQvStringArray::Remove(std::string_view str) {
  publicCall(plain("Remove"), [&](CLog*) { list_.remove(str); });
}
std::string CQvStringArray::GetString(std::int32_t index) {
  return publicRead(plain("GetString"), [&](CLog*) { return std::string(list_.at(index)); });
}
std::string CQvStringArray::Serialize() {
  return publicRead(plain("Serialize"), [this](CLog*) { return list_.serialize(); });
}
void CQvStringArray::AppendSerialized(std::string_view encodedStr) {
  publicCall(inContext("AppendSerialized"), [&](CLog* log) {
    if (list_.appendSerialized(encodedStr)) return Outcome::done;
    logError(log, "The text is no serialized string array");
    return Outcome::failed;
  });
}
std::int32_t CQvStringArray::get_Unique() {
  return publicRead(plain("get_Unique"), [this](CLog*) { return list_.unique() ? 1 : 0; });
}
void CQvStringArray::put_Unique(std::int32_t unique) {
  publicCall(plain("put_Unique"), [&](CLog*) { list_.setUnique(unique != 0); });
}
std::int32_t CQvStringArray::get_Trim() {
  return publicRead(plain("get_Trim"), [this](CLog*) { return list_.trim() ? 1 : 0; });
}
void CQvStringArray::put_Trim(std::int32_t trim) {
  publicCall(plain("put_Trim"), [&](CLog*) { list_.setTrim(trim != 0); });
}
std::int32_t CQvStringArray::get_Crlf() {
  return publicRead(plain("get_Crlf"), [this](CLog*) { return list_.crlf() ? 1 : 0; });
}
void CQvStringArray::put_Crlf(std::int32_t crlf) {
  publicCall(plain("put_Crlf"), [&](CLog*) { list_.setCrlf(crlf != 0); });
}
void CQvStringArray::Prepend(std::string_view str) {
  publicCall(plain("Prepend"), [&](CLog*) { list_.prepend(str); });
}
std::int32_t CQvStringArray::Find(std::string_view str, std::int32_t beginIndex) {
  std::int32_t found = StringList::kNotFound;
  publicCall(plain("Find"), [&](CLog*) { found = list_.find(str, beginIndex); });
  return found;
}
void CQvStringArray::InsertAt(std::int32_t index, std::string_view str) {
  publicCall(plain("InsertAt"), [&](CLog*) { list_.insertAt(index, str); });
}
void CQvStringArray::RemoveAt(std::int32_t index) {
  publicCall(plain("RemoveAt"), [&](CLog*) { list_.removeAt(index); });
}
std::string CQvStringArray::LastString() {
  return publicRead(plain("LastString"), [this](CLog*) { return std::string(list_.last()); });
}
std::string CQvStringArray::Pop() {
  return publicRead(plain("Pop"), [this](CLog*) { return list_.pop(); });
}

quorvel::Ref<quorvel::IQvStringArray> createStringArray(const std::vector<StringBuffer>& texts, CLog* log) {
  try {
    return quorvel::make<CQvStringArray>(texts);
  } catch (...) {
    logError(log, "Failed to create IQvStringArray object");
    return nullptr;
  }
}

std::vector<StringBuffer> textsOf(quorvel::IQvStringArray& array) {
  std::vector<StringBuffer> texts;
  const std::int32_t count = array.get_Count();
  texts.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (std::int32_t i = 0; i < count; ++i) texts.emplace_back(array.GetString(i));
  return texts;
}

}  // namespace qv

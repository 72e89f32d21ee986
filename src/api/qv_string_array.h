// The public string array.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <quorvel/string_array.h>

#include "api/object_base.h"
#include "core/string_buffer.h"
#include "core/string_list.h"

namespace qv {

class CQvStringArray final : public ObjectBase<quorvel::IQvStringArray> {
 public:
  static constexpr std::string_view kClassName = "CQvStringArray";

  CQvStringArray() = default;
  explicit CQvStringArray(const std::vector<StringBuffer>& texts);
  std::string_view className() const noexcept override { return kClassName; }

  std::int32_t get_Count() override;
  void Append(std::string_view str) override;
  void Clear() override;
  std::int32_t Contains(std::string_view str) override;
  void Remove(std::string_view str) override;
  std::string GetString(std::int32_t index) override;
  std::string Serialize() override;
  void AppendSerialized(std::string_view encodedStr) override;
  std::int32_t get_Unique() override;
  void put_Unique(std::int32_t unique) override;
  std::int32_t get_Trim() override;
  void put_Trim(std::int32_t trim) override;
  std::int32_t get_Crlf() override;
  void put_Crlf(std::int32_t crlf) override;
  void Prepend(std::string_view str) override;
  std::int32_t Find(std::string_view str, std::int32_t beginIndex) override;
  void InsertAt(std::int32_t index, std::string_view str) override;
  void RemoveAt(std::int32_t index) override;
  std::string LastString() override;
  std::string Pop() override;

 private:
  StringList list_;
};

/// A new array of these texts. Null, with an entry in the log, when it cannot be made.
quorvel::Ref<quorvel::IQvStringArray> createStringArray(const std::vector<StringBuffer>& texts, CLog* log);
/// The texts of an array, which may be the host's own.
std::vector<StringBuffer> textsOf(quorvel::IQvStringArray& array);

}  // namespace qv

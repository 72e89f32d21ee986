// The public zip archive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <quorvel/zip.h>

#include "api/object_base.h"
#include "api/public_call.h"
#include "platform/zip_archive.h"

namespace qv {

class CQuorvelZip final : public ObjectBase<quorvel::IQuorvelZip4> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelZip";

  std::string_view className() const noexcept override { return kClassName; }

  std::int32_t Open(std::string_view path) override;
  std::int32_t Create(std::string_view path) override;
  void Close() override;
  std::int32_t get_NumEntries() override;
  quorvel::Ref<quorvel::IQuorvelZipEntry4> GetEntryByIndex(std::int32_t index) override;
  quorvel::Ref<quorvel::IQuorvelZipEntry4> AppendEmail(quorvel::IQuorvelEmail* email) override;

  /// Unpacks an entry for an object that was made while the archive was open for the `session`-th time.
  bool isSession(std::size_t session) const noexcept { return session == session_ && archive_.isOpen(); }
  bool readEntry(std::size_t session, std::size_t index, std::string& text, std::string& error);

 private:
  using Begin = bool (ZipArchive::*)(std::string_view path, std::string& error);
  std::int32_t begin(std::string_view name, Begin how, std::string_view path);
  bool closeOrLog(CLog* log);
  quorvel::Ref<quorvel::IQuorvelZipEntry4> entryAt(std::size_t index);

  ZipArchive archive_;
  std::string path_;
  std::size_t session_ = 0;
};

class CQuorvelZipEntry final : public ObjectBase<quorvel::IQuorvelZipEntry4> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelZipEntry";

  CQuorvelZipEntry(CQuorvelZip& zip, std::size_t session, std::size_t index)
      : zip_(&zip), session_(session), index_(index) {}
  std::string_view className() const noexcept override { return kClassName; }

  quorvel::Ref<quorvel::IQuorvelEmail2> GetEmail() override;
  quorvel::Ref<quorvel::IQuorvelZip4> get_ZipFile() override;

 private:
  quorvel::Ref<CQuorvelZip> zip_;
  std::size_t session_, index_;
};

}  // namespace qv

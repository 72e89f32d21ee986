// The public bundle of e-mails.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include <quorvel/email_bundle.h>

#include "api/object_base.h"
#include "email/mail_bundle.h"

namespace qv {

/// One e-mail of a bundle.
struct PersistedEmail {
  quorvel::Ref<quorvel::IQuorvelEmail2> email;
  quorvel::Ref<quorvel::IQuorvelZipEntry4> zipEntry = nullptr;  // where it came from or went
};

/// Shares its e-mails with the host.
class CQuorvelEmailBundle final : public ObjectBase<quorvel::IQuorvelEmailBundle2> {
 public:
  static constexpr std::string_view kClassName = "CQuorvelEmailBundle";

  std::string_view className() const noexcept override { return kClassName; }

  std::int32_t get_MessageCount() override;
  std::int32_t AddEmail(quorvel::IQuorvelEmail* email) override;
  quorvel::Ref<quorvel::IQuorvelEmail> GetEmail(std::int32_t index) override;
  std::int32_t RemoveEmail(quorvel::IQuorvelEmail* email) override;
  std::int32_t AppendToZip(quorvel::IQuorvelZip4* zip) override;
  std::int32_t AddFromZip(quorvel::IQuorvelZip4* zip) override;

  std::string GetXml() override;
  void SaveXml(std::string_view filename) override;
  quorvel::Ref<quorvel::IQvStringArray> GetUidls() override;

  /// Whether a member looks into every e-mail of the bundle, and not at their order only.
  static bool readsEmails(std::int32_t id) noexcept { return id >= 5; }
  /// For the component's own operations, which log what they do themselves.
  const std::deque<PersistedEmail>& entries() const noexcept { return entries_; }
  void append(quorvel::Ref<quorvel::IQuorvelEmail2> email) { entries_.push_back({std::move(email)}); }

 private:
  std::deque<PersistedEmail> entries_;
};

}  // namespace qv

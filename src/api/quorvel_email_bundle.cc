#include "api/quorvel_email_bundle.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "api/email_handles.h"
#include "api/public_call.h"
#include "api/qv_string_array.h"
#include "email/email_reader.h"
#include "email/email_xml.h"
#include "platform/files.h"

namespace qv {

namespace {

/// The e-mails behind a bundle's entries, in order. Those of a host's own objects are made of their texts.
class InternalEmails {
 public:
  InternalEmails(const std::deque<PersistedEmail>& entries, CLog* log) {
    for (const PersistedEmail& entry : entries) {
      std::shared_ptr<Email> email = internalEmail(*entry.email);
      if (email == nullptr) {
        email = createFromMimeText(entry.email->GetMime(), {.keepPrivateFields = true}, log);
      }
      if (email == nullptr) continue;
      list_.push_back(email.get());
      owners_.push_back(std::move(email));
    }
  }
  std::span<const Email* const> list() const noexcept { return list_; }

 private:
  std::vector<std::shared_ptr<Email>> owners_;
  std::vector<const Email*> list_;
};

}  // namespace

std::int32_t CQuorvelEmailBundle::get_MessageCount() {
  return publicRead(plain("get_MessageCount"),
                    [this](CLog*) { return static_cast<std::int32_t>(entries_.size()); });
}

std::int32_t CQuorvelEmailBundle::AddEmail(quorvel::IQuorvelEmail* email) {
  return publicFlag(inContext("AddEmail"), [&](CLog* log) {
    if (email == nullptr) {
      logError(log, "No Email was provided");
      return Outcome::failed;
    }
    auto object = email->as<quorvel::IQuorvelEmail2>();
    if (!object) {
      logError(log, "Cannot get IQuorvelEmail2 interface.");
      return Outcome::failed;
    }
    append(std::move(object));
    return Outcome::done;
  });
}

quorvel::Ref<quorvel::IQuorvelEmail> CQuorvelEmailBundle::GetEmail(std::int32_t index) {
  constexpr Operation operation{.name = "GetEmail", .context = "GetEmailBundle"};
  return publicRead(operation, [&](CLog*) -> quorvel::Ref<quorvel::IQuorvelEmail> {
    const auto place = static_cast<std::size_t>(index);
    if (index < 0 || place >= entries_.size()) return nullptr;
    return entries_[place].email;
  });
}

std::int32_t CQuorvelEmailBundle::RemoveEmail(quorvel::IQuorvelEmail* email) {
  return publicFlag(inContext("RemoveEmail"), [&](CLog* log) {
    if (email == nullptr) {
      logError(log, "No Email was provided");
      return Outcome::failedQuietly;
    }
    const auto holdsIt = [email](const PersistedEmail& entry) { return entry.email.get() == email; };
    const auto found = std::find_if(entries_.begin(), entries_.end(), holdsIt);
    if (found == entries_.end()) return Outcome::failedQuietly;
    entries_.erase(found);
    return Outcome::done;
  });
}

std::int32_t CQuorvelEmailBundle::AppendToZip(quorvel::IQuorvelZip4* zip) {
  return publicFlag(inContext("AppendToZip"), [&](CLog* log) {
    if (zip == nullptr) {
      logError(log, "Zip parameter is null");
      return Outcome::failedQuietly;
    }
    // By place: a host's own archive may change the bundle meanwhile.
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const PersistedEmail entry = entries_[i];
      if (entry.zipEntry && entry.zipEntry->get_ZipFile().get() == zip) continue;
      auto stored = zip->AppendEmail(entry.email.get());
      if (stored && i < entries_.size() && entries_[i].email == entry.email)
        entries_[i].zipEntry = std::move(stored);
    }
    return Outcome::done;
  });
}

std::int32_t CQuorvelEmailBundle::AddFromZip(quorvel::IQuorvelZip4* zip) {
  return publicFlag(inContext("AddFromZip"), [&](CLog* log) {
    if (zip == nullptr) {
      logError(log, "Zip parameter is null");
      return Outcome::failedQuietly;
    }
    const std::int32_t count = zip->get_NumEntries();
    for (std::int32_t i = 0; i < count; ++i) {
      auto zipEntry = zip->GetEntryByIndex(i);
      auto email = zipEntry ? zipEntry->GetEmail() : nullptr;
      if (email) entries_.push_back({std::move(email), std::move(zipEntry)});
    }
    return Outcome::done;
  });
}

std::string CQuorvelEmailBundle::GetXml() {
  return publicRead(inContext("GetXml"), [this](CLog* log) {
    const InternalEmails emails(entries_, log);
    StringBuffer xml;
    writeBundleXml(emails.list(), xml);
    return xml.str();
  });
}

void CQuorvelEmailBundle::SaveXml(std::string_view filename) {
  constexpr Operation operation{.name = "SaveXml", .context = "SaveXmlBundle"};
  publicCall(operation, [&](CLog* log) {
    const InternalEmails emails(entries_, log);
    std::string reason;
    if (files::replace(filename, bundleXmlDocument(emails.list()), reason)) return Outcome::done;
    logError(log, "Failed to write XML file");
    logData(log, "filename", filename);
    logError(log, reason);
    return Outcome::failed;
  });
}

quorvel::Ref<quorvel::IQvStringArray> CQuorvelEmailBundle::GetUidls() {
  quorvel::Ref<quorvel::IQvStringArray> result;
  publicCall(inContext("GetUidls"), [&](CLog* log) {
    std::vector<StringBuffer> uidls;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const auto email = entries_[i].email;
      // A received field may name another message of the server; deleting by these ids must not hit that one.
      const std::shared_ptr<Email> own = internalEmail(*email);
      const std::string uidl = own == nullptr ? email->get_Uidl() : std::string(own->uidlOnServer());
      if (!uidl.empty()) uidls.emplace_back(uidl);
    }
    result = createStringArray(uidls, log);
    return result ? Outcome::done : Outcome::failed;
  });
  return result;
}

}  // namespace qv

// The members of the e-mail object for attachments and related items.
#include <new>

#include "api/counts.h"
#include "api/public_call.h"
#include "api/quorvel_email.h"
#include "core/text.h"
#include "email/email_items.h"

namespace qv {

namespace {

std::string fileNameOf(const Email* item) {
  return item == nullptr ? std::string() : Email::getAttachmentFilename(*item).str();
}

std::string contentIdOf(const Email* item) {
  return std::string(item == nullptr ? std::string_view() : item->getHeaderField("Content-ID"));
}

Outcome takeBytes(const Email* item, quorvel::Bytes& bytes, CLog* log) {
  if (item == nullptr) return Outcome::done;
  const std::string_view data = item->body().data().view();
  try {
    bytes.assign(data.begin(), data.end());
    return Outcome::done;
  } catch (const std::bad_alloc&) {
    logError(log, "Failed to allocate memory for the data");
    return Outcome::failed;
  }
}

Outcome outcomeOf(bool done) {
  return done ? Outcome::done : Outcome::failedQuietly;
}

}  // namespace

/// Reads something of an item; `read` also takes null, for an index that is out of range.
template <typename Read>
std::string CQuorvelEmail::readItem(std::string_view name, ItemKind kind, std::int32_t index, Read read) {
  return publicRead(inContext(name), [&](CLog* log) { return read(itemAt(*email_, kind, index, log)); });
}

quorvel::Bytes CQuorvelEmail::itemData(std::string_view name, ItemKind kind, std::int32_t index) {
  quorvel::Bytes bytes;
  publicCall(inContext(name),
             [&](CLog* log) { return takeBytes(itemAt(*email_, kind, index, log), bytes, log); });
  return bytes;
}

// Adding.

std::string CQuorvelEmail::attach(std::string_view name, std::string_view filename,
                                  std::string_view contentType) {
  StringBuffer chosen;
  publicCall({.name = name, .context = "AddFileAttachment"}, [&](CLog*) {
    const bool added = email_->addAttachment(trimmed(filename), trimmed(contentType), chosen);
    return added ? Outcome::done : Outcome::failed;
  });
  return chosen.str();
}

std::string CQuorvelEmail::AddFileAttachment(std::string_view filename) {
  return attach("AddFileAttachment", filename, {});
}
void CQuorvelEmail::AddFileAttachment2(std::string_view filename, std::string_view contentType) {
  attach("AddFileAttachment2", filename, contentType);
}

std::string CQuorvelEmail::AddRelatedContent(std::string_view filename) {
  StringBuffer id;
  publicCall(inContext("AddRelatedContent"), [&](CLog* log) {
    logData(log, "filename", filename);
    std::unique_ptr<Email> part = Email::createRelatedFromFile(filename, {}, log);
    if (part == nullptr) return Outcome::failed;
    StringBuffer newId(part->contentId());
    newId.removeAll('<');
    newId.removeAll('>');
    if (!email_->addRelatedItem(std::move(part))) return Outcome::failed;
    id.swap(newId);
    return Outcome::done;
  });
  return id.str();
}

// Names.

std::string CQuorvelEmail::GetAttachmentFilename(std::int32_t index) {
  return readItem("GetAttachmentFilename", ItemKind::attachment, index, fileNameOf);
}
std::string CQuorvelEmail::GetRelatedFilename(std::int32_t index) {
  return readItem("GetRelatedFilename", ItemKind::relatedItem, index, fileNameOf);
}

std::int32_t CQuorvelEmail::SetAttachmentFilename(std::int32_t index, std::string_view filename) {
  return publicFlag(inContext("SetAttachmentFilename"), [&](CLog* log) {
    Email* item = itemAt(*email_, ItemKind::attachment, index, log);
    if (item == nullptr) return Outcome::failedQuietly;
    logData(log, "filename", filename);
    Email::setAttachmentFilename(*item, filename);
    return Outcome::done;
  });
}

std::string CQuorvelEmail::GetAttachmentContentID(std::int32_t index) {
  return readItem("GetAttachmentContentID", ItemKind::attachment, index, contentIdOf);
}
std::string CQuorvelEmail::GetRelatedContentID(std::int32_t index) {
  return readItem("GetRelatedContentID", ItemKind::relatedItem, index, contentIdOf);
}

// Contents.

quorvel::Bytes CQuorvelEmail::GetAttachmentData(std::int32_t index) {
  return itemData("GetAttachmentData", ItemKind::attachment, index);
}
quorvel::Bytes CQuorvelEmail::GetRelatedData(std::int32_t index) {
  return itemData("GetRelatedData", ItemKind::relatedItem, index);
}

std::string CQuorvelEmail::GetAttachmentString(std::int32_t index) {
  return readItem("GetAttachmentString", ItemKind::attachment, index,
                  [](const Email* item) { return itemText(item).str(); });
}
std::string CQuorvelEmail::GetRelatedString(std::int32_t index) {
  return readItem("GetRelatedString", ItemKind::relatedItem, index,
                  [](const Email* item) { return itemText(item).str(); });
}

std::string CQuorvelEmail::GetAttachmentStringCrLf(std::int32_t index) {
  return readItem("GetAttachmentStringCrLf", ItemKind::attachment, index,
                  [](const Email* item) { return itemTextCrLf(item).str(); });
}
std::string CQuorvelEmail::GetRelatedStringCrLf(std::int32_t index) {
  return readItem("GetRelatedStringCrLf", ItemKind::relatedItem, index,
                  [](const Email* item) { return itemTextCrLf(item).str(); });
}

std::string CQuorvelEmail::GetFileContent(std::string_view filename) {
  StringBuffer content;
  publicCall(inContext("GetFileContent"), [&](CLog* log) {
    return readFileContent(filename, content, log) ? Outcome::done : Outcome::failed;
  });
  return content.str();
}

// Saving.

std::int32_t CQuorvelEmail::SaveAttachedFile(std::int32_t index, std::string_view directory) {
  return publicFlag(inContext("SaveAttachedFile"), [&](CLog* log) {
    return outcomeOf(saveItem(*email_, ItemKind::attachment, index, directory, log));
  });
}
std::int32_t CQuorvelEmail::SaveRelatedItem(std::int32_t index, std::string_view directory) {
  return publicFlag(inContext("SaveRelatedItem"), [&](CLog* log) {
    return outcomeOf(saveItem(*email_, ItemKind::relatedItem, index, directory, log));
  });
}
std::int32_t CQuorvelEmail::SaveAllAttachments(std::string_view directory) {
  return publicFlag(inContext("SaveAllAttachments"),
                    [&](CLog* log) { return outcomeOf(saveAllAttachments(*email_, directory, log)); });
}

// Counting and dropping.

std::int32_t CQuorvelEmail::get_NumAttachments() {
  return publicRead(plain("get_NumAttachments"), [this](CLog*) { return asCount(email_->numAttachments()); });
}
std::int32_t CQuorvelEmail::get_NumRelatedItems() {
  return publicRead(plain("get_NumRelatedItems"),
                    [this](CLog*) { return asCount(email_->numRelatedItems()); });
}

std::int32_t CQuorvelEmail::DropSingleAttachment(std::int32_t index) {
  return publicFlag(inContext("DropSingleAttachment"), [&](CLog* log) {
    if (itemAt(*email_, ItemKind::attachment, index, log) == nullptr) return Outcome::failedQuietly;
    return outcomeOf(email_->dropAttachment(asIndex(index)));
  });
}
void CQuorvelEmail::DropAttachments() {
  publicCall(inContext("DropAttachments"), [this](CLog*) { email_->dropAttachments(); });
}

}  // namespace qv

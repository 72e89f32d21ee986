#include "email/email_items.h"

#include <string>

#include "core/file_names.h"
#include "core/file_sys.h"
#include "core/text.h"
#include "email/line_ends.h"
#include "mime/transfer_coding.h"
#include "platform/files.h"

namespace qv {
namespace {

// Where the two kinds differ.
struct Kind {
  std::string_view noun;
  std::string_view countTag;
  std::string_view saveFailure;
  std::size_t (Email::*count)() const noexcept;
  Email* (Email::*get)(std::size_t index) noexcept;
};
constexpr Kind kKinds[] = {
    {"attachment", "num_attachments", "Failed to save attachment", &Email::numAttachments,
     &Email::getAttachment},
    {"related item", "num_related_items", "Failed to save related item", &Email::numRelatedItems,
     &Email::getRelatedItem},
};
const Kind& kindOf(ItemKind kind) noexcept {
  return kKinds[static_cast<std::size_t>(kind)];
}

// A name for the item's file, from the first of the places that tell one.
std::string fileNameOf(const Email& item, ItemKind kind, std::size_t index) {
  StringBuffer texts[] = {Email::getAttachmentFilename(item), item.nameParam(), {}};
  if (kind == ItemKind::relatedItem) texts[2] = item.getHeaderField("Content-Location");
  for (StringBuffer& text : texts) {
    ContentCoding::decodeWords(text);
    std::string name = safeFileName(text);
    if (!name.empty()) return name;
  }
  return kind == ItemKind::attachment ? "attachment" : "relatedItem" + std::to_string(index);
}

bool save(Email& item, ItemKind kind, std::size_t index, std::string_view directory, CLog* log) {
  directory = trimmed(directory);
  logData(log, "directory", directory);
  bool done = FileSys::createDirectories(directory, log);
  if (done) {
    std::string name = fileNameOf(item, kind, index);
    std::string reason;
    done = FileSys::writeUnique(directory, name, item.body().data().view(), reason);
    Email::setAttachmentFilename(item, name);
    logData(log, "filename", "./" + name);
    if (!done) logData(log, "reason", reason);
  }
  if (!done) logError(log, kindOf(kind).saveFailure);
  return done;
}

}  // namespace

Email* itemAt(Email& email, ItemKind kind, std::int32_t index, CLog* log) {
  const Kind& its = kindOf(kind);
  Email* item = index < 0 ? nullptr : (email.*its.get)(static_cast<std::size_t>(index));
  if (item != nullptr) return item;
  logCommonError(
      log, "Index out of range: no " + std::string(its.noun) + " at index = " + std::to_string(index) + ".");
  logDataLong(log, "index", index);
  logDataLong(log, its.countTag, static_cast<long>((email.*its.count)()));
  return nullptr;
}

StringBuffer itemText(const Email* item) {
  StringBuffer text;
  if (item == nullptr) return text;
  const std::string_view bytes = item->body().data().view();
  text = bytes.substr(0, bytes.find('\0'));
  text.removeAll('\r');
  return text;
}

StringBuffer itemTextCrLf(const Email* item) {
  StringBuffer text;
  if (item != nullptr) appendWithCrLf(item->body().data().view(), text);
  return text;
}

bool saveItem(Email& email, ItemKind kind, std::int32_t index, std::string_view directory, CLog* log) {
  Email* item = itemAt(email, kind, index, log);
  return item != nullptr && save(*item, kind, static_cast<std::size_t>(index), directory, log);
}

bool saveAllAttachments(Email& email, std::string_view directory, CLog* log) {
  const std::vector<Email*> attachments = email.attachments();
  logDataLong(log, "num_attachments", static_cast<long>(attachments.size()));
  bool allSaved = true;
  for (std::size_t i = 0; i < attachments.size(); ++i) {
    const LogContext context(log, "SaveAttachedFile");
    if (!save(*attachments[i], ItemKind::attachment, i, directory, log)) allSaved = false;
  }
  return allSaved;
}

bool readFileContent(std::string_view filename, StringBuffer& out, CLog* log) {
  filename = trimmed(filename);
  if (out.loadFile(filename, nullptr)) return true;
  logError(log, "Failed to read file into memory.");
  logData(log, "filename", filename);
  logData(log, "current_directory", files::currentDirectory());
  std::string reason;
  if (!FileSys::canRead(filename, reason)) logData(log, "reason", reason);
  return false;
}

}  // namespace qv

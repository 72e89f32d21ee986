// Parts made of files, and where attachments and related items stand in the tree.
#include <utility>

#include "core/file_sys.h"
#include "core/text.h"
#include "email/email.h"
#include "mime/content_types.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kUnknownType = "application/octet-stream";

// `given` says it, or else the extension.
StringBuffer typeOfFile(std::string_view path, std::string_view given) {
  StringBuffer type(given);
  const std::size_t dot = path.rfind('.');
  if (given.empty() && dot != kNone) contentTypeForExtension(path.substr(dot + 1), type);
  type.trim();
  if (type.empty()) type = kUnknownType;
  return type;
}

std::string_view nameInPath(std::string_view path) {
  std::size_t separator = path.rfind('/');
  if (separator == kNone) separator = path.rfind('\\');
  return separator == kNone ? path : path.substr(separator + 1);
}

bool canReadFile(std::string_view path, CLog* log) {
  if (path.empty()) {
    logError(log, "filename is missing");
    return false;
  }
  std::string reason;
  if (FileSys::canRead(path, reason)) return true;
  logData(log, "filename", path);
  logData(log, "fail_reason", reason);
  logCommonError(log, "File does not exist, or cannot open file.");
  return false;
}

// `identify` sets the fields that stand before the codings.
template <typename Identify>
std::unique_ptr<Email> partOfFile(std::string_view path, std::string_view contentType, CLog* log,
                                  Identify identify) {
  if (!canReadFile(path, log)) return nullptr;
  const StringBuffer type = typeOfFile(path, contentType);
  const bool isText = startsWithNoCase(type, "text");
  std::unique_ptr<Email> part = Email::newEmptyPart(log);
  identify(*part);
  part->setTransferEncoding(isText ? "quoted-printable" : "base64");
  part->setContentType(type, nameInPath(path));
  part->body().changeData().loadFile(path, log);
  part->body().setCoding(isText ? MimeBody::Coding::quotedPrintable : MimeBody::Coding::base64);
  return part;
}

}  // namespace

std::unique_ptr<Email> Email::createAttachmentFromFile(std::string_view path, std::string_view contentType,
                                                       CLog* log) {
  return partOfFile(path, contentType, log,
                    [&](Email& part) { part.setDisposition("attachment", nameInPath(path)); });
}

std::unique_ptr<Email> Email::createRelatedFromFile(std::string_view path, std::string_view contentType,
                                                    CLog* log) {
  return partOfFile(path, contentType, log, [](Email& part) { part.newContentId(); });
}

bool Email::addAttachment(std::string_view path, std::string_view contentType, StringBuffer& contentTypeOut) {
  std::unique_ptr<Email> part = createAttachmentFromFile(path, contentType, log_);
  if (part == nullptr) return false;
  Email* target = this;
  std::size_t depth = 0;
  if (equalsNoCase(contentType_, "multipart/related") && !parts_.empty()) {
    target = parts_.at(0);
    depth = 1;
  }
  if (!equalsNoCase(target->contentType_, "multipart/mixed")) {
    if (!convertToMixed(*target, depth)) return false;
    if (target != this) setRelatedType(*this, "multipart/mixed");
  }
  contentTypeOut = part->contentType_;
  target->addPart(std::move(part));
  return true;
}

bool Email::addRelatedItem(std::unique_ptr<Email> part) {
  if (!equalsNoCase(contentType_, "multipart/related") && !convertToRelated(*this)) return false;
  addPart(std::move(part));
  return true;
}

}  // namespace qv

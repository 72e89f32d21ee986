// Finding, naming and dropping what a message carries beside its text.
#include <algorithm>

#include "core/text.h"
#include "email/email.h"
#include "mime/transfer_coding.h"

namespace qv {

bool Email::isAttachment() const noexcept {
  return equalsNoCase(disposition_, "attachment");
}

bool Email::isAttachedOrInline() const noexcept {
  return isAttachment() || equalsNoCase(disposition_, "inline");
}

// The entity that holds the attachments; null when there is none.
const Email* Email::mixedNode() const noexcept {
  const Email& node = findNode("multipart/mixed");
  return equalsNoCase(node.contentType_, "multipart/mixed") ? &node : nullptr;
}

std::size_t Email::numAttachments() const noexcept {
  const Email* node = mixedNode();
  if (node == nullptr) return 0;
  return static_cast<std::size_t>(std::count_if(node->parts_.begin(), node->parts_.end(),
                                                [](const auto& part) { return part->isAttachedOrInline(); }));
}

Email* Email::getAttachment(std::size_t index) noexcept {
  const Email* node = mixedNode();
  if (node == nullptr) return nullptr;
  for (const auto& part : node->parts_) {
    if (part->isAttachedOrInline() && index-- == 0) return part.get();
  }
  return nullptr;
}

std::vector<Email*> Email::attachments() {
  std::vector<Email*> found;
  const Email* node = mixedNode();
  if (node == nullptr) return found;
  for (const auto& part : node->parts_) {
    if (part->isAttachedOrInline()) found.push_back(part.get());
  }
  return found;
}

bool Email::dropAttachment(std::size_t index) {
  const Email* unwanted = getAttachment(index);
  if (unwanted == nullptr) return false;
  findNode("multipart/mixed").parts_.removeIf([&](const Email& part) { return &part == unwanted; });
  return true;
}

void Email::dropAttachments() {
  forEachEntity(*this, [](Email& entity) {
    entity.parts_.removeIf([](const Email& part) { return part.isAttachedOrInline(); });
  });
}

StringBuffer Email::getAttachmentFilename(const Email& part) {
  StringBuffer name = part.filename_;
  ContentCoding::decodeWords(name);
  return name;
}

void Email::setAttachmentFilename(Email& part, std::string_view name) {
  if (part.disposition_.empty()) return;
  if (!part.contentType_.empty()) {
    ContentTypeParams params = part.getContentTypeParams();
    params.name = name;
    part.setContentType(params);
  }
  part.setDisposition(part.disposition_.str(), name);
}

std::size_t Email::numRelatedItems() const noexcept {
  const Email& node = findNode("multipart/related");
  const bool hasRoot = equalsNoCase(node.contentType_, "multipart/related") && !node.parts_.empty();
  return hasRoot ? node.parts_.size() - 1 : 0;
}

Email* Email::getRelatedItem(std::size_t index) noexcept {
  return index < numRelatedItems() ? findNode("multipart/related").parts_.at(index + 1) : nullptr;
}

}  // namespace qv

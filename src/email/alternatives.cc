// The bodies of a message that show the same text in different types.
#include <algorithm>
#include <string>
#include <utility>

#include "core/text.h"
#include "email/email.h"

namespace qv {

// The alternatives stand in the root of a related message, and in the first part of a mixed one.
bool Email::addAlternativePart(std::unique_ptr<Email> part) {
  const bool isRelated = equalsNoCase(contentType_, "multipart/related") && !parts_.empty();
  Email* node = this;
  std::size_t depth = 0;
  const auto descend = [&] {
    if (node->parts_.empty()) return;
    node = node->parts_.at(0);
    ++depth;
  };
  if (isRelated) descend();
  if (equalsNoCase(node->contentType_, "multipart/mixed")) descend();
  if (!equalsNoCase(node->contentType_, "multipart/alternative") && !convertToAlternative(*node, depth)) {
    return false;
  }

  const auto same = std::find_if(node->parts_.begin(), node->parts_.end(), [&](const auto& present) {
    return present->isAlternative() && equalsNoCase(present->contentType_, part->contentType_);
  });
  if (same != node->parts_.end()) {
    (*same)->setBody(part->getBody(), false);
  } else {
    node->addPart(std::move(part));
  }
  if (isRelated) setRelatedType(*this, parts_.at(0)->contentType_);
  return true;
}

// The alternatives in order; null when the entity is none that has any.
const Email* Email::alternativeNode() const noexcept {
  const Email& node = findNode("multipart/alternative");
  return equalsNoCase(node.contentType_, "multipart/alternative") ? &node : nullptr;
}

const Email* Email::alternative(std::size_t index) const noexcept {
  for (const auto& part : parts_) {
    if (part->isAlternative() && index-- == 0) return part.get();
  }
  return nullptr;
}

std::size_t Email::numAlternatives() const noexcept {
  const Email* node = alternativeNode();
  if (node == nullptr) return 0;
  return static_cast<std::size_t>(std::count_if(node->parts_.begin(), node->parts_.end(),
                                                [](const auto& part) { return part->isAlternative(); }));
}

const Email* Email::findAlternative(std::size_t index, std::string_view errorMessage) const {
  const Email& node = findNode("multipart/alternative");
  if (node.parts_.empty()) return &node;
  const Email* part = node.alternative(index);
  if (part == nullptr) {
    logError(log_, errorMessage);
    logDataLong(log_, "index", static_cast<long>(index));  // a negative one came as the largest
  }
  return part;
}

bool Email::getAlternativeContentType(std::size_t index, StringBuffer& out) const {
  const Email* part = findAlternative(index, "Failed to get alternative content type, index out of range");
  if (part != nullptr) out = part->contentType_;
  return part != nullptr;
}

bool Email::getAlternativeBody(std::size_t index, StringBuffer& out) const {
  const Email* part = findAlternative(index, "Failed to get alternative body, index out of range");
  if (part != nullptr) out = part->getBody();
  return part != nullptr;
}

int Email::plainTextAlternativeIndex() const {
  return alternativeIndex("text/plain");
}

int Email::htmlAlternativeIndex() const {
  return alternativeIndex("text/html");
}

int Email::alternativeIndex(std::string_view type) const {
  const Email* node = alternativeNode();
  if (node == nullptr) {
    if (equalsNoCase(findNode("multipart/alternative").contentType_, type)) return 0;
    logCommonError(log_, "Not a multipart/alternative email, nor is the body " + std::string(type));
    return -1;
  }
  int index = 0;
  for (const auto& part : node->parts_) {
    if (!part->isAlternative()) continue;
    if (equalsNoCase(part->contentType_, type)) return index;
    ++index;
  }
  logCommonError(log_, "No " + std::string(type) + " alternative body found");
  return -1;
}

}  // namespace qv

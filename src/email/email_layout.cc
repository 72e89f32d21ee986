// Bodies, and the shapes that the tree of a message takes.
#include <algorithm>
#include <utility>

#include "core/text.h"
#include "email/email.h"
#include "mime/limits.h"

namespace qv {
namespace {

MimeBody::Coding codingFor(std::string_view transferEncoding) noexcept {
  if (equalsNoCase(transferEncoding, "base64")) return MimeBody::Coding::base64;
  if (equalsNoCase(transferEncoding, "quoted-printable")) return MimeBody::Coding::quotedPrintable;
  return MimeBody::Coding::raw;
}

// Levels below an entity.
std::size_t heightOf(const Email& top) {
  std::vector<std::pair<const Email*, std::size_t>> waiting{{&top, 0}};
  std::size_t height = 0;
  while (!waiting.empty()) {
    const auto [entity, depth] = waiting.back();
    waiting.pop_back();
    height = std::max(height, depth);
    for (const auto& part : entity->parts()) waiting.emplace_back(part.get(), depth + 1);
  }
  return height;
}

}  // namespace

std::unique_ptr<Email> Email::newEmptyPart(CLog* log) {
  std::unique_ptr<Email> part = withoutFields(log);
  part->setContentType("text/plain");
  part->setTransferEncoding("7bit");
  return part;
}

void Email::stripHeaderLines() {
  for (const std::string_view name : {"Date", "X-Mailer", "X-Priority", "MIME-Version", "Message-ID"}) {
    removeHeaderField(name);
  }
}

std::unique_ptr<Email> Email::newBodyPart(std::string_view text, bool html) const {
  std::unique_ptr<Email> part = newEmptyPart(log_);
  if (html) {
    part->setContentType("text/html");
    part->setTransferEncoding("7bit");
  }
  part->body_.setRaw(text);
  return part;
}

void Email::addPart(std::unique_ptr<Email> part) {
  if (parts_.empty() && !body_.data().empty()) {
    std::unique_ptr<Email> text = newEmptyPart(log_);
    text->body_ = std::exchange(body_, {});
    parts_.append(std::move(text));
  }
  parts_.append(std::move(part));
  if (isMultipart() && boundary_.empty()) setContentType(getContentTypeParams());
}

// The new child takes the content type with all its parameters, the transfer encoding, and what the target
// held; `shape` is the target's new content type.
bool Email::wrap(Email& target, const ContentTypeParams& shape, std::size_t depth) {
  if (depth + heightOf(target) >= kMaxNesting) {
    logError(target.log_, "The e-mail is nested too deeply.");
    return false;
  }
  std::unique_ptr<Email> child = newEmptyPart(target.log_);
  child->parts_.swap(target.parts_);
  child->body_ = std::exchange(target.body_, {});
  ContentTypeParams params = target.getContentTypeParams();
  if (params.type.empty() && equalsNoCase(shape.type, "multipart/alternative")) params.type = "text/plain";
  child->setContentType(params);
  child->setTransferEncoding(target.transferEncoding_);
  target.parts_.append(std::move(child));
  target.setContentType(shape);
  target.removeHeaderField("Content-Transfer-Encoding");
  return true;
}

bool Email::convertToMixed(Email& target, std::size_t depth) {
  return wrap(target, {.type = "multipart/mixed"}, depth);
}

bool Email::convertToAlternative(Email& target, std::size_t depth) {
  return wrap(target, {.type = "multipart/alternative"}, depth);
}

bool Email::convertToRelated(Email& target, std::size_t depth) {
  return wrap(target, {.type = "multipart/related", .relatedType = target.contentType_}, depth);
}

void Email::setRelatedType(Email& target, std::string_view type) {
  ContentTypeParams params = target.getContentTypeParams();
  params.relatedType = type;
  target.setContentType(params);
}

const Email& Email::findNode(std::string_view type) const noexcept {
  const Email* node = this;
  while (!equalsNoCase(node->contentType_, type) && !node->parts_.empty()) node = node->parts_.at(0);
  return *node;
}

// The text of one entity. It keeps the coding that its field announces to readers.
void Email::setText(std::string_view text) {
  body_.setComposed(text);
  body_.setCoding(codingFor(transferEncoding_));
}

void Email::setBody(std::string_view text, bool asHtml) {
  Email* node = this;
  while (equalsNoCase(node->contentType_, "multipart/related") && !node->parts_.empty()) {
    node = node->parts_.at(0);
  }
  if (equalsNoCase(node->contentType_, "multipart/alternative")) {
    const bool isHtml = asHtml || (findNoCase(text, "<html>") != std::string_view::npos &&
                                   findNoCase(text, "<body>") != std::string_view::npos);
    node->addAlternativePart(newBodyPart(text, isHtml));
    return;
  }
  if (node->parts_.empty()) return node->setText(text);
  const auto isText = [](const std::unique_ptr<Email>& part) {
    return part->parts_.empty() && !part->isAttachment();
  };
  const auto found = std::find_if(node->parts_.begin(), node->parts_.end(), isText);
  if (found != node->parts_.end()) return (*found)->setText(text);
  std::unique_ptr<Email> part = newEmptyPart(log_);
  part->setText(text);
  node->parts_.insertAt(0, std::move(part));
}

std::string_view Email::getBody() const noexcept {
  return firstLeaf().body_.data().view();
}

const Email& Email::firstLeaf() const noexcept {
  const Email* node = this;
  while (node->isMultipart() && !node->parts_.empty()) node = node->parts_.at(0);
  return *node;
}

void Email::setHtmlBody(std::string_view html) {
  setBody(html, true);
  const Email* root = parts_.at(0);
  if (equalsNoCase(contentType_, "multipart/related") && root != nullptr && root->parts_.empty() &&
      startsWithNoCase(root->contentType_, "text")) {
    setRelatedType(*this, "text/html");
  }
  auto& leaf = const_cast<Email&>(firstLeaf());
  if (leaf.body_.data().view() != html) return;
  ContentTypeParams params = leaf.getContentTypeParams();
  params.type = "text/html";
  leaf.setContentType(params);
}

}  // namespace qv

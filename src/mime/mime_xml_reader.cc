// Reading a tree of entities from XML.
#include <utility>
#include <vector>

#include "core/text.h"
#include "mime/limits.h"
#include "mime/mime_xml.h"
#include "mime/mime_xml_fields.h"

namespace qv {
namespace {

// Each appends a line of header text.

// All addresses on that line: a header has no more than kMaxHeaderLines.
void appendAddressField(const TreeNode& field, StringBuffer& lines) {
  lines.append(field.getTag()).append(": ");
  bool isFirst = true;
  for (const TreeNode* child = field.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
    const TreeNode* const address = child->findChild("addr");
    const TreeNode* const name = child->findChild("name");
    if (address == nullptr || name == nullptr) continue;
    if (!std::exchange(isFirst, false)) lines.append(',');
    if (!trimmed(name->getContent()).empty()) lines.append('"').append(name->getContent()).append("\" ");
    lines.append('<').append(address->getContent()).append('>');
  }
  lines.append('\n');
}

void appendField(const TreeNode& field, bool isReceived, StringBuffer& lines) {
  lines.append(field.getTag()).append(": ").append(field.getContent());
  lines.trimEnd();
  for (std::size_t i = 0; i < field.getNumAttributes(); ++i) {
    const std::string_view name = field.attributes()->name(i);
    const std::string_view value = field.attributes()->value(i);
    if (name.empty() || value.empty()) continue;
    lines.append(isReceived ? " " : "; ").append(name).append(isReceived ? "=" : "=\"");
    lines.append(value).append(isReceived ? "" : "\"");
  }
  lines.append('\n');
}

StringBuffer headerText(const TreeNode& header) {
  StringBuffer lines;
  for (const TreeNode* field = header.getFirstChild(); field != nullptr; field = field->getNextSibling()) {
    const XmlFieldKind kind = xmlFieldKind(field->getTag());
    if (kind == XmlFieldKind::address || kind == XmlFieldKind::addressList) {
      appendAddressField(*field, lines);
    } else {
      appendField(*field, kind == XmlFieldKind::received, lines);
    }
  }
  return lines;
}

// Entities that still get their parts wait in a list instead of on the call stack.
class EntityReader {
 public:
  explicit EntityReader(CLog* log) : log_(log) {}

  std::unique_ptr<MimeMessage2> read(const TreeNode& element) {
    std::unique_ptr<MimeMessage2> top = newEntity(element, 0);
    while (!waiting_.empty()) {
      const Multipart next = waiting_.back();
      waiting_.pop_back();
      readParts(next);
    }
    return top;
  }

 private:
  struct Multipart {
    MimeMessage2* entity;
    const TreeNode* body;
    std::size_t depth;
  };

  // Null for an element without "header" or "body".
  std::unique_ptr<MimeMessage2> newEntity(const TreeNode& element, std::size_t depth) {
    const TreeNode* const header = element.findChild("header");
    const TreeNode* const body = element.findChild("body");
    if (header == nullptr || body == nullptr) return nullptr;
    auto entity = std::make_unique<MimeMessage2>(log_);
    entity->parseHeaderOnly(headerText(*header));
    const bool isLeaf = body->getNumChildren() == 0;
    entity->body().setFromEncoded(entity->getTransferEncoding(),
                                  isLeaf ? body->getContent() : std::string_view{});
    if (!isLeaf && depth < kMaxNesting) waiting_.push_back({entity.get(), body, depth});
    if (!isLeaf && depth >= kMaxNesting) logDebug(log_, "Entities that are nested too deeply were left out");
    return entity;
  }

  void readParts(const Multipart& multipart) {
    MimeMessage2& entity = *multipart.entity;
    for (const TreeNode* child = multipart.body->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
      const TreeNode* const element = child->getTag() == "subpart" ? child->getFirstChild() : nullptr;
      if (element == nullptr || element->getTag() != kMessageElement) continue;
      if (auto part = newEntity(*element, multipart.depth + 1)) entity.addPart(std::move(part));
    }
    if (entity.getNumParts() == 0) return;
    entity.body().setFromEncoded(entity.getTransferEncoding(),
                                 "This is a multi-part message in MIME format.");
  }

  CLog* log_;
  std::vector<Multipart> waiting_;
};

}  // namespace

std::unique_ptr<MimeMessage2> readEntityXml(const TreeNode& element, CLog* log) {
  return EntityReader(log).read(element);
}

bool loadMessagesFromXml(std::string_view text, std::string_view tag, CLog* log,
                         ExtPtrArray<MimeMessage2>& out) {
  if (tag.empty()) tag = kMessageElement;
  const TreePtr root = TreeNode::parseXml(text, log);
  if (!root) return false;
  long leftOut = 0;
  for (const TreeNode* node = root.get(); node != nullptr;) {
    const bool isMessage = node->getTag() == tag;
    if (isMessage) {
      auto entity = readEntityXml(*node, log);
      if (entity == nullptr) ++leftOut;
      if (entity != nullptr) out.append(std::move(entity));
    }
    node = node->following(*root, !isMessage);
  }
  if (leftOut != 0) {
    logDebug(log, "Messages without header or body were left out");
    logDataLong(log, "num_left_out", leftOut);
  }
  return true;
}

}  // namespace qv

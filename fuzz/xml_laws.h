// What holds for the XML reader and for the XML form of entities, whatever they are given (see laws.h).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/xml_tree.h"
#include "laws.h"
#include "mime/mime_xml.h"

namespace laws {

/// Any text gives a tree whose links agree and that holds no more than the text.
inline void checkXml(std::string_view text) {
  const qv::TreePtr root = qv::TreeNode::parseXml(text, nullptr);
  if (!root) return;
  require(root->getParent() == nullptr && root->getRoot() == root.get(), "a root stands above");
  std::size_t held = root->prologText().size();
  std::size_t nodes = 0;
  for (const qv::TreeNode* node = root.get(); node != nullptr; node = node->following(*root, true)) {
    ++nodes;
    held += node->getTag().size() + node->getContent().size();
    for (std::size_t i = 0; i < node->getNumAttributes(); ++i) {
      require(!node->attributes()->name(i).empty(), "an attribute has a name");
      held += node->attributes()->name(i).size() + node->attributes()->value(i).size();
    }
    require(node->getRoot() == root.get(), "every node knows its root");
    const qv::TreeNode* before = nullptr;
    for (const qv::TreeNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
      require(child->getParent() == node && child->getPreviousSibling() == before, "siblings are linked");
      before = child;
    }
    require(node->getLastChild() == before, "down to the last");
  }
  require(nodes <= text.size(), "no element without a character");
  require(held <= 2 * text.size() + 2, "a text never grows in reading");
}

/// Whether an element is that of an entity: its fields, its parts and its body, and nothing else.
inline void checkElement(const qv::MimeMessage2& entity, const qv::TreeNode& element) {
  require(element.getTag() == qv::kMessageElement && element.getNumChildren() == 2, "header and body");
  const qv::TreeNode& header = *element.getChild(0);
  const qv::TreeNode& body = *element.getChild(1);
  require(header.getTag() == "header" && body.getTag() == "body", "in their order");

  std::vector<std::string> names;
  for (std::size_t i = 0; i < entity.header().getFieldCount(); ++i) {
    const std::string_view name = qv::trimmed(entity.header().getField(i)->getName());
    if (!name.empty()) names.push_back(qv::toLower(name));
  }
  require(header.getNumChildren() == names.size(), "an element for each field");
  for (std::size_t i = 0; i < names.size(); ++i) {
    const qv::TreeNode& field = *header.getChild(i);
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyz0123456789-_.";
    const bool isPlain = names[i].find_first_not_of(kPlain) == std::string::npos;
    if (isPlain) require(field.getTag() == names[i], "named like it");
    for (std::size_t n = 0; n < field.getNumChildren(); ++n) {
      const qv::TreeNode& child = *field.getChild(n);
      const bool isAddress = child.getTag() == "address" && child.getNumChildren() == 2;
      require(isAddress || (child.getTag() == "description" && child.getNumChildren() == 0),
              "with nothing but addresses below it");
    }
  }

  std::size_t parts = 0;
  for (std::size_t i = 0; i < entity.getNumParts(); ++i) {
    const qv::MimeMessage2& part = *entity.getPart(i);
    qv::StringBuffer xml;
    if (qv::writeHeaderXml(part, xml) == 0) continue;
    const qv::TreeNode* subpart = body.getChild(parts++);
    require(subpart != nullptr && subpart->getTag() == "subpart" && subpart->getNumChildren() == 1,
            "an element for each part");
    checkElement(part, *subpart->getFirstChild());
  }
  require(body.getNumChildren() == parts, "and no other");
  if (entity.getNumParts() != 0) return;
  qv::StringBuffer encoded;
  entity.body().getEncodedBody(encoded);
  if (encoded.view().find_first_of("\n\t&<>") == std::string_view::npos) {
    require(body.getContent() == qv::trimmed(encoded), "a line is its text");
  } else if (!encoded.contains("<![CDATA[")) {
    require(body.getContent() == encoded.view(), "a section is its exact text");
  }
}

/// What is written of an entity reads as that entity.
inline void checkEntityXml(const qv::MimeMessage2& entity) {
  qv::StringBuffer xml;
  qv::writeEntityXml(entity, xml);
  const qv::TreePtr root = qv::TreeNode::parseXml(xml, nullptr);
  if (xml.empty()) return;
  require(root != nullptr, "a document has a root");
  checkElement(entity, *root);
  qv::ExtPtrArray<qv::MimeMessage2> loaded;
  require(qv::loadMessagesFromXml(xml, qv::kMessageElement, nullptr, loaded), "a document is loaded");
  require(loaded.size() == 1, "as one message");
}

inline std::size_t heightOf(const qv::MimeMessage2& entity) {
  std::size_t height = 0;
  for (std::size_t i = 0; i < entity.getNumParts(); ++i) {
    height = std::max(height, 1 + heightOf(*entity.getPart(i)));
  }
  return height;
}

/// The text once as a message, once as a document.
inline void checkMimeXml(std::string_view text) {
  qv::MimeMessage2 message(nullptr);
  message.parseMime(text);
  checkEntityXml(message);
  qv::ExtPtrArray<qv::MimeMessage2> loaded;
  qv::loadMessagesFromXml(text, qv::kMessageElement, nullptr, loaded);
  for (const auto& entity : loaded) {
    require(heightOf(*entity) <= qv::kMaxNesting, "no entity lies below the limit");
    checkWritten(entity->header());
    checkEntityXml(*entity);
  }
}

}  // namespace laws

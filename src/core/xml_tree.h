// The XML reader: a tree of elements, and the tolerant parser that makes one of a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/arrays.h"
#include "core/log.h"
#include "core/quorvel_object.h"
#include "core/string_buffer.h"

namespace qv {

/// The attributes of one element in the order in which they were added; names may repeat. All names and
/// values lie one behind the other in one text.
class AttributeSet {
 public:
  void add(std::string_view name, std::string_view value);
  std::size_t size() const noexcept { return ends_.size() / 2; }
  /// Views are valid until an attribute is added; empty when out of range.
  std::string_view name(std::size_t index) const noexcept { return piece(2 * index); }
  std::string_view value(std::size_t index) const noexcept { return piece(2 * index + 1); }

 private:
  std::string_view piece(std::size_t index) const noexcept;

  std::string text_;
  // Where each name and value ends, not how long it is: so an attribute costs the same to reach however many
  // stand before it.
  std::vector<std::size_t> ends_;
};

class TreeNode;
/// What the owner of a tree holds: deletes it with `TreeNode::deleteTree`.
struct TreeDeleter {
  void operator()(TreeNode* node) const noexcept;
};
using TreePtr = std::unique_ptr<TreeNode, TreeDeleter>;

/// One element. Texts are any bytes. A parent owns its children; everything here works at any depth without
/// recursion.
class TreeNode : public QuorvelObject {
 public:
  /// A node without a parent, the root of its own tree. Either text may be empty.
  explicit TreeNode(std::string_view tag = {}, std::string_view content = {});
  TreeNode(const TreeNode&) = delete;
  TreeNode& operator=(const TreeNode&) = delete;
  ~TreeNode() override;
  /// Deletes the root of this node's tree and with it the whole tree.
  virtual void deleteTree() noexcept;

  /// Null when out of range, or when there is none.
  virtual TreeNode* getChild(std::size_t index) const noexcept { return children_.at(index); }
  virtual std::size_t getNumChildren() const noexcept { return children_.size(); }
  virtual TreeNode* getFirstChild() const noexcept { return children_.at(0); }
  virtual TreeNode* getLastChild() const noexcept { return children_.last(); }
  virtual TreeNode* getPreviousSibling() const noexcept { return previousSibling_; }
  virtual TreeNode* getNextSibling() const noexcept { return nextSibling_; }

  TreeNode* getParent() const noexcept { return parent_; }
  /// The node behind this one in the order of a document, within the tree below `top`; null at its end.
  /// Without `intoChildren`, what is below this node is passed over.
  TreeNode* following(const TreeNode& top, bool intoChildren) const noexcept;
  /// The node itself until it is added to a parent.
  TreeNode* getRoot() const noexcept { return root_; }
  std::string_view getTag() const noexcept { return tag_; }
  std::string_view getContent() const noexcept { return content_; }
  /// The node's number in the order of creation, over the whole process; from 0.
  std::int32_t serial() const noexcept { return serial_; }
  /// Whether some of the content stood in a CDATA section.
  bool hasCdata() const noexcept { return hasCdata_; }
  /// Of a root: the last processing instruction before its end, its target as tag and its pseudo-attributes
  /// as attributes; or null.
  const TreeNode* processingInstruction() const noexcept { return processingInstruction_.get(); }
  /// Of a root: the XML declaration and the document type declarations before its end as they stood, each
  /// followed by LF.
  std::string_view prologText() const noexcept { return prologText_; }

  /// The first child with that tag (compared byte for byte), or null.
  TreeNode* findChild(std::string_view tag) const noexcept;
  /// The same among the children that have an attribute of that name, with that value unless `value` is
  /// empty.
  TreeNode* findChild(std::string_view tag, std::string_view name, std::string_view value) const noexcept;

  std::size_t getNumAttributes() const noexcept { return attributes_ ? attributes_->size() : 0; }
  /// Append to `out`; nothing when out of range. The value tells whether there is such an attribute.
  void getAttributeName(std::size_t index, StringBuffer& out) const;
  bool getAttributeValue(std::size_t index, StringBuffer& out) const;
  /// Null while there is none.
  const AttributeSet* attributes() const noexcept { return attributes_.get(); }
  /// Ignored when the name is empty.
  void addAttribute(std::string_view name, std::string_view value);

  /// Appends a node that is the root of its tree, and gives it back. A childless one costs the same wherever
  /// it is added; with it, all below it get this node's root.
  TreeNode* addChild(std::unique_ptr<TreeNode> node);

  /// Reads a text in one pass, in time linear in its length. Nothing is rejected: closing tags are not
  /// compared with their start tags, and of what is not closed all is kept that was read. Of several
  /// top-level elements the last one that is closed remains, of none that is closed the open one; null when
  /// there is no element.
  ///
  /// Only "&lt;", "&gt;", "&quot;" and "&amp;" in content are decoded; other entities stay as they stand,
  /// whatever a document type declares, and attribute values too. White space around a piece of content goes;
  /// pieces between children are joined by a space.
  ///
  /// `log`, which may be null, gets the errors "Unclosed comment", "Failed to parse DTD" and "Error in
  /// closing tag", the last with the element's tag as data "error_tag"; and a debug entry when the text ends
  /// inside an element, with the tag as data "open_tag".
  static TreePtr parseXml(std::string_view text, CLog* log);

 private:
  friend class XmlParser;
  bool hasAttribute(std::string_view name, std::string_view value) const noexcept;

  StringBuffer tag_;
  StringBuffer content_;
  std::unique_ptr<AttributeSet> attributes_;
  std::unique_ptr<TreeNode> processingInstruction_;
  StringBuffer prologText_;
  std::int32_t serial_;
  bool hasCdata_ = false;
  ExtPtrArray<TreeNode> children_;
  TreeNode* root_ = this;
  TreeNode* parent_ = nullptr;
  TreeNode* nextSibling_ = nullptr;
  TreeNode* previousSibling_ = nullptr;
};

}  // namespace qv

#include "core/xml_tree.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace qv {
namespace {

std::int32_t nextSerial() noexcept {
  static std::atomic<std::int32_t> counter{0};
  return counter.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void AttributeSet::add(std::string_view name, std::string_view value) {
  for (const std::string_view piece : {name, value}) {
    text_.append(piece);
    ends_.push_back(text_.size());
  }
}

std::string_view AttributeSet::piece(std::size_t index) const noexcept {
  if (index >= ends_.size()) return {};
  const std::size_t start = index == 0 ? 0 : ends_[index - 1];
  return std::string_view(text_).substr(start, ends_[index] - start);
}

void TreeDeleter::operator()(TreeNode* node) const noexcept {
  node->deleteTree();
}

TreeNode::TreeNode(std::string_view tag, std::string_view content)
    : tag_(tag), content_(content), serial_(nextSerial()) {}

// Deletes last leaves until none is left, so that a deep tree costs no stack.
TreeNode::~TreeNode() {
  for (TreeNode* node = this;;) {
    if (TreeNode* child = node->children_.last(); child != nullptr) {
      node = child;
    } else if (node != this) {
      node = node->parent_;
      node->children_.removeAt(node->children_.size() - 1);
    } else {
      return;
    }
  }
}

void TreeNode::deleteTree() noexcept {
  delete root_;
}

TreeNode* TreeNode::following(const TreeNode& top, bool intoChildren) const noexcept {
  if (intoChildren && !children_.empty()) return getFirstChild();
  const TreeNode* node = this;
  while (node != &top && node->nextSibling_ == nullptr) node = node->parent_;
  return node == &top ? nullptr : node->nextSibling_;
}

TreeNode* TreeNode::findChild(std::string_view tag) const noexcept {
  const auto found = std::find_if(children_.begin(), children_.end(),
                                  [&](const auto& child) { return child->getTag() == tag; });
  return found == children_.end() ? nullptr : found->get();
}

TreeNode* TreeNode::findChild(std::string_view tag, std::string_view name,
                              std::string_view value) const noexcept {
  const auto found = std::find_if(children_.begin(), children_.end(), [&](const auto& child) {
    return child->getTag() == tag && child->hasAttribute(name, value);
  });
  return found == children_.end() ? nullptr : found->get();
}

bool TreeNode::hasAttribute(std::string_view name, std::string_view value) const noexcept {
  for (std::size_t i = 0; i < getNumAttributes(); ++i) {
    if (attributes_->name(i) == name && (value.empty() || attributes_->value(i) == value)) return true;
  }
  return false;
}

void TreeNode::getAttributeName(std::size_t index, StringBuffer& out) const {
  if (index < getNumAttributes()) out.append(attributes_->name(index));
}

bool TreeNode::getAttributeValue(std::size_t index, StringBuffer& out) const {
  if (index >= getNumAttributes()) return false;
  out.append(attributes_->value(index));
  return true;
}

void TreeNode::addAttribute(std::string_view name, std::string_view value) {
  if (name.empty()) return;
  if (!attributes_) attributes_ = std::make_unique<AttributeSet>();
  attributes_->add(name, value);
}

TreeNode* TreeNode::addChild(std::unique_ptr<TreeNode> node) {
  TreeNode* const last = getLastChild();
  TreeNode* const added = children_.append(std::move(node));
  added->parent_ = this;
  added->previousSibling_ = last;
  if (last != nullptr) last->nextSibling_ = added;
  for (TreeNode* each = added; each != nullptr; each = each->following(*added, true)) each->root_ = root_;
  return added;
}

}  // namespace qv

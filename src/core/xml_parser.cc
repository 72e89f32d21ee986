// Reading an XML text into its tree.
#include <algorithm>
#include <string>
#include <utility>

#include "core/text.h"
#include "core/xml_tree.h"

namespace qv {
namespace {

constexpr std::string_view kCdataStart = "<![CDATA[";

struct Entity {
  std::string_view text;
  char character;
};
constexpr Entity kEntities[] = {{"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&amp;", '&'}};

void appendDecoded(std::string_view piece, StringBuffer& out) {
  for (std::size_t ampersand; (ampersand = piece.find('&')) != std::string_view::npos;) {
    out.append(piece.substr(0, ampersand));
    piece.remove_prefix(ampersand);
    const auto entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                     [&](const Entity& each) { return piece.starts_with(each.text); });
    const bool isKnown = entity != std::end(kEntities);
    out.append(isKnown ? entity->character : '&');
    piece.remove_prefix(isKnown ? entity->text.size() : 1);
  }
  out.append(piece);
}

// For a few characters cheaper than a search for each.
bool isOneOf(char c, std::string_view characters) noexcept {
  return std::any_of(characters.begin(), characters.end(), [c](char each) { return c == each; });
}

std::string without(std::string_view text, std::string_view unwanted) {
  std::string kept(text);
  std::erase_if(kept, [&](char c) { return isOneOf(c, unwanted); });
  return kept;
}

// How attributes are written in start tags, and in processing instructions.
struct AttributeForm {
  std::string_view nameEnd;
  std::string_view droppedFromName;
  std::string_view quotes;  ///< one of each may stand before a value and behind it
  std::string_view valueEnd;
  char behind;  ///< what may follow a pair
};
constexpr AttributeForm kOfElement{" \t\r\n=/>", "\"<", "\"", "\"\r\n>", '/'};
constexpr AttributeForm kOfInstruction{" \t\r\n=?>", "\"", "\"'", "\"'\r\n>", '?'};
constexpr std::string_view kTagEnd = " \t\r\n/>";

}  // namespace

/// Goes over the text once with a cursor. What is open is the way from the current element up to its root.
class XmlParser {
 public:
  XmlParser(std::string_view text, CLog* log) : text_(text), log_(log) {}

  TreePtr parse() {
    while (!atEnd()) {
      readContent();
      skipWhite();
      if (!atEnd()) readMarkup();
    }
    if (current_ != nullptr) {
      logDebug(log_, "The XML document breaks off inside an element");
      logData(log_, "open_tag", current_->getTag());
    }
    if (!root_ && open_) completeRoot();
    if (root_) root_->prologText_ = prolog_.view().substr(0, prologOfRoot_);
    return std::move(root_);
  }

 private:
  bool atEnd() const noexcept { return at_ == text_.size(); }
  bool isAt(std::string_view what) const noexcept { return text_.substr(at_).starts_with(what); }
  bool isAtNoCase(std::string_view what) const noexcept { return startsWithNoCase(text_.substr(at_), what); }
  bool skip(char c) noexcept {
    const bool isThere = !atEnd() && text_[at_] == c;
    if (isThere) ++at_;
    return isThere;
  }
  void skipWhite() noexcept {
    while (!atEnd() && isWhite(text_[at_])) ++at_;
  }
  /// What stands before the next of these characters; the cursor is then at it. All when there is none.
  std::string_view readTo(std::string_view ends) noexcept {
    std::size_t end = at_;
    while (end < text_.size() && !isOneOf(text_[end], ends)) ++end;
    return take(end);
  }
  /// What stands before the next occurrence of `end`; the cursor is then behind that.
  std::string_view readPast(std::string_view end) noexcept {
    const std::string_view before = take(findText(text_, end, at_));
    at_ = std::min(at_ + end.size(), text_.size());
    return before;
  }
  std::string_view take(std::size_t end) noexcept {
    const std::size_t start = std::exchange(at_, std::min(end, text_.size()));
    return text_.substr(start, at_ - start);
  }

  void readContent();
  void readCdata();
  void readMarkup();
  void readDeclaration();
  void readDocumentType();
  void readInstruction();
  void readClosingTag();
  void readStartTag();
  bool readAttribute(TreeNode& node, const AttributeForm& form);
  void closeElement();
  void completeRoot();

  std::string_view text_;
  CLog* log_;
  std::size_t at_ = 0;
  TreePtr open_;  ///< the top-level element that is not closed
  TreeNode* current_ = nullptr;
  TreePtr root_;
  std::unique_ptr<TreeNode> instruction_;
  StringBuffer prolog_;
  std::size_t prologOfRoot_ = 0;  ///< how much of it was there when the root was completed
};

TreePtr TreeNode::parseXml(std::string_view text, CLog* log) {
  return XmlParser(text, log).parse();
}

// To behind the next '<'.
void XmlParser::readContent() {
  if (current_ == nullptr) {
    readPast("<");
    return;
  }
  skipWhite();
  if (atEnd()) return;
  if (isAt(kCdataStart)) {
    readCdata();
    readPast("<");
    return;
  }
  const std::string_view piece = trimmed(readPast("<"));
  StringBuffer& content = current_->content_;
  if (!content.empty()) {
    content.append(' ');
  } else if (piece.find('&') == std::string_view::npos) {
    content.set(piece);  // just the room it needs
    return;
  }
  appendDecoded(piece, content);
}

// A section cannot hold "]]>": those who write one end the section inside it and go on in a further section,
// so where two sections make a "]]>" they are one text.
void XmlParser::readCdata() {
  current_->hasCdata_ = true;
  for (bool goesOn = true; goesOn;) {
    at_ += kCdataStart.size();
    const std::string_view section = readPast("]]>");
    current_->content_.append(section);
    goesOn = section.ends_with("]]") && isAt("<![CDATA[>");
  }
}

void XmlParser::readMarkup() {
  switch (text_[at_]) {
    case '!':
      readDeclaration();
      break;
    case '?':
      readInstruction();
      break;
    case '/':
      readClosingTag();
      break;
    default:
      readStartTag();
      break;
  }
}

void XmlParser::readDeclaration() {
  if (isAt("!--")) {
    const std::size_t end = findText(text_, "-->", at_ + 3);
    if (end == std::string_view::npos) logError(log_, "Unclosed comment");
    at_ = end == std::string_view::npos ? text_.size() : end + 3;
  } else if (isAtNoCase("!DOCTYPE")) {
    readDocumentType();
  } else {
    readPast(">");
  }
}

void XmlParser::readDocumentType() {
  const std::size_t start = at_;
  for (std::size_t depth = 1; depth > 0 && !atEnd();) {
    readTo("<>");
    if (skip('<')) ++depth;
    if (skip('>') && --depth == 0) {
      prolog_.append('<').append(text_.substr(start, at_ - start)).append('\n');
      return;
    }
  }
  logError(log_, "Failed to parse DTD");
  prolog_.append('<').append(text_.substr(start)).append('\n');
}

void XmlParser::readInstruction() {
  if (isAtNoCase("?xml ")) {
    const std::size_t start = at_;
    readPast("?>");
    prolog_.append('<').append(text_.substr(start, at_ - start)).append('\n');
    return;
  }
  ++at_;
  instruction_ = std::make_unique<TreeNode>(readTo(kTagEnd));
  skip('/');
  while (!atEnd() && !skip('>')) readAttribute(*instruction_, kOfInstruction);
}

void XmlParser::readClosingTag() {
  readTo("<>");
  if (!skip('>')) {
    logError(log_, "Error in closing tag");
    if (current_ != nullptr) logData(log_, "error_tag", current_->getTag());
  }
  closeElement();
}

void XmlParser::readStartTag() {
  auto node = std::make_unique<TreeNode>(without(readTo(kTagEnd), "<"));
  if (current_ == nullptr) {
    open_.reset(node.release());
    current_ = open_.get();
  } else {
    current_ = current_->addChild(std::move(node));
  }
  bool isEmpty = skip('/');
  while (!atEnd() && !skip('>')) {
    if (readAttribute(*current_, kOfElement)) isEmpty = true;
  }
  if (isEmpty) closeElement();
}

// Gives whether the character that may follow the pair is there. Always moves on, as every character that
// ends a name is passed here or, '>', by the caller.
bool XmlParser::readAttribute(TreeNode& node, const AttributeForm& form) {
  skipWhite();
  const std::string name = without(readTo(form.nameEnd), form.droppedFromName);
  skipWhite();
  std::string_view value;
  if (skip('=')) {
    skipWhite();
    for (const char quote : form.quotes) skip(quote);
    value = readTo(form.valueEnd);
    for (const char quote : form.quotes) skip(quote);
  }
  node.addAttribute(name, value);
  return skip(form.behind);
}

void XmlParser::closeElement() {
  if (current_ == nullptr) return;
  current_ = current_->getParent();
  if (current_ == nullptr) completeRoot();
}

// An element that was completed earlier goes. The prolog is copied at the very end, for the one that stays.
void XmlParser::completeRoot() {
  open_->processingInstruction_ = std::move(instruction_);
  prologOfRoot_ = prolog_.size();
  root_ = std::move(open_);
}

}  // namespace qv

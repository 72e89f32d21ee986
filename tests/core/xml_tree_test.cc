#include "core/xml_tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

#include "support/linear_cost.h"
#include "support/log_lines.h"
#include "support/short_texts.h"
#include "support/small_stack.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using qv::StringBuffer;
using qv::TreeNode;
using qv::TreePtr;

namespace {

/// tag{name=value|...}'content', '!' after it for CDATA, (children)
std::string dump(const TreeNode& node) {
  std::string out(node.getTag());
  for (std::size_t i = 0; i < node.getNumAttributes(); ++i) {
    StringBuffer name, value;
    node.getAttributeName(i, name);
    EXPECT_TRUE(node.getAttributeValue(i, value));
    out += (i == 0 ? "{" : "|") + name.str() + '=' + value.str();
  }
  if (node.getNumAttributes() != 0) out += '}';
  if (!node.getContent().empty()) out += '\'' + std::string(node.getContent()) + '\'';
  if (node.hasCdata()) out += '!';
  for (std::size_t i = 0; i < node.getNumChildren(); ++i) {
    out += (i == 0 ? '(' : ' ') + dump(*node.getChild(i));
  }
  return node.getNumChildren() == 0 ? out : out + ')';
}

std::string read(std::string_view text, qv::CLog* log = nullptr) {
  const TreePtr root = TreeNode::parseXml(text, log);
  return root ? dump(*root) : "none";
}

struct Row {
  std::string_view text;
  std::string_view tree;
};

TEST(XmlParser, readsElementsAndContent) {
  const Row rows[] = {
      {"<a x=1><b>t &amp; u</b><b/></a>", "a{x=1}(b't & u' b)"},
      {"<a><b></c></a>", "a(b)"},
      {"<a>x<b/>y</a>", "a'x y'(b)"},
      {"<a>x<b/></a>", "a'x '(b)"},
      {"<a>x<b/> \n", "a'x'(b)"},
      {"<a> \t\r\nx\r\ny \n</a>", "a'x\r\ny'"},
      {"<a>&lt;&gt;&quot;&amp;lt;&apos;&#65;&x;&</a>", "a'<>\"&lt;&apos;&#65;&x;&'"},
      {"<a>&amp&ltamp;</a>", "a'&amp&ltamp;'"},
      {"<a>x</a><b>y</b>", "b'y'"},
      {"<a>x</a><b>y", "a'x'"},
      {"<a><b>x", "a(b'x')"},
      {"</a><b/>", "b"},
      {"text <a/> text", "a"},
      {"<a>x< b>< /b>< !--y-->z</a>", "a'x  z'(b)"},
      {"<a/><", "a"},
      {"<a>x<", "a'x'"},
      {"<>x</>", "'x'"},
      {"<a<b>x</a>", "ab'x'"},
      {"<a\0b>\0</a>"sv, "a\0b'\0'"sv},
      {"", "none"},
      {" \r\n", "none"},
      {"text", "none"},
      {"</a>", "none"},
      {"<?xml version='1.0'?><!DOCTYPE a>", "none"},
  };
  for (const Row& row : rows) EXPECT_EQ(read(row.text), row.tree) << row.text;
}

TEST(XmlParser, readsSections) {
  const Row rows[] = {
      {"<a><![CDATA[<x>]]></a>", "a'<x>'!"},
      {"<a> \n<![CDATA[ &amp;\r\n ]]> \n</a>", "a' &amp;\r\n '!"},
      {"<a><![CDATA[x]]>y<b/>z</a>", "a'x z'!(b)"},
      {"<a><![CDATA[]]></a>", "a!"},
      {"<a><![CDATA[x", "a'x'!"},
      {"<a><![CDATA[x]]", "a'x]]'!"},
      {"<a>x<![CDATA[y]]>z</a>", "a'x z'"},
      {"<![CDATA[x]]><a/>", "a"},
      // "]]>" in a section is written in two.
      {"<a><![CDATA[x]]]]><![CDATA[>y]]></a>", "a'x]]>y'!"},
      {"<a><![CDATA[]]]]><![CDATA[>]]]]><![CDATA[>]]]></a>", "a']]>]]>]'!"},
      {"<a><![CDATA[x]]><![CDATA[y]]></a>", "a'x '!"},
      {"<a><![CDATA[x]]]]><![CDATA[y]]></a>", "a'x]] '!"},
  };
  for (const Row& row : rows) EXPECT_EQ(read(row.text), row.tree) << row.text;
}

TEST(XmlParser, readsAttributes) {
  const Row rows[] = {
      {"<a x=\"1 2\" y=\"\" x=\"3\"/>", "a{x=1 2|y=|x=3}"},
      {"<a x=1 y=2>", "a{x=1 y=2}"},
      {"<a x=1/>", "a{x=1/}"},
      {"<a x='1' y='2'/>", "a{x='1' y='2'/}"},
      {"<a x = \"1\"\ty=\n\"2\"\r\n>", "a{x=1|y=2}"},
      {"<a x=\"1\ny=\"2\">", "a{x=1|y=2}"},
      {"<a x y z=\"1\">", "a{x=|y=|z=1}"},
      {"<a x=\"&lt;&amp;\">", "a{x=&lt;&amp;}"},
      {"<a x=\"1\">2\">", "a{x=1}'2\">'"},
      {"<a x=\"1\"y=\"2\"\">", "a{x=1|y=2}"},
      {"<a x\"<y=\"1\">", "a{xy=1}"},
      {"<a =\"1\" =>x", "a'x'"},
      {"<a x=\"1", "a{x=1}"},
      {"<a x", "a{x=}"},
      {"<r><a x=\"/\"/><a x/y=\"1\">z</a></r>", "r'z'(a{x=/} a{x=|y=1})"},
      {"<r><a/ ><b / ></r>", "r(a b)"},
  };
  for (const Row& row : rows) EXPECT_EQ(read(row.text), row.tree) << row.text;
}

TEST(XmlParser, keepsPrologAndInstruction) {
  const struct {
    std::string_view text;
    std::string_view prolog;
    std::string_view instruction;
  } rows[] = {
      {"<?xml version=1.0?><!DOCTYPE a><a/>", "<?xml version=1.0?>\n<!DOCTYPE a>\n", ""},
      {"<!doctype a [<!ENTITY b \"c\">]><?XML x?><a>&b;</a>", "<!doctype a [<!ENTITY b \"c\">]>\n<?XML x?>\n",
       ""},
      {"<?p a=\"1\" b='2' c?><?q/ d=1?><a/><?r?>", "", "q{d=1?}"},
      {"<?q d=\"1\"? \"e\"='2\"><a/>", "", "q{d=1|e=2}"},
      {"<?p x?><a/><b/>", "", ""},  // it was the first root's
      {"<!DOCTYPE a><a/><!DOCTYPE b><b/><!DOCTYPE c>", "<!DOCTYPE a>\n<!DOCTYPE b>\n", ""},
      {"<a><!DOCTYPE b></a>", "<!DOCTYPE b>\n", ""},
      {"<a><!DOCTYPE b <", "<!DOCTYPE b <\n", ""},
      {"<a><?xml b", "<?xml b\n", ""},
      {"<?xml?><a/>", "", "xml?"},
      {"<a><!ELEMENT x></a>", "", ""},
  };
  for (const auto& row : rows) {
    const TreePtr root = TreeNode::parseXml(row.text, nullptr);
    ASSERT_TRUE(root) << row.text;
    EXPECT_EQ(root->prologText(), row.prolog) << row.text;
    const TreeNode* instruction = root->processingInstruction();
    EXPECT_EQ(instruction == nullptr ? "" : dump(*instruction), row.instruction) << row.text;
  }
}

TEST(XmlParser, reportsWhatItPassesOver) {
  const std::string kBrokenOff = "The XML document breaks off inside an element";
  const struct {
    std::string_view text;
    std::string_view tree;
    std::vector<std::string> log;
  } rows[] = {
      {"<a><!-- never closed", "a", {"Unclosed comment", kBrokenOff, "open_tag: a"}},
      {"<a><!-->--><b/></a>", "a(b)", {}},
      {"<a><!--><b/></a>", "a", {"Unclosed comment", kBrokenOff, "open_tag: a"}},
      {"<a/><b>x<c y=\"", "a", {kBrokenOff, "open_tag: c"}},
      {"<a><![CDATA[x", "a'x'!", {kBrokenOff, "open_tag: a"}},
      {"<!DOCTYPE a [<a/>", "none", {"Failed to parse DTD"}},
      {"<a><b></b<c/></a>", "a(b c)", {"Error in closing tag", "error_tag: b"}},
      {"<a></a", "a", {"Error in closing tag", "error_tag: a"}},
      {"</a", "none", {"Error in closing tag"}},
  };
  for (const auto& row : rows) {
    qv_test::LogLines log;
    EXPECT_EQ(read(row.text, log.get()), row.tree) << row.text;
    EXPECT_EQ(log.lines(), row.log) << row.text;
  }
}

TEST(TreeNode, findsChildren) {
  const TreePtr root =
      TreeNode::parseXml("<r><a/><b x=\"1\" x=\"2\"/><b y=\"\"/><B/><b x=\"3\"/></r>", nullptr);
  const auto position = [&](const TreeNode* found) {
    for (std::size_t i = 0; i < root->getNumChildren(); ++i) {
      if (root->getChild(i) == found) return static_cast<int>(i);
    }
    return -1;
  };
  EXPECT_EQ(position(root->findChild("b")), 1);
  EXPECT_EQ(position(root->findChild("B")), 3);
  EXPECT_EQ(root->findChild("c"), nullptr);
  EXPECT_EQ(position(root->findChild("b", "x", "")), 1);
  EXPECT_EQ(position(root->findChild("b", "x", "2")), 1);
  EXPECT_EQ(position(root->findChild("b", "x", "3")), 4);
  EXPECT_EQ(position(root->findChild("b", "y", "")), 2);
  EXPECT_EQ(root->findChild("a", "x", ""), nullptr);
  EXPECT_EQ(root->findChild("b", "X", ""), nullptr);
  EXPECT_EQ(root->findChild("b", "y", "1"), nullptr);
}

TEST(TreeNode, linksItsChildren) {
  auto branch = std::make_unique<TreeNode>("branch");
  TreeNode* const first = branch->addChild(std::make_unique<TreeNode>("first", "1"));
  TreeNode* const leaf = first->addChild(std::make_unique<TreeNode>("leaf"));
  TreeNode* const second = branch->addChild(std::make_unique<TreeNode>("second"));
  EXPECT_EQ(leaf->getRoot(), branch.get());
  EXPECT_LT(first->serial(), leaf->serial());
  EXPECT_LT(leaf->serial(), second->serial());

  const TreePtr root(new TreeNode("root"));
  root->addChild(std::make_unique<TreeNode>("before"));
  TreeNode* const added = root->addChild(std::move(branch));
  root->addChild(std::make_unique<TreeNode>("after"));
  for (const TreeNode* node : {added, first, leaf, second}) EXPECT_EQ(node->getRoot(), root.get());
  EXPECT_EQ(added->getParent(), root.get());
  EXPECT_EQ(added->getPreviousSibling(), root->getFirstChild());
  EXPECT_EQ(added->getNextSibling(), root->getLastChild());
  EXPECT_EQ(root->getFirstChild()->getPreviousSibling(), nullptr);
  EXPECT_EQ(root->getLastChild()->getNextSibling(), nullptr);
  EXPECT_EQ(first->getNextSibling(), second);
  EXPECT_EQ(root->getChild(3), nullptr);
  EXPECT_EQ(leaf->getFirstChild(), nullptr);

  const auto walked = [&](const TreeNode& top, std::string_view closed) {
    std::string out;
    for (const TreeNode* node = &top; node != nullptr; node = node->following(top, node->getTag() != closed))
      out += std::string(node->getTag()) + ' ';
    return out;
  };
  EXPECT_EQ(walked(*root, ""), "root before branch first leaf second after ");
  EXPECT_EQ(walked(*root, "first"), "root before branch first second after ");
  EXPECT_EQ(walked(*root, "branch"), "root before branch after ");
  EXPECT_EQ(walked(*added, ""), "branch first leaf second ");
}

TEST(TreeNode, keepsAttributesInOrder) {
  TreeNode node;
  node.addAttribute("", "1");
  EXPECT_EQ(node.attributes(), nullptr);
  node.addAttribute("a", "");
  node.addAttribute("b\0c"sv, "1");
  node.addAttribute("a", "2");
  EXPECT_EQ(dump(node), "{a=|b\0c=1|a=2}"s);
  StringBuffer text("before");
  EXPECT_FALSE(node.getAttributeValue(3, text));
  node.getAttributeName(3, text);
  EXPECT_EQ(text, "before"sv);
  EXPECT_TRUE(node.getAttributeValue(2, text));
  EXPECT_EQ(text, "before2"sv);
}

std::string repeated(std::string_view piece, std::size_t n) {
  std::string text;
  text.reserve(piece.size() * n);
  for (std::size_t i = 0; i < n; ++i) text += piece;
  return text;
}

TEST(XmlParser, needsLittleStackAtAnyDepth) {
  const std::string text = repeated("<a>x", 1'000'000);
  qv_test::runOnSmallStack([&] {
    const TreePtr root = TreeNode::parseXml(text, nullptr);
    EXPECT_EQ(root->getFirstChild()->getFirstChild()->getRoot(), root.get());
    // A tree that is made from below may be as deep.
    TreePtr top(new TreeNode("top"));
    auto branch = std::make_unique<TreeNode>("leaf");
    for (std::size_t i = 0; i < 1'000; ++i) {
      auto parent = std::make_unique<TreeNode>("branch");
      parent->addChild(std::move(branch));
      branch = std::move(parent);
    }
    top->addChild(std::move(branch));
    EXPECT_EQ(top->getFirstChild()->getFirstChild()->getRoot(), top.get());
  });
}

TEST(XmlParser, costsInProportionToItsText) {
  const struct {
    std::string_view before, piece, after;
  } rows[] = {
      {"", "<a>", ""},
      {"", "<a>", "<!-- "},
      {"", "<a>x</a>", ""},
      {"<r>", "<a/>x", "</r>"},
      {"<r>", "<", ""},
      {"<r>", "</a<b>", ""},
      {"<r>", "<!-- ", ""},
      {"<r>", "<![CDATA[x", ""},
      {"<r>", "<![CDATA[x]]>", ""},
      {"<r><![CDATA[", "]]]]><![CDATA[>", ""},
      {"<r><![CDATA[", "]]", ""},
      {"<r>", "&", "</r>"},
      {"<r>", "&amp", "</r>"},
      {"<r>", "<!DOCTYPE ", ""},
      {"<!DOCTYPE ", "<a>", ""},
      {"", "<!DOCTYPE a><a/>", ""},  // each root could have a copy of the prolog
      {"<r ", "a=\"1\" ", "/>"},
      {"<r ", "a=1\n", "/>"},
      {"<r ", "=", "/>"},
      {"<r ", "/", "/>"},
      {"<r ", "\"<", "/>"},
      {"", "<?a b=\"1\"", ""},
      {"<?a ", "b=\"1\"?", "><r/>"},
      {"", "<?xml ", ""},
      {"<r>", " \r\n", ""},
      {"<r", " \r\n", "/>"},
      {"<r>", "\0x", "</r>"},
  };
  for (const auto& row : rows) {
    const auto make = [&](std::size_t n) {
      return std::string(row.before) + repeated(row.piece, n) + std::string(row.after);
    };
    const auto work = [](const std::string& text) {
      qv_test::LogLines log;
      const TreePtr root = TreeNode::parseXml(text, log.get());
      if (!root) return;
      for (std::size_t i = 0; i < root->getNumAttributes(); ++i) {
        StringBuffer value;
        root->getAttributeValue(i, value);
      }
      root->findChild("a", "none", "");
    };
    EXPECT_LT(qv_test::costOfTwice(40'000, make, work), 3) << row.before << row.piece << row.after;
  }
}

// Every short text over the bytes that markup is made of, and every text cut anywhere, gives a tree whose
// links agree, without a read beyond the text.
TEST(XmlParser, readsEveryShortAndEveryCutText) {
  const auto check = [](const std::string& text) {
    const std::vector<char> bytes = qv_test::exactly(text);
    const TreePtr root = TreeNode::parseXml(qv_test::viewOf(bytes), nullptr);
    if (!root) return;
    ASSERT_EQ(root->getParent(), nullptr);
    for (const TreeNode* node = root.get(); node != nullptr; node = node->following(*root, true)) {
      ASSERT_EQ(node->getRoot(), root.get());
      for (std::size_t i = 0; i < node->getNumChildren(); ++i) {
        ASSERT_EQ(node->getChild(i)->getParent(), node) << text;
        ASSERT_EQ(node->getChild(i)->getNextSibling(), node->getChild(i + 1)) << text;
      }
    }
  };
  qv_test::forEachShortText("<>/!?a=\" ", 6, check);
  const std::string whole =
      "<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY b \"c\">]><?p q=\"r\"?><!-- c --><a x=\"1\" y='2'>t "
      "&amp; u"
      "<b/><![CDATA[<x>]]]]><![CDATA[>]]></a><c>";
  for (std::size_t size = 0; size <= whole.size(); ++size) check(whole.substr(0, size));
}

}  // namespace

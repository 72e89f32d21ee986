#include "core/string_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/linear_cost.h"
#include "support/short_texts.h"

namespace qv {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

Texts textsOf(const StringList& list) {
  Texts texts;
  for (std::size_t i = 0; i < list.count(); ++i) texts.emplace_back(list.at(static_cast<std::int32_t>(i)));
  return texts;
}

TEST(StringList, Changes) {
  const struct {
    const char* what;
    void (*change)(StringList&);
    Texts expected;  // of a, b, a, ""
  } rows[] = {
      {"append", [](StringList& l) { l.append(" c\n"); }, {"a", "b", "a", "", " c\n"}},
      {"prepend", [](StringList& l) { l.prepend("c"); }, {"c", "a", "b", "a", ""}},
      {"insert", [](StringList& l) { l.insertAt(1, "c"); }, {"a", "c", "b", "a", ""}},
      {"insert at the count", [](StringList& l) { l.insertAt(4, "c"); }, {"a", "b", "a", "", "c"}},
      {"insert beyond it", [](StringList& l) { l.insertAt(5, "c"); }, {"a", "b", "a", ""}},
      {"insert below 0", [](StringList& l) { l.insertAt(-1, "c"); }, {"a", "b", "a", ""}},
      {"remove", [](StringList& l) { l.remove("a"); }, {"b", ""}},
      {"remove by itself", [](StringList& l) { l.remove(l.at(0)); }, {"b", ""}},
      {"remove what is not there", [](StringList& l) { l.remove("A"); }, {"a", "b", "a", ""}},
      {"remove at", [](StringList& l) { l.removeAt(0); }, {"b", "a", ""}},
      {"remove at the count", [](StringList& l) { l.removeAt(4); }, {"a", "b", "a", ""}},
      {"remove at -1", [](StringList& l) { l.removeAt(-1); }, {"a", "b", "a", ""}},
      {"pop", [](StringList& l) { EXPECT_EQ(l.pop() + l.pop(), "a"); }, {"a", "b"}},
      {"clear", [](StringList& l) { l.clear(); }, {}},
      {"trim",
       [](StringList& l) { l.setTrim(true), l.append(" \t\r\nc d\0 "s); },
       {"a", "b", "a", "", "c d\0"s}},
      {"not trimmed again",
       [](StringList& l) { l.setTrim(true), l.setTrim(false), l.append(" "); },
       {"a", "b", "a", "", " "}},
      {"line ends left",
       [](StringList& l) { l.setCrlf(false), l.append("\r\n\n\r"); },
       {"a", "b", "a", "", "\r\n\n\r"}},
      {"line ends CR LF",
       [](StringList& l) { l.setCrlf(true), l.append("x\r\n\n\ry\r\r\n"); },
       {"a", "b", "a", "", "x\r\n\r\n\r\ny\r\n\r\n"}},
      {"line ends LF",
       [](StringList& l) { l.setCrlf(true), l.setCrlf(false), l.append("x\r\n\n\ry"); },
       {"a", "b", "a", "", "x\n\n\ny"}},
      {"unique keeps what is there",
       [](StringList& l) { l.setUnique(true), l.append("a"), l.append("A"); },
       {"a", "b", "a", "", "A"}},
      {"unique is of what is stored",
       [](StringList& l) { l.setUnique(true), l.setTrim(true), l.append(" b "), l.insertAt(0, "\n"); },
       {"a", "b", "a", ""}},
      {"unique for a while",
       [](StringList& l) { l.setUnique(true), l.append("b"), l.setUnique(false), l.append("b"); },
       {"a", "b", "a", "", "b"}},
  };
  for (const auto& row : rows) {
    StringList list;
    for (const char* text : {"a", "b", "a", ""}) list.append(text);
    row.change(list);
    EXPECT_EQ(textsOf(list), row.expected) << row.what;
  }
}

TEST(StringList, Reads) {
  StringList list;
  EXPECT_EQ(list.last(), "");
  EXPECT_EQ(list.pop(), "");
  for (const char* text : {"a", "b", "a"}) list.append(text);
  const std::int32_t found[] = {list.find("a", -9), list.find("a", 0), list.find("a", 1), list.find("a", 3),
                                list.find("A", 0)};
  EXPECT_TRUE(std::ranges::equal(found, std::vector<std::int32_t>{0, 0, 2, -1, -1}));
  EXPECT_EQ(list.at(1), "b");
  EXPECT_EQ(list.at(-1), "");
  EXPECT_EQ(list.at(3), "");
  EXPECT_EQ(list.last(), "a");
}

// Whatever is done to it, a list that keeps its texts unique knows what it holds.
TEST(StringList, UniqueSeesEveryChange) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    StringList list;
    Texts obvious;
    for (int step = 0; step < 60; ++step) {
      const std::string text(1, static_cast<char>('a' + random() % 5));
      const bool present = std::ranges::count(obvious, text) > 0;
      switch (random() % 8) {
        case 0:
          list.setUnique(!list.unique());
          break;
        case 1:
          list.remove(text);
          std::erase(obvious, text);
          break;
        case 2:
          list.removeAt(0);
          if (!obvious.empty()) obvious.erase(obvious.begin());
          break;
        case 3:
          list.pop();
          if (!obvious.empty()) obvious.pop_back();
          break;
        case 4:
          list.prepend(text);
          if (!list.unique() || !present) obvious.insert(obvious.begin(), text);
          break;
        default:
          list.append(text);
          if (!list.unique() || !present) obvious.push_back(text);
      }
      ASSERT_EQ(textsOf(list), obvious);
      ASSERT_EQ(list.contains(text), std::ranges::count(obvious, text) > 0);
    }
  }
}

TEST(StringList, SerializesAnyBytes) {
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  const struct {
    Texts texts;
    std::string encoded;
  } rows[] = {
      {{}, ""},
      {{""}, ","},
      {{"", ""}, ",,"},
      {{"id-1", "a b,50%"}, "id-1,a%20b%2C50%25,"},
      {{"\0\xFF\r\n"s}, "%00%FF%0D%0A,"},
  };
  for (const auto& row : rows) {
    StringList list, back;
    for (const std::string& text : row.texts) list.append(text);
    EXPECT_EQ(list.serialize(), row.encoded);
    EXPECT_TRUE(back.appendSerialized(row.encoded + "\r\n"));
    EXPECT_EQ(textsOf(back), row.texts);
  }
  StringList list, back;
  list.append(all);
  const std::string encoded = list.serialize();
  EXPECT_TRUE(std::ranges::all_of(encoded, [](char c) { return c > ' ' && c < '\x7F'; }));
  EXPECT_TRUE(back.appendSerialized(encoded) && back.appendSerialized("%ff,"));
  EXPECT_EQ(textsOf(back), (Texts{all, "\xFF"}));

  // What is no list adds nothing, and what is one reads back as what it was.
  qv_test::forEachShortText("a,%0Fg \n\x80", 5, [](const std::string& text) {
    StringList read, again;
    read.append("x");
    if (!read.appendSerialized(text)) {
      ASSERT_EQ(read.count(), 1U) << text;
    } else {
      ASSERT_TRUE(again.appendSerialized(read.serialize()));
      ASSERT_EQ(textsOf(again), textsOf(read));
    }
  });
  for (const char* bad : {"a", "a,b", "%", "%0", "%0,", "%0g,", "a b,", "\x80,"}) {
    EXPECT_FALSE(back.appendSerialized(bad)) << bad;
  }
  back.setUnique(true);
  EXPECT_TRUE(back.appendSerialized("b,b,%ff,"));
  EXPECT_EQ(back.count(), 3U);
}

TEST(StringList, CostIsLinear) {
  const auto make = [](std::size_t n) {
    Texts texts;
    for (std::size_t i = 0; i < n; ++i) texts.push_back("id" + std::to_string(i));
    return texts;
  };
  const auto work = [](const Texts& texts) {
    StringList list, back;
    list.setUnique(true);
    for (int pass = 0; pass < 2; ++pass) {
      for (const std::string& text : texts) list.append(text);
    }
    for (const std::string& text : texts) list.contains(text);
    for (const std::string& text : texts) back.prepend(text);
    back.append("x");
    for (std::size_t i = 0; i < texts.size(); ++i) back.append("x");
    back.remove("x");
    back.appendSerialized(list.serialize());
    while (list.count() > 0) list.removeAt(0);
  };
  EXPECT_LT(qv_test::costOfTwice(20000, make, work), 3);
}

}  // namespace
}  // namespace qv

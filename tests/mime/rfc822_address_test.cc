#include "mime/rfc822_address.h"

#include <gtest/gtest.h>

#include <string>

#include "../../fuzz/laws.h"
#include "support/linear_cost.h"
#include "support/short_texts.h"
#include "support/tree_dump.h"

namespace {

using qv::Rfc822Address;
using qv_test::shown;
using std::string_literals::operator""s;

using List = qv::ExtPtrArray<Rfc822Address>;

// Addresses as "[name]address", separated by spaces.
std::string dump(const Rfc822Address& address) {
  return '[' + std::string(address.getDisplayName()) + ']' + std::string(address.getAddress());
}
std::string dump(const List& list) {
  std::string out;
  for (const auto& address : list) out += (out.empty() ? "" : " ") + dump(*address);
  return out;
}

TEST(Rfc822Address, parsesOne) {
  const struct {
    std::string text;
    const char* address;  // null when there is none
  } rows[] = {
      {"Joe Smith <joe@h>", "[Joe Smith]joe@h"},
      {"\"Smith, Joe\" <joe@h>", "[Smith, Joe]joe@h"},
      {"'\"Joe\" x' <joe@h>", "[Joe]joe@h"},
      {"\"'\"Joe\" <joe@h>", "[Joe]joe@h"},
      {"joe@h", "[]joe@h"},
      {" \t<joe@h> ", "[]joe@h"},
      {"joe@h (Joe Smith)", "[]joe@h"},
      {"joe@h <joe@h>", "[]joe@h"},
      {"Joe joe@h", "[Joe]joe@h"},
      {"a@b Joe <c@d> tail", "[a@b Joe]c@d"},
      {"\" Joe \t\" <joe@h>", "[Joe]joe@h"},
      {"\"\" <joe@h>", "[]joe@h"},
      {"Joe <<joe@h>", "[Joe]joe@h"},
      {"Joe<joe@h", "[Joe]joe@h"},
      {"@", "[]@"},
      {"=?iso-8859-1?Q?J=F6rg?= <j@h>", "[J\xF6rg]j@h"},
      {"=?x?B?SsO2cmc=?= <j@h>", "[J\xC3\xB6rg]j@h"},
      {"=?x?B?Sg==?= =?x?q?x?= <j@h>", "[=?x?B?Sg==?= x]j@h"},  // one pass only
      {"J <j\r\n\0@h>"s, "[J]j\r\n"},
      {"Joe Smith", nullptr},
      {"a@ b", "[]a@"},
      {"", nullptr},
      {"<>", nullptr},
      {"Undisclosed-Recipients:; a@b", nullptr},
      {"UNDISCLOSED recipients <a@b>", nullptr},
  };
  for (const auto& row : rows) {
    const auto address = Rfc822Address::parseAddress(row.text);
    ASSERT_EQ(address != nullptr, row.address != nullptr) << shown(row.text);
    if (address) EXPECT_STREQ(dump(*address).c_str(), row.address) << shown(row.text);
  }
  EXPECT_EQ(Rfc822Address(" \t=?x?q?J?= <j@h> ").fullText(), "J <j@h>");
}

TEST(Rfc822Address, isMadeOfParts) {
  const struct {
    const char* name;
    const char* address;
    const char* parts;
    const char* full;
    const char* header;
  } rows[] = {
      {"Joe", "j@h", "[Joe]j@h", "\"Joe\" <j@h>", "\"Joe\" <j@h>"},
      {"", "j@h", "[]j@h", "j@h", "j@h"},
      {" Joe\t", " j@h ", "[Joe]j@h", "\" Joe\t\" < j@h >", "\"Joe\" <j@h>"},
      {"j@h", "<j@h>", "[]j@h", "\"j@h\" <<j@h>>", "j@h"},
      {"Joe", "x<j@h>y>z", "[Joe]j@h>y", "\"Joe\" <x<j@h>y>z>", "\"Joe\" <j@h>y>"},
      {"Joe", ">j<", "[Joe]", "\"Joe\" <>j<>", "\"Joe\" <>"},
      {"", "no address", "[]no address", "no address", "no address"},
  };
  for (const auto& row : rows) {
    const Rfc822Address address(row.name, row.address);
    EXPECT_TRUE(address.valid());
    EXPECT_EQ(dump(address), row.parts);
    EXPECT_EQ(address.fullText(), row.full);
    qv::StringBuffer header;
    address.clone()->formatForHeader(header);
    EXPECT_EQ(header.view(), row.header);
  }
  Rfc822Address address("Joe", "j@h");
  address.setAddress("K <k@h> x");
  address.setDisplayName(" k@h");
  EXPECT_EQ(dump(address), "[ k@h]k@h");
}

TEST(Rfc822Address, parsesLists) {
  const struct {
    std::string text;
    std::size_t count;
    const char* list;
  } rows[] = {
      {"\"Smith, Joe\" <joe@h>, ann@h", 2, "[Smith, Joe]joe@h []ann@h"},
      {"a@h, A@H, b@h", 3, "[]a@h []b@h"},
      {"old@H, a@h", 2, "[]a@h"},  // as it was there before
      {",, a@h,Joe,,b@h,", 2, "[]a@h []b@h"},
      {"a@h (x, (y) <z@h>), b@h", 2, "[]a@h []b@h"},
      {"\"a (b\" <a@h>, c@h) d@h", 1, "[a]d@h"},  // quotes protect no parenthesis
      {"\"a \\\" b, c\" <a@h>", 1, "[a \\]a@h"},
      {"a\\, b@h", 1, "[a\\,]b@h"},
      {"(\\)a@h) b@h", 1, "[\\)]b@h"},
      {"a@h), (x) b@h\\", 2, "[]a@h) []b@h\\"},
      {"a@h,\r\n\tb@h,\r\n c@h", 3, "[]a@h []b@h []c@h"},
      {"A\r\n\t<a\tb@h>", 1, "[A]a\tb@h"},
      {"\"open, a@h, b@h", 1, "[open, a@h,]b@h"},
      {"Undisclosed-Recipients:;", 0, ""},
      {"", 0, ""},
  };
  for (const auto& row : rows) {
    List list;
    list.append(std::make_unique<Rfc822Address>("", "Old@h"));
    EXPECT_EQ(Rfc822Address::parseAddressList(row.text, list), row.count) << shown(row.text);
    EXPECT_EQ(dump(list), std::string("[]Old@h") + (*row.list != '\0' ? " " : "") + row.list)
        << shown(row.text);
  }
}

TEST(Rfc822Address, writesXml) {
  const auto xml = [](const Rfc822Address& address) {
    qv::StringBuffer out;
    address.writeXml(out);
    return out.str();
  };
  EXPECT_EQ(xml({"A & \"B\" <C>", "a&b@h"}),
            "<address>\n\t<addr>a&amp;b@h</addr>\n\t<name>A &amp; \"B\" &lt;C&gt;</name>\n</address>");
  EXPECT_EQ(xml({"", ""}), "<address>\n\t<addr/>\n\t<name/>\n</address>");
}

TEST(Rfc822Address, lawsHoldForAllShortLists) {
  qv_test::forEachShortText("a@,<>\"(\\ ", 5, laws::checkAddresses);
}

TEST(Rfc822Address, listsCostInProportionToTheirText) {
  for (const char* piece :
       {"a@h, ", "(", "(a) ", ",", "\"", "\",", "<", "@", "\\", "=?x?q?", "undisclosed ", " \t\r\n"}) {
    const auto make = [&](std::size_t n) {
      std::string text;
      for (std::size_t i = 0; i < n; ++i) text += piece;
      return text;
    };
    const auto work = [](const std::string& text) {
      List list;
      Rfc822Address::parseAddressList(text, list);
      Rfc822Address::parseAddress(text);
    };
    EXPECT_LT(qv_test::costOfTwice(20'000, make, work), 3) << piece;
  }
  const auto different = [](std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) text += std::to_string(i) + "@h,";
    return text;
  };
  const auto work = [](const std::string& text) {
    List list;
    Rfc822Address::parseAddressList(text, list);
  };
  EXPECT_LT(qv_test::costOfTwice(10'000, different, work), 3);
}

}  // namespace

#include "core/file_names.h"

#include <gtest/gtest.h>

#include "support/short_texts.h"

namespace qv {
namespace {

TEST(FileNames, SafeNames) {
  const std::string a(300, 'a');
  const struct {
    std::string received, safe;
  } rows[] = {
      {"report.pdf", "report.pdf"},
      {"a b<c>|*?'$(d);\xC3\xA4.txt", "a b<c>|*?'$(d);\xC3\xA4.txt"},
      {".profile", ".profile"},
      {"../../x", "x"},
      {"/etc/x", "x"},
      {"..\\x", "x"},
      {"\\\\host\\share\\x", "x"},
      {"a/../../x", "x"},
      {"a/", ""},
      {"C:\\x", "x"},
      {"C:x", "x"},
      {"Re: x.txt:stream", "Re x.txtstream"},
      {"", ""},
      {".", ""},
      {"..", ""},
      {". .", ""},
      {".\0.", ""},
      {std::string("x.exe\0.txt\n", 11), "x.exe.txt"},
      {"x\r\n y.txt. ", "x y.txt"},
      {"a\"b\x7F.txt", "ab.txt"},
      {a + ".txt", a.substr(0, 251) + ".txt"},
      {a, a.substr(0, 255)},
      {"x." + a, "x." + a.substr(0, 253)},
      {a.substr(0, 250) + "\xE2\x82\xAC.txt", a.substr(0, 250) + ".txt"},
      {std::string(300, ' ') + "x", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(safeFileName(row.received), row.safe) << row.received;
}

TEST(FileNames, WhateverIsReceivedIsANameInItsFolderOrNone) {
  const auto check = [](std::string_view received) {
    const std::string name = safeFileName(received);
    EXPECT_EQ(name.find_first_of(std::string_view("/\\:\"\0\n\x7F", 7)), std::string::npos) << received;
    EXPECT_TRUE(name != "." && name != ".." && name.size() <= kMaxFileName) << received;
    EXPECT_EQ(safeFileName(name), name) << received;
  };
  qv_test::forEachShortText(std::string_view("a./\\: \0\n", 8), 6, check);
  std::mt19937 random(1);
  for (int i = 0; i < 1000; ++i) check(qv_test::randomText(random, "a. \xC3\xA4", 200 + random() % 100));
}

TEST(FileNames, NumbersStandBeforeTheExtension) {
  const std::string a(255, 'a');
  const struct {
    std::string name;
    std::uint64_t number;
    std::string unique;
  } rows[] = {
      {"report.pdf", 1, "report.pdf"},
      {"report.pdf", 2, "report2.pdf"},
      {"a.tar.gz", 10, "a.tar10.gz"},
      {"report", 3, "report3"},
      {".profile", 2, "2.profile"},
      {a.substr(0, 251) + ".txt", 10, a.substr(0, 249) + "10.txt"},
      {"a." + a.substr(0, 200), 2, "a2." + a.substr(0, 200)},
      {"a." + a.substr(0, 253), 2, "a." + a.substr(0, 252) + "2"},
  };
  for (const auto& row : rows) EXPECT_EQ(uniqueFileName(row.name, row.number), row.unique) << row.name;
}

}  // namespace
}  // namespace qv

#include "platform/zip_archive.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <string>

#include "platform/temporary_folder.h"

namespace {

using qv::contentsOf;
using qv::writeFile;
using qv::ZipArchive;
using Strings = std::vector<std::string>;

/// An archive of these entries, one behind the other.
void make(const std::string& path, const std::vector<std::pair<std::string, std::string>>& entries) {
  ZipArchive archive;
  std::string error;
  ASSERT_TRUE(archive.create(path, error)) << error;
  for (const auto& [name, bytes] : entries) ASSERT_TRUE(archive.append(name, bytes, error)) << error;
  ASSERT_TRUE(archive.close(error)) << error;
}

Strings namesIn(const std::string& path) {
  zip_t* const archive = zip_open(path.c_str(), ZIP_RDONLY, nullptr);
  Strings names;
  for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
    names.emplace_back(zip_get_name(archive, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_RAW));
  }
  zip_discard(archive);
  return names;
}

TEST(ZipArchive, KeepsWhatIsAppended) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "a.zip";
  const std::string binary("\0\xff" + std::string(100'000, 'x'));
  make(path, {{"a.qve", "one"}, {"a.qve", binary}, {"a.qve", ""}, {"b", "2"}, {"b", "3"}, {"\xff", "latin"}});
  EXPECT_EQ(namesIn(path), (Strings{"a.qve", "a_1.qve", "a_2.qve", "b", "b_1", "\xff"}));

  ZipArchive archive;
  std::string error, bytes;
  ASSERT_TRUE(archive.open(path, error));
  EXPECT_FALSE(archive.open(path, error));
  ASSERT_TRUE(archive.append("a.qve", "later", error));
  EXPECT_EQ(archive.count(), 7u);
  EXPECT_TRUE(archive.read(1, bytes, error) && bytes == binary);
  EXPECT_TRUE(archive.read(6, bytes, error) && bytes == "later");
  EXPECT_FALSE(archive.read(7, bytes, error));
  EXPECT_EQ(namesIn(path).size(), 6u) << "nothing is written before the archive is closed";
  ASSERT_TRUE(archive.close(error));
  EXPECT_EQ(namesIn(path).back(), "a_3.qve");
  EXPECT_FALSE(archive.read(0, bytes, error));
  EXPECT_FALSE(archive.append("c", "", error));
}

TEST(ZipArchive, RefusesWhatIsNone) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "a.zip";
  make(path, {{"a", std::string(3000, 'a')}, {"../../b", "outside"}});
  const std::string whole = contentsOf(path);
  const std::string broken = folder / "broken.zip";
  std::string error, bytes;
  for (const std::string& name : {std::string(), folder / ".", folder / "none", std::string("a\0b", 3)}) {
    error.clear();
    EXPECT_FALSE(ZipArchive().open(name, error)) << name;
    EXPECT_NE(error, "") << name;
  }
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    writeFile(broken, whole.substr(0, cut));
    ZipArchive archive;
    EXPECT_FALSE(archive.open(broken, error)) << cut;
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {  // one byte changed: read as it was, or not at all
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ 0x55);
    writeFile(broken, changed);
    ZipArchive archive;
    if (archive.open(broken, error) && archive.read(0, bytes, error))
      EXPECT_EQ(bytes, std::string(3000, 'a')) << at;
  }
}

TEST(ZipArchive, RefusesEncryptedEntries) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "a.zip";
  zip_t* const made = zip_open(path.c_str(), ZIP_CREATE, nullptr);
  const zip_int64_t index = zip_file_add(made, "a", zip_source_buffer(made, "secret", 6, 0), 0);
  ASSERT_EQ(zip_file_set_encryption(made, static_cast<zip_uint64_t>(index), ZIP_EM_AES_256, "password"), 0);
  ASSERT_EQ(zip_close(made), 0);
  ZipArchive archive;
  std::string error, bytes;
  ASSERT_TRUE(archive.open(path, error));
  EXPECT_FALSE(archive.read(0, bytes, error));
  EXPECT_NE(error, "");
}

TEST(ZipArchive, UnpacksNoMoreThanItsLimits) {
  const qv::TemporaryFolder folder;
  const std::string path = folder / "a.zip";
  const std::string zeros(1'000'000, '\0');
  make(path, {{"a", zeros + "1"}, {"b", zeros}, {"c", zeros}, {"d", "x"}});
  EXPECT_LT(contentsOf(path).size(), 10'000u);
  ZipArchive archive({.entry = 1'000'000, .total = 1'500'000});
  std::string error, bytes;
  ASSERT_TRUE(archive.open(path, error));
  EXPECT_FALSE(archive.read(0, bytes, error));
  EXPECT_EQ(error, "The entry is too large");
  EXPECT_TRUE(archive.read(1, bytes, error));
  EXPECT_TRUE(archive.read(1, bytes, error)) << "what was read already counts once";
  EXPECT_FALSE(archive.read(2, bytes, error));
  EXPECT_TRUE(archive.read(3, bytes, error));
  ASSERT_TRUE(archive.close(error));
}

TEST(ZipArchive, AnEmptyOneTakesNobodysPlace) {
  const qv::TemporaryFolder folder;
  writeFile(folder / "keep", "other bytes");
  ZipArchive archive;
  std::string error;
  ASSERT_TRUE(archive.create(folder / "keep", error));
  EXPECT_TRUE(archive.close(error)) << error;
  EXPECT_EQ(contentsOf(folder / "keep"), "other bytes");
}

}  // namespace

#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/temporary_folder.h"

namespace qv {
namespace {

namespace fs = std::filesystem;

using Operation = bool (*)(const std::string& path, std::string& error);
bool replaceFile(const std::string& path, std::string& error) {
  return files::replace(path, "new", error);
}
bool appendFile(const std::string& path, std::string& error) {
  return files::append(path, "new", error);
}
bool createFile(const std::string& path, std::string& error) {
  bool existed = false;
  return files::createNew(path, "new", existed, error);
}
bool openFile(const std::string& path, std::string& error) {
  return files::Reader().open(path, error);
}
bool removeFile(const std::string& path, std::string& error) {
  return files::remove(path, error);
}
bool makeFolder(const std::string& path, std::string& error) {
  return files::makeDirectory(path, error);
}

TEST(Files, WhatEachOperationDoesToWhatStandsThere) {
  const std::string nul("present\0x", 9);
  const struct {
    const char* name;
    Operation operation;
    std::string path;
    bool done;
    std::string contents;  // of the file at the path afterwards
  } rows[] = {
      {"replace", replaceFile, "missing", true, "new"},
      {"replace", replaceFile, "present", true, "new"},
      {"replace", replaceFile, "folder", false, ""},
      {"replace", replaceFile, "no/such/folder", false, ""},
      {"replace", replaceFile, "link", true, "new"},
      {"replace", replaceFile, nul, false, ""},
      {"append", appendFile, "missing", true, "new"},
      {"append", appendFile, "present", true, "oldnew"},
      {"append", appendFile, "folder", false, ""},
      {"create", createFile, "missing", true, "new"},
      {"create", createFile, "present", false, "old"},
      {"create", createFile, "dangling", false, ""},
      {"create", createFile, nul, false, ""},
      {"open", openFile, "present", true, "old"},
      {"open", openFile, "missing", false, ""},
      {"open", openFile, "folder", false, ""},
      {"open", openFile, "pipe", false, ""},
      {"open", openFile, nul, false, ""},
      {"remove", removeFile, "present", true, ""},
      {"remove", removeFile, "missing", false, ""},
      {"remove", removeFile, "folder", false, ""},
      {"remove", removeFile, nul, false, ""},
      {"make", makeFolder, "missing", true, ""},
      {"make", makeFolder, "folder", true, ""},
      {"make", makeFolder, "present", false, "old"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + std::string(" ") + row.path);
    const TemporaryFolder folder;
    writeFile(folder / "present", "old");
    writeFile(folder / "target", "kept");
    fs::create_directory(folder / "folder");
    fs::create_symlink("target", folder / "link");
    fs::create_symlink("nowhere", folder / "dangling");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    std::string error;
    EXPECT_EQ(row.operation(folder / row.path, error), row.done);
    EXPECT_EQ(error.empty(), row.done) << error;
    if (row.path != "pipe" && row.path != nul) {
      EXPECT_EQ(contentsOf(folder / row.path), row.contents);
    }
    EXPECT_EQ(contentsOf(folder / "target"), "kept") << "written through a link";
    EXPECT_FALSE(files::exists(folder / "nowhere")) << "created through a link";
    EXPECT_TRUE(files::exists(folder / "present") || row.operation == removeFile);
    const std::size_t known =
        6 + (row.path == "missing" && row.done) - (row.operation == removeFile && row.done);
    EXPECT_EQ(folder.fileCount(), known) << "something half-written is left";
  }
}

TEST(Files, ReplacingKeepsPermissionsAndLeavesDevicesAlone) {
  const TemporaryFolder folder;
  writeFile(folder / "secret", "old");
  fs::permissions(folder / "secret", fs::perms::owner_read | fs::perms::owner_write);
  std::string error;
  ASSERT_TRUE(files::replace(folder / "secret", "new", error)) << error;
  EXPECT_EQ(fs::status(folder / "secret").permissions(), fs::perms::owner_read | fs::perms::owner_write);

  fs::create_symlink("/dev/null", folder / "sink");
  ASSERT_TRUE(files::replace(folder / "sink", "new", error)) << error;
  EXPECT_TRUE(fs::is_character_file(folder / "sink"));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST(Files, CreatingTellsAnExistingFileFromOtherFailures) {
  const TemporaryFolder folder;
  writeFile(folder / "present", "old");
  std::string error;
  bool existed = false;
  EXPECT_FALSE(files::createNew(folder / "present", "new", existed, error));
  EXPECT_TRUE(existed);
  EXPECT_FALSE(files::createNew(folder / "no/folder", "new", existed, error));
  EXPECT_FALSE(existed);
}

TEST(Files, ReaderGivesPiecesAndStopsAtTheEnd) {
  const TemporaryFolder folder;
  writeFile(folder / "file", std::string_view("ab\0cd", 5));
  files::Reader reader;
  std::string error;
  ASSERT_TRUE(reader.open(folder / "file", error));
  EXPECT_EQ(reader.size(), 5);
  char buffer[3];
  std::size_t received = 0;
  ASSERT_TRUE(reader.read(buffer, 3, received, error));
  EXPECT_EQ(std::string_view(buffer, received), std::string_view("ab\0", 3));
  ASSERT_TRUE(reader.read(buffer, 3, received, error));
  EXPECT_EQ(std::string_view(buffer, received), "cd");
  ASSERT_TRUE(reader.read(buffer, 3, received, error));
  EXPECT_EQ(received, 0u);
}

}  // namespace
}  // namespace qv

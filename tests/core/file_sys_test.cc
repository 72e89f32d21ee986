#include "core/file_sys.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/binary_data.h"
#include "core/log_store.h"
#include "core/string_buffer.h"
#include "platform/temporary_folder.h"

namespace qv {
namespace {

using Operation = bool (*)(const std::string& path, CLog* log);
bool loadText(const std::string& path, CLog* log) {
  StringBuffer text("before");
  const bool done = text.loadFile(path, log);
  EXPECT_EQ(text.view(), done ? "old" : "");
  return done;
}
bool loadBytes(const std::string& path, CLog* log) {
  BinaryData bytes("before");
  const bool done = bytes.loadFile(path, log);
  EXPECT_EQ(bytes.view(), done ? "old" : "");
  return done;
}
bool writeNew(const std::string& path, CLog* log) {
  return FileSys::writeWhole(path, "new", log);
}
bool removeFile(const std::string& path, CLog* log) {
  return FileSys::remove(path, log);
}
bool makeFolders(const std::string& path, CLog* log) {
  return FileSys::createDirectories(path, log);
}

TEST(FileSys, SaysInTheLogWhyItFailed) {
  const struct {
    const char* name;
    Operation operation;
    std::string path;          // in the folder; "" and "!" mean no path at all and a bad one
    std::string_view failure;  // the error that is logged; empty when it works
    std::string_view data;     // what is logged besides
  } rows[] = {
      {"load text", loadText, "present", "", ""},
      {"load text", loadText, "", "filename is missing", ""},
      {"load text", loadText, "missing", "Failed to open file", "No such file or directory"},
      {"load text", loadText, "folder", "Failed to open file", "Is a directory"},
      {"load bytes", loadBytes, "present", "", ""},
      {"load bytes", loadBytes, "", "Cannot load binary data file, filename is NULL or empty", ""},
      {"load bytes", loadBytes, "missing", "Failed to open file", "No such file or directory"},
      {"write", writeNew, "present", "", ""},
      {"write", writeNew, "missing", "", ""},
      {"write", writeNew, "", "Failed to write file", ""},
      {"write", writeNew, "no/folder", "Failed to write file", "No such file or directory"},
      {"remove", removeFile, "present", "", ""},
      {"remove", removeFile, "", "Cannot delete file, filename is null or empty", ""},
      {"remove", removeFile, "missing", "Cannot delete file, file does not exist", ""},
      {"remove", removeFile, "folder", "Cannot delete file", "DeleteFile: Is a directory"},
      {"make", makeFolders, "a/b//c/", "", ""},
      {"make", makeFolders, "folder/./sub", "", ""},
      {"make", makeFolders, "", "Cannot set directory, bad path", ""},
      {"make", makeFolders, "!", "Cannot set directory, bad path", ""},
      {"make", makeFolders, "a/present/c", "Failed to create directory", "a/present"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name + std::string(" ") + row.path);
    const TemporaryFolder folder;
    writeFile(folder / "present", "old");
    std::filesystem::create_directories(folder / "folder");
    std::filesystem::create_directories(folder / "a");
    writeFile(folder / "a/present", "");
    const std::string path =
        row.path.empty() ? "" : (row.path == "!" ? std::string("a\0b", 3) : folder / row.path);
    CLogImpl log(std::make_shared<LogStore>());
    EXPECT_EQ(row.operation(path, &log), row.failure.empty());
    EXPECT_EQ(log.get_LastError(), row.failure);
    EXPECT_NE(log.GetInfoEntries().find(row.data), std::string::npos) << log.GetInfoEntries();
    if (row.operation == makeFolders && row.failure.empty()) {
      EXPECT_TRUE(std::filesystem::is_directory(path));
    }
    EXPECT_FALSE(row.operation("", nullptr)) << "without a log";
  }
}

TEST(FileSys, AFileThatIsNotAsLongAsItSaidIsNotTakenForWhole) {
  // Files of the kernel's tell a size that reading them does not bear out.
  const char* path = "/sys/kernel/mm/transparent_hugepage/enabled";
  if (FileSys::size(path) != 4096) GTEST_SKIP() << "no such file here";
  CLogImpl log(std::make_shared<LogStore>());
  StringBuffer text;
  EXPECT_FALSE(text.loadFile(path, &log));
  EXPECT_EQ(log.get_LastError(), "Failed to read the entire file");
  EXPECT_NE(log.GetInfoEntries().find("filesize: 4096"), std::string::npos);
  EXPECT_NE(log.GetInfoEntries().find("bytes_received: "), std::string::npos);
}

TEST(FileSys, NewFilesGetTheLowestFreeNumber) {
  const TemporaryFolder folder;
  const auto write = [&](std::string name) {
    std::string reason;
    return FileSys::writeUnique(folder / "", name, name, reason) ? name : "failed: " + reason;
  };
  EXPECT_EQ(write("a.txt"), "a.txt");
  for (int number = 2; number <= 1000; ++number) {
    ASSERT_EQ(write("a.txt"), "a" + std::to_string(number) + ".txt");
  }
  std::filesystem::remove(folder / "a70.txt");
  EXPECT_EQ(write("a.txt"), "a70.txt");
  std::filesystem::create_directory(folder / "b");
  EXPECT_EQ(write("b"), "b2");
  EXPECT_EQ(contentsOf(folder / "a.txt"), "a.txt");
  for (const char* unsafe : {"", ".", "..", "../a", "x/a", "a\\b"}) {
    EXPECT_EQ(write(unsafe), "failed: not a file name");
  }
}

}  // namespace
}  // namespace qv

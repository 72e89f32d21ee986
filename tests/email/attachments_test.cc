// Parts made of files: where they stand, how they are found, named, saved and dropped.
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <thread>

#include "email/email_items.h"
#include "email/email_reader.h"
#include "email/line_ends.h"
#include "email_fixture.h"
#include "mime/limits.h"
#include "platform/temporary_folder.h"
#include "support/linear_cost.h"

namespace {

namespace fs = std::filesystem;
using qv::contentsOf;
using qv::Email;
using qv::ItemKind;
using qv::StringBuffer;
using qv::TemporaryFolder;
using qv::writeFile;
using qv_test::dump;
using qv_test::EmailTest;

std::unique_ptr<Email> received(const std::string& text) {
  return qv::createFromMimeText(text, {}, nullptr);
}

TEST_F(EmailTest, partsOfFiles) {
  const TemporaryFolder folder;
  const struct {
    const char *file, *contentType;  // given
    const char *name, *type;         // made of it
  } rows[] = {
      {"report.pdf", "", "report.pdf", "application/pdf"},
      {"report.PDF", "", "report.PDF", "application/octet-stream"},
      {"note.txt", "", "note.txt", "text/plain; charset=\"us-ascii\""},
      {"README", "", "README", "application/octet-stream"},
      {"a.b\"c\r\nd", "", "a.bcd", "application/octet-stream"},
      {"x.pdf", "Text/X", "x.pdf", "Text/X; charset=\"us-ascii\""},
      {"x.txt", " image/y ", "x.txt", "image/y"},
      {"x.txt", " ", "x.txt", "application/octet-stream"},
  };
  const std::string bytes("a=b\r\n\0\xFF", 7);
  for (const auto& row : rows) {
    writeFile(folder / row.file, bytes);
    const std::string type(row.type), name = '"' + std::string(row.name) + '"';
    const bool isText = type.find("charset") != std::string::npos;
    const std::string fields = std::string("Content-Transfer-Encoding: ") +
                               (isText ? "quoted-printable" : "base64") + "\r\nContent-Type: " + type +
                               ";\r\n\tname=" + name;
    const auto attached = Email::createAttachmentFromFile(folder / row.file, row.contentType, nullptr);
    const auto related = Email::createRelatedFromFile(folder / row.file, row.contentType, nullptr);
    ASSERT_TRUE(attached && related) << row.file;
    EXPECT_EQ(attached->rawHeader().str(),
              "Content-Disposition: attachment; filename=" + name + "\r\n" + fields);
    EXPECT_EQ(related->rawHeader().str(),
              "Content-ID: " + std::string(related->contentId()) + "\r\n" + fields);
    for (const Email* part : {attached.get(), related.get()}) {
      EXPECT_EQ(received(qv_test::written(*part))->body().data().view(), bytes) << row.file;
    }
  }
}

TEST_F(EmailTest, whatCannotBeAttachedChangesNothing) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  fs::create_directory(folder / "folder");
  Email email(log_.get());
  email.setBody("t", false);
  const std::string before = qv_test::written(email);
  const struct {
    std::string path;
    const char* reason;
  } rows[] = {
      {folder / "missing", "fail_reason: No such file or directory"},
      {folder / "folder", "fail_reason: Is a directory"},
      {folder / std::string_view("file\0", 5), "fail_reason: No such file or directory"},
      {"/dev/zero", "fail_reason: "},
      {"", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    log_.clear();
    StringBuffer type("before");
    EXPECT_FALSE(email.addAttachment(row.path, {}, type));
    EXPECT_EQ(type.view(), "before");
    EXPECT_EQ(Email::createRelatedFromFile(row.path, {}, log_.get()), nullptr);
    EXPECT_EQ(qv_test::written(email), before);
    EXPECT_EQ(log_.count("File does not exist, or cannot open file."), row.reason ? 2u : 0u);
    EXPECT_TRUE(row.reason == nullptr || log_.text().find(row.reason) != std::string::npos) << log_.text();
  }
  // A tree that is as deep as one can be takes neither.
  auto deep = std::make_unique<Email>(log_.get());
  for (std::size_t i = 0; i < qv::kMaxNesting; ++i) ASSERT_TRUE(Email::convertToAlternative(*deep));
  const std::string deepBefore = qv_test::written(*deep);
  StringBuffer type;
  EXPECT_FALSE(deep->addAttachment(folder / "file", {}, type));
  EXPECT_FALSE(deep->addRelatedItem(Email::createRelatedFromFile(folder / "file", {}, nullptr)));
  EXPECT_EQ(qv_test::written(*deep), deepBefore);
}

// One letter an operation: t text, h HTML body, H HTML alternative, a attachment, r related item, 0 to 9 drop
// that attachment, d drop all.
TEST_F(EmailTest, whereTheyStand) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "f");
  const struct {
    const char *operations, *tree;
    std::size_t numAttachments = 0, numRelated = 0;
  } rows[] = {
      {"taa", "mixed(plain=t file=f file=f)", 2},
      {"tHa", "mixed(alternative(plain=t html=H) file=f)", 1},
      {"hr", "related:text/html(html=<p> file=f)", 0, 1},
      {"hra", "related:multipart/mixed(mixed(html=<p> file=f) file=f)", 1, 1},
      {"hraa", "related:multipart/mixed(mixed(html=<p> file=f file=f) file=f)", 2, 1},
      {"har", "related:multipart/mixed(mixed(html=<p> file=f) file=f)", 1, 1},
      {"tarrH", "related:multipart/mixed(mixed(alternative(plain=t html=H) file=f) file=f file=f)", 1, 2},
      {"taaa02", "mixed(plain=t file=f file=f)", 2},
      {"tarad", "related:multipart/mixed(mixed(plain=t) file=f)", 0, 1},
      {"tad9", "mixed(plain=t)"},
      {"r", "related:text/plain(plain file=f)", 0, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.operations);
    Email email(nullptr);
    for (const char* c = row.operations; *c != '\0'; ++c) {
      StringBuffer type;
      if (*c == 't') email.setBody("t", false);
      if (*c == 'h') email.setHtmlBody("<p>");
      if (*c == 'H') email.addAlternativePart(email.newBodyPart("H", true));
      if (*c == 'a') {
        EXPECT_TRUE(email.addAttachment(folder / "file", {}, type));
      }
      if (*c == 'r') {
        EXPECT_TRUE(email.addRelatedItem(Email::createRelatedFromFile(folder / "file", {}, nullptr)));
      }
      if (*c == 'd') email.dropAttachments();
      if (*c >= '0' && *c <= '9') {
        const auto index = static_cast<std::size_t>(*c - '0');
        EXPECT_EQ(email.dropAttachment(index), index < email.numAttachments() + 1 && index < 2);
      }
    }
    EXPECT_EQ(dump(email), row.tree);
    EXPECT_EQ(email.numAttachments(), row.numAttachments);
    EXPECT_EQ(email.attachments().size(), row.numAttachments);
    EXPECT_EQ(email.numRelatedItems(), row.numRelated);
    EXPECT_EQ(qv_test::shapeReadBack(email), qv_test::shape(email));
  }
}

// A mixed message whose first attachment is "a" and whose second is inline and called "b"; "c" stands in a
// message below.
std::string mixedText(const std::string& body = "x") {
  const auto part = [&](const char* type, const char* disposition) {
    return std::string("--1\r\nContent-Type: ") + type + "\r\nContent-Disposition: " + disposition +
           "\r\n\r\n" + body + "\r\n";
  };
  return "Content-Type: Multipart/Mixed; boundary=1\r\n\r\n--1\r\n\r\ntext\r\n" +
         part("image/gif", "ATTACHMENT; filename=a") + part("text/plain", "other; filename=no") +
         part("application/x; x=y", "inline; filename=\"=?utf-8?B?Yg==?=\"") +
         "--1\r\nContent-Type: multipart/mixed; boundary=2\r\n\r\n--2\r\nContent-Disposition: attachment; "
         "filename=c\r\n\r\nc\r\n--2--\r\n--1--\r\n";
}

TEST_F(EmailTest, indexesCountWhatQualifies) {
  const struct {
    ItemKind kind;
    std::int32_t index;
    const char* name;  // null: out of range
  } rows[] = {
      {ItemKind::attachment, 0, "a"},           {ItemKind::attachment, 1, "b"},
      {ItemKind::attachment, 2, nullptr},       {ItemKind::attachment, -1, nullptr},
      {ItemKind::attachment, 1 << 30, nullptr}, {ItemKind::relatedItem, 0, nullptr},
      {ItemKind::relatedItem, -1, nullptr},
  };
  const auto email = received(mixedText());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.index);
    log_.clear();
    const Email* item = qv::itemAt(*email, row.kind, row.index, log_.get());
    ASSERT_EQ(item != nullptr, row.name != nullptr);
    if (item != nullptr) {
      EXPECT_EQ(Email::getAttachmentFilename(*item).view(), row.name);
      EXPECT_EQ(log_.text(), "");
      continue;
    }
    const bool isAttachment = row.kind == ItemKind::attachment;
    const std::string index = std::to_string(row.index);
    EXPECT_EQ(log_.lastError(), "Index out of range: no " +
                                    std::string(isAttachment ? "attachment" : "related item") +
                                    " at index = " + index + ".");
    EXPECT_EQ(log_.count("index: " + index), 1u);
    EXPECT_EQ(log_.count(isAttachment ? "num_attachments: 2" : "num_related_items: 0"), 1u) << log_.text();
  }
  Email::setAttachmentFilename(*email->getAttachment(1), "d\"\r\nX: y.txt");
  const std::string text = qv_test::written(*email);
  EXPECT_NE(text.find("Content-Disposition: inline; filename=\"dX: y.txt\"\r\n"), std::string::npos) << text;
  EXPECT_EQ(received(text)->getAttachment(1)->nameParam(), "dx: y.txt");

  email->dropAttachments();
  EXPECT_EQ(email->parts().size(), 3u);
  EXPECT_EQ(email->parts().at(2)->parts().size(), 0u) << "also below";
}

// A message with one attachment or related item, whose body is "new".
std::unique_ptr<Email> withItem(const char* type, const std::string& fields) {
  return received(std::string("Content-Type: multipart/") + type +
                  "; boundary=1\r\n\r\n--1\r\n\r\n\r\n--1\r\n" + fields + "\r\n\r\nnew\r\n--1--\r\n");
}

// Names from outside, in each place that a name is taken from.
TEST_F(EmailTest, whatIsSavedStaysInItsFolder) {
  const std::string huge(5000, 'a');
  const struct {
    std::string name;
    std::string file;  // without a name: any
  } rows[] = {
      {"report.pdf", "report.pdf"},
      {"../../x", "x"},
      {"/etc/x", "x"},
      {"C:\\x", "x"},
      {"..\\x", "x"},
      {"a/../../x", "x"},
      {"=?utf-8?Q?..=2Fx?=", "x"},
      {"=?utf-8?B?Li4veA==?=", "x"},
      {"=?utf-8?Q?=3D=3Fu=3FQ=3F..=3D2Fx=3F=3D?=", ""},
      {"", "fallback"},
      {".", "fallback"},
      {"..", "fallback"},
      {huge + ".txt", huge.substr(0, 251) + ".txt"},
      {"present.txt", "present2.txt"},
      {"dangling", "dangling2"},
      {"link.txt", "link2.txt"},
      {"folder", "folder2"},
  };
  for (const auto& row : rows) {
    for (const int place : {0, 1, 2}) {
      SCOPED_TRACE(row.name.substr(0, 50) + " in " + std::to_string(place));
      const TemporaryFolder outside;
      const std::string inside = outside / "in/side";
      fs::create_directories(inside + "/folder");
      writeFile(inside + "/present.txt", "old");
      writeFile(outside / "target", "old");
      fs::create_symlink("../../nowhere", inside + "/dangling");
      fs::create_symlink("../../target", inside + "/link.txt");
      const auto files = [&] {
        std::set<fs::path> found;
        for (const auto& entry : fs::recursive_directory_iterator(outside / "")) found.insert(entry.path());
        return found;
      };
      const std::set<fs::path> before = files();

      const auto kind = place == 2 ? ItemKind::relatedItem : ItemKind::attachment;
      const std::string quoted = '"' + row.name + '"';
      const std::string fields[] = {
          "Content-Disposition: attachment; filename=" + quoted,
          "Content-Disposition: attachment\r\nContent-Type: x/y; name=" + quoted,
          "Content-Type: x/y\r\nContent-Location: " + row.name,
      };
      const auto email = withItem(place == 2 ? "related" : "mixed", fields[place]);
      log_.clear();
      ASSERT_TRUE(qv::saveItem(*email, kind, 0, ' ' + inside + "\r\n", log_.get())) << log_.text();

      std::set<fs::path> added = files();
      for (const fs::path& path : before) added.erase(path);
      ASSERT_EQ(added.size(), 1u);
      const fs::path saved = *added.begin();
      const std::string fallback = place == 2 ? "relatedItem0" : "attachment";
      EXPECT_EQ(saved.parent_path(), inside);
      EXPECT_EQ(saved.filename(), row.file == "fallback" ? fallback
                                  : row.file.empty()     ? saved.filename().string()
                                                         : row.file);
      EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(saved)));
      EXPECT_EQ(contentsOf(saved) + contentsOf(outside / "target") + contentsOf(inside + "/present.txt"),
                "newoldold");
      EXPECT_EQ(log_.count("filename: ./" + saved.filename().string()), 1u) << log_.text();
      const Email& item = *qv::itemAt(*email, kind, 0, nullptr);
      EXPECT_EQ(item.filename(), place == 2 ? "" : saved.filename().string());
      EXPECT_TRUE(place != 2 || item.getHeaderField("Content-Type") == "x/y")
          << "no disposition to name it in";
    }
  }
}

TEST_F(EmailTest, savingAndItsFailures) {
  const TemporaryFolder folder;
  const fs::path home = fs::current_path();
  writeFile(folder / "file", "x");
  const auto email = received(mixedText(std::string(1 << 16, 'x')));

  EXPECT_TRUE(qv::saveAllAttachments(*email, folder / "new/deep", log_.get()));
  EXPECT_TRUE(qv::saveAllAttachments(*email, folder / "new/deep", log_.get()));
  EXPECT_TRUE(log_.holds({"num_attachments: 2", "directory: " + (folder / "new/deep"), "filename: ./a",
                          "filename: ./b", "num_attachments: 2", "filename: ./a2", "filename: ./b2"}));
  EXPECT_EQ(contentsOf(folder / "new/deep/b2").size(), std::size_t{1} << 16);
  EXPECT_EQ(email->getAttachment(1)->filename(), "b2");
  EXPECT_TRUE(qv::saveAllAttachments(*received(""), "", nullptr)) << "there are none";

  const struct {
    std::string directory;
    const char* error;
  } rows[] = {{" ", "Cannot set directory, bad path\nFailed to save attachment"},
              {folder / "file/sub", "Failed to create directory\nFailed to save attachment"}};
  for (const auto& row : rows) {
    log_.clear();
    EXPECT_FALSE(qv::saveItem(*email, ItemKind::attachment, 0, row.directory, log_.get()));
    EXPECT_EQ(log_.lastError(), row.error);
    EXPECT_EQ(email->getAttachment(0)->filename(), "a2");
  }

  // A disk that is full after 4 KiB.
  log_.clear();
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{4096, usual.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const bool saved = qv::saveAllAttachments(*email, folder / "full", log_.get());
  setrlimit(RLIMIT_FSIZE, &usual);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(saved);
  EXPECT_EQ(log_.count("Failed to save attachment"), 2u) << "goes on after a failure: " << log_.text();
  EXPECT_EQ(log_.count("reason: File too large"), 2u) << log_.text();
  EXPECT_TRUE(fs::is_empty(folder / "full")) << "something half-written is left";
  EXPECT_EQ(email->getAttachment(0)->filename(), "a2");
  EXPECT_EQ(fs::current_path(), home);
}

TEST_F(EmailTest, savesAtTheSameTimeKeepApart) {
  const TemporaryFolder folder;
  constexpr std::size_t kSaves = 200;
  const auto saveMany = [&](const char* bytes) {
    for (std::size_t i = 0; i < kSaves; ++i) {
      Email email(nullptr);
      qv_test::addAttachment(email, "same.txt", bytes);
      EXPECT_TRUE(qv::saveItem(email, ItemKind::attachment, 0, folder / "", nullptr));
    }
  };
  std::thread other(saveMany, "1");
  saveMany("22");
  other.join();
  std::size_t bytes = 0;
  for (const auto& entry : fs::directory_iterator(folder / "")) bytes += entry.file_size();
  EXPECT_EQ(folder.fileCount(), 2 * kSaves);
  EXPECT_EQ(bytes, 3 * kSaves);
}

TEST_F(EmailTest, manyAttachmentsCostInProportion) {
  const auto make = [](std::size_t count) {
    std::string text = "Content-Type: multipart/mixed; boundary=1\r\n\r\n--1\r\n\r\nt\r\n";
    while (count-- > 0) text += "--1\r\nContent-Disposition: attachment; filename=a\r\n\r\n";
    return text + "--1--";
  };
  const auto drop = [](const std::string& text) { received(text)->dropAttachments(); };
  const auto save = [](const std::string& text) {
    const TemporaryFolder folder;
    EXPECT_TRUE(qv::saveAllAttachments(*received(text), folder / "", nullptr));
  };
  // Small enough for the caches: what does not fit into them costs more for each byte.
  EXPECT_LT(qv_test::costOfTwice(1000, make, drop), 3);
  EXPECT_LT(qv_test::costOfTwice(300, make, save), 3);
}

TEST_F(EmailTest, contentAsText) {
  const struct {
    std::string_view bytes, text, withCrLf;
  } rows[] = {
      {"", "", ""},
      {"a\nb\r\nc\rd", "a\nb\ncd", "a\r\nb\r\nc\rd"},
      {"\n\r\n\n\r", "\n\n\n", "\r\n\r\n\r\n\r"},
      {"\r\r\n", "\n", "\r\r\n"},
      {{"a\r\0\nb", 5}, "a", {"a\r\0\r\nb", 6}},
  };
  for (const auto& row : rows) {
    const auto item = qv_test::attachment("", row.bytes);
    EXPECT_EQ(qv::itemText(item.get()).view(), row.text);
    EXPECT_EQ(qv::itemTextCrLf(item.get()).view(), row.withCrLf);
  }
  EXPECT_EQ(qv::itemText(nullptr).view(), "");

  const TemporaryFolder folder;
  writeFile(folder / "file", "<p>");
  StringBuffer text;
  EXPECT_TRUE(qv::readFileContent(" " + (folder / "file") + "\n", text, log_.get()));
  EXPECT_EQ(text.view(), "<p>");
  EXPECT_FALSE(qv::readFileContent("missing", text, log_.get()));
  EXPECT_TRUE(
      log_.holds({"Failed to read file into memory.", "filename: missing",
                  "current_directory: " + fs::current_path().string(), "reason: No such file or directory"}));
}

}  // namespace

// Attachments, related items, and messages read and written as a whole, as hosts reach them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <functional>
#include <string>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using qv::contentsOf;
using qv::TemporaryFolder;
using qv_test::newEmail;

std::string textOf(const quorvel::Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

std::string ifOne(std::int32_t flag) {
  return flag == 0 ? "" : "1";
}

TEST(EmailItems, GoInAndComeOutAgain) {
  const TemporaryFolder folder;
  const std::string bytes("a\r\nb\nc\0d\xFF", 9);
  qv::writeFile(folder / "a.txt", bytes);
  const auto email = newEmail();
  email->SetHtmlBody("<p>");
  EXPECT_EQ(email->AddFileAttachment(' ' + (folder / "a.txt") + ' '), "text/plain");
  email->AddFileAttachment2(folder / "a.txt", " image/x ");
  const std::string id = email->AddRelatedContent(folder / "a.txt");
  EXPECT_THAT(id, ::testing::StartsWith("QUORVEL-CID-"));
  EXPECT_EQ(email->SaveEml(folder / "a.eml"), 1);
  EXPECT_EQ(contentsOf(folder / "a.eml"), email->GetMime());

  // Read again by another object, the item's bytes and names are the same.
  const auto read = newEmail();
  const std::int32_t number = read->GetImpl();
  EXPECT_EQ(read->LoadEml(' ' + (folder / "a.eml")), 1);
  EXPECT_EQ(read->GetImpl(), number);
  EXPECT_EQ(read->get_NumAttachments() * 10 + read->get_NumRelatedItems(), 21);
  for (const auto& each : {email, read}) {
    EXPECT_EQ(each->GetAttachmentFilename(1) + each->GetRelatedFilename(0), "a.txt");
    EXPECT_EQ(each->GetAttachmentContentID(0) + each->GetRelatedContentID(0), '<' + id + '>');
    EXPECT_EQ(textOf(each->GetAttachmentData(0)), bytes);
    EXPECT_EQ(textOf(each->GetAttachmentData(1)), bytes);
    EXPECT_EQ(textOf(each->GetRelatedData(0)), bytes);
    EXPECT_EQ(each->GetAttachmentString(0), "a\nb\nc");
    EXPECT_EQ(each->GetRelatedString(0), "a\nb\nc");
    EXPECT_EQ(each->GetAttachmentStringCrLf(1), std::string("a\r\nb\r\nc\0d\xFF", 10));
    EXPECT_EQ(each->GetRelatedStringCrLf(0), std::string("a\r\nb\r\nc\0d\xFF", 10));
  }
  EXPECT_EQ(read->SetAttachmentFilename(1, "b.txt"), 1);
  EXPECT_EQ(read->SaveAllAttachments(folder / "new"), 1);
  EXPECT_EQ(read->SaveAttachedFile(1, folder / "new"), 1);
  EXPECT_EQ(read->SaveRelatedItem(0, folder / "new"), 1);
  for (const char* name : {"a.txt", "b.txt", "b2.txt", "a2.txt"}) {
    EXPECT_EQ(contentsOf(folder / "new/" + name), bytes) << name;
  }
  EXPECT_EQ(read->GetAttachmentFilename(1), "b2.txt");
  EXPECT_EQ(read->DropSingleAttachment(0), 1);
  EXPECT_EQ(read->GetAttachmentFilename(0), "b2.txt");
  read->DropAttachments();
  EXPECT_EQ(read->get_NumAttachments(), 0);
  EXPECT_EQ(read->GetFileContent((folder / "a.txt") + "\n"), bytes);
}

// What members do without an item is in members_given_nothing.txt.
TEST(EmailItems, WhatFailsSaysSoAndChangesNothing) {
  const TemporaryFolder folder;
  const auto email = newEmail();
  email->put_Body("x");
  const std::string before = email->GetMime();
  const std::string missing = folder / "missing";
  const std::string noFile = "File does not exist, or cannot open file.";
  const struct {
    const char* name;
    std::function<std::string()> call;  // its result
    std::string error;
  } rows[] = {
      {"AddFileAttachment", [&] { return email->AddFileAttachment(missing); }, noFile},
      {"AddFileAttachment2", [&] { return email->AddFileAttachment2(missing, "x/y"), ""; }, noFile},
      {"AddRelatedContent", [&] { return email->AddRelatedContent(missing); }, noFile},
      {"AddFileAttachment", [&] { return email->AddFileAttachment(" "); }, "filename is missing"},
      {
          "GetFileContent",
          [&] { return email->GetFileContent(missing); },
          "Failed to read file into memory.",
      },
      {"LoadEml", [&] { return ifOne(email->LoadEml(missing)); }, "Failed to open file"},
      {"SaveEml", [&] { return ifOne(email->SaveEml(missing + "/x")); }, "Failed to write file"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.call(), "") << row.name;
    EXPECT_EQ(qv_test::reported(), row.error) << row.name;
    EXPECT_EQ(email->GetMime(), before) << row.name;
  }
  EXPECT_EQ(folder.fileCount(), 0u);
}

TEST(EmailItems, ALoadedMessageBringsNoPrivateFieldsAndNoOrigin) {
  const auto email = newEmail();
  EXPECT_EQ(email->LoadMime("QVX-FileDistList: /etc/passwd\r\nSubject: =?x?Q?s?=\r\nTo: a@h\r\n\r\nt"), 1);
  EXPECT_EQ(email->get_FileDistList(), "");
  EXPECT_EQ(email->get_Subject() + email->GetTo(0) + email->get_Body(), "sa@ht");
  EXPECT_EQ(email->NumHeaderFields(), 2);
}

}  // namespace

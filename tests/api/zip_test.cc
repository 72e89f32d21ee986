// E-mails and bundles in zip archives.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorvel/quorvel.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/temporary_folder.h"
#include "support/public_objects.h"

namespace {

using quorvel::IQuorvelEmail2;
using quorvel::IQuorvelZip4;
using quorvel::IQuorvelZipEntry4;
using quorvel::Ref;
using qv_test::newBundle;
using qv_test::newEmail;
using qv_test::reported;
using ::testing::HasSubstr;

class Zip : public ::testing::Test {
 protected:
  static Ref<IQuorvelZip4> newZip() { return quorvel::create<IQuorvelZip4>("QuorvelMail.QuorvelZip"); }
  const qv::TemporaryFolder folder_;
  const std::string path_ = folder_ / "a.zip";
};

TEST_F(Zip, KeepsABundleOnDisk) {
  const auto bundle = newBundle();
  for (const char* subject : {"one", "two"}) bundle->AddEmail(newEmail(subject).get());
  const auto zip = newZip();
  ASSERT_EQ(zip->Create(path_), 1) << reported();
  EXPECT_EQ(bundle->AppendToZip(zip.get()), 1);
  bundle->AddEmail(newEmail("three").get());
  EXPECT_EQ(bundle->AppendToZip(zip.get()), 1);
  EXPECT_EQ(zip->get_NumEntries(), 3) << "what is in the archive already is not stored again";
  EXPECT_EQ(newEmail("four")->AppendToZip(zip.get()), 1);
  EXPECT_EQ(zip->GetEntryByIndex(3)->GetEmail()->get_Subject(), "four");
  EXPECT_FALSE(std::filesystem::exists(path_));
  const auto early = zip->GetEntryByIndex(0);
  zip->Close();
  EXPECT_EQ(reported(), "(none)");
  EXPECT_FALSE(early->GetEmail());
  EXPECT_THAT(reported(), HasSubstr("The archive of this entry is closed"));
  EXPECT_FALSE(early->get_ZipFile());

  const auto again = newZip();
  ASSERT_EQ(again->Open(path_), 1);
  const auto loaded = newBundle();
  EXPECT_EQ(loaded->AddFromZip(again.get()), 1);
  ASSERT_EQ(loaded->get_MessageCount(), 4);
  EXPECT_EQ(loaded->GetEmail(2)->get_Subject(), "three");
  EXPECT_EQ(loaded->GetEmail(2)->get_Body(), "body of three");
  EXPECT_EQ(loaded->AppendToZip(again.get()), 1);
  EXPECT_EQ(again->get_NumEntries(), 4) << "e-mails that came from the archive are not stored again";
  EXPECT_EQ(again->GetEntryByIndex(1)->get_ZipFile().get(), again.get());
  EXPECT_FALSE(again->GetEntryByIndex(4));
  EXPECT_FALSE(again->GetEntryByIndex(-1));
  EXPECT_EQ(reported(), "(none)");
}

TEST_F(Zip, AnObjectMayBeUsedForOneArchiveAfterTheOther) {
  const auto bundle = newBundle();
  bundle->AddEmail(newEmail("one").get());
  const auto zip = newZip();
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(zip->Create(path_), 1);
    EXPECT_EQ(bundle->AppendToZip(zip.get()), 1);
    EXPECT_EQ(zip->get_NumEntries(), 1);
    zip->Close();
  }
}

TEST_F(Zip, FailuresAndTheirReports) {
  const auto zip = newZip();
  const auto email = newEmail("x");
  const auto bundle = newBundle();
  EXPECT_EQ(zip->Open(path_ + "/none"), 0);
  EXPECT_THAT(reported(), HasSubstr("Failed to open zip archive"));
  EXPECT_FALSE(zip->AppendEmail(email.get()));
  EXPECT_THAT(reported(), HasSubstr("No archive is open"));
  EXPECT_EQ(email->AppendToZip(zip.get()), 0);
  EXPECT_EQ(email->AppendToZip(nullptr), 0);
  EXPECT_EQ(bundle->AppendToZip(nullptr) + bundle->AddFromZip(nullptr), 0);
  EXPECT_EQ(reported(), "(none)");
  ASSERT_EQ(zip->Create("/nonexistent/x.zip"), 1);
  EXPECT_FALSE(zip->AppendEmail(nullptr));
  EXPECT_TRUE(zip->AppendEmail(email.get()));
  zip->Close();
  EXPECT_THAT(reported(), HasSubstr("Failed to write zip archive"));
  EXPECT_EQ(zip->get_NumEntries(), 0);
}

/// An archive of a host's own, whose entries are these texts.
class HostZip final : public quorvel::Implements<IQuorvelZip4> {
 public:
  class Entry final : public quorvel::Implements<IQuorvelZipEntry4> {
   public:
    Entry(HostZip& zip, Ref<IQuorvelEmail2> email) : zip_(&zip), email_(std::move(email)) {}
    Ref<IQuorvelEmail2> GetEmail() override { return email_; }
    Ref<IQuorvelZip4> get_ZipFile() override { return zip_; }

   private:
    Ref<HostZip> zip_;
    Ref<IQuorvelEmail2> email_;
  };
  std::int32_t Open(std::string_view) override { return 0; }
  std::int32_t Create(std::string_view) override { return 0; }
  void Close() override {}
  std::int32_t get_NumEntries() override { return static_cast<std::int32_t>(emails.size()); }
  Ref<IQuorvelZipEntry4> GetEntryByIndex(std::int32_t index) override {
    return quorvel::make<Entry>(*this, emails[static_cast<std::size_t>(index)]);
  }
  Ref<IQuorvelZipEntry4> AppendEmail(quorvel::IQuorvelEmail* email) override {
    emails.push_back(email->as<IQuorvelEmail2>());
    return quorvel::make<Entry>(*this, emails.back());
  }
  std::vector<Ref<IQuorvelEmail2>> emails;
};

TEST_F(Zip, AHostMayBringItsOwn) {
  const auto zip = quorvel::make<HostZip>();
  const auto bundle = newBundle();
  const auto email = newEmail("one");
  bundle->AddEmail(email.get());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(bundle->AppendToZip(zip.get()), 1);
  EXPECT_EQ(zip->emails.size(), 1u);
  zip->emails.push_back(nullptr);  // an entry that is no message
  EXPECT_EQ(bundle->AddFromZip(zip.get()), 1);
  EXPECT_EQ(bundle->get_MessageCount(), 2);
  EXPECT_EQ(bundle->GetEmail(1).get(), email.get());
}

}  // namespace

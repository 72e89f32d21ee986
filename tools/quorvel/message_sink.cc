#include "quorvel/message_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "quorvel/dates.h"
#include "quorvel/report.h"
#include "quorvel/system.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

Failure cannotWrite(const std::string& path, std::string details) {
  return {Status::file, "cannot write " + path, std::move(details),
          "is there room, and may this user write there?"};
}

/// With what the last operation of the component reported.
Failure reportedFailure(const std::string& path) {
  const auto error = quorvel::lastError();
  return cannotWrite(path, error ? error->description : "");
}

/// A file in the making, in a folder of its own beside the place that it is for.
class Draft {
 public:
  Draft(const std::string& target, bool replace)
      : target_(checked(target, replace)), replace_(replace), folder_(folderOf(target)) {}

  std::string path() const { return folder_.path() + "/draft"; }
  const std::string& target() const noexcept { return target_; }

  /// Only this user may read it, unless it takes the place of one that others may read.
  void publish() const {
    std::error_code error;
    const fs::file_status before = fs::status(target_, error);
    const bool existed = fs::exists(before);
    fs::permissions(path(), existed ? before.permissions() : fs::perms::owner_read | fs::perms::owner_write,
                    error);
    if (error) throw cannotWrite(target_, error.message());
    const Descriptor file(::open(path().c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0 || ::fsync(file.get()) != 0) throw failed();
    const bool moved =
        replace_ ? std::rename(path().c_str(), target_.c_str()) == 0 : moveToFreeName(path(), target_);
    if (!moved) throw failed();
  }

 private:
  Failure failed() const { return cannotWrite(target_, std::generic_category().message(errno)); }

  static const std::string& checked(const std::string& target, bool replace) {
    std::error_code error;
    const fs::file_status found = fs::symlink_status(target, error);
    if (!fs::exists(found)) return target;
    if (!replace) {
      throw Failure{Status::file, "there is a file " + target, "",
                    "--replace puts the new one in its place; nothing was done"};
    }
    if (!fs::is_regular_file(found)) throw cannotWrite(target, "it is no file of its own");
    return target;
  }

  static std::string folderOf(const std::string& path) {
    const fs::path parent = fs::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
  }

  std::string target_;
  bool replace_;
  TemporaryFolder folder_;
};

class FolderSink final : public MessageSink {
 public:
  explicit FolderSink(const std::string& path) : folder_(path) {}
  void write(const Message& message) override { folder_.keep(message.name, message.text); }
  void finish() override { folder_.settle(); }

 private:
  MessageFolder folder_;
};

class MailboxSink final : public MessageSink {
 public:
  MailboxSink(const std::string& path, bool replace)
      : draft_(path, replace), file_(draft_.path(), std::ios::binary) {}

  void write(const Message& message) override {
    file_ << "From " << senderOf(*message.email) << ' ' << mailboxDate(message.email->get_EmailDate())
          << '\n';
    for (std::string_view rest = message.text; !rest.empty();) {
      const std::size_t end = std::min(rest.find('\n'), rest.size());
      std::string_view line = rest.substr(0, end);
      rest.remove_prefix(std::min(end + 1, rest.size()));
      if (line.ends_with('\r')) line.remove_suffix(1);
      file_ << (isQuotedInMailbox(line) ? ">" : "") << line << '\n';
    }
    file_ << '\n';
    if (!file_) throw cannotWrite(draft_.target(), "");
  }

  void finish() override {
    file_.close();
    if (!file_) throw cannotWrite(draft_.target(), "");
    draft_.publish();
  }

 private:
  /// One word, whatever the message says.
  static std::string senderOf(quorvel::IQuorvelEmail3& email) {
    const auto isOfWord = [](unsigned char c) { return c > ' ' && c != 0x7F; };
    std::string sender = email.get_FromAddress();
    const bool isWord = !sender.empty() && std::all_of(sender.begin(), sender.end(), isOfWord);
    return isWord ? sender : "MAILER-DAEMON";
  }

  Draft draft_;
  std::ofstream file_;
};

class XmlSink final : public MessageSink {
 public:
  XmlSink(const std::string& path, bool replace)
      : draft_(path, replace),
        bundle_(quorvel::create<quorvel::IQuorvelEmailBundle2>("QuorvelMail.QuorvelEmailBundle")) {
    if (!bundle_) throw Failure{Status::failed, "the component gave no QuorvelEmailBundle", "", ""};
  }

  void write(const Message& message) override {
    if (bundle_->AddEmail(message.email.get()) != 1) throw cannotWrite(draft_.target(), "out of memory");
  }

  void finish() override {
    bundle_->SaveXml(draft_.path());
    if (quorvel::lastError()) throw reportedFailure(draft_.target());
    draft_.publish();
  }

 private:
  Draft draft_;
  quorvel::Ref<quorvel::IQuorvelEmailBundle2> bundle_;
};

class ZipSink final : public MessageSink {
 public:
  ZipSink(const std::string& path, bool replace)
      : draft_(path, replace), zip_(quorvel::create<quorvel::IQuorvelZip4>("QuorvelMail.QuorvelZip")) {
    if (!zip_) throw Failure{Status::failed, "the component gave no QuorvelZip", "", ""};
    if (zip_->Create(draft_.path()) != 1) throw reportedFailure(path);
  }

  void write(const Message& message) override {
    isEmpty_ = false;
    if (!zip_->AppendEmail(message.email.get())) throw reportedFailure(draft_.target());
  }

  void finish() override {
    // There is no archive without an entry.
    if (isEmpty_) {
      warn("no message for it: " + draft_.target() + " was not written");
      return;
    }
    zip_->Close();
    if (quorvel::lastError()) throw reportedFailure(draft_.target());
    draft_.publish();
  }

 private:
  Draft draft_;
  quorvel::Ref<quorvel::IQuorvelZip4> zip_;
  bool isEmpty_ = true;
};

}  // namespace

std::unique_ptr<MessageSink> openSink(Store store, const std::string& path, bool replace) {
  switch (store) {
    case Store::folder:
      return std::make_unique<FolderSink>(path);
    case Store::xml:
      return std::make_unique<XmlSink>(path, replace);
    case Store::zip:
      return std::make_unique<ZipSink>(path, replace);
    case Store::mailbox:
      break;
  }
  return std::make_unique<MailboxSink>(path, replace);
}

}  // namespace cli

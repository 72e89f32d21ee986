#include "quorvel/message_source.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include "quorvel/report.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSeparator = "From ";

Failure unreadable(const std::string& which, std::string details) {
  return {Status::file, "cannot read " + which, std::move(details),
          "is it whole, and may this user read it?"};
}

std::string reported(std::string_view otherwise) {
  const auto error = quorvel::lastError();
  return error ? error->description : std::string(otherwise);
}

int percentOf(std::uintmax_t done, std::uintmax_t all) noexcept {
  return all == 0 ? 100 : static_cast<int>(std::min(done, all) * 100 / all);
}

/// The component makes a message of any text; one without a header field is none.
Email emailOf(std::string_view text, const std::string& which) {
  auto email = newEmail().as<quorvel::IQuorvelEmail3>();
  if (!email || email->LoadMime(text) != 1) throw unreadable(which, reported(""));
  if (email->NumHeaderFields() == 0) throw unreadable(which, "no header field is in it");
  return email;
}

std::string numbered(std::size_t number) {
  char name[24];
  std::snprintf(name, sizeof name, "%08zu", number);
  return name;
}

/// A line of a mailbox file is a line whatever ends it. A message ends at every line that begins with "From
/// ", as it does for the component; the empty line in front of that belongs to it.
class MailboxSource final : public MessageSource {
 public:
  explicit MailboxSource(const std::string& path)
      : path_(path), file_(path, std::ios::binary), size_(fs::file_size(path)) {
    if (!file_) throw unreadable(path_, "");
    std::string line;
    while (readLine(line) && line.empty()) {
    }
    isAtMessage_ = line.starts_with(kSeparator);
    if (isAtMessage_ || line.empty()) return;
    throw Failure{Status::file, path_ + " is no mailbox file", "its first line does not begin with \"From \"",
                  "--from-kind says what it is; a single message file is read from its folder"};
  }

  bool next(Message& message) override {
    if (!std::exchange(isAtMessage_, false)) return false;
    message = {nullptr, {}, numbered(++number_)};
    std::string line;
    while (!isAtMessage_ && readLine(line)) {
      isAtMessage_ = line.starts_with(kSeparator);
      if (!isAtMessage_) message.text.append(line, isUnquotable(line) ? 1 : 0).append("\r\n");
    }
    const std::string which = "message " + std::to_string(number_) + " of " + path_;
    if (file_.bad()) throw unreadable(which, "the file cannot be read any further");
    if (message.text.ends_with("\r\n\r\n")) message.text.resize(message.text.size() - 2);
    message.email = emailOf(message.text, which);
    return true;
  }

  int percent() const override { return percentOf(done_, size_); }

 private:
  static bool isUnquotable(const std::string& line) noexcept {
    return line.starts_with('>') && isQuotedInMailbox(line);
  }

  bool readLine(std::string& line) {
    if (!std::getline(file_, line)) return false;
    done_ += line.size() + 1;
    if (line.ends_with('\r')) line.pop_back();
    return true;
  }

  std::string path_;
  std::ifstream file_;
  std::uintmax_t size_;
  std::uintmax_t done_ = 0;
  std::size_t number_ = 0;
  bool isAtMessage_ = false;  ///< its separator has been read
};

/// The message files that are in the folder itself, by name.
class FolderSource final : public MessageSource {
 public:
  explicit FolderSource(const std::string& path) {
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
      const std::string file = entry->path().string();
      std::error_code ignored;
      const bool isMessage = extensionOf(file) == ".eml" || extensionOf(file) == ".qve";
      if (isMessage && !entry->is_directory(ignored)) files_.push_back(file);
    }
    if (error) throw unreadable(path, error.message());
    std::sort(files_.begin(), files_.end());
  }

  bool next(Message& message) override {
    if (at_ == files_.size()) return false;
    const std::string& file = files_[at_++];
    std::error_code error;
    // What else there may be, as a pipe, would keep its reader waiting.
    if (!fs::is_regular_file(file, error)) throw unreadable(file, error ? error.message() : "it is no file");
    message = {nullptr, withMailLineEnds(readFile(file, "message")), fs::path(file).stem().string()};
    message.email = emailOf(message.text, file);
    return true;
  }

  int percent() const override { return percentOf(at_, files_.size()); }

 private:
  std::vector<std::string> files_;
  std::size_t at_ = 0;
};

/// The name of a document's outermost element; empty when there is none.
std::string_view rootOf(std::string_view document) noexcept {
  for (std::size_t at = document.find('<'); at != document.npos; at = document.find('<', at)) {
    const std::string_view rest = document.substr(at);
    const bool isComment = rest.starts_with("<!--");
    if (!isComment && !rest.starts_with("<?") && !rest.starts_with("<!")) {
      return rest.substr(1, rest.find_first_of(" \t\r\n/>") - 1);
    }
    at = document.find(isComment ? "-->" : ">", at);
    if (at == document.npos) break;
  }
  return {};
}

/// Whether a document ends with the end of its outermost element. The component reads what there is of one
/// that breaks off, and does not say so.
bool isWhole(std::string_view document) noexcept {
  const std::string_view root = rootOf(document);
  const std::size_t last = document.rfind('<');
  if (root.empty() || last == document.npos) return false;
  std::string_view tag = document.substr(last + 1);
  const std::size_t end = tag.find('>');
  if (end == tag.npos || tag.find_first_not_of(" \t\r\n", end + 1) != tag.npos) return false;
  const bool isAlone = end > 0 && tag[end - 1] == '/';
  if (!isAlone && !tag.starts_with('/')) return false;
  if (!isAlone) tag.remove_prefix(1);
  return tag.substr(0, tag.find_first_of(" \t\r\n/>")) == root;
}

class XmlSource final : public MessageSource {
 public:
  XmlSource(const std::string& path, Session& session) : path_(path) {
    const std::string document = readFile(path, "XML");
    session.beginOperation();
    const auto bundle = session.mailMan().LoadXmlString(document);
    if (!bundle) throw unreadable(path, reported(""));
    const std::vector<std::string> errors = session.entries().errors;
    if (!errors.empty()) damage_ = errors.front();
    if (!isWhole(document)) damage_ = "the document breaks off";
    // The bundle has the last one first.
    for (std::int32_t i = bundle->get_MessageCount(); i-- > 0;) {
      emails_.push_back(bundle->GetEmail(i).as<quorvel::IQuorvelEmail3>());
    }
  }

  bool next(Message& message) override {
    if (at_ < emails_.size()) {
      Email email = std::exchange(emails_[at_++], nullptr);
      const std::string which = "message " + std::to_string(at_) + " of " + path_;
      if (!email || email->NumHeaderFields() == 0) throw unreadable(which, "no header field is in it");
      message = {email, email->GetMime(), numbered(at_)};
      return true;
    }
    if (damage_.empty()) return false;
    throw unreadable("all of " + path_, std::exchange(damage_, {}));
  }

  int percent() const override { return percentOf(at_, emails_.size()); }

 private:
  std::string path_;
  std::vector<Email> emails_;
  std::size_t at_ = 0;
  std::string damage_;  ///< told once, at the end
};

class ZipSource final : public MessageSource {
 public:
  explicit ZipSource(const std::string& path)
      : path_(path), zip_(quorvel::create<quorvel::IQuorvelZip4>("QuorvelMail.QuorvelZip")) {
    if (!zip_ || zip_->Open(path) != 1) throw unreadable(path, reported(""));
    count_ = zip_->get_NumEntries();
  }

  bool next(Message& message) override {
    if (at_ >= count_) return false;
    const auto entry = zip_->GetEntryByIndex(at_++);
    auto email = entry ? entry->GetEmail().as<quorvel::IQuorvelEmail3>() : nullptr;
    if (!email) {
      throw unreadable("entry " + std::to_string(at_) + " of " + path_, reported("it is no message"));
    }
    message = {email, email->GetMime(), numbered(static_cast<std::size_t>(at_))};
    return true;
  }

  int percent() const override {
    return percentOf(static_cast<std::uintmax_t>(at_), static_cast<std::uintmax_t>(count_));
  }

 private:
  std::string path_;
  quorvel::Ref<quorvel::IQuorvelZip4> zip_;
  std::int32_t count_ = 0;
  std::int32_t at_ = 0;
};

}  // namespace

std::string extensionOf(const std::string& path) {
  std::string extension = fs::path(path).extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

bool isQuotedInMailbox(std::string_view line) noexcept {
  const std::size_t start = line.find_first_not_of('>');
  return start != std::string_view::npos && line.substr(start).starts_with(kSeparator);
}

Store storeAt(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) return Store::folder;
  if (!fs::is_regular_file(path, error)) throw unreadable(path, error ? error.message() : "it is no file");
  std::ifstream file(path, std::ios::binary);
  char first[4] = {};
  file.read(first, sizeof first);
  std::string_view start(first, static_cast<std::size_t>(file.gcount()));
  if (start == "PK\3\4" || start == "PK\5\6") return Store::zip;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (start.starts_with(kByteOrderMark)) start.remove_prefix(kByteOrderMark.size());
  const std::string extension = extensionOf(path);
  if (start.starts_with('<') || extension == ".xml") return Store::xml;
  return extension == ".zip" ? Store::zip : Store::mailbox;
}

std::unique_ptr<MessageSource> openSource(Store store, const std::string& path, Session& session) {
  const bool isFolder = store == Store::folder;
  std::error_code error;
  if (isFolder ? !fs::is_directory(path, error) : !fs::is_regular_file(path, error)) {
    throw unreadable(path, error ? error.message() : isFolder ? "it is no folder" : "it is no file");
  }
  switch (store) {
    case Store::folder:
      return std::make_unique<FolderSource>(path);
    case Store::xml:
      return std::make_unique<XmlSource>(path, session);
    case Store::zip:
      return std::make_unique<ZipSource>(path);
    case Store::mailbox:
      break;
  }
  return std::make_unique<MailboxSource>(path);
}

}  // namespace cli

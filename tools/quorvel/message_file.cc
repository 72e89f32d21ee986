#include "quorvel/message_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "quorvel/report.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

Failure cannotWrite(const std::string& path, int error) {
  return {Status::file, "cannot write " + path, std::generic_category().message(error),
          "is there room, and may this user write there?"};
}

/// The name of a message's file: its unique id, as far as a name may be that. Nothing in it leads elsewhere,
/// hides the file, or means more to a shell or a terminal than itself.
std::string nameFor(std::string_view uidl) {
  constexpr std::size_t kLongest = 100;
  constexpr std::string_view kSigns = "-_.@+=";
  std::string name(uidl.substr(0, kLongest));
  for (char& c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!plain && kSigns.find(c) == kSigns.npos) c = '_';
  }
  if (name.empty() || name[0] == '.' || name[0] == '-') name.insert(0, 1, '_');
  return name;
}

bool writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::string withMailLineEnds(std::string text) {
  if (text.find("\r\n") != std::string::npos) return text;
  std::string lines;
  lines.reserve(text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')));
  for (const char c : text) {
    if (c == '\n') lines += '\r';
    lines += c;
  }
  return lines;
}

Email readMessage(const std::string& file) {
  auto email = newEmail().as<quorvel::IQuorvelEmail3>();
  const bool isRead = file == "-" ? email->LoadMime(withMailLineEnds(readFile(file, "message"))) == 1
                                  : email->LoadEml(file) == 1;
  if (isRead) return email;
  const auto error = quorvel::lastError();
  throw Failure{Status::file, "cannot read the message " + file, error ? error->description : std::string(),
                "is it a message file?"};
}

MessageFolder::MessageFolder(std::string path) : path_(std::move(path)) {
  std::error_code error;
  std::filesystem::create_directories(path_, error);
  if (std::filesystem::is_directory(path_, error) && ::access(path_.c_str(), W_OK | X_OK) == 0) return;
  throw Failure{Status::file, "cannot keep messages in " + path_, error ? error.message() : "",
                "nothing was done; --to names the folder, which is made when missing"};
}

std::string MessageFolder::keep(std::string_view uidl, std::string_view text) {
  std::string draft = path_ + "/.quorvel-XXXXXX";
  const Descriptor file(::mkostemp(draft.data(), O_CLOEXEC));
  if (file.get() < 0) throw cannotWrite(draft, errno);
  const std::string name = nameFor(uidl);
  std::string path;
  bool kept = writeAll(file.get(), text);
  // Numbers go on from the last one, so that many messages of one name cost no more than others.
  for (std::size_t& number = numbers_[name]; kept;) {
    path = path_ + "/" + name + (++number == 1 ? "" : "-" + std::to_string(number)) + ".eml";
    kept = moveToFreeName(draft, path);
    if (kept) return path;
    kept = errno == EEXIST;
  }
  const int error = errno;
  ::unlink(draft.c_str());
  throw cannotWrite(path.empty() ? draft : path, error);
}

void MessageFolder::settle() const {
  const Descriptor folder(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0 || ::syncfs(folder.get()) != 0) throw cannotWrite(path_, errno);
}

}  // namespace cli

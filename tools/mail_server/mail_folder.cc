#include "mail_server/mail_folder.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/clock.h"
#include "platform/files.h"

namespace qv {

namespace {

std::string envelopeOf(const ReceivedMessage& message) {
  std::string text = "MAIL FROM:<" + message.sender + ">\n";
  for (const std::string& recipient : message.recipients) text += "RCPT TO:<" + recipient + ">\n";
  return text;
}

}  // namespace

bool MailFolder::open(const std::string& path, std::string& error) {
  std::error_code code;
  std::filesystem::create_directories(path, code);
  if (!files::isDirectory(path)) {
    error = code ? code.message() : "Not a directory";
    return false;
  }
  path_ = path;
  return true;
}

bool MailFolder::keep(ReceivedMessage& message, std::string& error) {
  const std::string envelope = envelopeOf(message);
  for (;;) {
    const std::string name = nextName();
    bool existed = false;
    // The envelope's file also reserves the name: it is made only where there is none.
    if (!files::createNew(name + ".envelope", envelope, existed, error)) {
      if (existed) continue;
      return false;
    }
    if (files::replace(name + ".eml", message.text, error)) {
      message.file = name + ".eml";
      return true;
    }
    std::string ignored;
    files::remove(name + ".envelope", ignored);
    return false;
  }
}

std::string uniqueIdOf(const StoredMessage& message) {
  const std::string& name = message.name;
  const bool fits = !name.empty() && name.size() <= 70 &&
                    std::all_of(name.begin(), name.end(), [](char c) { return c > 0x20 && c < 0x7f; });
  if (fits) return name;
  std::uint64_t sum = 0xCBF29CE484222325U;  // FNV-1a
  for (const char c : name) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  char text[20];
  std::snprintf(text, sizeof text, "~%016llx", static_cast<unsigned long long>(sum));
  return text;
}

std::vector<StoredMessage> MailFolder::list() const {
  std::vector<StoredMessage> messages;
  std::error_code code;
  if (path_.empty()) return messages;
  for (std::filesystem::directory_iterator at(path_, code), end; !code && at != end; at.increment(code)) {
    std::error_code gone;  // while we look
    if (at->path().extension() != ".eml" || !at->is_regular_file(gone)) continue;
    const std::uint64_t size = at->file_size(gone);
    if (!gone) messages.push_back({at->path().stem().string(), size});
  }
  std::sort(messages.begin(), messages.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return messages;
}

bool MailFolder::remove(const StoredMessage& message, std::string& error) const {
  const std::string path = pathOf(message);
  if (!files::remove(path, error) && files::exists(path)) return false;
  std::string ignored;
  files::remove(path_ + "/" + message.name + ".envelope", ignored);
  return true;
}

std::string MailFolder::nextName() {
  const std::lock_guard lock(mutex_);  // over both, so that a later time never has a lower number
  const CalendarTime now = universalTimeNow();
  char name[64];
  std::snprintf(name, sizeof name, "/%04u%02u%02u-%02u%02u%02u-%06llu", unsigned{now.year},
                unsigned{now.month}, unsigned{now.day}, unsigned{now.hour}, unsigned{now.minute},
                unsigned{now.second}, static_cast<unsigned long long>(++counter_));
  return path_ + name;
}

}  // namespace qv

#include "mail_server/mail_folder.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

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

#include "api/email_handles.h"

#include <limits>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace qv {

namespace {

struct Table {
  std::mutex mutex;
  std::unordered_map<std::int32_t, InternalEmail> emails;
  std::int32_t last = 0;
};

/// Never destroyed: objects may go while the process is already being taken down.
Table& table() {
  static Table* const instance = new Table;
  return *instance;
}

}  // namespace

EmailHandle::EmailHandle(InternalEmail email) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  do {
    all.last = all.last == std::numeric_limits<std::int32_t>::max() ? 1 : all.last + 1;
  } while (all.emails.contains(all.last));
  all.emails.emplace(all.last, std::move(email));
  number_ = all.last;
}

EmailHandle::~EmailHandle() {
  Table& all = table();
  InternalEmail email;  // deleted after the lock is gone
  const std::lock_guard lock(all.mutex);
  const auto found = all.emails.find(number_);
  email = std::move(found->second);
  all.emails.erase(found);
}

void EmailHandle::setEmail(std::shared_ptr<Email> email) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  all.emails.find(number_)->second.email.swap(email);
}

InternalEmail emailOfNumber(std::int32_t number) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  const auto found = all.emails.find(number);
  return found == all.emails.end() ? InternalEmail{} : found->second;
}

std::shared_ptr<Email> internalEmail(quorvel::IQuorvelEmail& email) {
  return emailToSend(email).email;
}

InternalEmail emailToSend(quorvel::IQuorvelEmail& email) {
  const auto object = email.as<quorvel::IQuorvelEmail2>();
  return object ? emailOfNumber(object->GetImpl()) : InternalEmail{};
}

}  // namespace qv

// The e-mails that a receiving operation collects.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <utility>

#include "core/quorvel_object.h"
#include "email/email.h"

namespace qv {

/// Owned e-mails in order. Filled by the engine, emptied by the public layer.
class MailBundle : public QuorvelObject {
 public:
  /// Null is ignored.
  void append(std::unique_ptr<Email> email) {
    if (email != nullptr) emails_.push_back(std::move(email));
  }
  std::size_t count() const noexcept { return emails_.size(); }
  /// Null when out of range.
  const Email* at(std::size_t index) const noexcept {
    return index < emails_.size() ? emails_[index].get() : nullptr;
  }
  /// Takes an e-mail out and hands it to the caller; null when out of range. Constant time at both ends.
  std::unique_ptr<Email> take(std::size_t index) {
    if (index >= emails_.size()) return nullptr;
    std::unique_ptr<Email> email = std::move(emails_[index]);
    emails_.erase(emails_.begin() + static_cast<std::ptrdiff_t>(index));
    return email;
  }

 private:
  std::deque<std::unique_ptr<Email>> emails_;
};

}  // namespace qv

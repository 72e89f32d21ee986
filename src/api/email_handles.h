// The numbers by which e-mails are known across the public interface.
#pragma once

#include <cstdint>
#include <memory>

#include <quorvel/email.h>

#include "email/email.h"

namespace qv {

/// A number for an e-mail, taken back when the handle goes. Numbers count up and say nothing about addresses.
class EmailHandle {
 public:
  explicit EmailHandle(std::shared_ptr<Email> email);
  ~EmailHandle();
  EmailHandle(const EmailHandle&) = delete;
  EmailHandle& operator=(const EmailHandle&) = delete;

  std::int32_t number() const noexcept { return number_; }
  /// Gives the number to another e-mail. Whoever has the one before keeps it.
  void setEmail(std::shared_ptr<Email> email);

 private:
  std::int32_t number_;
};

/// The e-mail of a number, shared so that it outlives whatever the host does meanwhile; null when the number
/// is not one of this component's. Safe to call from several threads.
std::shared_ptr<Email> emailOfNumber(std::int32_t number);
/// The e-mail behind a host's object; null when it is none of this component's.
std::shared_ptr<Email> internalEmail(quorvel::IQuorvelEmail& email);

}  // namespace qv

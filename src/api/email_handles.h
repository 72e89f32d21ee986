// The numbers by which e-mails are known across the public interface.
#pragma once

#include <cstdint>
#include <memory>

#include <quorvel/email.h>

#include "email/email.h"
#include "email/replace_patterns.h"

namespace qv {

/// What is behind a number.
struct InternalEmail {
  std::shared_ptr<Email> email;
  std::shared_ptr<const ReplacePatterns> patterns;
};

/// A number for an e-mail, taken back when the handle goes. Numbers count up and say nothing about addresses.
class EmailHandle {
 public:
  explicit EmailHandle(InternalEmail email);
  ~EmailHandle();
  EmailHandle(const EmailHandle&) = delete;
  EmailHandle& operator=(const EmailHandle&) = delete;

  std::int32_t number() const noexcept { return number_; }
  /// Gives the number to another e-mail. Whoever has the one before keeps it.
  void setEmail(std::shared_ptr<Email> email);

 private:
  std::int32_t number_;
};

/// The e-mail of a number, shared so that it outlives whatever the host does meanwhile; empty when the number
/// is not one of this component's. Safe to call from several threads.
InternalEmail emailOfNumber(std::int32_t number);
/// The e-mail behind a host's object; null when it is none of this component's.
std::shared_ptr<Email> internalEmail(quorvel::IQuorvelEmail& email);
/// The same with its patterns.
InternalEmail emailToSend(quorvel::IQuorvelEmail& email);

}  // namespace qv

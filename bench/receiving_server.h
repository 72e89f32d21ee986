// What the benchmarks of sending send, and the server that takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "email/email.h"
#include "net/smtp_session.h"

namespace qv_bench {

/// The port of an SMTP server that throws away what it gets, in a process of its own; started at the first
/// call, ended with this process.
std::uint16_t serverPort();

/// A message from sender@example.org to reader@example.org with about `size` bytes of plain text.
std::unique_ptr<qv::Email> plainMessage(std::size_t size);

/// Its text as it is sent, without the dots that are doubled on the way.
std::string plainText(std::size_t size);

/// For sessions of the component with that server.
qv::SmtpSettings serverSettings();

}  // namespace qv_bench

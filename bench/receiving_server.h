// What the benchmarks of sending send, and the server that takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "email/email.h"

namespace qv_bench {

/// The port of an SMTP server that throws away what it gets, in a process of its own; started at the first
/// call, ended with this process.
std::uint16_t serverPort();

/// A message from sender@example.org to reader@example.org with about `size` bytes of plain text.
std::unique_ptr<qv::Email> plainMessage(std::size_t size);

}  // namespace qv_bench

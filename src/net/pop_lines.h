// What is read from single lines of a POP3 server (RFC 1939 3, 5, 7).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace qv {

/// Whether a status line says that a command succeeded; in any case of letters.
bool isPopOk(std::string_view line) noexcept;

struct PopStatus {
  std::int32_t count = 0;
  std::int32_t totalSize = 0;  ///< octets
};
/// The answer to STAT, which must say "+OK" in capitals and two numbers. Numbers that 32 bits do not hold
/// read as the nearest that they do: a mailbox may well hold more than 2 GiB.
std::optional<PopStatus> readPopStatus(std::string_view line) noexcept;

struct PopListed {
  std::int32_t number = 0;
  std::string_view uidl;  ///< any bytes but white space; views the line
};
/// A line of the listing of unique ids. None when it does not hold both, or a number that 32 bits do not
/// hold: no message has it.
std::optional<PopListed> readPopListed(std::string_view line) noexcept;

}  // namespace qv

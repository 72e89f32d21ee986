// Why a server cannot be reached. The component only says that it cannot.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

struct Reach {
  enum class Kind { reached, unknownHost, silent, refused };
  Kind kind = Kind::reached;
  std::string reason;  ///< in the system's words
};
/// Tries to connect once more, for a few seconds at most.
Reach tryToReach(const std::string& host, std::int32_t port);

}  // namespace cli

// Why a server cannot be reached. The component only says that it cannot.
#pragma once

#include <string>

#include "quorvel/server.h"

namespace cli {

struct Reach {
  enum class Kind { reached, unknownHost, silent, refused };
  Kind kind = Kind::reached;
  std::string reason;  ///< in the system's words
};
/// Tries to connect once more, for no longer than its time-out, and a few seconds at most.
Reach tryToReach(const Server& server);

}  // namespace cli

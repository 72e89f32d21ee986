// POP3 sessions over a connection that somebody else made.
#pragma once

#include <memory>

#include "net/pop_dialogue.h"
#include "net/pop_session.h"
#include "net/socket.h"

namespace qv {

/// Greeting, login and STAT on a socket that is connected, as `popConnect` does them. User name and password
/// must be texts that may stand in a command.
std::unique_ptr<PopConn> popConnectOn(std::unique_ptr<QuorvelSocket> socket, const PopSettings& settings,
                                      CLog* log, const PopLimits& limits = {});

}  // namespace qv

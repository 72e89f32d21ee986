// Why the component could not do something with a server, in plain words, told from what it logged.
#pragma once

#include <string>

#include "quorvel/report.h"
#include "quorvel/server.h"
#include "quorvel/session.h"

namespace cli {

/// Of a failed operation, as "mail.example.org:110 refuses the login of ann"; its details are the logged
/// errors. `user` is who was to log in, if anybody. Tries to connect once more when there was no connection,
/// to see what kept it from coming about.
Failure diagnose(Protocol protocol, const Server& server, const std::string& user, const Entries& entries);

/// Only the status of that, without trying anything.
Status statusOf(const Entries& entries);

}  // namespace cli

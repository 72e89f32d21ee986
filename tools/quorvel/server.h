// Which server a command talks to, and how long it waits for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quorvel/command_line.h"

namespace cli {

enum class Protocol { smtp, pop3 };

/// "SMTP", "POP3".
std::string_view nameOf(Protocol protocol) noexcept;

struct Server {
  std::string host = "localhost";
  std::int32_t port = 25;
  std::int32_t connectTimeout = 30;  ///< seconds; 0 waits as long as it takes
  std::int32_t readTimeout = 30;
  std::string toText() const { return host + ":" + std::to_string(port); }
};

/// What the command line says of it.
struct ServerOptions {
  std::string server = "localhost";  ///< HOST or HOST:PORT
  std::int32_t connectTimeout = 30;
  std::int32_t readTimeout = 30;
};

/// `usual` is the server and port that are meant when none is given.
void addServerOptions(CLI::App& command, ServerOptions& options, const std::string& usual);
/// Throws a Failure when they name no server. Without a port, that of the protocol.
Server serverOf(const ServerOptions& options, Protocol protocol);

}  // namespace cli

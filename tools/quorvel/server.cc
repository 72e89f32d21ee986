#include "quorvel/server.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include <CLI/CLI.hpp>

#include "quorvel/report.h"

namespace cli {

namespace {

constexpr std::int32_t kSmtpPort = 25;
constexpr std::int32_t kPop3Port = 110;

void addSeconds(CLI::App& command, const std::string& name, std::int32_t& seconds, const std::string& what) {
  command.add_option(name, seconds, what + "; 0: no limit")
      ->type_name("SECONDS")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
}

}  // namespace

std::string_view nameOf(Protocol protocol) noexcept {
  return protocol == Protocol::smtp ? "SMTP" : "POP3";
}

void addServerOptions(CLI::App& command, ServerOptions& options, const std::string& usual) {
  command.add_option("--server", options.server, "Server, HOST or HOST:PORT")
      ->type_name("HOST:PORT")
      ->default_str(usual);
  addSeconds(command, "--connect-timeout", options.connectTimeout, "Seconds to wait for the connection");
  addSeconds(command, "--read-timeout", options.readTimeout, "Seconds to wait for each answer");
}

Server serverOf(const ServerOptions& options, Protocol protocol) {
  Server server;
  server.connectTimeout = options.connectTimeout;
  server.readTimeout = options.readTimeout;
  server.port = protocol == Protocol::smtp ? kSmtpPort : kPop3Port;
  const std::size_t colon = options.server.rfind(':');
  server.host = options.server.substr(0, colon);
  if (colon != std::string::npos) {
    const char* end = options.server.data() + options.server.size();
    const auto [stop, error] = std::from_chars(options.server.data() + colon + 1, end, server.port);
    if (stop != end || error != std::errc{}) server.port = 0;
  }
  if (server.host.empty() || !isOneLine(server.host) || server.port < 1 || server.port > 65535) {
    throw usage("--server " + options.server + " is not HOST or HOST:PORT");
  }
  return server;
}

}  // namespace cli

#include "receiving_server.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "mail_server/mail_server.h"

namespace qv_bench {

namespace {

/// On the last processor, so that it does not take the sender's time.
void runServer(int reportTo) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  cpu_set_t last;
  CPU_ZERO(&last);
  CPU_SET(static_cast<std::size_t>(::sysconf(_SC_NPROCESSORS_ONLN) - 1), &last);
  ::sched_setaffinity(0, sizeof last, &last);
  qv::MailServerOptions options;
  options.rules.discardText = true;
  qv::MailServer server;
  const std::uint16_t port = server.start(0, "", options) ? server.port() : 0;
  if (::write(reportTo, &port, sizeof port) != sizeof port) std::_Exit(1);
  for (;;) ::pause();
}

std::uint16_t startServer() {
  int pipe[2];
  if (::pipe(pipe) != 0) std::abort();
  if (::fork() == 0) runServer(pipe[1]);
  std::uint16_t port = 0;
  if (::read(pipe[0], &port, sizeof port) != sizeof port || port == 0) std::abort();
  return port;
}

std::string prose(std::size_t size) {
  std::string text;
  text.reserve(size + 80);
  while (text.size() < size)
    text += "The quick brown fox jumps over the lazy dog, again and again and again.\r\n";
  return text;
}

}  // namespace

std::uint16_t serverPort() {
  static const std::uint16_t port = startServer();
  return port;
}

std::unique_ptr<qv::Email> plainMessage(std::size_t size) {
  auto email = std::make_unique<qv::Email>(nullptr);
  email->setFrom("sender@example.org");
  email->addTo("", "reader@example.org");
  email->setSubject("Order 4711");
  email->setBody(prose(size), false);
  return email;
}

std::string plainText(std::size_t size) {
  qv::StringBuffer text;
  plainMessage(size)->writeMime(text, "QVX-");
  return text.str();
}

qv::SmtpSettings serverSettings() {
  qv::SmtpSettings settings;
  settings.host = "127.0.0.1";
  settings.port = serverPort();
  settings.authMethod = "NONE";
  return settings;
}

}  // namespace qv_bench

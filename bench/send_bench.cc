// Sending over a loopback session: the component beside a bare socket client that plays the same dialogue
// with the same chunk sizes, and beside libcurl. The CPU column is the time of the sending thread alone; the
// server runs in a process of its own.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/log.h"
#include "core/log_store.h"
#include "curl_sender.h"
#include "email/distribution_list.h"
#include "email/email.h"
#include "net/progress_monitor.h"
#include "net/smtp_session.h"
#include "receiving_server.h"

namespace {

constexpr std::size_t kSmall = 10 * 1024;
constexpr std::size_t kLarge = 50 * 1024 * 1024;

/// Writes all of it and reads one reply line for each line end asked for.
class BareClient {
 public:
  explicit BareClient(std::uint16_t port) : handle_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    ::setsockopt(handle_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(handle_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
    expect("220");
    ask("EHLO bench.example.org\r\n", "250");
  }
  ~BareClient() { ::close(handle_); }

  void send(std::string_view text) {
    ask("MAIL FROM:<sender@example.org>\r\n", "250");
    ask("RCPT TO:<reader@example.org>\r\n", "250");
    ask("DATA\r\n", "354");
    sendPaced(text);
    ask("\r\n.\r\n", "250");
  }

 private:
  static std::uint64_t milliseconds() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(
        duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count());
  }
  void sendAll(std::string_view text) {
    while (!text.empty()) {
      const ssize_t sent = ::send(handle_, text.data(), text.size(), MSG_NOSIGNAL);
      if (sent <= 0) std::abort();
      text.remove_prefix(static_cast<std::size_t>(sent));
    }
  }
  /// The chunk sizes of the component's paced sending.
  void sendPaced(std::string_view text) {
    std::size_t chunk = 3000;
    std::uint64_t total = 0, elapsed = 0;
    while (!text.empty()) {
      const std::string_view part = text.substr(0, chunk);
      const std::uint64_t start = milliseconds();
      sendAll(part);
      elapsed += milliseconds() - start;
      total += part.size();
      text.remove_prefix(part.size());
      chunk = elapsed <= 10 ? 1000 : std::clamp<std::uint64_t>(total * 500 / elapsed, 1000, 2 * chunk);
    }
  }
  void ask(std::string_view command, std::string_view code) {
    sendAll(command);
    expect(code);
  }
  void expect(std::string_view code) {
    std::string reply;
    char buffer[1000];
    std::size_t line = 0;
    for (;;) {
      const ssize_t got = ::recv(handle_, buffer, sizeof buffer, 0);
      if (got <= 0) std::abort();
      reply.append(buffer, static_cast<std::size_t>(got));
      for (std::size_t end; (end = reply.find("\r\n", line)) != std::string::npos; line = end + 2) {
        if (reply[line + 3] == '-') continue;
        if (reply.compare(line, 3, code) != 0) std::abort();
        return;
      }
    }
  }
  int handle_;
};

void report(benchmark::State& state, std::size_t size) {
  const auto rounds = static_cast<std::int64_t>(state.iterations());
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * rounds);
  state.SetItemsProcessed(rounds);
}

void component(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  auto store = std::make_shared<qv::LogStore>();
  qv::CLogImpl log(store);
  const auto session = qv::smtpConnect(qv_bench::serverSettings(), &log);
  const auto email = qv_bench::plainMessage(size);
  qv::DistributionList rejected;
  for (auto _ : state) {
    log.CheckHighWater();
    const qv::LogContext context(&log, "SendEmail");
    qv::ProgressMonitor progress(qv::ProgressMonitor::kMailSender, qv::ProgressMonitor::kSending,
                                 static_cast<std::uint32_t>(size * 3 / 2 + 200), nullptr);
    qv::SendOutcome outcome;
    if (!session || !session->sendEmail(email.get(), "", &log, &progress, outcome, rejected, true)) {
      state.SkipWithError("the message was not sent");
      break;
    }
  }
  report(state, size);
}
BENCHMARK(component)->Name("send/component")->Arg(kSmall)->Arg(kLarge);

void bare(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::string text = qv_bench::plainText(size);
  BareClient client(qv_bench::serverPort());
  for (auto _ : state) client.send(text);
  report(state, size);
}
BENCHMARK(bare)->Name("send/bare")->Arg(kSmall)->Arg(kLarge);

#ifdef QUORVEL_HAVE_CURL
void withCurl(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::string text = qv_bench::plainText(size);
  qv_bench::CurlSender sender;
  for (auto _ : state) {
    if (!sender.send(text)) {
      state.SkipWithError("libcurl did not send the message");
      break;
    }
  }
  report(state, size);
}
BENCHMARK(withCurl)->Name("send/libcurl")->Arg(kSmall)->Arg(kLarge);
#endif

}  // namespace

// A bundle of messages of 10 KB through one loopback session, opened and closed with it: the component,
// without and with mail merge, beside libcurl and Python's smtplib, which send a text that stands ready. Time
// is the sending thread's processor time, which is what differs; the wall clock, in the counter, waits for
// the same server.
#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "core/log.h"
#include "core/log_store.h"
#include "curl_sender.h"
#include "email/replace_patterns.h"
#include "mailman/outbox.h"
#include "receiving_server.h"

namespace {

constexpr std::size_t kMessages = 100;
constexpr std::size_t kSize = 10 * 1024;

void pinToFirstProcessor() {
  cpu_set_t first;
  CPU_ZERO(&first);
  CPU_SET(0, &first);
  ::sched_setaffinity(0, sizeof first, &first);
}

/// What sending one bundle took, in seconds.
struct Cost {
  double cpu = -1;  ///< negative: it was not sent
  double wall = 0;
};

double secondsOf(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <typename Send>
Cost costOf(Send send) {
  const double cpu = secondsOf(CLOCK_THREAD_CPUTIME_ID);
  const double wall = secondsOf(CLOCK_MONOTONIC);
  if (!send()) return {};
  return {secondsOf(CLOCK_THREAD_CPUTIME_ID) - cpu, secondsOf(CLOCK_MONOTONIC) - wall};
}

template <typename SendBundle>
void measure(benchmark::State& state, SendBundle sendBundle) {
  pinToFirstProcessor();
  double wall = 0;
  for (auto _ : state) {
    const Cost cost = sendBundle();
    if (cost.cpu < 0) {
      state.SkipWithError("the bundle was not sent");
      break;
    }
    state.SetIterationTime(cost.cpu);
    wall += cost.wall;
  }
  const auto sent = static_cast<double>(state.iterations() * static_cast<std::int64_t>(kMessages));
  state.SetItemsProcessed(static_cast<std::int64_t>(sent));
  state.counters["wall_us_per_message"] = wall * 1e6 / sent;
}

void component(benchmark::State& state, bool merged) {
  qv::CLogImpl log(std::make_shared<qv::LogStore>());
  qv::OutboxSettings settings;
  settings.smtp = qv_bench::serverSettings();
  qv::ReplacePatterns patterns;
  if (merged) patterns.set("lazy", "sleeping");
  std::vector<std::unique_ptr<qv::Email>> emails;
  std::vector<qv::OutgoingEmail> bundle;
  while (bundle.size() < kMessages) {
    emails.push_back(qv_bench::plainMessage(kSize));
    bundle.push_back({emails.back().get(), &patterns});
  }
  measure(state, [&] {
    return costOf([&] {
      log.CheckHighWater();
      const qv::LogContext context(&log, "SendBundle");
      return qv::Outbox(settings, nullptr, &log).sendBundle(bundle).success;
    });
  });
}
BENCHMARK_CAPTURE(component, plain, false)->Name("bundle/component")->UseManualTime();
BENCHMARK_CAPTURE(component, merged, true)->Name("bundle/component_merged")->UseManualTime();

#ifdef QUORVEL_HAVE_CURL
void withCurl(benchmark::State& state) {
  const std::string text = qv_bench::plainText(kSize);
  measure(state, [&] {
    return costOf([&] {
      qv_bench::CurlSender sender;
      bool sent = true;
      for (std::size_t i = 0; i < kMessages && sent; ++i) sent = sender.send(text);
      return sent;
    });
  });
}
BENCHMARK(withCurl)->Name("bundle/libcurl")->UseManualTime();
#endif

/// A Python process that sends a bundle for each line it reads, and answers with what that took.
class PythonSender {
 public:
  PythonSender() {
    static constexpr char kProgram[] = R"(
import smtplib, sys, time
port, count, size = map(int, sys.argv[1:])
text = sys.stdin.buffer.read(size)
for _ in sys.stdin.buffer:
    cpu, wall = time.thread_time(), time.perf_counter()
    with smtplib.SMTP('127.0.0.1', port) as session:
        for _ in range(count):
            session.sendmail('sender@example.org', ['reader@example.org'], text)
    print(time.thread_time() - cpu, time.perf_counter() - wall, flush=True)
)";
    const std::string text = qv_bench::plainText(kSize);
    const std::string arguments[] = {std::to_string(qv_bench::serverPort()), std::to_string(kMessages),
                                     std::to_string(text.size())};
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0) std::abort();
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(in[0], STDIN_FILENO);
      ::dup2(out[1], STDOUT_FILENO);
      for (const int end : {in[0], in[1], out[0], out[1]}) ::close(end);
      ::execlp("python3", "python3", "-c", kProgram, arguments[0].c_str(), arguments[1].c_str(),
               arguments[2].c_str(), nullptr);
      std::_Exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    to_ = ::fdopen(in[1], "w");
    from_ = ::fdopen(out[0], "r");
    std::fwrite(text.data(), 1, text.size(), to_);
  }
  ~PythonSender() {
    std::fclose(to_);
    std::fclose(from_);
    ::waitpid(child_, nullptr, 0);
  }
  PythonSender(const PythonSender&) = delete;
  PythonSender& operator=(const PythonSender&) = delete;

  Cost sendBundle() {
    std::fputs("\n", to_);
    std::fflush(to_);
    Cost cost;
    return std::fscanf(from_, "%lf %lf", &cost.cpu, &cost.wall) == 2 ? cost : Cost{};
  }

 private:
  pid_t child_;
  std::FILE* to_ = nullptr;
  std::FILE* from_ = nullptr;
};

void withSmtplib(benchmark::State& state) {
  pinToFirstProcessor();
  PythonSender sender;
  measure(state, [&] { return sender.sendBundle(); });
}
BENCHMARK(withSmtplib)->Name("bundle/smtplib")->UseManualTime();

}  // namespace

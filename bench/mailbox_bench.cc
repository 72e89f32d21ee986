// Loading a mailbox file of made-up mail, beside reading the same messages one by one from memory; both in
// bytes of their texts a second.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "email/email_reader.h"
#include "mail_generator.h"
#include "mailman/mail_man.h"

namespace {

constexpr std::size_t kBytes = std::size_t{64} << 20;

const std::vector<std::string>& messages() {
  static const std::vector<std::string> mail = qv_bench::generateMail(1, kBytes);
  return mail;
}

/// A mailbox file of the messages, removed at the end.
class MailboxFile {
 public:
  explicit MailboxFile(bool crlf) {
    char name[] = "/tmp/quorvel_bench_XXXXXX";
    const int handle = ::mkstemp(name);
    if (handle < 0) std::abort();
    ::close(handle);
    path_ = name;
    std::ofstream file(path_, std::ios::binary);
    for (const std::string& message : messages()) {
      std::string text = "From sender@example.org Mon Nov 23 00:00:00 2026\r\n" + message + "\r\n";
      if (!crlf) std::erase(text, '\r');
      file << text;
    }
  }
  ~MailboxFile() { std::remove(path_.c_str()); }
  MailboxFile(const MailboxFile&) = delete;
  MailboxFile& operator=(const MailboxFile&) = delete;
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

void finish(benchmark::State& state) {
  std::size_t size = 0;
  for (const std::string& message : messages()) size += message.size();
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

void load(benchmark::State& state, bool crlf) {
  const MailboxFile file(crlf);
  const qv::ReceiveSettings settings;
  for (auto _ : state) {
    const auto bundle = qv::MailMan(settings, nullptr, nullptr).loadMbx(file.path());
    if (bundle->count() != messages().size()) return state.SkipWithError("not all messages were loaded");
  }
  finish(state);
}

void readOneByOne(benchmark::State& state) {
  for (auto _ : state) {
    qv::MailBundle bundle;
    for (const std::string& message : messages()) {
      bundle.append(qv::createFromMimeText(message, {.processSecurity = true}, nullptr));
    }
    benchmark::DoNotOptimize(bundle.count());
  }
  finish(state);
}

BENCHMARK_CAPTURE(load, crlf, true)->Name("mailbox/load_crlf")->UseRealTime();
BENCHMARK_CAPTURE(load, lf, false)->Name("mailbox/load_lf")->UseRealTime();
BENCHMARK(readOneByOne)->Name("mailbox/one_by_one")->UseRealTime();

}  // namespace

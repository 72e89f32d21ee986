// The filter language: what one evaluation costs, and what filtering a mailbox of made-up mail costs beside
// reading it, which comes first and must cost the most.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "email/email_reader.h"
#include "mail_generator.h"
#include "mailman/expression.h"

namespace {

constexpr const char* kShort = "Subject like \"*report*\"";
constexpr const char* kUsual =
    "(Subject contains \"report\" or Subject like \"*invoice*\") and not (From contains \"spam\") and "
    "X-Priority <> \"5\"";

constexpr std::size_t kMessages = 10000;

/// 10,000 messages in all, made of as many different ones as 32 MiB hold.
const std::vector<std::string>& mailbox() {
  static const std::vector<std::string> mail = qv_bench::generateMail(2, std::size_t{32} << 20);
  return mail;
}
const std::string& message(std::size_t number) {
  return mailbox()[number % mailbox().size()];
}
std::unique_ptr<qv::Email> read(std::size_t number) {
  return qv::createFromMimeText(message(number), {.processSecurity = true}, nullptr);
}

void evaluate(benchmark::State& state, const char* text) {
  const auto email = read(0);
  const qv::Expression filter(text);
  for (auto _ : state) benchmark::DoNotOptimize(filter.evaluate(*email));
  state.SetItemsProcessed(state.iterations());
}

/// Evaluating against an e-mail whose subject is long and fits the pattern nearly everywhere.
void evaluateLong(benchmark::State& state) {
  qv::Email email(nullptr);
  email.setSubject(std::string(std::size_t{1} << 20, 'a'));
  const qv::Expression filter("Subject like \"*" + std::string(1000, 'a') + "b*\"");
  for (auto _ : state) benchmark::DoNotOptimize(filter.evaluate(email));
  state.SetBytesProcessed(state.iterations() << 20);
}

void make(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(qv::Expression(kUsual).tokens().size());
  state.SetItemsProcessed(state.iterations());
}

void readMailbox(benchmark::State& state) {
  for (auto _ : state) {
    for (std::size_t i = 0; i < kMessages; ++i) benchmark::DoNotOptimize(read(i));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMessages));
}

void filterMailbox(benchmark::State& state) {
  std::vector<std::unique_ptr<qv::Email>> emails;
  for (std::size_t i = 0; i < mailbox().size(); ++i) emails.push_back(read(i));
  const qv::Expression filter(kUsual);
  std::size_t kept = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kMessages; ++i) kept += filter.evaluate(*emails[i % emails.size()]) ? 1 : 0;
  }
  benchmark::DoNotOptimize(kept);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMessages));
}

BENCHMARK_CAPTURE(evaluate, one, kShort)->Name("filter/evaluate/one_comparison");
BENCHMARK_CAPTURE(evaluate, four, kUsual)->Name("filter/evaluate/four_comparisons");
BENCHMARK(evaluateLong)->Name("filter/evaluate/hostile_1MiB");
BENCHMARK(make)->Name("filter/make");
BENCHMARK(readMailbox)->Name("filter/10000_messages/reading")->Unit(benchmark::kMillisecond);
BENCHMARK(filterMailbox)->Name("filter/10000_messages/filtering")->Unit(benchmark::kMillisecond);

}  // namespace

// The XML form of made-up mail, in bytes of message text a second: writing the documents of e-mails that
// stand ready, and loading one document with all of them. Beside it what neither can do without: rendering
// and reading the same messages as texts.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/xml_tree.h"
#include "email/email_reader.h"
#include "email/email_xml.h"
#include "mail_generator.h"

namespace {

const std::vector<std::string>& mailbox() {
  static const std::vector<std::string> mail = qv_bench::generateMail(1, std::size_t{32} << 20);
  return mail;
}

const std::vector<const qv::Email*>& emails() {
  static std::vector<std::unique_ptr<qv::Email>> owner;
  static const std::vector<const qv::Email*> list = [] {
    std::vector<const qv::Email*> all;
    for (const std::string& message : mailbox()) {
      owner.push_back(qv::createFromMimeText(message, {}, nullptr));
      all.push_back(owner.back().get());
    }
    return all;
  }();
  return list;
}

const qv::StringBuffer& document() {
  static const qv::StringBuffer text = qv::bundleXmlDocument(emails());
  return text;
}

void finish(benchmark::State& state) {
  std::size_t size = 0;
  for (const std::string& message : mailbox()) size += message.size();
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

void writeText(benchmark::State& state) {
  for (auto _ : state) {
    for (const qv::Email* email : emails()) {
      qv::StringBuffer out;
      email->writeMime(out, {});
      benchmark::DoNotOptimize(out.size());
    }
  }
  finish(state);
}
BENCHMARK(writeText)->Name("xml/beside/write_text");

void readText(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& message : mailbox()) {
      benchmark::DoNotOptimize(qv::createFromMimeText(message, {.processSecurity = true}, nullptr));
    }
  }
  finish(state);
}
BENCHMARK(readText)->Name("xml/beside/read_text");

void writeXml(benchmark::State& state) {
  for (auto _ : state) {
    for (const qv::Email* email : emails()) {
      qv::StringBuffer out;
      qv::writeEmailXml(*email, out);
      benchmark::DoNotOptimize(out.size());
    }
  }
  finish(state);
}
BENCHMARK(writeXml)->Name("xml/write");

void parseXml(benchmark::State& state) {
  document();
  for (auto _ : state) benchmark::DoNotOptimize(qv::TreeNode::parseXml(document(), nullptr));
  finish(state);
}
BENCHMARK(parseXml)->Name("xml/parse");

void loadXml(benchmark::State& state) {
  document();
  std::size_t loaded = 0;
  for (auto _ : state) {
    loaded = 0;
    qv::readEmailsXml(document(), nullptr, [&](std::unique_ptr<qv::Email>) { ++loaded; });
  }
  if (loaded != mailbox().size()) return state.SkipWithError("did not load every message");
  finish(state);
}
BENCHMARK(loadXml)->Name("xml/load");

}  // namespace

// Reading a mailbox of made-up mail whole, in bytes of message text a second: every field read, every body
// decoded. Beside it, where they are installed, GMime and mimetic at the same work, and one search for the
// line ends of the same bytes, which nothing that looks at all of a text can beat by much.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "email/email_reader.h"
#include "mail_generator.h"

#ifdef QUORVEL_HAVE_GMIME
#include <gmime/gmime.h>
#endif
#ifdef QUORVEL_HAVE_MIMETIC
#include <mimetic/mimetic.h>
#endif

namespace {

const std::vector<std::string>& mailbox() {
  static const std::vector<std::string> mail = qv_bench::generateMail(1, std::size_t{32} << 20);
  return mail;
}

/// What reading found, so that all readers can be held to have done the same.
struct Found {
  std::size_t leaves = 0;
  std::size_t bytes = 0;
  void add(std::size_t size) {
    ++leaves;
    bytes += size;
  }
};

using Reader = Found (*)(const std::string& message);

Found readWithComponent(const std::string& message) {
  Found found;
  const auto email = qv::createFromMimeText(message, {.processSecurity = true}, nullptr);
  qv::Email::forEachEntity(*email, [&](const qv::Email& entity) {
    if (!entity.isMultipart()) found.add(entity.body().data().size());
  });
  return found;
}

#ifdef QUORVEL_HAVE_GMIME

// Reads from the message where it lies; the bodies go one after the other through one buffer that exists
// already, so that the peer pays for nothing but its own work.
Found readWithGmime(const std::string& message) {
  static const bool started = (g_mime_init(), true);
  static GMimeStream* const out = g_mime_stream_mem_new();
  benchmark::DoNotOptimize(started);
  GByteArray bytes{reinterpret_cast<guint8*>(const_cast<char*>(message.data())),
                   static_cast<guint>(message.size())};
  GMimeStream* in = g_mime_stream_mem_new_with_byte_array(&bytes);
  g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(in), FALSE);
  GMimeParser* parser = g_mime_parser_new_with_stream(in);
  GMimeMessage* parsed = g_mime_parser_construct_message(parser, nullptr);
  Found found;
  g_mime_message_foreach(
      parsed,
      [](GMimeObject*, GMimeObject* part, gpointer sum) {
        if (!GMIME_IS_PART(part)) return;
        g_mime_stream_reset(out);
        GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part));
        if (content == nullptr) return;
        const gssize size = g_mime_data_wrapper_write_to_stream(content, out);
        static_cast<Found*>(sum)->add(static_cast<std::size_t>(size));
      },
      &found);
  g_object_unref(parsed);
  g_object_unref(parser);
  g_object_unref(in);
  return found;
}

#endif
#ifdef QUORVEL_HAVE_MIMETIC

void decodeWithMimetic(const mimetic::MimeEntity& entity, std::string& out, Found& found) {
  for (const mimetic::MimeEntity* part : entity.body().parts()) decodeWithMimetic(*part, out, found);
  if (!entity.body().parts().empty()) return;
  const std::string& body = entity.body();
  const std::string& coding = entity.header().contentTransferEncoding().mechanism();
  out.clear();
  if (coding == "base64") {
    mimetic::Base64::Decoder decoder;
    mimetic::decode(body.begin(), body.end(), decoder, std::back_inserter(out));
  } else if (coding == "quoted-printable") {
    mimetic::QP::Decoder decoder;
    mimetic::decode(body.begin(), body.end(), decoder, std::back_inserter(out));
  } else {
    out = body;
  }
  found.add(out.size());
}

Found readWithMimetic(const std::string& message) {
  static std::string out;
  mimetic::MimeEntity entity;
  entity.load(message.begin(), message.end(), 0);
  Found found;
  decodeWithMimetic(entity, out, found);
  return found;
}

#endif

Found findLineEnds(const std::string& message) {
  Found found;
  const char* at = message.data();
  const char* const end = at + message.size();
  while (const void* lineEnd = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
    at = static_cast<const char*>(lineEnd) + 1;
    ++found.bytes;
  }
  return found;
}

void run(benchmark::State& state, Reader reader, bool isReader) {
  std::size_t size = 0;
  for (const std::string& message : mailbox()) {
    size += message.size();
    const Found found = reader(message);
    const Found expected = readWithComponent(message);
    // Line breaks may be of one byte or two, and belong to the end of a body or not.
    const std::size_t slack = 3 * expected.leaves + expected.bytes / 32;
    if (isReader && (found.leaves != expected.leaves || found.bytes + slack < expected.bytes ||
                     found.bytes > expected.bytes + slack)) {
      return state.SkipWithError("did not read what the component read");
    }
  }
  for (auto _ : state) {
    for (const std::string& message : mailbox()) benchmark::DoNotOptimize(reader(message));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

// Run with --benchmark_enable_random_interleaving=true --benchmark_repetitions=5 to compare the rows.
BENCHMARK_CAPTURE(run, component, readWithComponent, true)->Name("receive/component");
#ifdef QUORVEL_HAVE_GMIME
BENCHMARK_CAPTURE(run, gmime, readWithGmime, true)->Name("receive/gmime");
#endif
#ifdef QUORVEL_HAVE_MIMETIC
BENCHMARK_CAPTURE(run, mimetic, readWithMimetic, true)->Name("receive/mimetic");
#endif
BENCHMARK_CAPTURE(run, lineEnds, findLineEnds, false)->Name("receive/line_ends");

}  // namespace

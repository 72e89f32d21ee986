// The transfer codings in bytes of decoded data a second, beside a plain copy of the same bytes and, where it
// is installed, GMime doing the same work.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "mime/transfer_coding.h"

#ifdef QUORVEL_HAVE_GMIME
#include <gmime/gmime.h>
#endif

namespace {

using qv::ContentCoding;

constexpr std::size_t kSize = std::size_t{1} << 20;

// The same bytes in every run.
unsigned nextRandom() {
  static unsigned state = 1;
  state = state * 1664525U + 1013904223U;
  return state >> 16;
}

std::string makeBinary() {
  std::string bytes(kSize, '\0');
  for (char& c : bytes) c = static_cast<char>(nextRandom());
  return bytes;
}

// Lines of 20 to 70 columns of words; one letter in `accents` is a UTF-8 one (none when it is 0).
std::string makeText(unsigned accents) {
  std::string text;
  while (text.size() < kSize) {
    const std::size_t end = text.size() + 20 + nextRandom() % 50;
    while (text.size() < end) {
      if (accents != 0 && nextRandom() % accents == 0) {
        text += "\xC3\xA9";
      } else {
        text += nextRandom() % 6 == 0 ? ' ' : static_cast<char>('a' + nextRandom() % 26);
      }
    }
    text += "x\r\n";
  }
  return text;
}

const std::string& binary() {
  static const std::string bytes = makeBinary();
  return bytes;
}
const std::string& plainText() {
  static const std::string text = makeText(0);
  return text;
}
const std::string& accentedText() {
  static const std::string text = makeText(25);
  return text;
}

template <typename Encode>
std::string encoded(Encode encode, const std::string& bytes) {
  qv::StringBuffer out;
  encode(bytes, out);
  return out.str();
}

// One way of coding: from one text into another, of which only the size is wanted.
using Coder = std::size_t (*)(std::string_view in);

std::size_t base64EncodeLines(std::string_view in) {
  qv::StringBuffer out;
  ContentCoding::encodeBase64Lines(in, out);
  benchmark::DoNotOptimize(out.c_str());
  return out.size();
}
std::size_t base64Encode(std::string_view in) {
  qv::StringBuffer out;
  ContentCoding::encodeBase64(in, out);
  benchmark::DoNotOptimize(out.c_str());
  return out.size();
}
std::size_t base64Decode(std::string_view in) {
  const qv::BinaryData out = ContentCoding::decodeBase64(in);
  benchmark::DoNotOptimize(out.data());
  return out.size();
}
std::size_t quotedEncode(std::string_view in) {
  qv::StringBuffer out;
  ContentCoding::encodeQuotedPrintable(in, out);
  benchmark::DoNotOptimize(out.c_str());
  return out.size();
}
std::size_t quotedDecode(std::string_view in) {
  const qv::BinaryData out = ContentCoding::decodeQuotedPrintable(in);
  benchmark::DoNotOptimize(out.data());
  return out.size();
}
std::size_t copy(std::string_view in) {
  qv::BinaryData out;
  std::memcpy(out.extend(in.size()), in.data(), in.size());
  benchmark::DoNotOptimize(out.data());
  return out.size();
}

#ifdef QUORVEL_HAVE_GMIME

// One state and one buffer for every run, made before the clock starts, so that the peer pays for nothing but
// the coding.
template <GMimeContentEncoding kind, bool encoding>
std::size_t gmimeCode(std::string_view in) {
  static GMimeEncoding state;
  static std::vector<char> out;
  if (encoding) {
    g_mime_encoding_init_encode(&state, kind);
  } else {
    g_mime_encoding_init_decode(&state, kind);
  }
  const std::size_t room = g_mime_encoding_outlen(&state, in.size());
  if (out.size() < room) out.resize(room);
  const std::size_t size = encoding ? g_mime_encoding_flush(&state, in.data(), in.size(), out.data())
                                    : g_mime_encoding_step(&state, in.data(), in.size(), out.data());
  benchmark::DoNotOptimize(out.data());
  return size;
}

#endif

void run(benchmark::State& state, Coder coder, const std::string& in, std::size_t decodedSize) {
  std::size_t size = coder(in);  // touches what is made once
  for (auto _ : state) size += coder(in);
  benchmark::DoNotOptimize(size);
  state.SetBytesProcessed(static_cast<std::int64_t>(decodedSize) * state.iterations());
}

void add(const char* name, Coder coder, const std::string& in, std::size_t decodedSize) {
  benchmark::RegisterBenchmark(name, run, coder, in, decodedSize);
}

// The rows: each work of the component's with the peer's beside it.
const bool registered = [] {
  const std::string base64Text = encoded(ContentCoding::encodeBase64Lines, binary());
  const std::string base64Run = encoded(ContentCoding::encodeBase64, binary());

  add("copy", copy, binary(), kSize);
  add("base64/encode/lines", base64EncodeLines, binary(), kSize);
  add("base64/encode/one_line", base64Encode, binary(), kSize);
  add("base64/decode/lines", base64Decode, base64Text, kSize);
  add("base64/decode/one_line", base64Decode, base64Run, kSize);
#ifdef QUORVEL_HAVE_GMIME
  add("gmime/base64/encode/lines", gmimeCode<GMIME_CONTENT_ENCODING_BASE64, true>, binary(), kSize);
  add("gmime/base64/decode/lines", gmimeCode<GMIME_CONTENT_ENCODING_BASE64, false>, base64Text, kSize);
#endif

  for (const std::string* text : {&plainText(), &accentedText()}) {
    const std::string kind = text == &plainText() ? "plain" : "accented";
    const std::string quoted = encoded(ContentCoding::encodeQuotedPrintable, *text);
    add(("quoted/encode/" + kind).c_str(), quotedEncode, *text, text->size());
    add(("quoted/decode/" + kind).c_str(), quotedDecode, quoted, text->size());
#ifdef QUORVEL_HAVE_GMIME
    add(("gmime/quoted/encode/" + kind).c_str(), gmimeCode<GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE, true>,
        *text, text->size());
    add(("gmime/quoted/decode/" + kind).c_str(), gmimeCode<GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE, false>,
        quoted, text->size());
#endif
  }
  return true;
}();

}  // namespace

// Reading and writing whole messages, beside one memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/string_buffer.h"
#include "email/email.h"
#include "mime/mime_header.h"
#include "mime/mime_message.h"
#include "mime/transfer_coding.h"

namespace {

std::string prose(std::size_t size) {
  static constexpr const char* kWords[] = {"the",   "order",   "of",   "your", "invoice",  "is",  "ready",
                                           "and",   "caf\xE9", "will", "be",   "sent",     "to",  "us",
                                           "today", "thank",   "you",  "for",  "customer", "kind"};
  std::string text;
  std::uint32_t seed = 7;
  std::size_t column = 0;
  while (text.size() < size) {
    seed = seed * 1664525u + 1013904223u;
    const char* word = kWords[(seed >> 16) % std::size(kWords)];
    text += word;
    column += std::strlen(word) + 1;
    text += column > 68 ? "\r\n" : " ";
    if (column > 68) column = 0;
  }
  return text;
}

std::string bytes(std::size_t size) {
  std::string data(size, '\0');
  std::uint32_t seed = 11;
  for (char& c : data) c = static_cast<char>((seed = seed * 1664525u + 1013904223u) >> 24);
  return data;
}

std::string header(std::size_t fields) {
  std::string text =
      "Return-Path: <sender@example.org>\r\nDate: Tue, 05 Nov 2002 14:03:09 -0500\r\n"
      "From: \"Ann Example\" <ann@example.org>\r\nTo: bob@example.org,\r\n \"Carol\" <carol@example.org>\r\n"
      "Subject: =?iso-8859-1?Q?Caf=E9_order_number?=\r\n =?iso-8859-1?Q?_4711?=\r\nMIME-Version: 1.0\r\n";
  for (std::size_t n = 0; n < fields; ++n)
    text += "Received: from relay" + std::to_string(n) +
            ".example.org (relay.example.org [192.0.2.1])\r\n\tby mail.example.org with ESMTP id 4711;\r\n\t"
            "Tue, 5 Nov 2002 14:03:09 -0500\r\n";
  return text;
}

/// A message as mail programs make them: two bodies in quoted-printable and a file in base64.
const std::string& message() {
  static const std::string text = [] {
    qv::StringBuffer plain, html, file;
    qv::ContentCoding::encodeQuotedPrintable(prose(8'000), plain);
    qv::ContentCoding::encodeQuotedPrintable("<html><body>" + prose(20'000) + "</body></html>", html);
    qv::ContentCoding::encodeBase64Lines(bytes(120'000), file);
    std::string out = header(8) + "Content-Type: multipart/mixed; boundary=\"=_outer\"\r\n\r\npreamble\r\n";
    out += "--=_outer\r\nContent-Type: multipart/alternative; boundary=\"=_inner\"\r\n\r\n";
    out += "--=_inner\r\nContent-Type: text/plain\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" +
           plain.str() + "\r\n";
    out += "--=_inner\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" +
           html.str() + "\r\n--=_inner--\r\n";
    out +=
        "--=_outer\r\nContent-Type: application/pdf; name=\"order.pdf\"\r\nContent-Transfer-Encoding: "
        "base64\r\n"
        "Content-Disposition: attachment; filename=\"order.pdf\"\r\n\r\n" +
        file.str() + "\r\n--=_outer--\r\n";
    return out;
  }();
  return text;
}

/// The same shape, composed.
std::unique_ptr<qv::Email> composed() {
  auto email = std::make_unique<qv::Email>(nullptr);
  email->setFrom("Ann Example <ann@example.org>");
  email->addTo("Bob", "bob@example.org");
  email->setSubject("Order 4711");
  email->setBody(prose(28'000), false);
  qv::Email::convertToMixed(*email);
  auto part = qv::Email::newEmptyPart(nullptr);
  part->stripHeaderLines();
  part->setDisposition("attachment", "order.pdf");
  part->setTransferEncoding("base64");
  part->setContentType("application/pdf", "order.pdf");
  part->body().setForBase64(qv::BinaryData(bytes(120'000)));
  email->parts().append(std::move(part));
  return email;
}

void report(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * static_cast<std::int64_t>(state.iterations()));
}

void headerMemcpy(benchmark::State& state) {
  const std::string text = header(24);
  std::vector<char> copy(text.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  report(state, text.size());
}
BENCHMARK(headerMemcpy)->Name("header/memcpy");

void headerParse(benchmark::State& state) {
  const std::string text = header(24);
  for (auto _ : state) {
    qv::MimeHeader parsed;
    bool utf8 = false;
    parsed.parseHeader(text, utf8);
    benchmark::DoNotOptimize(parsed.getFieldCount());
  }
  report(state, text.size());
}
BENCHMARK(headerParse)->Name("header/parse");

void messageMemcpy(benchmark::State& state) {
  const std::string& text = message();
  std::vector<char> copy(text.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), text.data(), text.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  report(state, text.size());
}
BENCHMARK(messageMemcpy)->Name("message/memcpy");

void messageParse(benchmark::State& state) {
  const std::string& text = message();
  for (auto _ : state) {
    qv::MimeMessage2 parsed(nullptr);
    parsed.parseMime(text);
    if (parsed.getNumParts() != 2) state.SkipWithError("the message was not read into its parts");
  }
  report(state, text.size());
}
BENCHMARK(messageParse)->Name("message/parse");

void messageWrite(benchmark::State& state) {
  const auto email = composed();
  std::size_t size = 0;
  for (auto _ : state) {
    qv::StringBuffer out;
    email->writeMime(out, "QVX-");
    size = out.size();
    benchmark::DoNotOptimize(out.view().data());
  }
  report(state, size);
}
BENCHMARK(messageWrite)->Name("message/writeMime");

void messageCompose(benchmark::State& state) {
  for (auto _ : state) {
    qv::Email email(nullptr);
    email.setFrom("ann@example.org");
    email.addTo("Bob", "bob@example.org");
    email.setSubject("Order 4711");
    email.setBody("Dear customer,\r\n", false);
    benchmark::DoNotOptimize(email.numHeaderFields());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(messageCompose)->Name("message/compose");

}  // namespace

#include "mail_generator.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

namespace qv_bench {
namespace {

constexpr std::size_t kMinSize = 2'000;
constexpr std::size_t kMaxSize = 200'000;
constexpr std::size_t kLineLength = 76;

constexpr std::string_view kWords[] = {
    "the",    "order",         "of",        "your",      "invoice", "is",           "ready",
    "and",    "caf\xC3\xA9",   "will",      "be",        "sent",    "to",           "us",
    "today",  "thank",         "you",       "for",       "kind",    "customer",     "please",
    "find",   "meeting",       "attached.", "schedule,", "report",  "na\xC3\xAFve", "regards",
    "=",      "M\xC3\xBCller", "next",      "week",      "a",       "project",      "that",
    "budget."};
constexpr std::string_view kHosts[] = {"mail.example.org", "mx1.example.net", "relay.example.com",
                                       "smtp-out.example.edu"};
constexpr std::string_view kPeople[] = {"Ann Example <ann@example.org>",
                                        "\"Miller, Bob\" <bob.miller@example.net>", "carol@example.com",
                                        "=?utf-8?Q?J=C3=BCrgen_Stra=C3=9Fer?= <juergen@example.de>",
                                        "=?utf-8?B?0JjQstCw0L0g0J/QtdGC0YDQvtCy?= <ivan@example.ru>"};
constexpr std::string_view kSubjects[] = {
    "Re: Order 4711", "Minutes of the meeting of Tuesday, and what is left to do until the next one",
    "=?utf-8?Q?Caf=C3=A9_order_number?=\r\n =?utf-8?Q?_4711_is_on_its_way?=",
    "=?iso-8859-1?Q?Gr=FC=DFe_aus_M=FCnchen?=", "[list] [PATCH 3/7] read fields in one pass"};

class Generator {
 public:
  explicit Generator(std::uint32_t seed) : state_(seed * 2654435761U + 1) {}

  std::string message() {
    const double span = std::log(static_cast<double>(kMaxSize) / kMinSize);
    // Squared: small messages are the rule.
    const double where = static_cast<double>(below(1'000)) / 1'000;
    const auto size = static_cast<std::size_t>(kMinSize * std::exp(span * where * (0.4 + 0.6 * where)));
    std::string text = header();
    const std::size_t left = size - std::min(size, text.size() + 300);
    return text + body(std::max<std::size_t>(left, 400));
  }

 private:
  std::uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  std::size_t below(std::size_t limit) { return next() % limit; }
  template <std::size_t N>
  std::string_view pick(const std::string_view (&texts)[N]) {
    return texts[below(N)];
  }

  std::string letters(std::size_t count) {
    static constexpr std::string_view kLetters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    while (text.size() < count) text += kLetters[below(kLetters.size())];
    return text;
  }

  // 12 to 25 fields with those of the content, which `body` adds.
  std::string header() {
    std::size_t fields = 12 + below(14) - 2;
    std::string text;
    const auto add = [&](std::string_view name, std::string value) {
      text.append(name).append(": ").append(value).append("\r\n");
      --fields;
    };
    std::string date = "Tue, 05 Nov 2002 14:0";
    date.append(std::to_string(below(10))).append(":09 -0500");
    add("Return-Path", "<bounce-" + letters(8) + "@example.org>");
    for (std::size_t hops = 1 + below(3); hops > 0; --hops) {
      add("Received", "from " + std::string(pick(kHosts)) + " (" + std::string(pick(kHosts)) + " [192.0.2." +
                          std::to_string(below(255)) + "])\r\n\tby " + std::string(pick(kHosts)) +
                          " (Postfix) with ESMTPS id " + letters(11) + "\r\n\tfor <bob@example.org>; " +
                          date);
    }
    add("Date", date);
    add("From", std::string(pick(kPeople)));
    std::string to(pick(kPeople));
    for (std::size_t more = below(4); more > 0; --more) to.append(",\r\n\t").append(pick(kPeople));
    add("To", to);
    add("Message-ID", "<" + letters(24) + "@" + std::string(pick(kHosts)) + ">");
    add("Subject", std::string(pick(kSubjects)));
    add("MIME-Version", "1.0");
    if (fields > 0) {
      std::string signature;
      for (int line = 0; line < 5; ++line) signature += "\r\n\t " + letters(66);
      add("DKIM-Signature",
          "v=1; a=rsa-sha256; c=relaxed/relaxed; d=example.org; s=k1;\r\n\tt=1036519389; "
          "h=from:to:subject:date:message-id;\r\n\tbh=" +
              letters(43) + "=;\r\n\tb=" + signature);
    }
    static constexpr std::string_view kMore[] = {"X-Mailer",    "Reply-To",        "References",
                                                 "In-Reply-To", "List-Id",         "X-Spam-Status",
                                                 "Precedence",  "X-Priority",      "Thread-Topic",
                                                 "Importance",  "X-Virus-Scanned", "Authentication-Results"};
    std::size_t i = 0;
    while (fields > 0) {
      add(kMore[i++ % std::size(kMore)], "<" + letters(10 + below(50)) + "@example.org>");
    }
    return text;
  }

  // The content fields of an entity, the empty line, and what follows it.
  std::string body(std::size_t size) {
    switch (size < 6'000 ? below(3) : 2 + below(6)) {
      case 0:
        return text("plain", size);
      case 1:
        return text("html", size);
      case 2:
      case 3:
        return alternative(size);
      case 4:
        return multipart("related; type=\"text/html\"", {text("html", size / 4), image(size / 4 * 3)});
      case 5:
        return multipart("mixed", {text("plain", size / 4), file(size / 4 * 3)});
      case 6:
        return multipart("mixed", {alternative(size / 4), file(size / 2), file(size / 4)});
      default:
        return multipart("mixed", {multipart("related; type=\"multipart/alternative\"",
                                             {alternative(size / 4), image(size / 4), image(size / 4)}),
                                   file(size / 4)});
    }
  }

  std::string alternative(std::size_t size) {
    return multipart("alternative", {text("plain", size / 4), text("html", size / 4 * 3)});
  }

  std::string multipart(std::string_view kind, const std::vector<std::string>& parts) {
    const std::string boundary = "----=_Part_" + letters(24);
    std::string out = "Content-Type: multipart/" + std::string(kind) + ";\r\n\tboundary=\"" + boundary +
                      "\"\r\n\r\nThis is a multi-part message in MIME format.\r\n";
    for (const std::string& part : parts) out.append("\r\n--").append(boundary).append("\r\n").append(part);
    return out.append("\r\n--").append(boundary).append("--\r\n");
  }

  std::string text(std::string_view subtype, std::size_t size) {
    const bool html = subtype == "html";
    const bool quoted = html || below(3) != 0;
    std::string words = prose(size, html, quoted);
    return "Content-Type: text/" + std::string(subtype) + "; charset=" + (quoted ? "utf-8" : "us-ascii") +
           "\r\nContent-Transfer-Encoding: " + (quoted ? "quoted-printable" : "7bit") + "\r\n\r\n" +
           (quoted ? quotedPrintable(words) : words);
  }

  std::string file(std::size_t size) {
    const std::string name = "report " + std::to_string(below(1000)) + ".pdf";
    return "Content-Type: application/pdf; name=\"" + name +
           "\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment;\r\n\tfilename=\"" +
           name + "\"\r\n\r\n" + base64(size);
  }

  std::string image(std::size_t size) {
    return "Content-Type: image/png; name=image.png\r\nContent-Transfer-Encoding: base64\r\nContent-ID: <" +
           letters(12) + "@example.org>\r\nContent-Disposition: inline\r\n\r\n" + base64(size);
  }

  // Paragraphs of words; HTML has one long line for each, as its editors write it.
  std::string prose(std::size_t size, bool html, bool accents) {
    std::string out = html ? "<html><head><meta charset=utf-8></head><body>\r\n" : "";
    while (out.size() < size) {
      if (html) out += "<p style=\"margin:0 0 1em\" class=\"MsoNormal\">";
      std::size_t column = 0;
      for (std::size_t words = 20 + below(80); words > 0; --words) {
        std::string_view word = pick(kWords);
        if (!accents && word.find('\xC3') != std::string_view::npos) word = "plain";
        column += word.size() + 1;
        out.append(word).append(!html && column > 66 ? "\r\n" : " ");
        if (column > 66) column = 0;
      }
      out += html ? "</p>\r\n" : "\r\n\r\n";
    }
    return out + (html ? "</body></html>\r\n" : "");
  }

  std::string base64(std::size_t size) {
    std::string out;
    while (out.size() + kLineLength + 2 < size) out += letters(kLineLength) + "\r\n";
    return out + letters(40) + "==";
  }

  static std::string quotedPrintable(const std::string& bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    std::size_t column = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const auto byte = static_cast<unsigned char>(bytes[i]);
      if (bytes.compare(i, 2, "\r\n") == 0) {
        if (!out.empty() && out.back() == ' ') out.replace(out.size() - 1, 1, "=20");
        out += "\r\n";
        column = 0;
        ++i;
        continue;
      }
      const bool plain = byte >= 0x20 && byte < 0x7F && byte != '=';
      if (column + (plain ? 1 : 3) >= kLineLength) {
        out += "=\r\n";
        column = 0;
      }
      if (plain) {
        out += bytes[i];
      } else {
        out.append({'=', kDigits[byte >> 4], kDigits[byte & 0xF]});
      }
      column += plain ? 1 : 3;
    }
    return out;
  }

  std::uint32_t state_;
};

}  // namespace

std::vector<std::string> generateMail(std::uint32_t seed, std::size_t bytes) {
  Generator generator(seed);
  std::vector<std::string> mail;
  for (std::size_t size = 0; size < bytes; size += mail.back().size()) mail.push_back(generator.message());
  return mail;
}

}  // namespace qv_bench

// Encoded words (RFC 2047): the members of ContentCoding for header fields.

#include <algorithm>
#include <array>

#include "core/text.h"
#include "mime/base64_kernels.h"
#include "mime/hex_digits.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

// Bytes that stand for themselves in the Q coding (RFC 2047 4.2): printable, and none of "=?_".
constexpr bool isPlain(unsigned char c) {
  return c > 0x20 && c < 0x7F && c != '=' && c != '?' && c != '_';
}

constexpr bool isUpperHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

void appendQDecoded(std::string_view text, StringBuffer& out) {
  char* const start = out.extend(text.size());
  char* end = start;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const auto byte = static_cast<unsigned char>(c);
    if (c == '=' && text.size() - i > 2 && isUpperHex(text[i + 1]) && isUpperHex(text[i + 2])) {
      *end++ = static_cast<char>(hexValue(text[i + 1]) << 4 | hexValue(text[i + 2]));
      i += 2;
    } else if (c == '_') {
      *end++ = ' ';
    } else if (isPlain(byte) || c == '=' || byte >= 0xA0) {
      *end++ = c;
    }  // everything else has no place in a word and is dropped
  }
  out.truncate(out.size() - text.size() + static_cast<std::size_t>(end - start));
}

void appendQEncoded(std::string_view bytes, StringBuffer& out) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(byte)) {
      out.append(c);
    } else if (c == ' ') {
      out.append('_');
    } else {
      const char escape[] = {'=', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]};
      out.append({escape, sizeof escape});
    }
  }
}

void appendBDecoded(std::string_view text, StringBuffer& out) {
  const std::size_t before = out.size();
  char* start = out.extend((text.size() + 3) / 4 * 3 + Base64Kernel::kDecodeSlack);
  const char* end = base64Kernel().decode(text.data(), text.size(), start);
  out.truncate(before + static_cast<std::size_t>(end - start));
}

struct Word {
  std::string_view encoded;
  std::size_t end;  // behind its "?="
};

// Reads the word whose "=?" ends at `at`. No part of a word holds a '?', so the tries at all of a text's "=?"
// look at each of its bytes a few times at most.
bool readWord(std::string_view text, std::size_t at, char letter, Word& word) {
  const std::size_t charsetEnd = text.find('?', at);
  if (charsetEnd == std::string_view::npos || charsetEnd == at) return false;
  const std::string_view rest = text.substr(charsetEnd + 1);
  if (rest.size() < 2 || lowerAscii(rest[0]) != letter || rest[1] != '?') return false;
  const std::size_t encodedEnd = rest.find('?', 2);
  if (encodedEnd == std::string_view::npos || encodedEnd + 1 == rest.size() || rest[encodedEnd + 1] != '=') {
    return false;
  }
  word = {rest.substr(2, encodedEnd - 2), charsetEnd + 1 + encodedEnd + 2};
  return true;
}

void replaceWords(StringBuffer& text, char letter, void (*appendDecoded)(std::string_view, StringBuffer&)) {
  const std::string_view in = text.view();
  std::size_t at = in.find("=?");
  if (at == std::string_view::npos) return;
  StringBuffer out;
  out.reserve(in.size() + Base64Kernel::kDecodeSlack);
  std::size_t done = 0;
  for (Word word; at != std::string_view::npos; at = in.find("=?", at)) {
    if (readWord(in, at + 2, letter, word)) {
      out.append(in.substr(done, at - done));
      appendDecoded(word.encoded, out);
      done = at = word.end;
    } else {
      at += 2;
    }
  }
  out.append(in.substr(done));
  text.swap(out);
}

// Length of the next piece of a text that is to be written in words.
std::size_t pieceLength(std::string_view text) {
  constexpr std::size_t kLimit = 40;
  if (text.size() < kLimit - 1) return text.size();
  const std::size_t most = std::min(text.size(), kLimit);
  for (std::size_t length = most; length >= 2; --length) {
    if (isWhite(text[length - 1])) return length;
  }
  return most;
}

// RFC 2047 2: a charset is a token. Anything else would end the word early, or the line, or the address that
// the word is the name of.
bool isCharsetToken(std::string_view charset) {
  constexpr std::string_view kEspecials = "()<>@,;:\\\"/[]?.=";
  return !charset.empty() && std::all_of(charset.begin(), charset.end(), [&](char c) {
    return c > 0x20 && c < 0x7F && kEspecials.find(c) == std::string_view::npos;
  });
}

}  // namespace

void ContentCoding::decodeBWords(StringBuffer& text) {
  replaceWords(text, 'b', appendBDecoded);
}
void ContentCoding::decodeQWords(StringBuffer& text) {
  replaceWords(text, 'q', appendQDecoded);
}

void ContentCoding::decodeWords(StringBuffer& text) {
  if (text.containsNoCase("?B?")) decodeBWords(text);
  if (text.containsNoCase("?Q?")) decodeQWords(text);
}

StringBuffer ContentCoding::qEncode(std::string_view bytes) {
  StringBuffer out;
  appendQEncoded(bytes, out);
  return out;
}

StringBuffer ContentCoding::qDecode(std::string_view text) {
  StringBuffer out;
  appendQDecoded(text, out);
  return out;
}

// QUIRK: a word may get longer than the 75 characters of RFC 2047 2, since its piece is measured before it is
// encoded.
void ContentCoding::encodeHeaderWords(std::string_view text, std::string_view charset, StringBuffer& out) {
  const std::string_view label = isCharsetToken(charset) ? charset : "us-ascii";
  for (bool first = true; !text.empty(); first = false) {
    const std::size_t length = pieceLength(text);
    if (!first) out.append("\r\n ");
    out.append("=?").append(label).append("?Q?");
    appendQEncoded(text.substr(0, length), out);
    out.append("?=");
    text.remove_prefix(length);
  }
}

}  // namespace qv

// What holds for every input, however hostile. The fuzzers try to break these laws; the unit tests hold them
// against the seeds and against all short inputs.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/text.h"
#include "mime/content_fields.h"
#include "mime/date_parser.h"
#include "mime/limits.h"
#include "mime/mime_message.h"
#include "mime/rfc822_address.h"
#include "mime/transfer_coding.h"

namespace laws {

inline void require(bool holds, const char* law) {
  if (holds) return;
  std::fprintf(stderr, "broken law: %s\n", law);
  std::abort();
}

// --- Headers
// ---------------------------------------------------------------------------------------------------

/// The lines of a header block, read the slow and obvious way: three passes, then cut at the empty line.
inline std::vector<std::string> obviousLines(std::string_view text) {
  std::string block(text);
  std::erase(block, '\r');  // CR LF to LF, other CRs deleted: all of them go
  block.resize(std::min(block.find("\n\n"), block.size()));
  std::vector<std::string> lines;
  std::size_t taken = 0;
  for (const std::string_view line : qv::splitText(block, '\n', qv::kMaxHeaderLines)) {
    const std::size_t text_at = std::min(line.find_first_not_of(" \t"), line.size());
    if (text_at == 0 || lines.empty()) lines.emplace_back();
    lines.back() += line.substr(text_at);
    ++taken;
  }
  std::erase_if(lines, [](const std::string& line) { return line.empty(); });
  return lines;
}

/// A header as it is written: no reader finds an end or a field in it that the writer did not put there.
inline void checkWritten(const qv::MimeHeader& header) {
  qv::StringBuffer written("before\r\n");
  const char last = header.writeHeader(written);
  require(last == written.lastChar(), "writeHeader gives the last character");
  require(written.view().substr(0, 8) == "before\r\n", "what stood before the header stays");
  const std::string_view text = written.view().substr(8);
  require(text.find('\0') == std::string_view::npos, "no NUL is written");
  std::size_t lines = 1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') require(i + 1 < text.size() && text[i + 1] == '\n', "no lone CR is written");
    if (text[i] != '\n') continue;
    ++lines;
    require(i > 0 && text[i - 1] == '\r', "no lone LF is written");
    const std::string_view next = text.substr(i + 1, text.find('\r', i) - (i + 1));
    require(!qv::trimmedBlanks(next).empty(), "no empty line is written");
  }
  if (lines > qv::kMaxHeaderLines) return;

  qv::MimeHeader again;
  bool utf8 = false;
  again.parseHeader(text, utf8);
  std::size_t read = 0;
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) {
    const qv::MimeField& field = *header.getField(i);
    if (field.getLine().empty()) continue;
    require(again.getFieldName(read) == field.getName(), "names read back as they were");
    const bool plain =
        !qv::hasLineBreakOrNul(field.getLine()) && field.getLine().find("=?") == std::string_view::npos;
    if (plain)
      require(again.getField(read)->getLine() == field.getLine(), "plain fields read back as they were");
    ++read;
  }
  require(again.getFieldCount() == read, "as many fields are read as were written");
}

inline void checkHeader(std::string_view text) {
  qv::MimeHeader header;
  bool utf8 = false;
  header.parseHeader(text, utf8);
  const std::vector<std::string> lines = obviousLines(text);
  require(header.getFieldCount() == lines.size(), "as many fields as unfolded lines");
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].find("=?") != std::string::npos || lines[i].find('\0') != std::string::npos) continue;
    require(header.getField(i)->getLine() == qv::trimmed(lines[i]), "a field is its unfolded line");
  }
  checkWritten(header);

  // The content fields, rebuilt from what was read, say the same again.
  const qv::ContentFields fields = qv::readContentFields(header);
  qv::MimeMessage2 entity(nullptr);
  entity.setContentType({.type = fields.contentType, .name = fields.name, .boundary = fields.boundary});
  checkWritten(entity.header());
  qv::StringBuffer written;
  entity.header().writeHeader(written);
  qv::MimeHeader again;
  again.parseHeader(written, utf8);
  if (written.view().find("=?") == std::string_view::npos &&
      std::string_view(fields.contentType).find_first_of("\" \t;") == std::string_view::npos) {
    require(qv::readContentFields(again).boundary == entity.content().boundary, "a boundary reads back");
  }
}

/// A field set by a host is one field, whatever its texts hold.
inline void checkSetField(std::string_view name, std::string_view value) {
  qv::MimeHeader header;
  header.setHeaderField("First", "1");
  header.setHeaderField(name, value);
  header.setHeaderField("Last", "2");
  checkWritten(header);
  qv::StringBuffer written;
  header.writeHeader(written, "QVX-");
  qv::MimeHeader again;
  bool utf8 = false;
  again.parseHeader(written, utf8);
  for (std::size_t i = 0; i < again.getFieldCount(); ++i) {
    require(!qv::startsWithNoCase(qv::trimmed(again.getFieldName(i)), "QVX-"), "no private field gets out");
  }
}

// --- Trees
// -----------------------------------------------------------------------------------------------------

/// The parts of a multipart body as copies, the slow and obvious way; the last one may be header only.
struct ObviousParts {
  std::vector<std::string> texts;
  bool lastIsHeaderOnly = false;
};
inline ObviousParts obviousParts(const std::string& body, const std::string& boundary) {
  ObviousParts parts;
  const std::size_t first = body.find(boundary);
  if (first == std::string::npos) return {{body}, true};
  for (std::string rest = body.substr(first + boundary.size());;) {
    const std::size_t next = rest.find(boundary);
    if (next == std::string::npos) {
      parts.texts.push_back(rest);
      parts.lastIsHeaderOnly = true;
      return parts;
    }
    const long long g = static_cast<long long>(next) - 2;
    if (g > 4) parts.texts.push_back(rest.substr(2, static_cast<std::size_t>(g) - 4));
    rest = rest.substr(next + boundary.size());
    if (rest.compare(0, 2, "--") == 0) return parts;
  }
}

inline void checkEntity(const qv::MimeMessage2& entity, const std::string& text, std::size_t depth) {
  require(depth <= qv::kMaxNesting, "no entity lies below the limit");
  checkWritten(entity.header());
  const std::size_t end = text.find("\r\n\r\n");
  const std::string body = end == std::string::npos ? "" : text.substr(end + 4);
  const bool divided =
      entity.isMultipart() && !entity.getBoundary().empty() && !body.empty() && depth < qv::kMaxNesting;
  if (!divided) {
    require(entity.getNumParts() == 0, "a leaf has no parts");
    if (entity.body().coding() == qv::MimeBody::Coding::raw) {
      require(entity.body().data().view() == body, "a plain body is the text after the header");
    }
    return;
  }
  require(entity.body().data().empty(), "a divided entity has no body");
  const ObviousParts parts = obviousParts(body, std::string(entity.getBoundary()));
  require(entity.getNumParts() == parts.texts.size(), "as many parts as segments");
  for (std::size_t i = 0; i < parts.texts.size(); ++i) {
    const qv::MimeMessage2& part = *entity.getPart(i);
    if (parts.lastIsHeaderOnly && i + 1 == parts.texts.size()) {
      const bool hasBody = parts.texts[i].find("\r\n\r\n") != std::string::npos;
      require(part.body().data().view() == (hasBody ? "(multipart MIME message)" : ""),
              "only its header is read");
      continue;
    }
    if (i == 0 && entity.isMultipartSigned()) {
      require(part.signedText() == parts.texts[i], "the signed text is the part's exact text");
    } else {
      require(part.signedText().empty(), "only a first part has a signed text");
    }
    checkEntity(part, parts.texts[i], depth + 1);
  }
}

inline void checkTree(std::string_view text) {
  qv::MimeMessage2 message(nullptr);
  message.parseMime(text);
  checkEntity(message, std::string(text), 0);
  qv::MimeMessage2 headerOnly(nullptr);
  headerOnly.parseHeaderOnly(text);
  require(headerOnly.getNumParts() == 0, "a header has no parts");
}

// --- Codings
// ---------------------------------------------------------------------------------------------------

inline void checkCodings(std::string_view bytes) {
  using qv::ContentCoding;
  qv::StringBuffer lines, line, printable;
  ContentCoding::encodeBase64Lines(bytes, lines);
  ContentCoding::encodeBase64(bytes, line);
  ContentCoding::encodeQuotedPrintable(bytes, printable);
  require(lines.size() <= ContentCoding::estimateBase64Size(bytes.size()), "the base64 estimate suffices");
  require(ContentCoding::decodeBase64(lines).view() == bytes, "base64 lines read back");
  require(ContentCoding::decodeBase64(line).view() == bytes, "base64 reads back");
  // "=FFFFFF" is read as a wide character's spelling, also where "=FF" is followed by four plain 'F's.
  if (bytes.find("\xFF"
                 "FFFF") == std::string_view::npos) {
    require(ContentCoding::decodeQuotedPrintable(printable).view() == bytes, "quoted-printable reads back");
  }
  require(ContentCoding::qDecode(ContentCoding::qEncode(bytes)).view() == bytes, "the Q coding reads back");

  qv::StringBuffer words;
  ContentCoding::encodeHeaderWords(bytes, "utf-8", words);
  words.replaceAll("\r\n ", "");
  ContentCoding::decodeQWords(words);
  require(words.view() == bytes, "encoded words read back");

  // As encoded text the input gives what it gives, but never more than it holds (a LF becomes CR LF).
  require(ContentCoding::decodeBase64(bytes).size() <= bytes.size(), "base64 does not grow in decoding");
  require(ContentCoding::decodeQuotedPrintable(bytes).size() <= 2 * bytes.size(),
          "nor does quoted-printable");
  qv::StringBuffer decoded(bytes);
  ContentCoding::decodeWords(decoded);
  require(decoded.size() <= bytes.size(), "nor do encoded words");
}

// --- Addresses
// -------------------------------------------------------------------------------------------------

inline void checkAddresses(std::string_view text) {
  qv::ExtPtrArray<qv::Rfc822Address> list;
  const std::size_t count = qv::Rfc822Address::parseAddressList(text, list);
  require(list.size() <= count, "no more addresses are kept than found");
  std::set<std::string> known;
  for (const auto& address : list) {
    require(address->valid(), "only valid addresses are kept");
    require(address->getAddress().find('@') != std::string_view::npos, "an address holds '@'");
    require(address->getAddress().find(' ') == std::string_view::npos, "it is one word");
    require(address->hasNoName() || address->getDisplayName() != address->getAddress(),
            "a name is no address");
    require(known.insert(qv::toLower(address->getAddress())).second, "no address is kept twice");

    qv::StringBuffer written;
    address->formatForHeader(written);
    const std::unique_ptr<qv::Rfc822Address> again = qv::Rfc822Address::parseAddress(written);
    const bool plain = written.view().find("=?") == std::string_view::npos &&
                       qv::findNoCase(written, "undisclosed") == std::string_view::npos &&
                       address->getAddress().find_first_of(" \t<>\"'") == std::string_view::npos;
    if (plain) require(again && again->getAddress() == address->getAddress(), "an address reads back");
  }
  const std::size_t before = list.size();
  require(qv::Rfc822Address::parseAddressList(text, list) == count, "a list is found again");
  require(list.size() == before, "but nothing is added twice");
}

// --- Dates
// -----------------------------------------------------------------------------------------------------

inline void checkDates(std::string_view text) {
  using qv::DateParser;
  const qv::CalendarTime untouched{.year = 1, .month = 2, .dayOfWeek = 3, .day = 4};
  qv::CalendarTime date = untouched, back;
  double oleDate = 0;
  if (DateParser::parseRfc822Date(text, date)) {
    require(DateParser::calendarToOleDate(date, oleDate), "what was read is a date of the calendar");
    if (oleDate <= DateParser::kMaxOleDate) {  // the last day of all has only its midnight there
      require(DateParser::oleDateToCalendar(oleDate, back), "it is in the range of OLE dates");
      back.dayOfWeek = date.dayOfWeek;  // a text may name any day
      require(back == date, "a date comes back from its OLE date");
    }
  } else {
    require(date == untouched, "a failure changes nothing");
  }

  if (text.size() < sizeof oleDate) return;
  std::memcpy(&oleDate, text.data(), sizeof oleDate);
  if (!DateParser::oleDateToCalendar(oleDate, date)) return;
  double again = 0;
  require(DateParser::calendarToOleDate(date, again), "an OLE date is a date of the calendar");
  const auto moment = [](double ole) { return std::trunc(ole) + std::fabs(ole - std::trunc(ole)); };
  require(std::fabs(moment(again) - moment(oleDate)) < 0.6 / 86400, "to the nearest second");
}

}  // namespace laws

// Writing a header as XML.
#include <algorithm>
#include <iterator>
#include <string>

#include "core/text.h"
#include "mime/mime_xml.h"
#include "mime/mime_xml_fields.h"
#include "mime/quoted_cursor.h"
#include "mime/received_words.h"
#include "mime/xml_text.h"

namespace qv {
namespace {

/// Parameters of one field that are looked at; what stands behind them goes to the content as it is.
constexpr std::size_t kMaxParameters = 41;

// Markup and what the names of elements and attributes end at.
constexpr std::string_view kNoNameCharacters = "<>&\"'=/ \x7F";

bool isNameCharacter(char c) noexcept {
  return static_cast<unsigned char>(c) > 0x20 && kNoNameCharacters.find(c) == std::string_view::npos;
}

bool isAttributeName(std::string_view name) noexcept {
  return !name.empty() && std::all_of(name.begin(), name.end(), isNameCharacter) &&
         name.find_first_of("@;)") == std::string_view::npos;
}

// A field's name as the name of its element. One that would not read back gets an underscore for each
// character that no element's name has: taking them away could make another field's name.
std::string tagOf(std::string_view name) {
  std::string tag = toLower(name);
  const bool isReadable = std::all_of(tag.begin(), tag.end(), isNameCharacter);
  if (isReadable && !tag.starts_with('!') && !tag.starts_with('?')) return tag;
  for (std::size_t i = 0; i < tag.size(); ++i) {
    const bool isLetter = (tag[i] >= 'a' && tag[i] <= 'z') || static_cast<unsigned char>(tag[i]) >= 0x80;
    const bool isOther = (tag[i] >= '0' && tag[i] <= '9') || tag[i] == '-' || tag[i] == '.';
    if (!isLetter && (!isOther || i == 0)) tag[i] = '_';
  }
  return tag;
}

bool beginsWithDay(std::string_view text) noexcept {
  return std::any_of(std::begin(kDayNames), std::end(kDayNames),
                     [&](std::string_view day) { return startsWithNoCase(text, day); });
}

// As dates are written, "Tue, 5 Nov 2002".
bool beginsWithDate(std::string_view text) noexcept {
  return std::any_of(std::begin(kDayNames), std::end(kDayNames), [&](std::string_view day) {
    return text.starts_with(day) && text.substr(day.size()).starts_with(',');
  });
}

// In lower case but for what stands in quotes.
std::string lowerUnquoted(std::string_view text) {
  constexpr std::size_t kNone = std::string_view::npos;
  std::string lower = toLower(text);
  for (std::size_t open = text.find('"'), close = 0; open != kNone; open = text.find('"', close + 1)) {
    close = text.find('"', open + 1);
    if (close == kNone) break;
    lower.replace(open, close - open, text.substr(open, close - open));
  }
  return lower;
}

// Writes fields one after the other. A field is gone through with a cursor; what it becomes gathers in three
// texts, which are used again for the next.
class FieldXmlWriter {
 public:
  explicit FieldXmlWriter(StringBuffer& out) : out_(out) {}

  /// `line`: the field as a header is written, with its folds. False, with nothing written, when it has no
  /// name.
  bool write(std::string_view line) {
    attributes_.clear();
    elements_.clear();
    text_.clear();
    const std::size_t colon = std::min(line.find(':'), line.size());
    std::string_view name = trimmed(line.substr(0, colon));
    QuotedCursor cursor(line.substr(colon));
    // QUIRK: a date whose field lost its name. The colon is then one of its time.
    if (name.find(',') != std::string_view::npos && beginsWithDay(name)) {
      text_.append(name).append(cursor.isAt(':') ? ":" : "");
      name = "date";
    }
    const std::string tag = tagOf(name);
    if (tag.empty()) return false;
    cursor.skip(": \t");
    readValue(xmlFieldKind(tag), cursor);
    writeElement(tag, xmlFieldKind(tag));
    return true;
  }

 private:
  void readValue(XmlFieldKind kind, QuotedCursor& cursor) {
    if (kind == XmlFieldKind::received) {
      readReceived(cursor.readTo("\r\n"));
    } else {
      text_.append(cursor.readTo(";\r\n"));
    }
    cursor.skip("; \t\r");
    if (kind == XmlFieldKind::address) readAddress();
    if (kind == XmlFieldKind::addressList) readAddressList();
    readParameters(cursor);
  }

  void readReceived(std::string_view value) {
    const ReceivedWords words = splitReceived(value);
    text_.append(words.content);
    for (const ReceivedWords::Clause& clause : words.clauses) addAttribute(clause.name, clause.value);
  }

  void readAddress() {
    const auto address = Rfc822Address::parseAddress(text_);
    if (!address) return;
    address->writeXml(elements_);
    text_.clear();
  }

  void readAddressList() {
    ExtPtrArray<Rfc822Address> addresses;
    if (Rfc822Address::parseAddressList(text_, addresses) == 0) {
      elements_.append("<description>");
      appendXmlContent(text_, elements_);
      elements_.append("</description>");
    }
    for (const auto& address : addresses) address->writeXml(elements_);
    text_.clear();
  }

  // To the end of the field; only a fold has a LF in it.
  void readParameters(QuotedCursor& cursor) {
    for (std::size_t count = 0;; ++count) {
      if (cursor.isAt('\n')) cursor.skip("\n \t");
      if (cursor.atEnd()) return;
      if (count == kMaxParameters) return addToContent(cursor.rest());
      readParameter(cursor);
      cursor.skip("; \t\r");
    }
  }

  void readParameter(QuotedCursor& cursor) {
    std::string name = "date";
    StringBuffer value;
    if (beginsWithDate(cursor.rest())) {
      appendUnquoted(cursor.readTo(";\r\n"), value);
    } else {
      name = lowerUnquoted(cursor.readTo("=\r\n \t"));
      cursor.skip(" \t");
      if (cursor.isAt('=')) {
        cursor.skip("= \t");
        appendUnquoted(cursor.readTo(";\r\n"), value);
      }
    }
    if (isAttributeName(name) && !value.empty()) {
      addAttribute(name, value);
    } else if (!name.empty()) {
      addToContent(name);
    } else if (!value.empty()) {
      addToContent(StringBuffer("=").append(value));  // no element has an attribute without a name
    }
  }

  // Line breaks would end the value in reading, and control bytes are no part of any document.
  void addAttribute(std::string_view name, std::string_view value) {
    StringBuffer line(value);
    line.removeControls();
    line.removeAll('\r');
    line.removeAll('\n');
    attributes_.append(' ').append(name).append("=\"");
    appendXmlEscaped(line, attributes_);
    attributes_.append('"');
  }

  void addToContent(std::string_view text) {
    if (text_.lastChar() != ';') text_.append("; ");
    text_.append(text);
  }

  void writeElement(std::string_view tag, XmlFieldKind kind) {
    const bool isInline = kind == XmlFieldKind::plain || kind == XmlFieldKind::received;
    if (kind == XmlFieldKind::contentType) text_.toLower();
    text_.removeControls();
    elements_.removeControls();
    out_.append('<').append(tag).append(attributes_).append(isInline ? ">" : ">\n").append(elements_);
    appendXmlContent(text_, out_);
    out_.append(isInline ? "</" : "\n</").append(tag).append(">\n");
  }

  StringBuffer& out_;
  StringBuffer attributes_;  ///< as they are written
  StringBuffer elements_;    ///< addresses, as they are written
  StringBuffer text_;        ///< the text behind them, unescaped
};

}  // namespace

std::size_t writeHeaderXml(const MimeMessage2& entity, StringBuffer& out) {
  StringBuffer lines;
  entity.writeHeaderTo(lines);
  out.append("<header>\n");
  FieldXmlWriter writer(out);
  std::size_t count = 0;
  // A field ends at a line break without a blank behind it.
  for (std::string_view left = lines; !left.empty();) {
    std::size_t end = left.find('\n');
    while (end < left.size() - 1 && isBlank(left[end + 1])) end = left.find('\n', end + 1);
    std::string_view line = left.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (writer.write(line)) ++count;
    left.remove_prefix(std::min(end, left.size() - 1) + 1);
  }
  out.append("</header>\n");
  return count;
}

}  // namespace qv

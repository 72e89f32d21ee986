#include "mime/content_fields.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "mime/limits.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

struct Parameter {
  std::string_view name;
  StringBuffer ContentFields::*field;
  bool asWritten;  ///< keeps its case
};
constexpr Parameter kTypeParameters[] = {
    {"protocol", &ContentFields::protocol, false},
    {"micalg", &ContentFields::micalg, false},
    {"boundary", &ContentFields::boundary, true},
    {"charset", &ContentFields::charset, false},
    {"smime-type", &ContentFields::smimeType, false},
    {"name", &ContentFields::name, false},
    {"type", &ContentFields::type, false},
};
constexpr Parameter kDispositionParameters[] = {{"filename", &ContentFields::filename, true}};

// Walks over a field value (RFC 2045 5.1) whose quoted texts are set aside, so that nothing in them counts as
// punctuation, and whose white space outside quotes is gone. In `bare_` a quote stands for each quoted text;
// there is no other quote, as an unterminated one ends the value. A backslash is an ordinary byte.
class StructuredValue {
 public:
  struct Piece {
    std::string_view bare;
    std::size_t firstQuoted;  ///< index of the first quoted text in it
  };

  explicit StructuredValue(std::string_view value) {
    bare_.reserve(value.size());
    for (std::size_t at = 0; at < value.size(); ++at) {
      if (value[at] == '"') {
        const std::size_t end = value.find('"', at + 1);
        if (end == std::string_view::npos) return;
        quoted_.push_back(value.substr(at + 1, end - at - 1));
        at = end;
      }
      if (!isWhite(value[at])) bare_.push_back(value[at]);
    }
  }

  bool atEnd() const noexcept { return at_ == bare_.size(); }
  void skip(char c) {
    while (!atEnd() && bare_[at_] == c) ++at_;
  }
  /// What stands before the next `end`; everything that is left when there is none.
  Piece readTo(char end) {
    const std::size_t start = std::exchange(at_, std::min(bare_.find(end, at_), bare_.size()));
    const Piece piece{std::string_view(bare_).substr(start, at_ - start), nextQuoted_};
    nextQuoted_ += static_cast<std::size_t>(std::count(piece.bare.begin(), piece.bare.end(), '"'));
    return piece;
  }
  /// The text of a piece, its quoted texts put back without their quotes.
  StringBuffer textOf(const Piece& piece) const {
    if (piece.bare.find('"') == std::string_view::npos) return piece.bare;
    StringBuffer text;
    std::size_t quoted = piece.firstQuoted;
    for (const char c : piece.bare) {
      if (c == '"') {
        text.append(quoted_[quoted++]);
      } else {
        text.append(c);
      }
    }
    return text;
  }
  /// The same for a parameter's value: one that begins with a quoted text is just that text.
  StringBuffer valueOf(const Piece& piece) const {
    const bool isQuoted = !piece.bare.empty() && piece.bare.front() == '"';
    return isQuoted ? StringBuffer(quoted_[piece.firstQuoted]) : textOf(piece);
  }

 private:
  std::string bare_;
  std::vector<std::string_view> quoted_;
  std::size_t at_ = 0;
  std::size_t nextQuoted_ = 0;
};

// A field's value with its encoded words decoded.
class DecodedValue {
 public:
  DecodedValue(const MimeHeader& header, std::string_view name) : view_(header.getHeaderField(name)) {
    if (view_.find('?') == std::string_view::npos) return;
    decoded_.set(view_);
    ContentCoding::decodeWords(decoded_);
    view_ = decoded_;
  }
  DecodedValue(const DecodedValue&) = delete;
  DecodedValue& operator=(const DecodedValue&) = delete;
  operator std::string_view() const noexcept { return view_; }  // NOLINT

 private:
  std::string_view view_;
  StringBuffer decoded_;
};

// Reads a main value, in lower case, and its parameters.
void readStructured(std::string_view text, StringBuffer& mainValue, std::span<const Parameter> parameters,
                    ContentFields& fields) {
  if (text.size() > kMaxContentFieldValue) return;
  StructuredValue value(text);
  mainValue = value.textOf(value.readTo(';'));
  mainValue.toLower();
  for (value.skip(';'); !value.atEnd(); value.skip(';')) {
    const std::string_view name = value.readTo('=').bare;
    if (value.atEnd()) return;
    value.skip('=');
    const StructuredValue::Piece piece = value.readTo(';');
    const auto known = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const Parameter& p) { return equalsNoCase(p.name, name); });
    if (known == parameters.end()) continue;
    StringBuffer& field = fields.*known->field;
    field = value.valueOf(piece);
    if (!known->asWritten) field.toLower();
  }
}

// Content-ID and Content-Transfer-Encoding.
StringBuffer readPlain(const MimeHeader& header, std::string_view name) {
  const DecodedValue value(header, name);
  const std::string_view text = trimmed(value);
  return trimmed(text.substr(0, text.find(';')));
}

void dropAll(StringBuffer& text, std::string_view unwanted) {
  for (const char c : unwanted) text.removeAll(c);
}

}  // namespace

ContentFields readContentFields(const MimeHeader& header) {
  ContentFields fields;
  readStructured(DecodedValue(header, "Content-Type"), fields.contentType, kTypeParameters, fields);
  if (fields.charset.equals("default")) fields.charset.clear();
  readStructured(DecodedValue(header, "Content-Disposition"), fields.disposition, kDispositionParameters,
                 fields);
  fields.contentId = readPlain(header, "Content-ID");
  fields.transferEncoding = readPlain(header, "Content-Transfer-Encoding");
  return fields;
}

ContentTypeParams safeContentType(ContentTypeParams params) {
  dropAll(params.type, {"\r\n\0", 3});
  for (StringBuffer* text : {&params.name, &params.protocol, &params.micalg, &params.charset,
                             &params.boundary, &params.smimeType, &params.relatedType}) {
    dropAll(*text, {"\"\r\n\0", 4});
  }
  dropAll(params.micalg, " \t;");
  if (params.charset.empty()) params.charset = "us-ascii";
  return params;
}

StringBuffer formatContentType(const ContentTypeParams& params) {
  const ContentTypeParams safe = safeContentType(params);
  StringBuffer value(safe.type);
  const bool hasCharset = startsWithNoCase(safe.type, "text") || startsWithNoCase(safe.type, "message");
  const auto add = [&](std::string_view before, const StringBuffer& text, std::string_view after) {
    if (!text.empty()) value.append(before).append(text).append(after);
  };
  if (hasCharset) {
    add("; charset=\"", safe.charset, "\";");
  } else {
    value.append(';');
  }
  add(" type=\"", safe.relatedType, "\";");
  add("\r\n\tboundary=\"", safe.boundary, "\";");
  add("\r\n\tname=\"", safe.name, "\";");
  add("\r\n\tprotocol=\"", safe.protocol, "\";");
  add("\r\n\tmicalg=", safe.micalg, ";");
  add("\r\n\tsmime-type=\"", safe.smimeType, "\";");
  value.trim();
  if (value.lastChar() == ';') {
    value.truncate(value.size() - 1);
    value.trim();
  }
  return value;
}

}  // namespace qv

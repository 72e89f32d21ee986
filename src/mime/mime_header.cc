#include "mime/mime_header.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "mime/limits.h"
#include "mime/transfer_coding.h"

namespace qv {
namespace {

// The bytes that end a line, and NUL: none of them is ever written where it stands.
constexpr std::string_view kUnsafe("\r\n\0", 3);
constexpr std::string_view kUnsafeOrBlank("\r\n\0 \t", 5);

// A name (all of a line without ':') without them, so that it reads the same after it was written: one that
// only then began with a private prefix would get past whoever looks for that.
StringBuffer safeName(std::string_view name) {
  StringBuffer safe(name);
  for (const char c : kUnsafe) safe.removeAll(c);
  return safe;
}

// Appends a field's line so that every reader sees it as one field (RFC 5322 2.2.3): line breaks become
// folds, NULs go. There are none in the name.
void appendAsOneField(std::string_view line, StringBuffer& out) {
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t stop = std::min(line.find_first_of(kUnsafe, at), line.size());
    out.append(line.substr(at, stop - at));
    at = std::min(stop + 1, line.size());
    if (at == line.size() || line[stop] == '\0') continue;
    // Breaks with nothing but blanks between them are one fold: a line of blanks reads as the header's end
    // to some.
    const std::size_t next = std::min(line.find_first_not_of(kUnsafeOrBlank, stop), line.size());
    if (next == line.size()) return;
    const std::size_t last = line.find_last_of("\r\n", next - 1);
    std::string blanks(line.substr(last + 1, next - last - 1));
    std::erase(blanks, '\0');
    out.append("\r\n").append(blanks.empty() ? std::string_view(" ") : blanks);
    at = next;
  }
}

// A text made of pieces, one behind the other. It is copied only when there are several.
class JoinedText {
 public:
  std::string_view view() const noexcept { return text_; }
  void add(std::string_view piece) {
    if (text_.empty()) {
      text_ = piece;
      isCopied_ = false;
      return;
    }
    if (!isCopied_) {
      copy_.clear();
      copy_.append(text_);
    }
    isCopied_ = true;
    text_ = copy_.append(piece);
  }
  void clear() noexcept { text_ = {}; }

 private:
  std::string_view text_;
  StringBuffer copy_;
  bool isCopied_ = false;
};

std::string_view withoutOuterReturns(std::string_view line) {
  while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  while (!line.empty() && line.front() == '\r') line.remove_prefix(1);
  return line;
}

// A field as it is kept, of the text that its lines make.
std::unique_ptr<MimeField> readField(std::string_view text, bool& utf8Seen) {
  auto field = std::make_unique<MimeField>();
  if (text.find('?') == std::string_view::npos) {
    field->loadLine(text);
    return field;
  }
  utf8Seen = utf8Seen || findNoCase(text, "?utf-8?") != std::string_view::npos;
  // Only the value may hold encoded words (RFC 2047 5). A name that became another by decoding could turn
  // private when what was written is read again.
  const std::size_t colon = std::min(text.find(':'), text.size());
  StringBuffer value(text.substr(colon));
  ContentCoding::decodeWords(value);
  StringBuffer line;
  line.reserve(colon + value.size());
  line.append(text.substr(0, colon)).append(value);
  field->loadLine(line);
  return field;
}

}  // namespace

void MimeField::loadLine(std::string_view text) {
  text = trimmed(text);
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::string_view name = text.substr(0, colon);
  if (!hasLineBreakOrNul(name)) {
    line_.set(text);
    nameLength_ = colon;
    return;
  }
  StringBuffer line = safeName(name);
  line.append(text.substr(colon)).trim();
  line_ = std::move(line);
  nameLength_ = std::min(line_.view().find(':'), line_.size());
}

void MimeField::setNameValue(std::string_view name, std::string_view value) {
  StringBuffer line = safeName(name);
  line.trim();
  line.append(": ").append(trimmed(value));
  loadLine(line);  // the texts may lie in the line that is replaced
}

std::string_view MimeField::getValue() const noexcept {
  if (nameLength_ == line_.size()) return {};
  std::string_view value = line_.view().substr(nameLength_ + 1);
  while (!value.empty() && isBlank(value.front())) value.remove_prefix(1);
  return value;
}

std::unique_ptr<MimeField> MimeField::clone() const {
  return std::make_unique<MimeField>(*this);
}

void MimeHeader::parseHeader(std::string_view text, bool& utf8Seen, std::size_t maxLines) {
  utf8Seen = false;
  JoinedText pending;
  const auto complete = [&] {
    if (!pending.view().empty()) appendField(readField(pending.view(), utf8Seen));
    pending.clear();
  };

  // With all carriage returns gone, lines end at LF, and an empty line ends the block; an empty first line
  // does not, as no line break stands before it.
  std::size_t taken = 0;
  for (std::size_t at = 0, end = 0; at < text.size() && taken < maxLines; at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    std::string_view line = withoutOuterReturns(text.substr(at, end - at));
    if (line.empty() && at != 0) break;
    if (line.empty()) continue;
    ++taken;
    if (!isBlank(line.front())) complete();
    while (!line.empty() && (isBlank(line.front()) || line.front() == '\r')) line.remove_prefix(1);
    for (std::size_t piece = 0, next = 0; piece <= line.size(); piece = next + 1) {
      next = std::min(line.find('\r', piece), line.size());
      pending.add(line.substr(piece, next - piece));
    }
  }
  complete();
}

std::string_view MimeHeader::getHeaderField(std::string_view name) const noexcept {
  const MimeField* field = find(name);
  return field == nullptr ? std::string_view{} : field->getValue();
}

bool MimeHeader::hasField(std::string_view name) const noexcept {
  return find(name) != nullptr;
}

std::string_view MimeHeader::getFieldName(std::size_t index) const noexcept {
  const MimeField* field = getField(index);
  return field == nullptr ? std::string_view{} : field->getName();
}

void MimeHeader::removeField(std::string_view name) {
  const std::string wanted(name);  // the name may lie in a field that goes
  fields_.removeIf([&](const MimeField& field) { return equalsNoCase(field.getName(), wanted); });
}

void MimeHeader::setHeaderField(std::string_view name, std::string_view value) {
  auto field = std::make_unique<MimeField>();  // made first: the texts may lie in a field that goes
  field->setNameValue(name, value);
  const bool empty = trimmed(value).empty();
  removeField(field->getName());
  if (!empty) appendField(std::move(field));
}

bool MimeHeader::replaceInPlace(std::string_view name, std::string_view value) {
  MimeField* field = find(name);
  if (field == nullptr) return false;
  field->setNameValue(field->getName(), value);
  return true;
}

void MimeHeader::removeEmptyFields() {
  fields_.removeIf([](const MimeField& field) { return trimmed(field.getValue()).empty(); });
}

void MimeHeader::removeFieldsWithPrefix(std::string_view prefix) {
  fields_.removeIf([&](const MimeField& field) { return startsWithNoCase(field.getName(), prefix); });
}

void MimeHeader::copyFrom(const MimeHeader& other) {
  if (this == &other) return;
  clear();
  for (const auto& field : other.fields_) appendField(field->clone());
}

void MimeHeader::mergeFrom(const MimeHeader& other) {
  if (this == &other) return;
  // As if one after the other were set, in one pass: of several of a name only the last one counts.
  std::set<std::string> names;
  std::vector<std::unique_ptr<MimeField>> added;
  for (std::size_t i = other.fields_.size(); i-- > 0;) {
    const MimeField& from = *other.fields_.at(i);
    auto field = std::make_unique<MimeField>();
    field->setNameValue(from.getName(), from.getValue());
    const bool isLast = names.insert(toLower(field->getName())).second;
    if (isLast && !trimmed(from.getValue()).empty()) added.push_back(std::move(field));
  }
  fields_.removeIf([&](const MimeField& field) { return names.contains(toLower(field.getName())); });
  for (std::size_t i = added.size(); i-- > 0;) appendField(std::move(added[i]));
}

char MimeHeader::writeHeader(StringBuffer& out, std::string_view excludePrefix) const {
  const std::size_t start = out.size();
  for (const auto& field : fields_) {
    if (field->getLine().empty()) continue;
    if (!excludePrefix.empty() && startsWithNoCase(field->getName(), excludePrefix)) continue;
    if (out.size() != start) out.append("\r\n");
    appendAsOneField(field->getLine(), out);
  }
  return out.lastChar();
}

std::size_t MimeHeader::getExactSize() const noexcept {
  std::size_t size = 0;
  for (const auto& field : fields_) size += field->getSize();
  return size;
}

MimeField* MimeHeader::find(std::string_view name) const noexcept {
  for (const auto& field : fields_) {
    if (equalsNoCase(field->getName(), name)) return field.get();
  }
  return nullptr;
}

}  // namespace qv

#include "mime/rfc822_address.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

#include "core/text.h"
#include "mime/transfer_coding.h"
#include "mime/xml_text.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// What stands between the first '<' and the last '>' behind it; where one is missing, up to that end.
std::string_view withoutAngles(std::string_view address) {
  address.remove_prefix(address.find('<') + 1);  // none: npos + 1 is 0
  return address.substr(0, address.rfind('>'));
}

// The display name in what stands before an address.
std::string_view nameIn(std::string_view region) {
  region.remove_prefix(std::min(region.find_first_not_of("\"'"), region.size()));
  region = region.substr(0, region.find('"'));
  return trimmedBlanks(region.substr(0, region.find_last_not_of("<\"' ") + 1));
}

// A header field's value on one line.
StringBuffer unfolded(std::string_view text) {
  StringBuffer result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\r' || c == '\n') continue;
    result.append(c == '\t' && i > 0 && text[i - 1] == '\n' ? ' ' : c);
  }
  return result;
}

// Without comments (RFC 822 3.4.3); quotes do not protect parentheses. A backslash and the byte after it
// stay, wherever they stand, and so does a ')' that closes nothing.
StringBuffer withoutComments(std::string_view text) {
  StringBuffer result;
  result.reserve(text.size());
  std::size_t depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\') {
      result.append(text.substr(i++, 2));
    } else if (c == '(') {
      ++depth;
    } else if (c == ')' && depth > 0) {
      --depth;
    } else if (depth == 0) {
      result.append(c);
    }
  }
  return result;
}

void appendElement(std::string_view tag, std::string_view text, StringBuffer& out) {
  if (text.empty()) {
    out.append("\t<").append(tag).append("/>\n");
    return;
  }
  out.append("\t<").append(tag).append('>');
  appendXmlContent(text, out);
  out.append("</").append(tag).append(">\n");
}

}  // namespace

Rfc822Address::Rfc822Address(std::string_view name, std::string_view address) : valid_(true) {
  if (name.empty()) {
    fullText_ = address;
  } else {
    fullText_.append('"').append(name).append("\" <").append(address).append('>');
  }
  displayName_ = trimmedBlanks(name);
  address_ = trimmedBlanks(withoutAngles(address));
  if (address_ == displayName_) displayName_.clear();
}

Rfc822Address::Rfc822Address(std::string_view text) {
  if (text.empty() || findNoCase(text, "undisclosed recipient") != kNone ||
      findNoCase(text, "undisclosed-recipient") != kNone) {
    return;
  }
  fullText_ = text;
  if (fullText_.containsNoCase("?Q?")) {
    ContentCoding::decodeQWords(fullText_);
  } else if (fullText_.containsNoCase("?B?")) {
    ContentCoding::decodeBWords(fullText_);
  }
  fullText_.trimBlanks();

  // The address is the word around the last '@'.
  const std::string_view full = fullText_;
  const std::size_t at = full.rfind('@');
  if (at == kNone) return;
  std::size_t start = at;
  while (start > 0 && full[start - 1] != ' ' && full[start - 1] != '<') --start;
  const auto end = std::find_if(full.begin() + at, full.end(), [](char c) { return c == ' ' || c == '>'; });
  address_ = full.substr(start, static_cast<std::size_t>(end - full.begin()) - start);
  valid_ = true;
  if (start > 0) displayName_ = nameIn(full.substr(0, start - 1));
  if (address_ == displayName_) displayName_.clear();
}

std::unique_ptr<Rfc822Address> Rfc822Address::parseAddress(std::string_view text) {
  if (text.empty()) return nullptr;
  auto address = std::make_unique<Rfc822Address>(text);
  return address->valid() ? std::move(address) : nullptr;
}

std::size_t Rfc822Address::parseAddressList(std::string_view text, ExtPtrArray<Rfc822Address>& out) {
  text = trimmedBlanks(text);
  if (text.empty()) return 0;
  StringBuffer list;
  if (std::any_of(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '('; })) {
    list = withoutComments(unfolded(text));
    text = list;
  }
  // A search tree and no hash table: senders choose the addresses and could choose colliding ones.
  std::set<std::string> known;
  for (const auto& address : out) known.insert(toLower(address->getAddress()));
  std::size_t count = 0;
  for (const std::string_view piece : splitOutsideQuotes(text, ',')) {
    std::unique_ptr<Rfc822Address> address = parseAddress(piece);
    if (!address) continue;
    ++count;
    if (known.insert(toLower(address->getAddress())).second) out.append(std::move(address));
  }
  return count;
}

void Rfc822Address::setAddress(std::string_view address) {
  address_ = withoutAngles(address);
}

std::unique_ptr<Rfc822Address> Rfc822Address::clone() const {
  return std::make_unique<Rfc822Address>(*this);
}

void Rfc822Address::formatForHeader(StringBuffer& out) const {
  if (hasNoName()) {
    out.append(address_);
  } else {
    out.append('"').append(displayName_).append("\" <").append(address_).append('>');
  }
}

void Rfc822Address::writeXml(StringBuffer& out) const {
  out.append("<address>\n");
  appendElement("addr", address_, out);
  appendElement("name", displayName_, out);
  out.append("</address>");
}

}  // namespace qv

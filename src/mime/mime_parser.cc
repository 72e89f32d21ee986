// Reading a message text into its tree of entities.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "core/text.h"
#include "mime/limits.h"
#include "mime/mime_message.h"

namespace qv {

/// Reads entities over views of one text. Entities that are still to be divided wait in a list instead of on
/// the call stack.
class MimeParser {
 public:
  /// `shared`: what `text` is a view of, if that may be kept.
  void parse(MimeMessage2& top, std::string_view text, std::size_t depth, const TextSlice& shared = {}) {
    read(top, text, depth, {shared, text.data()});
    while (!waiting_.empty()) {
      const Multipart next = std::move(waiting_.back());
      waiting_.pop_back();
      divide(next);
    }
  }
  static void parseHeaderOnly(MimeMessage2& entity, std::string_view text) {
    if (readHeader(entity, text)) entity.body_.setRaw("(multipart MIME message)");
  }

 private:
  /// The shared copy of a signed text, and where in the text that is read it was taken from.
  struct SignedCopy {
    TextSlice slice;
    const char* from = nullptr;
  };
  struct Multipart {
    MimeMessage2* entity;
    std::string_view body;
    std::size_t depth;
    SignedCopy enclosing;  ///< the signed text that the entity lies in, if any
  };

  static std::optional<std::string_view> readHeader(MimeMessage2& entity, std::string_view text);
  static void readLeaf(MimeMessage2& entity, std::string_view body);
  static MimeMessage2& newPart(MimeMessage2& parent);
  void read(MimeMessage2& entity, std::string_view text, std::size_t depth, const SignedCopy& enclosing);
  void divide(const Multipart& multipart);
  void addPart(const Multipart& parent, std::string_view text);

  std::vector<Multipart> waiting_;
};

// Reads header and content fields; gives the body's text when there is an empty line. An empty line at the
// very start stands for an empty header.
std::optional<std::string_view> MimeParser::readHeader(MimeMessage2& entity, std::string_view text) {
  const std::size_t end = findText(text, "\r\n\r\n");
  entity.header_.parseHeader(text.substr(0, end), entity.utf8Header_);
  entity.content_ = readContentFields(entity.header_);
  if (end == std::string_view::npos) return std::nullopt;
  return text.substr(end + 4);
}

void MimeParser::readLeaf(MimeMessage2& entity, std::string_view body) {
  entity.body_.setFromEncoded(entity.getTransferEncoding(), body);
  // QUIRK: some programs send HTML under a plain type and mark it at its start.
  body.remove_prefix(std::min(body.find_first_not_of(" \t\r\n"), body.size()));
  if (startsWithNoCase(body, "<x-html>") && !equalsNoCase(entity.getContentType(), "text/html")) {
    entity.setContentType({.type = "text/html"});
  }
}

void MimeParser::read(MimeMessage2& entity, std::string_view text, std::size_t depth,
                      const SignedCopy& enclosing) {
  const std::optional<std::string_view> body = readHeader(entity, text);
  if (!body || body->empty()) return;
  if (entity.isMultipart() && !entity.getBoundary().empty() && depth < kMaxNesting) {
    waiting_.push_back({&entity, *body, depth, enclosing});
  } else {
    readLeaf(entity, *body);
  }
}

// The boundary counts wherever it stands (RFC 2046 5.1.1 wants it at the start of a line). QUIRK: what comes
// after the last boundary of a body that is not closed gives its header only.
void MimeParser::divide(const Multipart& multipart) {
  const std::string_view body = multipart.body;
  const std::string_view boundary = multipart.entity->getBoundary();
  std::size_t found = findText(body, boundary);
  if (found == std::string_view::npos) {
    parseHeaderOnly(newPart(*multipart.entity), body);
    return;
  }
  std::size_t cursor = found + boundary.size();
  do {
    found = findText(body, boundary, cursor);
    if (found == std::string_view::npos) {
      parseHeaderOnly(newPart(*multipart.entity), body.substr(cursor));
      return;
    }
    // CR LF after the boundary and CR LF "--" before the next are not the part's.
    if (found - cursor > 6) addPart(multipart, body.substr(cursor + 2, found - cursor - 6));
    cursor = found + boundary.size();
  } while (body.substr(cursor, 2) != "--");
}

void MimeParser::addPart(const Multipart& parent, std::string_view text) {
  SignedCopy enclosing = parent.enclosing;
  const bool isSigned = parent.entity->isMultipartSigned() && parent.entity->getNumParts() == 0;
  MimeMessage2& part = newPart(*parent.entity);
  if (isSigned) {
    TextSlice& slice = part.signedText_;
    if (enclosing.slice.owner) {
      const auto into = static_cast<std::size_t>(text.data() - enclosing.from);
      slice = {enclosing.slice.owner, enclosing.slice.offset + into, text.size()};
    } else {
      slice = {std::make_shared<const StringBuffer>(text), 0, text.size()};
    }
    enclosing = {slice, text.data()};
  }
  read(part, text, parent.depth + 1, enclosing);
}

MimeMessage2& MimeParser::newPart(MimeMessage2& parent) {
  auto part = std::make_unique<MimeMessage2>(parent.log_);
  MimeMessage2& added = *part;
  parent.addPart(std::move(part));
  return added;
}

void MimeMessage2::parseMime(std::string_view text, std::size_t depth) {
  clear();
  MimeParser().parse(*this, text, depth);
}

void MimeMessage2::parseMime(const TextSlice& text) {
  clear();
  MimeParser().parse(*this, text.view(), 0, text);
}

void MimeMessage2::parseHeaderOnly(std::string_view text) {
  clear();
  MimeParser::parseHeaderOnly(*this, text);
}

}  // namespace qv

// Reading a message text into its tree of entities.
#include <algorithm>
#include <limits>
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
  explicit MimeParser(std::size_t maxHeaderLines = kMaxHeaderLines) noexcept
      : maxHeaderLines_(maxHeaderLines) {}

  /// A slice that the entities may share, or a text that they may not.
  void parse(MimeMessage2& top, const TextSlice& text) { parse(top, text.view, 0, {text, text.view.data()}); }
  void parse(MimeMessage2& top, std::string_view text, std::size_t depth) { parse(top, text, depth, {}); }
  void parseHeaderOnly(MimeMessage2& entity, std::string_view text) const {
    if (readHeader(entity, text)) entity.body_.setRaw("(multipart MIME message)");
  }

 private:
  /// What the entities share of the text, and where in the text that is read that begins.
  struct Shared {
    TextSlice slice{};
    const char* from = nullptr;  ///< null: nothing yet
  };
  struct Multipart {
    MimeMessage2* entity;
    std::string_view body;
    std::size_t depth;
    Shared enclosing;  ///< the signed text that the entity lies in, if any
  };

  void parse(MimeMessage2& top, std::string_view text, std::size_t depth, const Shared& shared) {
    read(top, text, depth, shared);
    while (!waiting_.empty()) {
      const Multipart next = std::move(waiting_.back());
      waiting_.pop_back();
      divide(next);
    }
  }
  std::optional<std::string_view> readHeader(MimeMessage2& entity, std::string_view text) const;
  static void readLeaf(MimeMessage2& entity, std::string_view body);
  static MimeMessage2& newPart(MimeMessage2& parent);
  void read(MimeMessage2& entity, std::string_view text, std::size_t depth, const Shared& enclosing);
  void divide(const Multipart& multipart);
  void addPart(const Multipart& parent, std::string_view text);

  std::size_t maxHeaderLines_;
  std::vector<Multipart> waiting_;
};

// Reads header and content fields; gives the body's text when there is an empty line. An empty line at the
// very start stands for an empty header.
std::optional<std::string_view> MimeParser::readHeader(MimeMessage2& entity, std::string_view text) const {
  const std::size_t end = findText(text, "\r\n\r\n");
  entity.header_.parseHeader(text.substr(0, end), entity.utf8Header_, maxHeaderLines_);
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
                      const Shared& enclosing) {
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
  Shared enclosing = parent.enclosing;
  const bool isSigned = parent.entity->isMultipartSigned() && parent.entity->getNumParts() == 0;
  MimeMessage2& part = newPart(*parent.entity);
  if (isSigned) {
    TextSlice& slice = part.signedText_;
    if (enclosing.from != nullptr) {
      const auto into = static_cast<std::size_t>(text.data() - enclosing.from);
      slice = {enclosing.slice.view.substr(into, text.size()), enclosing.slice.owner};
    } else {
      const auto copy = std::make_shared<const StringBuffer>(text);
      slice = {copy->view(), copy};
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
  MimeParser().parse(*this, text);
}

void MimeMessage2::parseWritten(std::string_view text) {
  clear();
  MimeParser(std::numeric_limits<std::size_t>::max()).parse(*this, text, 0);
}

void MimeMessage2::parseHeaderOnly(std::string_view text) {
  clear();
  MimeParser().parseHeaderOnly(*this, text);
}

}  // namespace qv

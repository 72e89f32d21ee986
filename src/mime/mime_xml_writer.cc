// Writing a tree of entities as XML.
#include <vector>

#include "core/text.h"
#include "mime/mime_xml.h"

namespace qv {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::string_view kCdataStart = "<![CDATA[";
constexpr std::string_view kCdataEnd = "]]>";

// Whether a text has CDATA sections, and no other markup, so that it can stand in an element as it is.
// Readers that take a section behind other text for a declaration end it at its first '>'.
bool isMarkedUp(std::string_view text) noexcept {
  if (findText(text, kCdataStart) == kNone) return false;  // nearly all
  bool isMarked = false;
  for (std::size_t at = 0; (at = text.find_first_of("<>&")) != kNone; isMarked = true) {
    if (!text.substr(at).starts_with(kCdataStart)) return false;
    const bool isFirst = !isMarked && trimmed(text.substr(0, at)).empty();
    text.remove_prefix(at + kCdataStart.size());
    const std::size_t end = findText(text, kCdataEnd);
    if (end == kNone || (!isFirst && text.substr(0, end).find_first_of("<>") != kNone)) return false;
    text.remove_prefix(end + kCdataEnd.size());
  }
  return isMarked;
}

// A section cannot hold its end, which is therefore divided between two.
void writeSection(std::string_view text, StringBuffer& out) {
  out.append(kCdataStart);
  for (std::size_t end; (end = findText(text, kCdataEnd)) != kNone; text.remove_prefix(end + 2)) {
    out.append(text.substr(0, end + 2)).append(kCdataEnd).append(kCdataStart);
  }
  out.append(text).append(kCdataEnd);
}

void writeText(std::string_view text, StringBuffer& out) {
  if (text.find_first_of("\n\t&><") == kNone || isMarkedUp(text)) {
    out.append(text);
  } else {
    writeSection(text, out);
  }
}

void writeBody(const MimeBody& body, StringBuffer& out) {
  switch (body.coding()) {
    case MimeBody::Coding::raw:
      writeText(body.data().view(), out);
      break;
    case MimeBody::Coding::quotedPrintable: {
      StringBuffer text;
      body.getEncodedBody(text);
      writeText(text, out);
      break;
    }
    case MimeBody::Coding::base64:
      // Always lines, and no markup: written straight into the document, as attachments are most of it.
      if (body.data().empty()) break;
      out.append(kCdataStart);
      body.getEncodedBody(out);
      out.append(kCdataEnd);
      break;
  }
}

// Walks down a tree. What is open stands in a list instead of on the call stack, and all is written where it
// stays: what turns out to be nothing is taken off again.
class TreeXmlWriter {
 public:
  explicit TreeXmlWriter(StringBuffer& out) : out_(out) {}

  void write(const MimeMessage2& top) {
    begin(top);
    while (!open_.empty()) {
      Level& level = open_.back();
      if (level.next < level.entity->getNumParts()) {
        const std::size_t start = out_.size();
        out_.append("<subpart>\n");
        if (!begin(*level.entity->getPart(level.next++))) out_.truncate(start);
      } else {
        out_.append("\n</body>\n</mime_message>");
        open_.pop_back();
        out_.append(open_.empty() ? "\n" : "</subpart>\n");
      }
    }
  }

 private:
  struct Level {
    const MimeMessage2* entity;
    std::size_t next;  ///< part to write
  };

  bool begin(const MimeMessage2& entity) {
    const std::size_t start = out_.size();
    out_.append("<mime_message>\n");
    if (writeHeaderXml(entity, out_) == 0) {
      out_.truncate(start);
      return false;
    }
    out_.append("<body>\n");
    if (entity.getNumParts() == 0) writeBody(entity.body(), out_);
    open_.push_back({&entity, 0});
    return true;
  }

  StringBuffer& out_;
  std::vector<Level> open_;
};

}  // namespace

void writeEntityXml(const MimeMessage2& entity, StringBuffer& out) {
  TreeXmlWriter(out).write(entity);
}

}  // namespace qv

#include "email/email_reader.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "core/text.h"
#include "email/smime_reader.h"

namespace qv {
namespace {

// Runs `work`; what escapes from it is logged as `failure`, and there is no result.
template <typename Work>
std::unique_ptr<Email> guarded(std::string_view failure, CLog* log, Work work) {
  try {
    return work();
  } catch (...) {
    logError(log, failure);
    return nullptr;
  }
}

// The first of the addresses in a From field. One '@' means one address, even if its name, once decoded,
// holds a comma outside quotes.
std::unique_ptr<Rfc822Address> firstAddress(std::string_view field) {
  if (std::count(field.begin(), field.end(), '@') < 2) return Rfc822Address::parseAddress(field);
  ExtPtrArray<Rfc822Address> addresses;
  Rfc822Address::parseAddressList(field, addresses);
  return addresses.removeAt(0);
}

// Who a secured message is from, and which one it is.
void logOrigin(const Email& email, CLog* log) {
  const std::string_view address = email.getFromAddress();
  logData(log, "from", address.empty() ? email.getHeaderField("From") : address);
  StringBuffer id(email.getHeaderField("Message-ID"));
  id.removeAll('<');
  id.removeAll('>');
  id.trim();
  logData(log, "message_id", id);
}

// Undoes the dot-stuffing of a transfer (RFC 1939 3) where the text stands, and cuts it at the line of one
// dot. Looks at dots only: a message has few, and its attachments in base64 have none.
void removeDotStuffing(StringBuffer& text) {
  if (text.empty()) return;
  const char* const end = text.extend(0);
  char* const begin = text.extend(0) - text.size();
  char* out = begin;
  const char* done = begin;  // all before is in place
  const auto keepTo = [&](const char* to) {
    const auto size = static_cast<std::size_t>(to - done);
    if (out != done) std::memmove(out, done, size);
    out += size;
  };
  const char* at = begin;
  const auto nextDot = [&] {
    const void* dot = std::memchr(at, '.', static_cast<std::size_t>(end - at));
    return static_cast<const char*>(dot);
  };
  for (const char* dot; at != end && (dot = nextDot()) != nullptr;) {
    at = dot + 1;
    if (at == end || (dot != begin && dot[-1] != '\n')) continue;
    if (*at != '.' && *at != '\r') continue;
    keepTo(dot);
    done = at;
    if (*at == '\r') {
      done = end;
      break;
    }
    ++at;
  }
  keepTo(end);
  text.truncate(static_cast<std::size_t>(out - begin));
}

void dropFinalLineBreak(StringBuffer& text) {
  if (text.lastChar() != '\n') return;
  text.truncate(text.size() - 1);
  if (text.lastChar() == '\r') text.truncate(text.size() - 1);
}

}  // namespace

/// Fills new e-mail entities. Pairs that still have to be filled wait in a list instead of on the call stack.
class EmailReader {
 public:
  EmailReader(const ReadOptions& options, CLog* log) : options_(options), log_(log) {}

  std::unique_ptr<Email> read(MimeMessage2& top) {
    std::optional<LogContext> context;
    ReceivedSecurity security;
    if (options_.processSecurity) {
      context.emplace(log_, "security");
      security = unwrapSecurity(top, options_.autoSaveCerts, log_);
      logSecurity(security, log_);
    }
    std::unique_ptr<Email> email = newEntity(top);
    if (security.securityFound) logOrigin(*email, log_);
    if (options_.processSecurity) email->setReceivedSecurity(std::move(security));
    context.reset();
    while (!waiting_.empty()) {
      const Pair pair = waiting_.back();
      waiting_.pop_back();
      for (std::size_t i = 0; i < pair.from->getNumParts(); ++i) {
        pair.to->parts_.append(newEntity(*pair.from->getPart(i)));
      }
    }
    return email;
  }

 private:
  struct Pair {
    MimeMessage2* from;
    Email* to;
  };

  std::unique_ptr<Email> newEntity(MimeMessage2& from) {
    std::unique_ptr<Email> to = Email::withoutFields(log_);
    to->header_ = std::move(from.header());
    to->utf8Header_ = from.utf8Header();
    tidyHeader(to->header_);
    readAddressesAndDate(*to);
    takeContent(*to, from);
    if (from.getNumParts() != 0) waiting_.push_back({&from, to.get()});
    return to;
  }

  void tidyHeader(MimeHeader& header) const {
    header.removeEmptyFields();
    if (!options_.keepPrivateFields) header.removeFieldsWithPrefix("QVX-");
    // A message of this component shows the banner of today, whatever version made it.
    if (findNoCase(header.getHeaderField("X-Mailer"), "ActiveX") != std::string_view::npos) {
      header.replaceInPlace("X-Mailer", defaultMailer());
    }
  }

  static void readAddressesAndDate(Email& email) {
    const MimeHeader& header = email.header_;
    email.fromAddress_ = firstAddress(header.getHeaderField("From"));
    Rfc822Address::parseAddressList(header.getHeaderField("To"), email.to_.list);
    Rfc822Address::parseAddressList(header.getHeaderField("Cc"), email.cc_.list);
    DateParser::parseRfc822Date(header.getHeaderField("Date"), email.emailDate_);
  }

  static void takeContent(Email& to, MimeMessage2& from) {
    // Only the types that have a charset show one.
    to.charset_ = from.getCharset();
    ContentFields& content = from.content();
    to.contentType_ = std::move(content.contentType);
    to.disposition_ = std::move(content.disposition);
    to.transferEncoding_ = std::move(content.transferEncoding);
    to.contentId_ = std::move(content.contentId);
    to.nameParam_ = std::move(content.name);
    to.protocolParam_ = std::move(content.protocol);
    to.micalgParam_ = std::move(content.micalg);
    to.boundary_ = std::move(content.boundary);
    to.smimeType_ = std::move(content.smimeType);
    to.filename_ = std::move(content.filename);
    to.body_ = std::move(from.body());
  }

  ReadOptions options_;
  CLog* log_;
  std::vector<Pair> waiting_;
};

std::unique_ptr<Email> createFromMimeObject(MimeMessage2&& mime, const ReadOptions& options, CLog* log) {
  return guarded("Unexpected exception in Email.createFromMimeObject", log,
                 [&] { return EmailReader(options, log).read(mime); });
}

std::unique_ptr<Email> createFromMimeText(std::string_view text, const ReadOptions& options, CLog* log) {
  return guarded("Unexpected exception in Email.createFromMimeObject", log, [&] {
    MimeMessage2 mime(log);
    mime.parseMime(TextSlice{text});  // which outlives the tree
    return EmailReader(options, log).read(mime);
  });
}

std::unique_ptr<Email> createFromPop3(StringBuffer&& retrievedText, bool dropFinalCrLf, bool autoSaveCerts,
                                      CLog* log) {
  return guarded("Unexpected exception in Email.createFromPop3", log, [&] {
    auto text = std::make_shared<StringBuffer>(std::move(retrievedText));
    removeDotStuffing(*text);
    if (dropFinalCrLf) dropFinalLineBreak(*text);
    MimeMessage2 mime(log);
    mime.parseMime(TextSlice{text->view(), text});
    return EmailReader({.processSecurity = true, .autoSaveCerts = autoSaveCerts}, log).read(mime);
  });
}

}  // namespace qv

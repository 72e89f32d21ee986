// What must hold of an answer to a message, and of a copy with patterns replaced, whatever the message is.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "email/email.h"
#include "email/email_reader.h"
#include "email/replace_patterns.h"
#include "laws.h"

namespace laws {

/// How often each field stands in the header of a text that leaves the machine, as the most generous reader
/// counts: names in lower case, without blanks around them.
inline std::map<std::string, std::size_t> fieldsOnTheWire(const qv::Email& email) {
  qv::StringBuffer text;
  email.writeMime(text, "QVX-");
  qv::MimeHeader header;
  bool utf8 = false;
  header.parseHeader(text, utf8);
  std::map<std::string, std::size_t> fields;
  for (std::size_t i = 0; i < header.getFieldCount(); ++i) {
    ++fields[qv::toLower(qv::trimmed(header.getFieldName(i)))];
  }
  return fields;
}

inline void checkOutgoing(const qv::Email& email) {
  qv::Email::forEachEntity(email, [](const qv::Email& entity) { checkWritten(entity.header()); });
  for (const auto& [name, count] : fieldsOnTheWire(email)) {
    require(name != "bcc", "nobody reads of a Bcc recipient");
    require(!name.starts_with("qvx-"), "no private field gets out");
  }
}

inline void checkAnswer(std::string_view text) {
  const std::unique_ptr<qv::Email> source = qv::createFromMimeText(text, {}, nullptr);
  for (const bool isForward : {false, true}) {
    const std::unique_ptr<qv::Email> answer = source->cloneEmail();
    isForward ? answer->makeForward() : answer->makeReply();
    require(answer->numTo() <= (isForward ? 0U : 1U), "only the sender is answered");
    require(answer->numCc() + answer->numBcc() == 0, "and nobody else hears of it");
    require(answer->getHeaderField("QVX-FileDistList").empty(), "a stranger names no list of ours");
    answer->setFrom("me@h");
    checkOutgoing(*answer);
    auto fields = fieldsOnTheWire(*answer);
    for (const char* name : {"reply-to", "sender", "return-path", "disposition-notification-to", "cc"}) {
      require(fields[name] == 0, "what a stranger says of his own message is not said of the answer");
    }
    for (const char* name : {"from", "subject", "date", "message-id", "mime-version", "x-priority"}) {
      require(fields[name] == 1, "what is said of the answer is said once");
    }
  }

  qv::ReplacePatterns patterns;
  patterns.set(text.empty() ? "x" : text.substr(text.size() / 2, 3), "\r\nBcc: spy@h\r\n\r\n");
  patterns.set("@", text);
  checkOutgoing(*source->copyForSending(patterns));
}

}  // namespace laws

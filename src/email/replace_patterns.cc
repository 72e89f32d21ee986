#include "email/replace_patterns.h"

#include "core/text.h"
#include "email/email.h"

namespace qv {
namespace {

/// Applies the patterns one after the other; whether anything changed.
bool replaceIn(StringBuffer& text, const ReplacePatterns& patterns) {
  std::size_t count = 0;
  for (const auto& pair : patterns) count += text.replaceAll(pair->name(), pair->value());
  return count != 0;
}

bool replaceIn(Rfc822Address& address, const ReplacePatterns& patterns) {
  StringBuffer name(address.getDisplayName());
  StringBuffer mailbox(address.getAddress());
  const bool isNameChanged = replaceIn(name, patterns);
  const bool isMailboxChanged = replaceIn(mailbox, patterns);
  if (isNameChanged) address.setDisplayName(name);
  if (isMailboxChanged) address.setAddress(mailbox);
  return isNameChanged || isMailboxChanged;
}

}  // namespace

std::unique_ptr<Email> Email::copyForSending(const ReplacePatterns& patterns) const {
  std::unique_ptr<Email> copy = cloneEmail();
  if (copy == nullptr) return nullptr;
  copyRecipients(copy->bcc_, bcc_);
  // The certificates and the cipher that the host chose hold for the copy as well: what is sent must not be
  // signed by somebody else, or written in a weaker cipher, for the sake of a pattern.
  copy->sendSecurity_ = sendSecurity_;
  copy->applyReplacePatterns(patterns);
  return copy;
}

void Email::applyReplacePatterns(const ReplacePatterns& patterns) {
  forEachEntity(*this, [&](Email& entity) { entity.replaceHere(patterns); });
}

// A field in which nothing was found stays as it stands.
void Email::replaceHere(const ReplacePatterns& patterns) {
  if (startsWithNoCase(contentType_, "text")) {
    StringBuffer text(body_.data().view());
    if (replaceIn(text, patterns)) body_.changeData().set(text);
  }
  StringBuffer subject(getSubject());
  if (replaceIn(subject, patterns)) setSubject(subject);
  if (fromAddress_ != nullptr && replaceIn(*fromAddress_, patterns)) fromChanged();
  for (Recipients* recipients : {&to_, &cc_, &bcc_}) {
    bool isChanged = false;
    for (const auto& address : recipients->list) isChanged |= replaceIn(*address, patterns);
    if (!isChanged) continue;
    recipients->known.clear();
    recipients->numKnown = 0;
    markStale(*recipients);
  }
}

}  // namespace qv

// Sender and recipients of a message, and the fields that name them.
#include <algorithm>
#include <utility>

#include "core/text.h"
#include "email/email.h"
#include "mime/transfer_coding.h"

namespace qv {

void Email::setFrom(std::string_view text) {
  std::unique_ptr<Rfc822Address> address = Rfc822Address::parseAddress(text);
  if (!address) return;
  fromAddress_ = std::move(address);
  fromChanged();
}

void Email::setFromField(std::string_view value) {
  if (trimmed(value).empty()) return removeHeaderField("From");
  setFrom(value);
}

StringBuffer Email::getFrom() const {
  StringBuffer out;
  if (fromAddress_) fromAddress_->formatForHeader(out);
  return out;
}

void Email::setFromName(std::string_view name) {
  pendingFromName_.clear();
  if (!fromAddress_) {
    pendingFromName_ = trimmed(name);
    return;
  }
  fromAddress_->setDisplayName(trimmed(name));
  fromChanged();
}

std::string_view Email::getFromName() const noexcept {
  return fromAddress_ ? fromAddress_->getDisplayName() : pendingFromName_.view();
}

void Email::setFromAddress(std::string_view address) {
  address = trimmed(address);
  if (address.find('@') == std::string_view::npos) return;
  if (fromAddress_) {
    fromAddress_->setAddress(address);
  } else {
    fromAddress_ = std::make_unique<Rfc822Address>(pendingFromName_, address);
    pendingFromName_.clear();
  }
  fromChanged();
}

std::string_view Email::getFromAddress() const noexcept {
  return fromAddress_ ? fromAddress_->getAddress() : std::string_view{};
}

void Email::fromChanged() {
  setHeaderField("From", getFrom());
}

bool Email::addRecipient(Recipients& recipients, std::string_view name, std::string_view address) {
  auto added = std::make_unique<Rfc822Address>(name, address);
  if (added->getAddress().empty()) return false;
  recipients.list.append(std::move(added));
  markStale(recipients);
  return true;
}

std::size_t Email::addRecipients(Recipients& recipients, std::string_view list) {
  ExtPtrArray<Rfc822Address> found;
  const std::size_t count = Rfc822Address::parseAddressList(list, found);
  if (count == 0) return 0;
  for (; recipients.numKnown < recipients.list.size(); ++recipients.numKnown) {
    recipients.known.insert(toLower(recipients.list.at(recipients.numKnown)->getAddress()));
  }
  for (const auto& address : found) {
    if (!recipients.known.insert(toLower(address->getAddress())).second) continue;
    recipients.list.append(address->clone());
    ++recipients.numKnown;
  }
  markStale(recipients);
  return count;
}

void Email::forgetRecipients(Recipients& recipients) {
  recipients = {.field = recipients.field};
}

void Email::clearRecipients(Recipients& recipients) {
  forgetRecipients(recipients);
  if (!recipients.field.empty()) header_.removeField(recipients.field);
}

// The field stays as it was given, with what in it is no address.
void Email::setRecipients(Recipients& recipients, std::string_view list) {
  clearRecipients(recipients);
  Rfc822Address::parseAddressList(list, recipients.list);
  setHeaderField(recipients.field, list);
}

void Email::setBccField(std::string_view value) {
  if (trimmed(value).empty()) return clearBcc();
  addMultipleBcc(value);
}

StringBuffer Email::fullForm(const Recipients& recipients, std::size_t index) {
  StringBuffer out;
  if (const Rfc822Address* address = recipients.list.at(index)) address->formatForHeader(out);
  return out;
}

std::string_view Email::bareAddress(const Recipients& recipients, std::size_t index) noexcept {
  const Rfc822Address* address = recipients.list.at(index);
  return address == nullptr ? std::string_view{} : address->getAddress();
}

// Every change moves the field to the end of the header. Its value is left to the next look, so that adding
// one recipient after the other does not write it anew each time.
void Email::markStale(const Recipients& recipients) {
  if (recipients.field.empty()) return;
  const std::size_t count = header_.getFieldCount();
  const bool isLast = count > 0 && header_.getFieldName(count - 1) == recipients.field;
  if (!recipients.stale || !isLast) header_.setHeaderField(recipients.field, "?");
  recipients.stale = true;
}

void Email::refreshField(const Recipients& recipients) const {
  recipients.stale = false;
  StringBuffer value;
  for (const auto& address : recipients.list) {
    if (!value.empty()) value.append(",\r\n ");
    appendHeaderForm(*address, value);
  }
  header_.replaceInPlace(recipients.field, value);
}

// Outside us-ascii the name is written in encoded words. Its quotes go, and it is shortened so that the whole
// keeps to 399 characters; the address is never touched: a shortened one would be somebody else's.
void Email::appendHeaderForm(const Rfc822Address& address, StringBuffer& out) const {
  constexpr std::size_t kMaxLength = 399;
  if (address.hasNoName() || charset_.equalsNoCase("us-ascii")) return address.formatForHeader(out);
  StringBuffer mailbox;
  mailbox.append(" <").append(address.getAddress()).append('>');
  StringBuffer name(address.getDisplayName());
  name.removeAll('"');
  name.truncate(kMaxLength - std::min(kMaxLength, mailbox.size()));
  name.trimEnd();
  ContentCoding::encodeHeaderWords(name, wordCharset(), out);
  out.append(mailbox);
}

void Email::copyRecipients(Recipients& to, const Recipients& from) {
  forgetRecipients(to);
  for (const auto& address : from.list) to.list.append(address->clone());
}

// The fields are copied as they stand: their names are encoded for the charset of that message.
void Email::copyAddressesFrom(const Email& other) {
  if (this == &other) return;
  for (const auto kind : {&Email::to_, &Email::cc_, &Email::bcc_}) {
    clearRecipients(this->*kind);
    copyRecipients(this->*kind, other.*kind);
    const std::string_view field = (this->*kind).field;
    if (!field.empty()) setHeaderField(field, other.getHeaderField(field));
  }
  copySender(other);
  setHeaderField("From", other.getHeaderField("From"));
}

void Email::copySender(const Email& other) {
  pendingFromName_ = other.pendingFromName_;
  fromAddress_ = other.fromAddress_ ? other.fromAddress_->clone() : nullptr;
}

}  // namespace qv

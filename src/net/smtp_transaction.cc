#include "net/smtp_transaction.h"

#include <cstdint>
#include <new>
#include <string>

#include "net/command_text.h"
#include "net/mail_journal.h"
#include "net/wire_text.h"

namespace qv {

namespace {

constexpr std::uint64_t kStep = 50;  // progress of one command

struct RecipientKind {
  std::size_t (Email::*count)() const noexcept;
  std::string_view (Email::*address)(std::size_t) const noexcept;
  std::string_view key;      // of an accepted address in the log
  std::string_view failure;  // stands before a refused one
};

constexpr RecipientKind kRecipientKinds[] = {
    {&Email::numTo, &Email::getToAddr, "to", "Failed when sending RCPT TO:<"},
    {&Email::numCc, &Email::getCcAddr, "cc", "Failed when sending cc RCPT TO:<"},
    {&Email::numBcc, &Email::getBccAddr, "bcc", "Failed when sending bcc RCPT TO:<"},
};

class Transaction {
 public:
  Transaction(const SmtpDelivery& delivery, Email& email) noexcept
      : delivery_(delivery), dialogue_(delivery.dialogue), log_(delivery.log), email_(email) {}

  bool run();
  const SendOutcome& outcome() const noexcept { return outcome_; }

 private:
  bool offerSender();
  void offerRecipients();
  void offerRecipient(const RecipientKind& kind, std::string_view address);
  bool sendMessage();
  void journal(const WireText& text) const noexcept;
  bool command(std::string_view format, std::string_view argument, int expected) {
    return dialogue_.sendAndCheck(format, argument, expected, log_);
  }
  bool fail(std::string_view message, bool withTranscript = true);
  void step() {
    if (delivery_.progress != nullptr) delivery_.progress->step(kStep);
  }

  const SmtpDelivery& delivery_;
  SmtpDialogue& dialogue_;
  CLog* log_;
  Email& email_;
  SendOutcome outcome_;
};

/// A failure after which the session is of no use.
bool Transaction::fail(std::string_view message, bool withTranscript) {
  logError(log_, message);
  if (withTranscript) logInfo(log_, dialogue_.transcript());
  outcome_.numAccepted = 0;
  outcome_.fatal = true;
  return false;
}

bool Transaction::run() {
  if (email_.getFromAddress().empty()) {
    logCommonError(log_, "Invalid email object, no return address");
    outcome_.fatal = true;
    return false;
  }
  logData(log_, "subject", email_.subjectForSending());
  if (!dialogue_.isConnected()) return fail("No Socket for sending email", false);
  if (!offerSender()) return false;
  step();
  offerRecipients();
  if (outcome_.numAccepted == 0) {
    outcome_.fatal = !dialogue_.isConnected();
    return false;
  }
  if (outcome_.numAccepted < outcome_.numAttempted) {
    logError(log_, "Warning: failed to send to " +
                       std::to_string(outcome_.numAttempted - outcome_.numAccepted) +
                       " recipient(s), continuing to send to " + std::to_string(outcome_.numAccepted) +
                       " recipient(s)");
  }
  return sendMessage();
}

bool Transaction::offerSender() {
  const StringBuffer sender(email_.getFromAddress());
  const auto mailFrom = [&] { return command("MAIL FROM:<%s>\r\n", sender, 250); };
  logData(log_, "from", sender);
  bool accepted = isMailboxText(sender, "sender's address", log_);
  if (accepted) {
    const bool leftOpen = dialogue_.phase() != SmtpDialogue::Phase::idle;
    const auto resetFirst = [&] { return command("RSET\r\n", {}, 250) && mailFrom(); };
    // A server that refused all recipients of the last message may still hold that transaction open and
    // answer 503 (RFC 5321 4.1.4). It is not made to say so twice: some end the session after a few errors.
    accepted = leftOpen && dialogue_.holdsTransactions() ? resetFirst() : mailFrom();
    if (!accepted && leftOpen && !dialogue_.holdsTransactions()) {
      dialogue_.setHoldsTransactions();
      accepted = resetFirst();
    }
  }
  if (!accepted) {
    StringBuffer message("Failed when sending MAIL FROM:<");
    return fail(message.append(sender).append('>'));
  }
  dialogue_.setPhase(SmtpDialogue::Phase::transaction);
  return true;
}

void Transaction::offerRecipients() {
  const LogContext context(log_, "recipients");
  if (email_.numTo() == 0 && !command("RCPT TO:<%s>\r\n", "undisclosed-recipients", 250)) {
    logError(log_, "Failed when sending RCPT TO:<undisclosed-recipients>");
  }
  for (const RecipientKind& kind : kRecipientKinds) {
    const std::size_t count = (email_.*kind.count)();
    for (std::size_t i = 0; i < count; ++i) {
      const std::string_view address = (email_.*kind.address)(i);
      if (!address.empty()) offerRecipient(kind, address);
      step();
    }
  }
}

void Transaction::offerRecipient(const RecipientKind& kind, std::string_view address) {
  ++outcome_.numAttempted;
  if (isMailboxText(address, "recipient's address", log_) && command("RCPT TO:<%s>\r\n", address, 250)) {
    logData(log_, kind.key, address);
    ++outcome_.numAccepted;
    return;
  }
  StringBuffer message(kind.failure);
  logError(log_, message.append(address).append('>'));
  logData(log_, "bad_address", address);
  delivery_.rejected.addUnique(address);
}

bool Transaction::sendMessage() {
  // Made before the server waits for it: what fails here leaves the session as it is. A sink that hears of
  // the progress may change the e-mail meanwhile.
  const WireText text(email_, delivery_.progress == nullptr || !delivery_.progress->isHeard());
  if (!command("DATA\r\n", {}, 354)) return fail("Failed when sending DATA command");
  dialogue_.setPhase(SmtpDialogue::Phase::message);
  step();
  logData(log_, "email_size", std::to_string(text.size()));
  if (!dialogue_.sendMessage(text, log_, delivery_.progress)) {
    fail("Failed when sending email body");
    dialogue_.disconnect();
    return false;
  }
  const bool accepted = command("\r\n.\r\n", {}, 250);
  dialogue_.setPhase(SmtpDialogue::Phase::idle);
  if (!accepted) return fail("Failed when sending body end marker");
  step();
  journal(text);
  return true;
}

/// The server has the message: what goes wrong from here on says nothing else.
void Transaction::journal(const WireText& text) const noexcept {
  if (delivery_.sentLogFileName.empty()) return;
  try {
    appendSentLog(delivery_.sentLogFileName, text.whole());
  } catch (const std::bad_alloc&) {
    return;
  }
}

}  // namespace

bool runSmtpTransaction(const SmtpDelivery& delivery, Email& email, SendOutcome& outcome) {
  Transaction transaction(delivery, email);
  const bool sent = transaction.run();
  outcome.numAccepted += transaction.outcome().numAccepted;
  outcome.numAttempted += transaction.outcome().numAttempted;
  outcome.fatal = transaction.outcome().fatal;
  return sent;
}

}  // namespace qv

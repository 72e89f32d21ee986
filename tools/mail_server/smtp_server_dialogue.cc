#include "mail_server/smtp_server_dialogue.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "core/text.h"

namespace qv {

namespace {

bool isEightBit(char c) {
  return static_cast<unsigned char>(c) >= 0x80;
}

std::string reply(int code, std::string_view words) {
  return std::to_string(code) + " " + oneLine(words) + "\r\n";
}

/// Where the '>' stands that ends a path which starts with '<'; npos when there is none. Quoted strings may
/// hold any character (RFC 5321 4.1.2); outside them blanks and another '<' may not stand.
std::size_t endOfPath(std::string_view text) {
  bool quoted = false;
  for (std::size_t at = 1; at < text.size(); ++at) {
    const char c = text[at];
    if (quoted && c == '\\') {
      ++at;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (!quoted && c == '>') {
      return at;
    } else if (!quoted && (c == ' ' || c == '<')) {
      break;
    }
  }
  return std::string_view::npos;
}

/// Takes "<address>" off the front of a command's argument, and the blanks behind it. False when it is not
/// there. A source route is read and ignored (RFC 5321 4.1.1.3).
bool takePath(std::string_view& argument, std::string_view& address) {
  if (argument.empty() || argument.front() != '<') return false;
  const std::size_t end = endOfPath(argument);
  if (end == std::string_view::npos) return false;
  address = argument.substr(1, end - 1);
  argument.remove_prefix(end + 1);
  if (!argument.empty() && argument.front() != ' ') return false;
  argument.remove_prefix(std::min(argument.find_first_not_of(' '), argument.size()));
  if (address.empty() || address.front() != '@') return true;
  const std::size_t colon = address.find(':');
  if (colon == std::string_view::npos) return false;
  address.remove_prefix(colon + 1);
  return true;
}

/// A local part and a domain. The last '@' parts them: a quoted local part may hold others.
bool isMailbox(std::string_view address) {
  const std::size_t at = address.rfind('@');
  return at != std::string_view::npos && at > 0 && at + 1 < address.size();
}

bool matchesAny(const std::vector<std::string>& patterns, std::string_view address) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](const std::string& pattern) { return matchesPattern(pattern, address); });
}

}  // namespace

bool matchesPattern(std::string_view pattern, std::string_view address) {
  // Only the last "*" met need be tried again: what stood before it has matched as early as it can.
  std::size_t p = 0;
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  for (std::size_t a = 0; a < address.size();) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = ++p;
      resume = a;
    } else if (p < pattern.size() && lowerAscii(pattern[p]) == lowerAscii(address[a])) {
      ++p;
      ++a;
    } else if (star != std::string_view::npos) {
      p = star;
      a = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

struct SmtpServerDialogue::Command {
  std::string_view verb;
  std::string (SmtpServerDialogue::*run)(std::string_view argument);
};

// "MAIL FROM:" and "RCPT TO:" are one word each to a client; blanks around the colon are a common error
// (RFC 5321 3.3) and are not let pass, so that a client's author hears of it here.
const SmtpServerDialogue::Command SmtpServerDialogue::kCommands[] = {
    {"HELO", &SmtpServerDialogue::hello},
    {"EHLO", &SmtpServerDialogue::extendedHello},
    {"MAIL", &SmtpServerDialogue::mail},
    {"RCPT", &SmtpServerDialogue::recipient},
    {"DATA", &SmtpServerDialogue::data},
    {"RSET", &SmtpServerDialogue::reset},
    {"NOOP", &SmtpServerDialogue::noop},
    {"VRFY", &SmtpServerDialogue::verify},
    {"HELP", &SmtpServerDialogue::help},
    {"QUIT", &SmtpServerDialogue::quit},
    {"EXPN", &SmtpServerDialogue::notImplemented},
    {"AUTH", &SmtpServerDialogue::notImplemented},
    {"STARTTLS", &SmtpServerDialogue::notImplemented},
    {"BDAT", &SmtpServerDialogue::notImplemented},
};

std::string SmtpServerDialogue::greeting() const {
  return reply(220, "localhost ESMTP quorvel loopback server");
}

std::string SmtpServerDialogue::farewell(std::string_view why) const {
  return reply(421, why);
}

ServerDialogue::Answer SmtpServerDialogue::noCommand(std::string_view why) const {
  return {reply(500, why), false};
}

ServerDialogue::Answer SmtpServerDialogue::answer(std::string_view line, Replies&) {
  std::string_view argument = line;
  const std::string_view verb = takeWord(argument);
  for (const Command& command : kCommands) {
    if (!equalsNoCase(command.verb, verb)) continue;
    std::string text = (this->*command.run)(argument);
    const bool makesSense = !text.starts_with("50");  // RFC 5321 4.2.3: no such command, not so, not now
    return {std::move(text), makesSense};
  }
  return noCommand("Unknown command");
}

std::size_t SmtpServerDialogue::receiveText(std::string_view bytes, Replies& replies) {
  const bool keeps = !rules_.discardText && decoder_.size() <= rules_.maxMessageBytes;
  const std::size_t taken = decoder_.feed(bytes, keeps ? &message_.text : nullptr);
  if (decoder_.size() > rules_.maxMessageBytes) message_.text = {};
  if (decoder_.ended()) replies.add(finishData());
  return taken;
}

std::string SmtpServerDialogue::finishData() {
  inData_ = false;
  std::string words;
  int code = 250;
  if (decoder_.size() > rules_.maxMessageBytes) {
    code = 552;
    words = "Message too big";
  } else {
    message_.size = decoder_.size();
    if (!keep_(message_, words)) code = 451;
  }
  resetTransaction();
  return reply(code, words);
}

void SmtpServerDialogue::resetTransaction() {
  inTransaction_ = false;
  message_ = {};
}

std::string SmtpServerDialogue::hello(std::string_view argument) {
  if (argument.empty()) return reply(501, "Syntax: HELO name");
  greeted_ = true;
  resetTransaction();
  return reply(250, "localhost");
}

std::string SmtpServerDialogue::extendedHello(std::string_view argument) {
  if (argument.empty()) return reply(501, "Syntax: EHLO name");
  greeted_ = true;
  resetTransaction();
  return "250-localhost\r\n250-PIPELINING\r\n250-SIZE " + std::to_string(rules_.maxMessageBytes) +
         "\r\n250 8BITMIME\r\n";
}

std::string SmtpServerDialogue::mail(std::string_view argument) {
  if (!greeted_) return reply(503, "Say EHLO or HELO first");
  if (inTransaction_) return reply(503, "There is a sender already");
  constexpr std::string_view kFrom = "FROM:";
  std::string_view address;
  if (!startsWithNoCase(argument, kFrom)) return reply(501, "Syntax: MAIL FROM:<address>");
  argument.remove_prefix(kFrom.size());
  if (!takePath(argument, address)) return reply(501, "Syntax: MAIL FROM:<address>");
  if (!address.empty() && !isMailbox(address)) return reply(501, "The sender has no domain");
  if (std::any_of(address.begin(), address.end(), isEightBit)) return reply(553, "Not an ASCII address");

  while (!argument.empty()) {
    const std::string_view parameter = takeWord(argument);
    if (startsWithNoCase(parameter, "SIZE=")) {
      std::size_t declared = 0;
      const char* end = parameter.data() + parameter.size();
      const auto [stop, error] = std::from_chars(parameter.data() + 5, end, declared);
      if (stop != end || error == std::errc::invalid_argument) return reply(501, "Syntax: SIZE=number");
      if (error != std::errc{} || declared > rules_.maxMessageBytes) return reply(552, "Message too big");
    } else if (!equalsNoCase(parameter, "BODY=7BIT") && !equalsNoCase(parameter, "BODY=8BITMIME")) {
      return reply(555, "Unknown parameter");
    }
  }
  if (matchesAny(rules_.refusedSenders, address)) return reply(550, "Sender refused");
  inTransaction_ = true;
  message_.sender = address;
  return reply(250, "OK");
}

std::string SmtpServerDialogue::recipient(std::string_view argument) {
  if (!inTransaction_) return reply(503, "Say MAIL first");
  constexpr std::string_view kTo = "TO:";
  std::string_view address;
  if (!startsWithNoCase(argument, kTo)) return reply(501, "Syntax: RCPT TO:<address>");
  argument.remove_prefix(kTo.size());
  if (!takePath(argument, address)) return reply(501, "Syntax: RCPT TO:<address>");
  if (!argument.empty()) return reply(555, "Unknown parameter");
  // RFC 5321 4.5.1: the one name that needs no domain.
  if (!isMailbox(address) && !equalsNoCase(address, "postmaster")) {
    return reply(501, "The recipient has no domain");
  }
  if (std::any_of(address.begin(), address.end(), isEightBit)) return reply(553, "Not an ASCII address");
  if (matchesAny(rules_.refusedRecipients, address)) return reply(550, "Recipient refused");
  if (message_.recipients.size() >= rules_.maxRecipients) return reply(452, "Too many recipients");
  message_.recipients.emplace_back(address);
  return reply(250, "OK");
}

std::string SmtpServerDialogue::data(std::string_view argument) {
  if (!argument.empty()) return reply(501, "Syntax: DATA");
  if (!inTransaction_) return reply(503, "Say MAIL first");
  // RFC 2920 3.1: a client that sent its commands together relies on this refusal.
  if (message_.recipients.empty()) return reply(554, "No valid recipients");
  inData_ = true;
  decoder_ = {};
  return reply(354, "End the message with a dot on a line by itself");
}

std::string SmtpServerDialogue::reset(std::string_view argument) {
  if (!argument.empty()) return reply(501, "Syntax: RSET");
  resetTransaction();
  return reply(250, "OK");
}

std::string SmtpServerDialogue::noop(std::string_view) {
  return reply(250, "OK");
}

std::string SmtpServerDialogue::verify(std::string_view argument) {
  if (argument.empty()) return reply(501, "Syntax: VRFY address");
  return reply(252, "Cannot say, but will take mail for it");
}

std::string SmtpServerDialogue::help(std::string_view) {
  return reply(214, "EHLO HELO MAIL RCPT DATA RSET NOOP VRFY QUIT (RFC 5321)");
}

std::string SmtpServerDialogue::quit(std::string_view argument) {
  if (!argument.empty()) return reply(501, "Syntax: QUIT");
  end();
  return reply(221, "Bye");
}

std::string SmtpServerDialogue::notImplemented(std::string_view) {
  return reply(502, "Not offered here");
}

}  // namespace qv

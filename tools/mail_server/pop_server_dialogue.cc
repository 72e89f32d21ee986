#include "mail_server/pop_server_dialogue.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "core/text.h"
#include "mail_server/multi_line_encoder.h"
#include "platform/files.h"

namespace qv {

namespace {

std::string good(std::string_view words = "") {
  return "+OK" + (words.empty() ? "" : " " + oneLine(words)) + "\r\n";
}

std::string bad(std::string_view words) {
  return "-ERR " + oneLine(words) + "\r\n";
}

std::optional<std::size_t> numberOf(std::string_view text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

struct PopServerDialogue::Command {
  std::string_view verb;
  bool beforeLogin, afterLogin;
  Answer (PopServerDialogue::*run)(std::string_view argument, Replies& replies);
};

const PopServerDialogue::Command PopServerDialogue::kCommands[] = {
    {"CAPA", true, true, &PopServerDialogue::capabilities},
    {"USER", true, false, &PopServerDialogue::user},
    {"PASS", true, false, &PopServerDialogue::pass},
    {"STAT", false, true, &PopServerDialogue::stat},
    {"LIST", false, true, &PopServerDialogue::list},
    {"UIDL", false, true, &PopServerDialogue::uniqueIds},
    {"RETR", false, true, &PopServerDialogue::retrieve},
    {"TOP", false, true, &PopServerDialogue::top},
    {"DELE", false, true, &PopServerDialogue::remove},
    {"RSET", false, true, &PopServerDialogue::reset},
    {"NOOP", false, true, &PopServerDialogue::noop},
    {"QUIT", true, true, &PopServerDialogue::quit},
};

std::string PopServerDialogue::greeting() const {
  return good("quorvel loopback POP3 server");
}

std::string PopServerDialogue::farewell(std::string_view why) const {
  return bad(why);
}

ServerDialogue::Answer PopServerDialogue::noCommand(std::string_view why) const {
  return {bad(why), false};
}

ServerDialogue::Answer PopServerDialogue::answer(std::string_view line, Replies& replies) {
  // One blank stands before the argument: a password may begin with others.
  const std::size_t blank = std::min(line.find(' '), line.size());
  const std::string_view verb = line.substr(0, blank);
  const std::string_view argument = line.substr(std::min(blank + 1, line.size()));
  for (const Command& command : kCommands) {
    if (!equalsNoCase(command.verb, verb)) continue;
    if (loggedIn_ ? command.afterLogin : command.beforeLogin) return (this->*command.run)(argument, replies);
    return noCommand(loggedIn_ ? "Logged in already" : "Say USER and PASS first");
  }
  return noCommand("Unknown command");
}

ServerDialogue::Answer PopServerDialogue::capabilities(std::string_view, Replies&) {
  return {good() + "USER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n"};
}

// Logging in.

ServerDialogue::Answer PopServerDialogue::user(std::string_view argument, Replies&) {
  if (argument.empty()) return noCommand("Syntax: USER name");
  user_ = argument;
  hasUser_ = true;
  return {good()};
}

ServerDialogue::Answer PopServerDialogue::pass(std::string_view argument, Replies&) {
  if (!hasUser_) return noCommand("Say USER first");
  hasUser_ = false;
  if ((!rules_.user.empty() && user_ != rules_.user) ||
      (!rules_.password.empty() && argument != rules_.password)) {
    return noCommand("Wrong user name or password");
  }
  for (StoredMessage& stored : folder_.list()) messages_.push_back({std::move(stored)});
  loggedIn_ = true;
  return {good(totals())};
}

// Listing.

std::string PopServerDialogue::totals() const {
  std::size_t count = 0;
  std::uint64_t size = 0;
  for (const Message& message : messages_) {
    if (message.deleted) continue;
    ++count;
    size += message.stored.size;
  }
  return std::to_string(count) + " " + std::to_string(size);
}

PopServerDialogue::Message* PopServerDialogue::find(std::string_view number) {
  const auto position = numberOf(number);
  if (!position || *position < 1 || *position > messages_.size()) return nullptr;
  Message& message = messages_[*position - 1];
  return message.deleted ? nullptr : &message;
}

ServerDialogue::Answer PopServerDialogue::stat(std::string_view, Replies&) {
  return {good(totals())};
}

ServerDialogue::Answer PopServerDialogue::list(std::string_view argument, Replies& replies) {
  return listBy([](const StoredMessage& message) { return std::to_string(message.size); }, argument, replies);
}

ServerDialogue::Answer PopServerDialogue::uniqueIds(std::string_view argument, Replies& replies) {
  return listBy(&uniqueIdOf, argument, replies);
}

ServerDialogue::Answer PopServerDialogue::listBy(Describe describe, std::string_view argument,
                                                 Replies& replies) {
  const auto line = [&](const Message& message) {
    return std::to_string(&message - messages_.data() + 1) + " " + describe(message.stored);
  };
  if (!argument.empty()) {
    const Message* message = find(argument);
    return {message == nullptr ? bad("No such message") : good(line(*message))};
  }
  replies.add(good(totals()));
  for (const Message& message : messages_) {
    if (!message.deleted) replies.add(line(message) + "\r\n");
  }
  return {".\r\n"};
}

// Fetching.

ServerDialogue::Answer PopServerDialogue::retrieve(std::string_view argument, Replies& replies) {
  const Message* message = find(argument);
  if (message == nullptr) return {bad("No such message")};
  return sendText(*message, nullptr, replies);
}

ServerDialogue::Answer PopServerDialogue::top(std::string_view argument, Replies& replies) {
  const Message* message = find(takeWord(argument));
  if (message == nullptr) return {bad("No such message")};
  const auto lines = numberOf(argument);
  return lines ? sendText(*message, &*lines, replies) : noCommand("Syntax: TOP message lines");
}

ServerDialogue::Answer PopServerDialogue::sendText(const Message& message, const std::size_t* bodyLines,
                                                   Replies& replies) {
  files::Reader file;
  std::string error;
  if (!file.open(folder_.pathOf(message.stored), error)) return {bad("Cannot read it: " + error)};
  replies.add(good(std::to_string(message.stored.size) + " octets"));
  const auto buffer = std::make_unique_for_overwrite<char[]>(Replies::kBlock);
  MultiLineEncoder encoder(replies);
  TopOfMessage upToEnd(bodyLines == nullptr ? 0 : *bodyLines);
  for (std::size_t length = 1; length > 0 && !replies.gone() && !(bodyLines && upToEnd.ended());) {
    if (!file.read(buffer.get(), Replies::kBlock, length, error)) {
      end();  // half a message must not look like a whole one
      return {};
    }
    const std::string_view bytes(buffer.get(), length);
    encoder.feed(bodyLines == nullptr ? bytes : bytes.substr(0, upToEnd.feed(bytes)));
  }
  encoder.finish();
  return {};
}

// Deleting and ending.

ServerDialogue::Answer PopServerDialogue::remove(std::string_view argument, Replies&) {
  Message* message = find(argument);
  if (message == nullptr) return {bad("No such message")};
  message->deleted = true;
  return {good()};
}

ServerDialogue::Answer PopServerDialogue::reset(std::string_view, Replies&) {
  for (Message& message : messages_) message.deleted = false;
  return {good(totals())};
}

ServerDialogue::Answer PopServerDialogue::noop(std::string_view, Replies&) {
  return {good()};
}

ServerDialogue::Answer PopServerDialogue::quit(std::string_view, Replies&) {
  end();
  std::string error;
  bool removedAll = true;
  for (const Message& message : messages_) {
    removedAll = (!message.deleted || folder_.remove(message.stored, error)) && removedAll;
  }
  return {removedAll ? good("Bye") : bad("Some messages were not removed: " + error)};
}

}  // namespace qv

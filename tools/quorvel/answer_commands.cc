// quorvel reply and quorvel forward: a message that came is answered, or passed on.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/answer.h"
#include "quorvel/commands.h"
#include "quorvel/composing.h"
#include "quorvel/delivery.h"

namespace cli {

namespace {

/// What the command line of both says.
struct AnswerOptions {
  std::string message;  // file; "-" is standard input
  std::string from;
  RecipientOptions recipients;
  bool all = false;
  bool toSender = false;
  bool keepAttachments = false;
  TextOptions text;
  std::vector<std::string> attached;
  std::string saveTo;
  DeliveryOptions delivery;
};

void checkOptions(const AnswerOptions& options) {
  if (!options.saveTo.empty() && options.delivery.security.any()) {
    throw usage("--save writes a mail that is not signed or encrypted: that is done as it is sent");
  }
  if (options.message == "-" && options.text.file == "-") {
    throw usage("standard input cannot be both the message and the text");
  }
  checkStandardInput(options.delivery.login, options.message == "-" || options.text.file == "-");
  std::error_code error;
  if (!options.saveTo.empty() &&
      std::filesystem::exists(std::filesystem::symlink_status(options.saveTo, error))) {
    throw Failure{Status::file, options.saveTo + " is there already", "",
                  "nothing was done; --save names a new file"};
  }
}

void save(quorvel::IQuorvelEmail3& email, const std::string& path) {
  if (email.SaveEml(path) == 1) return;
  const auto error = quorvel::lastError();
  throw Failure{Status::file, "cannot write " + path, error ? error->description : std::string(),
                "is there room, and may this user write there?"};
}

/// An answer repeats the text of its message.
void warnOfClearText(quorvel::IQuorvelEmail3& source, const AnswerOptions& options) {
  if (source.get_ReceivedEncrypted() == 0 || options.delivery.security.encrypt) return;
  warn("the message came encrypted; what is repeated of it here is not, without --encrypt");
}

/// Sends, saves or prints an answer whose recipients stand.
Status finish(Email& answer, const AnswerOptions& options) {
  addAttachments(*answer, options.attached);
  if (options.saveTo.empty()) return deliver(*answer, options.delivery);
  save(*answer, options.saveTo);
  return Status::ok;
}

Status runReply(const AnswerOptions& options) {
  checkOptions(options);
  const std::optional<std::string> text = textOf(options.text);
  if (!text) throw usage("nothing to say: give --body or --text (\"-\" reads standard input)");
  const Email source = readMessage(options.message);
  warnOfClearText(*source, options);
  if (source->get_FromAddress().empty()) {
    throw Failure{Status::file, "the message " + options.message + " has no sender who could be answered", "",
                  "quorvel forward sends it to somebody else"};
  }
  Email reply = answerTo(*source, &quorvel::IQuorvelEmail2::CreateReply);
  if (!options.keepAttachments) reply->DropAttachments();
  putBefore(reply, *text);
  continueThread(*reply, *source);
  if (!options.toSender) followReplyTo(*reply, *source);
  if (options.all) addOthers(*reply, *source, options.from);
  setSender(*reply, options.from);
  addRecipients(*reply, options.recipients);
  return finish(reply, options);
}

Status runForward(const AnswerOptions& options) {
  checkOptions(options);
  if (!options.recipients.any()) throw usage("no recipient: give --to, --cc or --bcc");
  const std::optional<std::string> text = textOf(options.text);
  const Email source = readMessage(options.message);
  warnOfClearText(*source, options);
  Email forward = answerTo(*source, &quorvel::IQuorvelEmail2::CreateForward);
  putBefore(forward, text.value_or(""));
  setSender(*forward, options.from);
  addRecipients(*forward, options.recipients);
  return finish(forward, options);
}

void addAnswerOptions(CLI::App& command, AnswerOptions& options) {
  command.add_option("MESSAGE", options.message, "Message file; - reads standard input")->required();
  addSenderOption(command, options.from)->required();
  addRecipientOptions(command, options.recipients);
  addTextOptions(command, options.text);
  addAttachOption(command, options.attached);
  addSecurityOptions(command, options.delivery.security);
  addDeliveryOptions(command, options.delivery);
  command.add_option("--save", options.saveTo, "New file to write the mail to instead of sending it")
      ->type_name("FILE")
      ->check(isGiven)
      ->excludes("--dry-run")
      ->excludes("--log")
      ->excludes("--log-xml");
}

}  // namespace

void addReplyCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<AnswerOptions>();
  CLI::App& command = *app.add_subcommand("reply", "Answer a message");
  addAnswerOptions(command, *options);
  command.get_option("--to")->description("Further recipient, or several separated by commas; repeatable");
  command.add_flag("--all", options->all, "A copy to all who got the message, but for who answers");
  command.add_flag("--to-sender", options->toSender,
                   "To the sender, also where the message asks for answers elsewhere");
  command.add_flag("--keep-attachments", options->keepAttachments, "Send the attachments back too");
  command.callback([&run, options] { run = [options] { return runReply(*options); }; });
}

void addForwardCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<AnswerOptions>();
  CLI::App& command = *app.add_subcommand("forward", "Pass a message on, with its attachments");
  addAnswerOptions(command, *options);
  command.callback([&run, options] { run = [options] { return runForward(*options); }; });
}

}  // namespace cli

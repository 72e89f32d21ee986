// quorvel convert: messages from one kind of store to another.
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "quorvel/certificates.h"
#include "quorvel/commands.h"
#include "quorvel/log_options.h"
#include "quorvel/message_sink.h"
#include "quorvel/message_source.h"
#include "quorvel/progress_bar.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

const std::map<std::string, Store> kKinds = {
    {"mailbox", Store::mailbox}, {"folder", Store::folder}, {"xml", Store::xml}, {"zip", Store::zip}};

struct ConvertOptions {
  std::string from;
  std::string to;
  std::string fromKind;
  std::string toKind;
  std::string filter;
  bool replace = false;
  bool quiet = false;
  LogOptions log;
};

/// What was done so far.
struct Converted {
  std::size_t read = 0;
  std::size_t kept = 0;
  std::size_t written = 0;
  std::vector<std::string> unreadable;  ///< why, a line each
};

Store targetOf(const ConvertOptions& options) {
  static const std::map<std::string, Store> kExtensions = {
      {".xml", Store::xml}, {".zip", Store::zip}, {".mbox", Store::mailbox}, {".mbx", Store::mailbox}};
  if (!options.toKind.empty()) return kKinds.at(options.toKind);
  std::error_code error;
  if (options.to.ends_with('/') || std::filesystem::is_directory(options.to, error)) return Store::folder;
  const auto found = kExtensions.find(extensionOf(options.to));
  if (found != kExtensions.end()) return found->second;
  throw usage("it cannot be told what " + options.to + " shall be",
              "--to-kind says it; a folder may also be given as " + options.to + "/");
}

/// The next message, or none: one that cannot be read is noted, and it goes on.
bool nextReadable(MessageSource& source, Message& message, Converted& converted) {
  while (true) {
    try {
      return source.next(message);
    } catch (const Failure& failure) {
      converted.unreadable.push_back(failure.what + (failure.details.empty() ? "" : ": " + failure.details));
    }
  }
}

void convert(Session& session, MessageSource& source, MessageSink& sink, ProgressBar* bar,
             Converted& converted) {
  int shown = -1;
  for (Message message; nextReadable(source, message, converted);) {
    ++converted.read;
    if (session.mailMan().MatchFilter(message.email.get()) == 1) {
      ++converted.kept;
      sink.write(message);
      ++converted.written;
    }
    if (bar != nullptr && source.percent() != shown) bar->show(shown = source.percent());
  }
  // Where nothing can be read there is nothing to put in the place of what may be there.
  if (converted.read > 0 || converted.unreadable.empty()) sink.finish();
}

std::string summary(const Converted& converted) {
  std::string text = counted(converted.read, "message") + " read, " + std::to_string(converted.kept) +
                     " kept, " + std::to_string(converted.written) + " written";
  if (!converted.unreadable.empty()) {
    text += ", " + std::to_string(converted.unreadable.size()) + " unreadable";
  }
  return text;
}

Status runConvert(const ConvertOptions& options) {
  const Store to = targetOf(options);
  if (options.replace && to == Store::folder) throw usage("--replace is for a file, not for a folder");
  const Store from = options.fromKind.empty() ? storeAt(options.from) : kKinds.at(options.fromKind);
  std::error_code error;
  if (std::filesystem::equivalent(options.from, options.to, error)) {
    throw usage(options.from + " and " + options.to + " are the same");
  }
  Session session;
  const ToldLog told(session, options.log);
  const auto source = openSource(from, options.from, session);
  const auto sink = openSink(to, options.to, options.replace);
  session.mailMan().put_Filter(options.filter);

  Converted converted;
  ProgressBar bar(std::cerr, "converting", true);
  const bool isShown = isTerminal(2) && !options.quiet;
  try {
    convert(session, *source, *sink, isShown ? &bar : nullptr, converted);
  } catch (const Failure&) {
    bar.finish();
    if (to == Store::folder) warn(counted(converted.written, "message") + " written before that");
    throw;
  }
  bar.finish();
  for (const std::string& text : converted.unreadable) warn(text);
  if (!options.quiet) std::cout << summary(converted) << std::endl;
  if (converted.unreadable.empty()) return Status::ok;
  if (converted.read > 0) return Status::partly;
  throw Failure{Status::file, "nothing of " + options.from + " can be read: nothing was written", "",
                "--from-kind says what it is, if that was not seen"};
}

void addKindOption(CLI::App& command, const std::string& name, std::string& kind, const std::string& of) {
  command.add_option(name, kind, "What " + of + " is, where it cannot be told: mailbox, folder, xml or zip")
      ->type_name("KIND")
      ->check(CLI::IsMember(kKinds));
}

}  // namespace

void addConvertCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App& command = *app.add_subcommand(
      "convert", "Turn mailbox files, folders of messages, XML and zip archives into each other");
  command
      .add_option("FROM", options->from, "Mailbox file, folder of message files, XML document or zip archive")
      ->check(isGiven)
      ->required();
  command.add_option("TO", options->to, "New file (.mbox, .mbx, .xml, .zip), or folder (FOLDER/)")
      ->check(isGiven)
      ->required();
  command
      .add_option("--filter", options->filter, "Only those that this keeps, as 'Subject like \"*report*\"'")
      ->type_name("EXPRESSION");
  addKindOption(command, "--from-kind", options->fromKind, "FROM");
  addKindOption(command, "--to-kind", options->toKind, "TO");
  command.add_flag("--replace", options->replace, "Put the new file in the place of one that exists");
  command.add_flag("--quiet", options->quiet, "Tell of failures only");
  addLogOptions(command, options->log);
  addCertificatesOption(command);
  command.callback([&run, options] { run = [options] { return runConvert(*options); }; });
}

}  // namespace cli

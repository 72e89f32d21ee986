#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "quorvel/commands.h"
#include "quorvel/progress_bar.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the command line says.
struct SendOptions {
  std::string server = "localhost:25";
  std::int32_t connectTimeout = 30;
  std::int32_t readTimeout = 30;
  std::string from;
  std::vector<std::string> to, cc, bcc;
  std::string replyTo;
  std::string subject;
  std::optional<std::string> body;             // the text itself
  std::string textFile, htmlFile;              // "-" is standard input
  std::vector<std::string> attached, related;  // files
  std::vector<std::string> headers;
  std::string listFile;
  bool oneByOne = false;  // as without it; it says so
  bool inBatches = false;
  bool receipt = false;
  std::string journal;
  std::string logXml;
  bool dryRun = false;
  bool log = false;
  bool quiet = false;
};

Failure usage(std::string what, std::string nextStep = "quorvel send --help") {
  return {Status::usage, std::move(what), "", std::move(nextStep)};
}

Server serverOf(const SendOptions& options) {
  Server server;
  server.connectTimeout = options.connectTimeout;
  server.readTimeout = options.readTimeout;
  const std::size_t colon = options.server.rfind(':');
  server.host = options.server.substr(0, colon);
  if (colon != std::string::npos) {
    const char* end = options.server.data() + options.server.size();
    const auto [stop, error] = std::from_chars(options.server.data() + colon + 1, end, server.port);
    if (stop != end || error != std::errc{}) server.port = 0;
  }
  if (server.host.empty() || server.port < 1 || server.port > 65535) {
    throw usage("--server " + options.server + " is not HOST or HOST:PORT");
  }
  return server;
}

/// What can be known to be wrong before any work is done.
void checkOptions(const SendOptions& options) {
  const bool recipients = !options.to.empty() || !options.cc.empty() || !options.bcc.empty();
  if (!options.listFile.empty() && recipients) {
    throw usage("--list takes the place of --to, --cc and --bcc: a mail goes to the list alone");
  }
  if (options.listFile.empty() && !recipients) throw usage("no recipient: give --to, --cc, --bcc or --list");
  if (!options.body && options.textFile.empty() && options.htmlFile.empty()) {
    throw usage("nothing to say: give --body, --text or --html (\"-\" reads standard input)");
  }
  if (!options.related.empty() && options.htmlFile.empty()) {
    throw usage("--related is for files that the HTML refers to: give --html too");
  }
  if (options.textFile == "-" && options.htmlFile == "-") {
    throw usage("--text and --html cannot both read standard input");
  }
}

void addRecipients(quorvel::IQuorvelEmail& email, std::string_view option,
                   const std::vector<std::string>& lists,
                   std::int32_t (quorvel::IQuorvelEmail::*add)(std::string_view)) {
  for (const std::string& list : lists) {
    if ((email.*add)(list) == 1) continue;
    throw usage(std::string(option) + " holds no e-mail address: " + list,
                "write ann@example.org, or \"Ann Lee <ann@example.org>\"");
  }
}

void addHeaders(quorvel::IQuorvelEmail2& email, const std::vector<std::string>& headers) {
  for (const std::string& header : headers) {
    const std::size_t colon = header.find(':');
    const std::string_view name = std::string_view(header).substr(0, colon);
    const bool isName = colon != std::string::npos && !name.empty() &&
                        std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7f; });
    if (!isName) throw usage("--header wants \"Name: value\", not \"" + header + "\"");
    email.AddHeaderField(name, std::string_view(header).substr(colon + 1));
  }
}

/// The component takes a list that it cannot read for an empty one, and would send to nobody on it.
void checkList(const std::string& path) {
  if (readFile(path, "list").find('@') != std::string::npos) return;
  throw Failure{Status::file, "the list " + path + " holds no e-mail address", "",
                "write one address a line"};
}

/// A journal or log that cannot be written is found out before the mail is sent, not after.
void checkWritable(const std::string& path, std::string_view purpose) {
  if (path.empty()) return;
  std::error_code error;
  const bool existed = std::filesystem::exists(path, error);
  if (std::ofstream(path, std::ios::app)) {
    if (!existed) std::filesystem::remove(path, error);
    return;
  }
  throw Failure{Status::file, "cannot write the " + std::string(purpose) + " file " + path, "",
                "check that its folder exists and may be written to; nothing was sent"};
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

bool isContentType(const std::string& header) {
  std::string name = header.substr(0, header.find(':'));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name == "content-type";
}

/// The component labels a text us-ascii unless it is told otherwise; it does not look at the bytes.
void warnOfLabels(const SendOptions& options, const std::optional<std::string>& text, std::string_view html) {
  const bool labelled = std::any_of(options.headers.begin(), options.headers.end(), isContentType);
  if (text && !isAscii(*text) && !labelled) {
    warn(
        "the text is not plain ASCII, but is labelled us-ascii; for UTF-8 give "
        "--header \"Content-Type: text/plain; charset=utf-8\"");
  }
  if (!isAscii(html) && (text || !labelled)) {
    warn("the HTML is not plain ASCII, but is labelled us-ascii; character references (&uuml;) are safe");
  }
}

Failure unreadable(const std::string& path, std::string_view purpose) {
  const auto error = quorvel::lastError();
  return {Status::file, "cannot read the " + std::string(purpose) + " file " + path,
          error ? error->description : std::string(), "check its name, and that this user may read it"};
}

/// Adds the files that the HTML refers to. Where it says "cid:" and a file's name, it gets the identifier
/// that the item was given.
void addRelated(quorvel::IQuorvelEmail2& email, const std::vector<std::string>& files, std::string& html) {
  for (const std::string& path : files) {
    const std::string id = email.AddRelatedContent(path);
    if (id.empty()) throw unreadable(path, "related");
    const std::string name = "cid:" + std::filesystem::path(path).filename().string();
    for (std::size_t at = 0; (at = html.find(name, at)) != std::string::npos; at += 4 + id.size()) {
      html.replace(at, name.size(), "cid:" + id);
    }
  }
}

void addAttachments(quorvel::IQuorvelEmail& email, const std::vector<std::string>& files) {
  for (const std::string& path : files) {
    if (email.AddFileAttachment(path).empty()) throw unreadable(path, "attached");
  }
}

quorvel::Ref<quorvel::IQuorvelEmail2> compose(const SendOptions& options) {
  auto email = newEmail();
  email->put_From(options.from);
  if (email->get_FromAddress().empty()) throw usage("--from holds no e-mail address: " + options.from);
  addRecipients(*email, "--to", options.to, &quorvel::IQuorvelEmail::AddMultipleTo);
  addRecipients(*email, "--cc", options.cc, &quorvel::IQuorvelEmail::AddMultipleCC);
  addRecipients(*email, "--bcc", options.bcc, &quorvel::IQuorvelEmail::AddMultipleBcc);
  if (!options.listFile.empty()) {
    checkList(options.listFile);
    email->put_FileDistList(options.listFile);
  }
  if (!options.replyTo.empty()) email->put_ReplyTo(options.replyTo);
  email->put_Subject(options.subject);

  // A Content-Type given here is for the texts that follow.
  addHeaders(*email, options.headers);
  std::optional<std::string> text = options.body;
  if (!options.textFile.empty()) text = readFile(options.textFile, "text");
  if (text) email->put_Body(*text);
  std::string html;
  if (!options.htmlFile.empty()) html = readFile(options.htmlFile, "HTML");
  addRelated(*email, options.related, html);
  if (!options.htmlFile.empty()) {
    text ? email->AddHtmlAlternativeBody(html) : email->SetHtmlBody(html);
  }
  addAttachments(*email, options.attached);
  warnOfLabels(options, text, html);
  if (options.receipt) email->put_ReturnReceipt(1);
  return email;
}

/// What the user may do about a mail that was not sent.
std::string nextStepAfter(Status status, const Server& server) {
  switch (status) {
    case Status::unreachable:
      return "is a mail server listening at " + server.toText() +
             "? To try one: quorvel serve --port 2525, then send with --server localhost:2525";
    case Status::refused:
      return "the lines with a number are the server's own words; check --from, the recipients, and that the "
             "server takes mail from this machine. --log shows all that was said";
    default:
      return "--log shows how far it came; a slow server may need a longer --read-timeout";
  }
}

void warnOfRefused(const std::vector<std::string>& refused) {
  constexpr std::size_t kNamed = 10;
  warn("sent, but not to every recipient. Refused:");
  for (std::size_t i = 0; i < std::min(refused.size(), kNamed); ++i) {
    std::cerr << "  " << printable(refused[i]) << "\n";
  }
  if (refused.size() > kNamed) std::cerr << "  and " << refused.size() - kNamed << " more\n";
  std::cerr << "Next: check these addresses; --log shows the server's words\n";
}

/// What fails here is no failure of the command: the mail has gone its way.
void printLog(Session& session) {
  try {
    std::cout << printable(session.logText()) << std::flush;
  } catch (const Failure& failure) {
    print(failure);
  }
}

Status runSend(const SendOptions& options) {
  checkOptions(options);
  const Server server = serverOf(options);
  const auto email = compose(options);
  if (options.dryRun) {
    std::cout << email->GetMime() << std::flush;
    return Status::ok;
  }
  checkWritable(options.journal, "journal");
  checkWritable(options.logXml, "log");

  Session session(server);
  session.mailMan().put_LogMailSentFilename(options.journal);
  session.mailMan().put_SendIndividual(options.inBatches ? 0 : 1);
  const bool talks = isTerminal(2) && !options.quiet;
  ProgressBar bar(std::cerr, true);
  const Outcome outcome = session.send(*email, talks ? &bar : nullptr);

  if (options.log) printLog(session);
  if (!options.logXml.empty()) {
    session.mailMan().SaveXmlLog(options.logXml);
    if (const auto error = quorvel::lastError()) warn(error->description);
  }
  if (outcome.status == Status::partly) {
    warnOfRefused(outcome.refused);
  } else if (outcome.status != Status::ok) {
    const bool some = !options.listFile.empty() && outcome.brokenOff;
    throw Failure{outcome.status,
                  (some ? "not sent to all of the list through " : "not sent through ") + server.toText(),
                  outcome.report, nextStepAfter(outcome.status, server)};
  } else if (talks) {
    std::cerr << "sent\n";
  }
  return outcome.status;
}

}  // namespace

void addSendCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<SendOptions>();
  CLI::App& send = *app.add_subcommand("send", "Send a mail");
  send.add_option("--server", options->server, "Mail server, HOST or HOST:PORT")
      ->type_name("HOST:PORT")
      ->capture_default_str();
  send.add_option("--from", options->from, "Sender, as ann@example.org or \"Ann Lee <ann@example.org>\"")
      ->type_name("ADDRESS")
      ->required();
  // A repeatable option takes one value each time: what follows is not another one.
  send.add_option("--to", options->to, "Recipient, or several separated by commas; repeatable")
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  send.add_option("--cc", options->cc, "Recipient of a copy; repeatable")
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  send.add_option("--bcc", options->bcc, "Recipient whom the others do not see; repeatable")
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  send.add_option("--reply-to", options->replyTo, "Where answers shall go")->type_name("ADDRESS");
  send.add_option("--subject", options->subject, "Subject");
  auto* body = send.add_option("--body", options->body, "The text itself");
  send.add_option("--text", options->textFile, "File with the text; - reads standard input")
      ->type_name("FILE")
      ->excludes(body);
  send.add_option("--html", options->htmlFile,
                  "File with the text as HTML; with --body or --text, the reader may choose")
      ->type_name("FILE");
  send.add_option("--attach", options->attached, "File to attach; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  send.add_option("--related", options->related,
                  "File that the HTML shows, as in <img src=\"cid:logo.gif\">; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  send.add_option("--header", options->headers, "Another header field, \"Name: value\"; repeatable")
      ->type_name("FIELD")
      ->allow_extra_args(false);
  auto* list = send.add_option("--list", options->listFile, "File of recipients, an address a line")
                   ->type_name("FILE");
  auto* oneByOne = send.add_flag("--one-by-one", options->oneByOne,
                                 "Each address of the list gets a mail of its own (the default)")
                       ->needs(list);
  send.add_flag("--in-batches", options->inBatches, "One mail for every 100 addresses of the list, as Bcc")
      ->needs(list)
      ->excludes(oneByOne);
  send.add_flag("--receipt", options->receipt, "Ask the recipients' programs for a receipt");
  send.add_option("--journal", options->journal, "File to append every sent mail to")->type_name("FILE");
  send.add_option("--connect-timeout", options->connectTimeout,
                  "Seconds to wait for the connection; 0: no limit")
      ->type_name("SECONDS")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  send.add_option("--read-timeout", options->readTimeout, "Seconds to wait for each answer; 0: no limit")
      ->type_name("SECONDS")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  auto* dryRun = send.add_flag("--dry-run", options->dryRun, "Print the mail instead of sending it");
  send.add_flag("--log", options->log, "Print the log afterwards")->excludes(dryRun);
  send.add_option("--log-xml", options->logXml, "File to write the log to, as XML")
      ->type_name("FILE")
      ->excludes(dryRun);
  send.add_flag("--quiet", options->quiet, "No progress bar, on a terminal either");
  send.footer(
      "Exit status: 0 sent, 1 failed, 2 wrong usage, 3 no connection, 4 refused by the server,\n"
      "5 a local file, 6 sent but not to every recipient.");
  send.callback([&run, options] { run = [options] { return runSend(*options); }; });
}

}  // namespace cli

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorvel/commands.h"
#include "quorvel/log_options.h"
#include "quorvel/login.h"
#include "quorvel/progress_bar.h"
#include "quorvel/sending.h"
#include "quorvel/server.h"
#include "quorvel/session.h"
#include "quorvel/system.h"

namespace cli {

namespace {

/// What the command line says.
struct SendOptions {
  ServerOptions server;
  LoginOptions login;
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
  LogOptions log;
  bool dryRun = false;
  bool quiet = false;
};

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
  if (options.login.password.descriptor == 0 && (options.textFile == "-" || options.htmlFile == "-")) {
    throw usage("standard input cannot be both the text and the password: give --password-file");
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
std::string nextStepAfter(const Outcome& outcome, const Server& server, const SendOptions& options) {
  const bool login = !options.login.user.empty();
  if (outcome.status == Status::refused && (!login || outcome.loggedIn)) {
    return "the lines with a number are the server's own words; check --from, the recipients, and that the "
           "server takes mail from this machine" +
           std::string(login ? "" : "; where it wants a login, give --user") +
           ". --log shows all that was said";
  }
  const Failure found = diagnose(Protocol::smtp, server, options.login.user, outcome.entries);
  return found.what + ": " + found.nextStep;
}

Status runSend(const SendOptions& options) {
  checkOptions(options);
  const Server server = serverOf(options.server, Protocol::smtp);
  const auto email = compose(options);
  if (options.dryRun) {
    std::cout << email->GetMime() << std::flush;
    return Status::ok;
  }
  checkWritable(options.journal, "journal");
  Session session(server);
  const ToldLog told(session, options.log);
  useSmtp(session, server, options.login);
  session.mailMan().put_LogMailSentFilename(options.journal);
  session.mailMan().put_SendIndividual(options.inBatches ? 0 : 1);
  const bool talks = isTerminal(2) && !options.quiet;
  ProgressBar bar(std::cerr, "sending", true);
  const Outcome outcome = send(session, *email, talks ? &bar : nullptr);

  if (outcome.status != Status::ok && outcome.status != Status::partly) {
    const bool some = !options.listFile.empty() && outcome.brokenOff;
    throw Failure{outcome.status,
                  (some ? "not sent to all of the list through " : "not sent through ") + server.toText(),
                  outcome.report, nextStepAfter(outcome, server, options)};
  }
  if (!options.login.user.empty() && !outcome.loggedIn) {
    warn("sent without a login: " + server.toText() + " offers none that this program knows");
  }
  if (outcome.status == Status::partly) {
    warnOfList("sent, but not to every recipient. Refused:", outcome.refused);
    std::cerr << "Next: check these addresses; --log shows the server's words\n";
  } else if (talks) {
    std::cerr << "sent\n";
  }
  return outcome.status;
}

/// An option that takes one value each time it is given: what follows is not another one.
void addRepeatable(CLI::App& send, const std::string& name, std::vector<std::string>& values,
                   const std::string& type, const std::string& what) {
  send.add_option(name, values, what + "; repeatable")->type_name(type)->allow_extra_args(false);
}

void addEnvelopeOptions(CLI::App& send, SendOptions& options) {
  send.add_option("--from", options.from, "Sender, as ann@example.org or \"Ann Lee <ann@example.org>\"")
      ->type_name("ADDRESS")
      ->required();
  addRepeatable(send, "--to", options.to, "ADDRESS", "Recipient, or several separated by commas");
  addRepeatable(send, "--cc", options.cc, "ADDRESS", "Recipient of a copy");
  addRepeatable(send, "--bcc", options.bcc, "ADDRESS", "Recipient whom the others do not see");
  auto* list =
      send.add_option("--list", options.listFile, "File of recipients, an address a line")->type_name("FILE");
  auto* oneByOne = send.add_flag("--one-by-one", options.oneByOne,
                                 "Each address of the list gets a mail of its own (the default)")
                       ->needs(list);
  send.add_flag("--in-batches", options.inBatches, "One mail for every 100 addresses of the list, as Bcc")
      ->needs(list)
      ->excludes(oneByOne);
  send.add_option("--reply-to", options.replyTo, "Where answers shall go")->type_name("ADDRESS");
  send.add_flag("--receipt", options.receipt, "Ask the recipients' programs for a receipt");
}

void addContentOptions(CLI::App& send, SendOptions& options) {
  send.add_option("--subject", options.subject, "Subject");
  auto* body = send.add_option("--body", options.body, "The text itself");
  send.add_option("--text", options.textFile, "File with the text; - reads standard input")
      ->type_name("FILE")
      ->excludes(body);
  send.add_option("--html", options.htmlFile,
                  "File with the text as HTML; with --body or --text, the reader may choose")
      ->type_name("FILE");
  addRepeatable(send, "--attach", options.attached, "FILE", "File to attach");
  addRepeatable(send, "--related", options.related, "FILE",
                "File that the HTML shows, as in <img src=\"cid:logo.gif\">");
  addRepeatable(send, "--header", options.headers, "FIELD", "Another header field, \"Name: value\"");
}

}  // namespace

void addSendCommand(CLI::App& app, Run& run) {
  const auto options = std::make_shared<SendOptions>();
  CLI::App& send = *app.add_subcommand("send", "Send a mail");
  addEnvelopeOptions(send, *options);
  addContentOptions(send, *options);
  addServerOptions(send, options->server, "localhost:25");
  addMethodOptions(send, options->login, addLoginOptions(send, options->login));
  addLogOptions(send, options->log);
  send.add_option("--journal", options->journal, "File to append every sent mail to")->type_name("FILE");
  send.add_flag("--dry-run", options->dryRun, "Print the mail instead of sending it")
      ->excludes("--log")
      ->excludes("--log-xml");
  send.add_flag("--quiet", options->quiet, "No progress bar, on a terminal either");
  send.footer(
      "Exit status: 0 sent, 1 failed, 2 wrong usage, 3 no connection, 4 refused by the server,\n"
      "5 a local file, 6 sent but not to every recipient.");
  send.callback([&run, options] { run = [options] { return runSend(*options); }; });
}

}  // namespace cli

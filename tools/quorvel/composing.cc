#include "quorvel/composing.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include <CLI/CLI.hpp>

#include "quorvel/report.h"
#include "quorvel/session.h"

namespace cli {

namespace {

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

bool isContentType(const std::string& header) {
  std::string name = header.substr(0, header.find(':'));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name == "content-type";
}

/// The component labels a text us-ascii unless it is told otherwise; it does not look at the bytes.
void warnOfLabels(const ContentOptions& options, const std::optional<std::string>& text,
                  std::string_view html) {
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

}  // namespace

void addRecipientOptions(CLI::App& command, RecipientOptions& options) {
  addRepeatable(command, "--to", options.to, "ADDRESS", "Recipient, or several separated by commas");
  addRepeatable(command, "--cc", options.cc, "ADDRESS", "Recipient of a copy");
  addRepeatable(command, "--bcc", options.bcc, "ADDRESS", "Recipient whom the others do not see");
}

void addRecipients(quorvel::IQuorvelEmail& email, const RecipientOptions& options) {
  addRecipients(email, "--to", options.to, &quorvel::IQuorvelEmail::AddMultipleTo);
  addRecipients(email, "--cc", options.cc, &quorvel::IQuorvelEmail::AddMultipleCC);
  addRecipients(email, "--bcc", options.bcc, &quorvel::IQuorvelEmail::AddMultipleBcc);
}

CLI::Option* addSenderOption(CLI::App& command, std::string& from) {
  return command.add_option("--from", from, "Sender, as ann@example.org or \"Ann Lee <ann@example.org>\"")
      ->type_name("ADDRESS");
}

void setSender(quorvel::IQuorvelEmail& email, const std::string& from) {
  // What holds no address would leave the sender that there may be.
  const auto probe = newEmail();
  probe->put_From(from);
  if (probe->get_FromAddress().empty()) throw usage("--from holds no e-mail address: " + from);
  email.put_From(from);
}

void addTextOptions(CLI::App& command, TextOptions& options) {
  auto* body = command.add_option("--body", options.body, "The text itself");
  command.add_option("--text", options.file, "File with the text; - reads standard input")
      ->type_name("FILE")
      ->excludes(body);
}

std::optional<std::string> textOf(const TextOptions& options) {
  if (options.file.empty()) return options.body;
  return readFile(options.file, "text");
}

void addAttachOption(CLI::App& command, std::vector<std::string>& files) {
  addRepeatable(command, "--attach", files, "FILE", "File to attach");
}

void addAttachments(quorvel::IQuorvelEmail& email, const std::vector<std::string>& files) {
  for (const std::string& path : files) {
    if (email.AddFileAttachment(path).empty()) throw unreadable(path, "attached");
  }
}

void addContentOptions(CLI::App& command, ContentOptions& options) {
  command.add_option("--reply-to", options.replyTo, "Where answers shall go")->type_name("ADDRESS");
  command.add_flag("--receipt", options.receipt, "Ask the recipients' programs for a receipt");
  command.add_option("--subject", options.subject, "Subject");
  addTextOptions(command, options.text);
  command
      .add_option("--html", options.htmlFile,
                  "File with the text as HTML; with --body or --text, the reader may choose")
      ->type_name("FILE");
  addAttachOption(command, options.attached);
  addRepeatable(command, "--related", options.related, "FILE",
                "File that the HTML shows, as in <img src=\"cid:logo.gif\">");
  addRepeatable(command, "--header", options.headers, "FIELD", "Another header field, \"Name: value\"");
}

void checkContent(const ContentOptions& options) {
  if (!options.hasText()) {
    throw usage("nothing to say: give --body, --text or --html (\"-\" reads standard input)");
  }
  if (!options.related.empty() && options.htmlFile.empty()) {
    throw usage("--related is for files that the HTML refers to: give --html too");
  }
  if (options.text.file == "-" && options.htmlFile == "-") {
    throw usage("--text and --html cannot both read standard input");
  }
}

void addContent(quorvel::IQuorvelEmail2& email, const ContentOptions& options) {
  if (!options.replyTo.empty()) email.put_ReplyTo(options.replyTo);
  email.put_Subject(options.subject);
  // A Content-Type given here is for the texts that follow.
  addHeaders(email, options.headers);
  const std::optional<std::string> text = textOf(options.text);
  if (text) email.put_Body(*text);
  std::string html;
  if (!options.htmlFile.empty()) html = readFile(options.htmlFile, "HTML");
  addRelated(email, options.related, html);
  if (!options.htmlFile.empty()) {
    text ? email.AddHtmlAlternativeBody(html) : email.SetHtmlBody(html);
  }
  addAttachments(email, options.attached);
  warnOfLabels(options, text, html);
  if (options.receipt) email.put_ReturnReceipt(1);
}

bool isAscii(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

void addRepeatable(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                   const std::string& type, const std::string& what) {
  command.add_option(name, values, what + "; repeatable")->type_name(type)->allow_extra_args(false);
}

}  // namespace cli

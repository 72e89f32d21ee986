// What a mail that is written on the command line consists of.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <quorvel/quorvel.h>

#include "quorvel/command_line.h"

namespace cli {

/// Lists of addresses, each with commas between them.
struct RecipientOptions {
  std::vector<std::string> to, cc, bcc;
  bool any() const noexcept { return !to.empty() || !cc.empty() || !bcc.empty(); }
};

void addRecipientOptions(CLI::App& command, RecipientOptions& options);
/// Throws a Failure for a list that holds no address.
void addRecipients(quorvel::IQuorvelEmail& email, const RecipientOptions& options);

CLI::Option* addSenderOption(CLI::App& command, std::string& from);
/// Throws a Failure when it holds no address.
void setSender(quorvel::IQuorvelEmail& email, const std::string& from);

/// A text, given as it is or by its file; "-" is standard input.
struct TextOptions {
  std::optional<std::string> body;
  std::string file;
};

void addTextOptions(CLI::App& command, TextOptions& options);
/// None when there is none. Throws a Failure when the file cannot be read.
std::optional<std::string> textOf(const TextOptions& options);

void addAttachOption(CLI::App& command, std::vector<std::string>& files);
/// Throws a Failure for a file that cannot be read.
void addAttachments(quorvel::IQuorvelEmail& email, const std::vector<std::string>& files);

/// All that is in a mail besides sender and recipients.
struct ContentOptions {
  std::string replyTo;
  std::string subject;
  TextOptions text;
  std::string htmlFile;                        // "-" is standard input
  std::vector<std::string> attached, related;  // files
  std::vector<std::string> headers;
  bool receipt = false;

  bool hasText() const noexcept { return text.body || !text.file.empty() || !htmlFile.empty(); }
  bool readsStandardInput() const noexcept { return text.file == "-" || htmlFile == "-"; }
};

void addContentOptions(CLI::App& command, ContentOptions& options);
/// Throws a Failure for what can be known to be wrong before any work is done.
void checkContent(const ContentOptions& options);
/// Warns of texts whose label is not true. Throws a Failure when a file cannot be read.
void addContent(quorvel::IQuorvelEmail2& email, const ContentOptions& options);

bool isAscii(std::string_view text) noexcept;

/// An option that takes one value each time it is given: what follows is not another one.
void addRepeatable(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                   const std::string& type, const std::string& what);

}  // namespace cli

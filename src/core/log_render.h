// The log as text and as XML.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/log_operation.h"
#include "core/log_text.h"

namespace qv {

/// How an entry becomes a line of text. In a format
///
///     %t  the local time, as 2026-11-22 21:25:19.123
///     %k  the kind: ERROR, INFO or DEBUG, made five characters wide
///     %c  the names of the contexts around the entry, joined by "/"
///     %C  the same followed by ": "; nothing outside any context
///     %w  the keyword
///     %m  the message; of data, the tag and ": " and the value
///     %%  a percent sign
///
/// and everything else stands for itself. Every line break in what is put in is followed by the continuation
/// prefix, and every entry ends with a line feed, so that a message cannot pass for further entries. As HTML,
/// what is put in is escaped, the format itself is taken as HTML, and every entry is a paragraph of the class
/// "error", "info" or "debug".
struct LogLayout {
  static constexpr std::string_view kDefaultFormat = "%t %k %C%m";
  static constexpr std::string_view kDefaultContinuationPrefix = "    | ";

  std::string lineFormat{kDefaultFormat};
  std::string continuationPrefix{kDefaultContinuationPrefix};
  std::map<std::string, std::string, std::less<>> namedFormats;
  bool html = false;

  /// The format of an entry that asks for `name`: the line format when there is no such format.
  const std::string& formatNamed(std::string_view name) const;
  /// What a line break inside a message becomes.
  std::string continuationBreak(bool asHtml) const;
};

/// Writes chosen entries as text, operation after operation.
class LogTextWriter {
 public:
  LogTextWriter(const LogLayout& layout, std::string& out);
  /// Entries for which `wanted` says so; contexts only name those in them.
  template <typename Wanted>
  void write(const LogOperation& operation, Wanted wanted) {
    path_.clear();
    pathEnds_.assign(1, 0);
    operation.forEach([&](const LogEntry& entry) {
      if (entry.kind == LogKind::context) {
        enter(entry);
      } else if (wanted(entry)) {
        line(entry);
      }
    });
  }
  /// That entries were dropped from the log; nothing when there were none.
  void noteDropped(std::size_t count);

 private:
  void enter(const LogEntry& context);
  void line(const LogEntry& entry);
  void field(char letter, const LogEntry& entry);
  std::string_view pathAt(std::size_t depth) const;

  const LogLayout& layout_;
  std::string& out_;
  std::string lineBreak_;
  VisibleStyle style_;
  std::string path_;                   // of the contexts entered last
  std::vector<std::size_t> pathEnds_;  // [depth]: where the path of that many contexts ends in it
};

/// Writes operations as XML elements without a declaration, in UTF-8:
///
///     <log component="QuorvelMail2_9_0" version="2.9.0">
///       <context name="SendEmail" reportErrors="1">
///         <data name="smtp_host">mail.example.org</data>
///         <context name="SMTP_Connect">
///           <info keyword="k">...</info>, <error>, <debug>
///           <xml>a logged fragment, as text</xml>
///         </context>
///       </context>
///     </log>
///
/// with an attribute `time` (as 2026-11-22T21:25:19.123+02:00) on contexts and entries when asked for. Where
/// entries were dropped stands <dropped entries="n"/>. Well-formed whatever was logged; texts as
/// `appendVisible` shows them.
class LogXmlWriter {
 public:
  LogXmlWriter(bool timestamps, std::string& out) : timestamps_(timestamps), out_(out) {}
  void begin(std::string_view component, std::string_view version);
  void noteDropped(std::size_t count);
  void write(const LogOperation& operation);
  void end();

 private:
  void entry(const LogEntry& entry);
  void startTag(std::string_view element, const LogEntry& entry);
  void attribute(std::string_view name, std::string_view value);
  void settle(std::size_t depth);
  void indent();

  bool timestamps_;
  std::string& out_;
  std::size_t depth_ = 0;    // contexts open in the output
  bool tagPending_ = false;  // the newest context's start tag lacks its ">" still
};

}  // namespace qv

#include "core/log_render.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/clock.h"

namespace qv {

namespace {

struct KindNames {
  std::string_view label;    // in text
  std::string_view element;  // in XML
  std::string_view htmlClass;
};

const KindNames& namesOf(LogKind kind) {
  // Data and XML fragments are information to who reads text.
  static constexpr KindNames kNames[] = {
      {"", "context", ""},         {"ERROR", "error", "error"}, {"INFO ", "info", "info"},
      {"DEBUG", "debug", "debug"}, {"INFO ", "data", "info"},   {"INFO ", "xml", "info"},
  };
  return kNames[static_cast<std::size_t>(kind)];
}

/// As 2026-11-22 21:25:19.123, with 'T' for `separator` also that of an XML time without its zone.
void appendTime(const CalendarTime& time, char separator, std::string& out) {
  char text[48];
  const int length =
      std::snprintf(text, sizeof text, "%04u-%02u-%02u%c%02u:%02u:%02u.%03u", unsigned{time.year},
                    unsigned{time.month}, unsigned{time.day}, separator, unsigned{time.hour},
                    unsigned{time.minute}, unsigned{time.second}, unsigned{time.milliseconds});
  out.append(text, static_cast<std::size_t>(length));
}

void appendZone(int biasMinutes, std::string& out) {
  const int minutes = std::abs(biasMinutes);
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%c%02d:%02d", biasMinutes > 0 ? '-' : '+',
                                   minutes / 60, minutes % 60);
  out.append(text, static_cast<std::size_t>(length));
}

}  // namespace

const std::string& LogLayout::formatNamed(std::string_view name) const {
  if (name.empty()) return lineFormat;
  const auto found = namedFormats.find(name);
  return found == namedFormats.end() ? lineFormat : found->second;
}

std::string LogLayout::continuationBreak(bool asHtml) const {
  std::string result = asHtml ? "<br>\n" : "\n";
  appendVisible(continuationPrefix, {"", asHtml}, result);
  return result;
}

LogTextWriter::LogTextWriter(const LogLayout& layout, std::string& out)
    : layout_(layout),
      out_(out),
      lineBreak_(layout.continuationBreak(layout.html)),
      style_{lineBreak_, layout.html},
      pathEnds_(1, 0) {}

void LogTextWriter::enter(const LogEntry& context) {
  pathEnds_.resize(std::size_t{context.depth} + 1);
  path_.resize(pathEnds_.back());
  if (!path_.empty()) path_ += '/';
  appendVisible(context.text, style_, path_);
  pathEnds_.push_back(path_.size());
}

std::string_view LogTextWriter::pathAt(std::size_t depth) const {
  return std::string_view(path_).substr(0,
                                        pathEnds_[depth < pathEnds_.size() ? depth : pathEnds_.size() - 1]);
}

void LogTextWriter::line(const LogEntry& entry) {
  if (layout_.html) {
    out_.append("<p class=\"").append(namesOf(entry.kind).htmlClass).append("\">");
  }
  const std::string& format = layout_.formatNamed(entry.format);
  for (std::size_t at = 0; at < format.size();) {
    const std::size_t percent = std::min(format.find('%', at), format.size());
    out_.append(format, at, percent - at);
    if (percent + 1 < format.size()) {
      field(format[percent + 1], entry);
    } else if (percent < format.size()) {
      out_ += '%';
    }
    at = percent + 2;
  }
  out_ += layout_.html ? "</p>\n" : "\n";
}

void LogTextWriter::field(char letter, const LogEntry& entry) {
  switch (letter) {
    case 't':
      appendTime(localTimeAt(entry.time).time, ' ', out_);
      break;
    case 'k':
      out_ += namesOf(entry.kind).label;
      break;
    case 'c':
      out_ += pathAt(entry.depth);
      break;
    case 'C':
      if (entry.depth > 0) out_.append(pathAt(entry.depth)).append(": ");
      break;
    case 'w':
      if (entry.kind != LogKind::data) appendVisible(entry.keyword, style_, out_);
      break;
    case 'm':
      if (entry.kind == LogKind::data) {
        appendVisible(entry.keyword, style_, out_);
        out_ += entry.keyword.ends_with(':') ? " " : ": ";
      }
      appendVisible(withoutEndingBreaks(entry.text), style_, out_);
      break;
    case '%':
      out_ += '%';
      break;
    default:
      out_.append({'%', letter});
  }
}

void LogTextWriter::noteDropped(std::size_t count) {
  if (count == 0) return;
  out_ += layout_.html ? "<p class=\"info\">" : "";
  out_ += "[" + std::to_string(count) + " older entries were dropped]";
  out_ += layout_.html ? "</p>\n" : "\n";
}

void LogXmlWriter::begin(std::string_view component, std::string_view version) {
  out_ += "<log";
  if (!component.empty()) attribute("component", component);
  attribute("version", version);
  out_ += ">\n";
}

void LogXmlWriter::end() {
  out_ += "</log>\n";
}

void LogXmlWriter::write(const LogOperation& operation) {
  bool noted = operation.dropped() == 0;
  operation.forEach([&](const LogEntry& next) {
    // Inside the operation's own context, in the place of what is missing.
    if (!noted && (next.depth > 0 || next.kind != LogKind::context)) {
      settle(next.depth > 0 ? 1 : 0);
      noteDropped(operation.dropped());
      noted = true;
    }
    entry(next);
  });
  settle(0);
}

void LogXmlWriter::noteDropped(std::size_t count) {
  if (count == 0) return;
  indent();
  out_ += "<dropped entries=\"" + std::to_string(count) + "\"/>\n";
}

void LogXmlWriter::entry(const LogEntry& entry) {
  settle(entry.depth);
  const std::string_view element = namesOf(entry.kind).element;
  startTag(element, entry);
  if (entry.kind == LogKind::context) {
    tagPending_ = true;
    ++depth_;
    return;
  }
  out_ += '>';
  appendVisible(entry.text, {"\n", true}, out_);
  out_.append("</").append(element).append(">\n");
}

void LogXmlWriter::startTag(std::string_view element, const LogEntry& entry) {
  indent();
  out_.append("<").append(element);
  if (entry.kind == LogKind::context) {
    attribute("name", entry.text);
    if (entry.reportErrors) attribute("reportErrors", "1");
  } else if (entry.kind == LogKind::data) {
    attribute("name", entry.keyword);
  } else if (!entry.keyword.empty()) {
    attribute("keyword", entry.keyword);
  }
  if (timestamps_) {
    const LocalTime time = localTimeAt(entry.time);
    out_ += " time=\"";
    appendTime(time.time, 'T', out_);
    appendZone(time.biasMinutes, out_);
    out_ += '"';
  }
}

void LogXmlWriter::attribute(std::string_view name, std::string_view value) {
  out_.append(" ").append(name).append("=\"");
  appendVisible(value, {"&#10;", true}, out_);
  out_ += '"';
}

/// Closes contexts until `depth` of them are open.
void LogXmlWriter::settle(std::size_t depth) {
  while (depth_ > depth) {
    --depth_;
    if (tagPending_) {
      out_ += "/>\n";
    } else {
      indent();
      out_ += "</context>\n";
    }
    tagPending_ = false;
  }
  if (tagPending_) out_ += ">\n";
  tagPending_ = false;
}

void LogXmlWriter::indent() {
  out_.append(2 * (depth_ + 1), ' ');
}

}  // namespace qv

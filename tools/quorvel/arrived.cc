#include "quorvel/arrived.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

#include "quorvel/report.h"

namespace cli {

namespace {

constexpr std::string_view kEmptyLine = "\r\n\r\n";
constexpr std::size_t kMaxDepth = 40;
constexpr std::size_t kFirstWords = 40;

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start == std::string_view::npos ? ""
                                         : text.substr(start, text.find_last_not_of(" \t\r\n") - start + 1);
}

std::string boundaryOf(std::string_view contentType) {
  constexpr std::string_view kStart = "boundary=";
  const auto start = std::search(contentType.begin(), contentType.end(), kStart.begin(), kStart.end(),
                                 [](unsigned char x, unsigned char y) { return std::tolower(x) == y; });
  if (start == contentType.end()) return {};
  const auto at = static_cast<std::size_t>(start - contentType.begin());
  const std::string_view value = contentType.substr(at + kStart.size());
  if (value.starts_with('"')) return std::string(value.substr(1, value.find('"', 1) - 1));
  return std::string(trimmed(value.substr(0, value.find(';'))));
}

}  // namespace

std::string_view headerOf(std::string_view text) {
  return text.substr(0, text.find(kEmptyLine));
}

std::string_view bodyOf(std::string_view text) {
  const std::size_t end = text.find(kEmptyLine);
  return end == std::string_view::npos ? "" : text.substr(end + kEmptyLine.size());
}

std::string fieldOf(std::string_view header, std::string_view name) {
  std::string value;
  bool inside = false;
  while (!header.empty()) {
    const std::size_t end = header.find('\n');
    const std::string_view line = header.substr(0, end);
    header.remove_prefix(end == std::string_view::npos ? header.size() : end + 1);
    const bool continues = line.starts_with(' ') || line.starts_with('\t');
    if (inside && !continues) break;
    if (inside) {
      value.append(" ").append(trimmed(line));
    } else if (const std::size_t colon = line.find(':'); !continues && colon != std::string_view::npos &&
                                                         equalsNoCase(trimmed(line.substr(0, colon)), name)) {
      inside = true;
      value = trimmed(line.substr(colon + 1));
    }
  }
  return value;
}

std::string outlineOf(std::string_view text, std::size_t depth) {
  const std::string contentType = fieldOf(headerOf(text), "Content-Type");
  const std::string_view type = trimmed(std::string_view(contentType).substr(0, contentType.find(';')));
  const std::string_view body = bodyOf(text);
  std::string lines(2 * depth, ' ');
  lines += type.empty() ? "text/plain" : type;

  const std::string boundary = boundaryOf(contentType);
  if (boundary.empty() || depth == kMaxDepth) {
    const std::string_view words = trimmed(body);
    return lines + ", " + std::to_string(body.size()) + " bytes: \"" +
           std::string(words.substr(0, std::min(words.find('\r'), kFirstWords))) + "...\"\n";
  }
  lines += '\n';
  const std::string delimiter = "--" + boundary + "\r\n";
  for (std::size_t start = body.find(delimiter); start != std::string_view::npos;) {
    start += delimiter.size();
    const std::size_t end = body.find("\r\n--" + boundary, start);
    lines += outlineOf(body.substr(start, end == std::string_view::npos ? end : end - start), depth + 1);
    start = end == std::string_view::npos ? end : body.find(delimiter, end);
  }
  return lines;
}

}  // namespace cli

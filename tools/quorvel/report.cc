#include "quorvel/report.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>
#include <utility>

namespace cli {

namespace {

constexpr int kDetailLines = 6;

}  // namespace

void warn(std::string_view text) {
  std::cerr << "quorvel: " << printable(text) << "\n";
}

void warnOfList(std::string_view text, const std::vector<std::string>& list) {
  constexpr std::size_t kNamed = 10;
  if (list.empty()) return;
  warn(text);
  for (std::size_t i = 0; i < std::min(list.size(), kNamed); ++i) {
    std::cerr << "  " << printable(list[i]) << "\n";
  }
  if (list.size() > kNamed) std::cerr << "  and " << list.size() - kNamed << " more\n";
}

Failure usage(std::string what, std::string nextStep) {
  return {Status::usage, std::move(what), "", std::move(nextStep)};
}

void print(const Failure& failure) {
  warn(failure.what);
  std::istringstream lines(printable(failure.details));
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    if (line.empty()) continue;
    if (++count <= kDetailLines) std::cerr << "  " << line << "\n";
  }
  if (count > kDetailLines)
    std::cerr << "  (" << count - kDetailLines << " more lines: see the log, --log)\n";
  if (!failure.nextStep.empty()) std::cerr << "Next: " << printable(failure.nextStep) << "\n";
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F are control characters too; in UTF-8 they are 0xC2 and a byte of that range.
    const bool c1 =
        byte == 0xC2 && i + 1 < text.size() && (static_cast<unsigned char>(text[i + 1]) & 0xE0) == 0x80;
    if (c1) ++i;
    result += c1 || byte == 0x7F || (byte < 0x20 && byte != '\t' && byte != '\n') ? '?' : text[i];
  }
  return result;
}

bool isOneLine(std::string_view text) noexcept {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

std::string counted(std::size_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string indented(std::string_view text, std::string_view indent) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    result.append(indent).append(line).append("\n");
  }
  return result;
}

std::string readFile(const std::string& path, std::string_view purpose) {
  std::ostringstream content;
  if (path == "-") {
    if (std::cin.peek() != std::char_traits<char>::eof()) content << std::cin.rdbuf();
    return content.str();
  }
  std::error_code error;
  const bool isFolder = std::filesystem::is_directory(path, error);
  std::ifstream file(path, std::ios::binary);
  if (isFolder || !file) {
    throw Failure{Status::file, "cannot read the " + std::string(purpose) + " file " + path,
                  isFolder ? "Is a directory" : "", "check the path and its permissions"};
  }
  if (file.peek() != std::char_traits<char>::eof()) content << file.rdbuf();
  return content.str();
}

void checkWritable(const std::string& path, std::string_view purpose) {
  if (path.empty()) return;
  std::error_code error;
  const bool existed = std::filesystem::exists(path, error);
  if (std::ofstream(path, std::ios::app)) {
    if (!existed) std::filesystem::remove(path, error);
    return;
  }
  throw Failure{Status::file, "cannot write the " + std::string(purpose) + " file " + path, "",
                "check that its folder exists and may be written to; nothing was done"};
}

}  // namespace cli

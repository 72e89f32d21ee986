#include "mail_server/server_dialogue.h"

#include <algorithm>

namespace qv {

namespace {

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

std::string oneLine(std::string_view words) {
  std::string line(words);
  std::replace_if(line.begin(), line.end(), isControl, '?');
  return line;
}

std::string_view takeWord(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(text.find_first_not_of(' ', end), text.size()));
  return word;
}

void ServerDialogue::receive(std::string_view bytes, Replies& replies) {
  while (!bytes.empty() && !ended_ && !replies.gone()) {
    bytes.remove_prefix(takesText() ? receiveText(bytes, replies) : receiveCommand(bytes, replies));
  }
}

std::size_t ServerDialogue::receiveCommand(std::string_view bytes, Replies& replies) {
  const std::size_t lineFeed = bytes.find('\n');
  const std::size_t taken = lineFeed == std::string_view::npos ? bytes.size() : lineFeed + 1;
  line_.append(bytes.substr(0, taken));
  const bool tooLong = line_.size() > kMaxCommandLine;
  if (!line_.ends_with("\r\n")) {  // not all of it yet; a bare LF ends no line (RFC 5321 2.3.8)
    if (tooLong) {
      lineTooLong_ = true;
      line_.erase(0, line_.size() - 1);  // which may be the CR of its end
    }
    return taken;
  }
  const Answer answered = answerAnyLine({line_.data(), line_.size() - 2}, tooLong || lineTooLong_, replies);
  line_.clear();
  lineTooLong_ = false;

  errorsInARow_ = answered.makesSense ? 0 : errorsInARow_ + 1;
  const bool tooMany = errorsInARow_ >= kMaxErrorsInARow;
  if (tooMany) end();
  replies.add(tooMany ? farewell("Too many errors, closing") : answered.text);
  return taken;
}

ServerDialogue::Answer ServerDialogue::answerAnyLine(std::string_view line, bool tooLong, Replies& replies) {
  if (tooLong) return noCommand("Line too long");
  if (std::any_of(line.begin(), line.end(), isControl)) return noCommand("Control character in a command");
  return answer(line, replies);
}

}  // namespace qv

#include "net/smtp_dialogue.h"

#include <algorithm>

#include "core/text.h"

namespace qv {

namespace {

constexpr std::size_t kChunkSize = 1000;
constexpr std::size_t kRecorded = 2500;

/// The number that a line's first three characters form; none when they are no digits.
std::optional<int> replyCode(std::string_view line) {
  if (line.size() < 3) return std::nullopt;
  int code = 0;
  for (const char c : line.substr(0, 3)) {
    if (c < '0' || c > '9') return std::nullopt;
    code = code * 10 + (c - '0');
  }
  return code;
}

}  // namespace

bool isLastReplyLine(std::string_view line) noexcept {
  return line.size() < 4 || line[3] != '-';
}

void SmtpDialogue::record(std::string_view text) {
  transcript_.append(text);
  // Cut at twice the size that is kept, so that no byte moves more than once.
  if (transcript_.size() > 2 * kTranscriptKept) {
    transcript_.set(transcript_.view().substr(transcript_.size() - kTranscriptKept));
  }
}

bool SmtpDialogue::sendCommand(std::string_view bytes, CLog* log, ProgressMonitor* progress) {
  record(bytes.substr(0, kRecorded));
  if (bytes.size() > kRecorded) record("\n...\n");
  replyLength_ = 0;
  return socket_ != nullptr && socket_->sendBytes(bytes, log, progress);
}

bool SmtpDialogue::sendMessage(const WireText& text, CLog* log, ProgressMonitor* progress) {
  WireText::Reader start(text);
  StringBuffer shown;
  appendFrom(start, shown, kRecorded);
  record(shown);
  if (text.size() > kRecorded) record("\n...\n");
  replyLength_ = 0;
  WireText::Reader reader(text);
  return socket_ != nullptr && socket_->sendText(reader, log, progress);
}

bool SmtpDialogue::sendDirect(std::string_view bytes, CLog* log) {
  replyLength_ = 0;
  return socket_ != nullptr && socket_->sendBytes(bytes, log, nullptr);
}

void SmtpDialogue::hide(std::string_view secret) {
  hidden_.add(secret);
  hidden_.hideIn(transcript_);
}

std::optional<std::string_view> SmtpDialogue::readLine(CLog* log) {
  if (socket_ == nullptr) {
    logError(log, "No socket for getting a command response");
    return std::nullopt;
  }
  if (!socket_->receiveUntil(line_, "\r\n", kChunkSize, log, nullptr, kMaxReply - replyLength_)) {
    disconnect();
    return std::nullopt;
  }
  replyLength_ += line_.size();
  StringBuffer shown(line_);
  hidden_.hideIn(shown);
  record(shown);
  return line_.view();
}

std::optional<std::string_view> SmtpDialogue::readLineWithCode(int code, CLog* log) {
  const auto line = readLine(log);
  return line && replyCode(*line) == code ? line : std::nullopt;
}

bool SmtpDialogue::readReply(int expected, CLog* log) {
  StringBuffer reply;
  for (;;) {
    const auto line = readLine(log);
    if (!line) return false;
    reply.append(*line);
    if (!isLastReplyLine(*line)) continue;
    if (line->size() >= 4 && replyCode(*line) == expected) return true;
    hidden_.hideIn(reply);
    logError(log, trimmed(reply));
    return false;
  }
}

bool SmtpDialogue::sendAndCheck(std::string_view format, std::string_view argument, int expected, CLog* log) {
  const std::size_t place = std::min(format.find("%s"), format.size());
  StringBuffer command(format.substr(0, place));
  if (place < format.size()) command.append(argument).append(format.substr(place + 2));
  if (command.size() >= kCommandArea) {
    logError(log, "A command is too long, it is not sent");
    logDataLong(log, "command_size", static_cast<long>(command.size()));
    return false;
  }
  if (sendCommand(command, log)) return readReply(expected, log);
  disconnect();
  return false;
}

}  // namespace qv

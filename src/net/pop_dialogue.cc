#include "net/pop_dialogue.h"

#include <utility>

#include "net/pop_lines.h"

namespace qv {

namespace {

constexpr std::size_t kLineChunk = 1000;
constexpr std::size_t kMultiLineChunk = 2000;

}  // namespace

PopDialogue::PopDialogue(std::unique_ptr<QuorvelSocket> socket, std::string_view password,
                         const PopLimits& limits)
    : socket_(std::move(socket)), limits_(limits) {
  secrets_.add(password);
}

bool PopDialogue::send(std::string_view command, CLog* log) {
  if (socket_ != nullptr && socket_->sendBytes(command, log, nullptr)) return true;
  close();
  return false;
}

std::optional<std::string_view> PopDialogue::readResponseLine(CLog* log) {
  if (socket_ == nullptr) {
    logError(log, "No socket for getting command response");
    return std::nullopt;
  }
  if (socket_->receiveUntil(line_, "\r\n", kLineChunk, log, nullptr, limits_.line)) return line_.view();
  logError(log, "Failed to get command response on socket");
  close();
  return std::nullopt;
}

bool PopDialogue::checkResponse(CLog* log) {
  if (socket_ == nullptr) {
    logError(log, "No socket for checking command status");
    return false;
  }
  const auto line = readResponseLine(log);
  if (line && isPopOk(*line)) return true;
  line ? logLine("", *line, log) : logError(log, "No command response was returned");
  return false;
}

bool PopDialogue::readMultiLine(StringBuffer& text, CLog* log, ProgressMonitor* progress) {
  // An answer without any line has its dot behind the status line, whose CR LF was taken with it.
  constexpr std::size_t kTakenWithStatus = 2;
  if (socket_ != nullptr && socket_->receiveUntil(text, "\r\n.\r\n", kMultiLineChunk, log, progress,
                                                  limits_.message, kTakenWithStatus)) {
    return true;
  }
  close();
  return false;
}

void PopDialogue::logLine(std::string_view before, std::string_view line, CLog* log) const {
  if (log == nullptr) return;
  StringBuffer shown(line);
  secrets_.hideIn(shown);
  StringBuffer message(before);
  logError(log, message.append(shown));
}

}  // namespace qv

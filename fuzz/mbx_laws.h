// What holds for mailbox files, whatever is in them (see laws.h).
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "laws.h"
#include "mailman/mbx_file.h"

namespace laws {

/// The messages of a text that comes in pieces of one size.
inline std::vector<std::string> messagesOf(std::string_view text, const qv::MbxKernel& kernel,
                                           std::size_t pieceSize) {
  qv::MbxReader reader(kernel);
  std::vector<std::string> messages;
  for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size()))) {
    std::string_view piece = text.substr(0, pieceSize);
    while (reader.read(piece)) messages.emplace_back(reader.message());
    require(piece.empty(), "a piece is read to its end");
  }
  if (reader.finish()) messages.emplace_back(reader.message());
  require(!reader.finish(), "the last message comes once");
  return messages;
}

/// The slow and obvious way: line ends made uniform in the whole text first, which is then split.
inline std::vector<std::string> obviousMessages(std::string_view text) {
  std::string uniform;
  for (const char c : text) {
    if (c == '\n') uniform += "\r\n";
    if (c != '\n' && c != '\r') uniform += c;
  }
  std::vector<std::string> messages;
  for (std::size_t start = 0; start < uniform.size();) {
    const std::size_t next = uniform.find("\r\nFrom ", start);
    const std::size_t end = next == std::string::npos ? uniform.size() : next + 2;
    const std::size_t lineEnd = uniform.find("\r\n", start);
    if (lineEnd != std::string::npos && lineEnd + 2 < end) {
      messages.push_back(uniform.substr(lineEnd + 2, end - lineEnd - 2));
    }
    start = end;
  }
  return messages;
}

/// Every kernel gives the same, whatever pieces a text comes in.
inline void checkMbx(std::string_view text) {
  const std::vector<std::string> messages = obviousMessages(text);
  for (const qv::MbxKernel& kernel : qv::mbxKernels()) {
    for (const std::size_t pieceSize : {text.size() + 1, std::size_t{7}, std::size_t{200}}) {
      require(messagesOf(text, kernel, pieceSize) == messages, "the messages are those of the rules");
    }
  }
}

}  // namespace laws

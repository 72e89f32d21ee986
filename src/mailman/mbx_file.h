// Mailbox files: messages one behind the other, each below a line that begins with "From ".
#pragma once

#include <cstddef>
#include <string_view>

#include "core/file_reader.h"
#include "core/growable_bytes.h"
#include "core/string_buffer.h"

namespace qv {

/// Goes through the text of a mailbox file. Lines may end with CR LF or LF; other CRs are passed over. The
/// first line of the file is taken for a separator whatever it says; every line in it that begins with "From
/// " is one. Holds no more than the message that it is at, and that only where the file's text cannot be used
/// as it is.
class MbxReader {
 public:
  /// `text` must outlive the reader.
  explicit MbxReader(std::string_view text) noexcept : text_(text) {}

  /// Gives the text of the next message, with CR LF line ends; messages without any text are passed over.
  /// False when there is none. Valid until the next call.
  bool next(std::string_view& message);
  /// How much of the file's text has been gone through, in bytes.
  std::size_t position() const noexcept { return at_; }

 private:
  std::string_view textFrom(std::size_t begin);
  std::string_view oddTextFrom(std::size_t begin);

  std::string_view text_;
  std::size_t at_ = 0;      // where the separator of the next message begins
  std::size_t oddEnd_ = 0;  // up to here stand-alone CRs are about, which may also hide separators
  StringBuffer uniform_;
};

/// Reads a mailbox file through, a piece at a time: memory holds one piece, or one message where that is
/// longer.
class MbxFile {
 public:
  /// `log`, which may be null, gets what fails; it must outlive the file.
  explicit MbxFile(CLog* log) noexcept : log_(log), file_(log) {}

  bool open(std::string_view fileName);
  /// As MbxReader. A file that cannot be read any further ends before the message that it breaks off in.
  bool next(std::string_view& message);

 private:
  bool readPiece();

  CLog* log_;
  FileReader file_;
  GrowableBytes bytes_;
  std::size_t pieceEnd_ = 0;  // of what the reader goes through; what is behind it begins with a separator
  bool hasEnded_ = false;
  MbxReader reader_{{}};
};

}  // namespace qv

// Mailbox files: messages one behind the other, each below a line that begins with "From ".
#pragma once

#include <cstddef>
#include <string_view>

#include "core/file_reader.h"
#include "core/growable_bytes.h"
#include "core/string_buffer.h"
#include "mailman/mbx_kernels.h"

namespace qv {

/// Makes messages of the text of a mailbox file, which comes in pieces of any size. Lines may end with CR LF
/// or LF; other CRs are passed over. The first line of the file is taken for a separator whatever it says;
/// every line in it that begins with "From " is one. Messages have CR LF line ends; one without any text is
/// passed over. Holds no more than the message that it is at.
class MbxReader {
 public:
  explicit MbxReader(const MbxKernel& kernel = mbxKernel()) noexcept : kernel_(kernel) {}

  /// Takes text off the front of `piece`: true when a message is complete, false when all was taken.
  bool read(std::string_view& piece);
  /// Behind the last piece: whether a last message is complete now.
  bool finish() noexcept;
  /// The message that is complete; valid until the next call.
  std::string_view message() const noexcept { return text_; }

 private:
  class Copy;

  const MbxKernel& kernel_;
  StringBuffer text_;
  bool inSeparator_ = true;
  bool isComplete_ = false;
};

/// Reads a mailbox file through, a piece at a time: memory holds one piece, and one message.
class MbxFile {
 public:
  /// `log`, which may be null, gets what fails; it must outlive the file.
  explicit MbxFile(CLog* log) noexcept : log_(log), file_(log) {}

  bool open(std::string_view fileName);
  /// Gives the next message; false when there is none. A file that cannot be read any further ends before the
  /// message that it breaks off in. Valid until the next call.
  bool next(std::string_view& message);

 private:
  enum class State { reading, atEnd, brokenOff };

  CLog* log_;
  FileReader file_;
  GrowableBytes bytes_;
  std::string_view piece_;  // what is left of it
  State state_ = State::reading;
  MbxReader reader_;
};

}  // namespace qv

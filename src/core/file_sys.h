// File helpers with the component's log messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/log.h"

namespace qv {

/// Every operation that can fail says why in `log`, which may be null. Names are 8-bit; a name with a zero
/// byte is no name and fails like a missing file.
class FileSys {
 public:
  static bool exists(std::string_view path);
  /// Whether the file exists and can be opened for reading; else `reason` gets the platform's words.
  static bool canRead(std::string_view path, std::string& reason);
  /// Size in bytes, or -1.
  static std::int64_t size(std::string_view path);
  /// Replaces or creates the file; false when it cannot be written, the reason logged. Nothing half-written
  /// is left: the bytes go to a new file beside it, which then takes its place.
  static bool writeWhole(std::string_view path, std::string_view bytes, CLog* log);
  /// Writes a file that is new in the directory, under `name` if nothing has it yet, else under the name that
  /// the lowest free number makes of it (see `uniqueFileName`; from 100 files of that name on, a free
  /// number). Nothing that is there is written over or written through, also when others create files at the
  /// same time. `name` must be a safe one and becomes the one that was used, also when writing failed. False
  /// then, nothing being left of it, with the platform's words in `reason`.
  static bool writeUnique(std::string_view directory, std::string& name, std::string_view bytes,
                          std::string& reason);
  /// Appends to the file, creating it when missing.
  static bool append(std::string_view path, std::string_view bytes);
  /// "Cannot delete file, filename is null or empty", "Cannot delete file, file does not exist", or "Cannot
  /// delete file" with the platform's text as data "DeleteFile:".
  static bool remove(std::string_view path, CLog* log);
  /// Creates a directory and its missing parents, level by level: "Cannot set directory, bad path", "Failed
  /// to create directory", "Failed to set directory to root directory". No current directory is changed.
  static bool createDirectories(std::string_view path, CLog* log);
};

}  // namespace qv

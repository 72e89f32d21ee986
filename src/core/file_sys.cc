#include "core/file_sys.h"

#include <algorithm>

#include "core/binary_data.h"
#include "core/file_names.h"
#include "core/file_reader.h"
#include "core/string_buffer.h"
#include "platform/files.h"

namespace qv {

namespace {

bool failedFor(CLog* log, std::string_view message, std::string_view filename, std::string_view reason) {
  logError(log, message);
  logData(log, "filename", filename);
  if (!reason.empty()) logData(log, "reason", reason);
  return false;
}

/// Appends a whole file to an empty buffer (a StringBuffer or BinaryData).
template <typename Buffer>
bool readWhole(std::string_view filename, CLog* log, Buffer& out) {
  FileReader file(log);
  if (!file.open(filename)) return false;
  std::size_t received = 0;
  if (file.size() != 0) return file.read(out.extend(file.size()), file.size(), received);
  // It may be one that the system makes as it is read.
  constexpr std::size_t kChunk = 65536;
  do {
    const std::size_t before = out.size();
    if (!file.read(out.extend(kChunk), kChunk, received)) return false;
    out.truncate(before + received);
  } while (received == kChunk);
  return true;
}

template <typename Buffer>
bool readWholeOrEmpty(std::string_view filename, CLog* log, Buffer& out) {
  if (readWhole(filename, log, out)) return true;
  out.truncate(0);
  return false;
}

/// A number from `from` on that is not taken while the one before it is, without asking for each.
template <typename IsTaken>
std::uint64_t firstFreeNumber(std::uint64_t from, IsTaken isTaken) {
  if (!isTaken(from)) return from;
  std::uint64_t taken = from;
  std::uint64_t step = 1;
  for (; isTaken(taken + step); step *= 2) taken += step;
  std::uint64_t free = taken + step;
  while (free - taken > 1) {
    const std::uint64_t middle = taken + (free - taken) / 2;
    (isTaken(middle) ? taken : free) = middle;
  }
  return free;
}

}  // namespace

bool StringBuffer::loadFile(std::string_view filename, CLog* log) {
  clear();
  if (filename.empty()) {
    logError(log, "filename is missing");
    return false;
  }
  return readWholeOrEmpty(filename, log, *this);
}

bool BinaryData::loadFile(std::string_view filename, CLog* log) {
  clear();
  if (filename.empty()) {
    logError(log, "Cannot load binary data file, filename is NULL or empty");
    return false;
  }
  return readWholeOrEmpty(filename, log, *this);
}

bool FileSys::exists(std::string_view path) {
  return files::exists(path);
}

bool FileSys::canRead(std::string_view path, std::string& reason) {
  files::Reader file;
  return file.open(path, reason);
}

std::int64_t FileSys::size(std::string_view path) {
  return files::size(path);
}

bool FileSys::writeWhole(std::string_view path, std::string_view bytes, CLog* log) {
  std::string reason;
  return files::replace(path, bytes, reason) || failedFor(log, "Failed to write file", path, reason);
}

bool FileSys::writeUnique(std::string_view directory, std::string& name, std::string_view bytes,
                          std::string& reason) {
  if (name.empty() || name != safeFileName(name)) {
    reason = "not a file name";
    return false;
  }
  // Numbers that are tried one after the other. Many files of one name may have come with mail, whose sender
  // must not make each further one cost as much as all before it.
  constexpr std::uint64_t kTriedInTurn = 100;
  const std::string wanted = name;
  std::string folder(directory);
  if (!folder.empty() && folder.back() != '/') folder += '/';
  const auto isTaken = [&](std::uint64_t n) { return files::exists(folder + uniqueFileName(wanted, n)); };
  for (std::uint64_t number = 1;; ++number) {
    if (number > kTriedInTurn) number = firstFreeNumber(number, isTaken);
    name = uniqueFileName(wanted, number);
    bool existed = false;
    if (files::createNew(folder + name, bytes, existed, reason)) return true;
    if (!existed) return false;
  }
}

bool FileSys::append(std::string_view path, std::string_view bytes) {
  std::string reason;
  return files::append(path, bytes, reason);
}

bool FileSys::remove(std::string_view path, CLog* log) {
  if (path.empty()) {
    logError(log, "Cannot delete file, filename is null or empty");
    return false;
  }
  if (!files::exists(path)) {
    logError(log, "Cannot delete file, file does not exist");
    logData(log, "filename", path);
    return false;
  }
  std::string reason;
  if (files::remove(path, reason)) return true;
  logError(log, "Cannot delete file");
  logData(log, "DeleteFile:", reason);
  return false;
}

bool FileSys::createDirectories(std::string_view path, CLog* log) {
  if (path.empty() || path.find('\0') != std::string_view::npos) {
    logError(log, "Cannot set directory, bad path");
    return false;
  }
  if (files::isDirectory(path)) return true;
  if (path.front() == '/' && !files::isDirectory("/")) {
    logError(log, "Failed to set directory to root directory");
    return false;
  }
  // Each level is the path up to the end of a component; slashes in a row separate like one.
  for (std::size_t end = 0; end < path.size();) {
    const std::size_t begin = path.find_first_not_of('/', end);
    if (begin == std::string_view::npos) break;
    end = std::min(path.find('/', begin), path.size());
    std::string reason;
    if (!files::makeDirectory(path.substr(0, end), reason)) {
      logError(log, "Failed to create directory");
      logData(log, "directory", path.substr(0, end));
      logData(log, "reason", reason);
      return false;
    }
  }
  return true;
}

}  // namespace qv

#include "core/file_reader.h"

namespace qv {

bool FileReader::fail(std::string_view message, std::string_view reason) {
  logError(log_, message);
  logData(log_, "filename", name_);
  if (!reason.empty()) logData(log_, "reason", reason);
  return false;
}

bool FileReader::open(std::string_view filename) {
  name_ = filename;
  std::string reason;
  if (!file_.open(filename, reason)) return fail("Failed to open file", reason);
  const std::int64_t size = file_.size();
  if (size < 0) return fail("Failed to get file size", {});
  size_ = static_cast<std::size_t>(size);
  return true;
}

bool FileReader::read(char* room, std::size_t count, std::size_t& received) {
  std::string reason;
  const bool done = file_.read(room, count, received, reason);
  total_ += received;
  if (!done) return fail("Failed to read data from file", reason);
  if (received == count || total_ >= size_) return true;
  logError(log_, "Failed to read the entire file");
  logDataLong(log_, "filesize", static_cast<long>(size_));
  logDataLong(log_, "bytes_received", static_cast<long>(total_));
  return false;
}

}  // namespace qv

#include "platform/zip_archive.h"

#include <zip.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace qv {

namespace {

std::string textOf(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

/// An entry that is being read.
class OpenEntry {
 public:
  OpenEntry(zip_t* archive, std::size_t index) : file_(zip_fopen_index(archive, index, 0)) {}
  ~OpenEntry() {
    if (file_ != nullptr) zip_fclose(file_);
  }
  OpenEntry(const OpenEntry&) = delete;
  OpenEntry& operator=(const OpenEntry&) = delete;
  zip_file_t* get() const noexcept { return file_; }

 private:
  zip_file_t* file_;
};

}  // namespace

ZipArchive::~ZipArchive() {
  if (archive_ != nullptr) zip_discard(archive_);
}

bool ZipArchive::open(std::string_view path, std::string& error) {
  return openFile(path, 0, error);
}

bool ZipArchive::create(std::string_view path, std::string& error) {
  return openFile(path, ZIP_CREATE | ZIP_TRUNCATE, error);
}

bool ZipArchive::openFile(std::string_view path, int flags, std::string& error) {
  if (isOpen()) {
    error = "An archive is open already";
    return false;
  }
  if (path.empty() || path.find('\0') != std::string_view::npos) {
    error = "Not the name of a file";
    return false;
  }
  int code = 0;
  zip_t* const archive = zip_open(std::string(path).c_str(), flags, &code);
  if (archive == nullptr) {
    error = textOf(code);
    return false;
  }
  archive_ = archive;
  numStored_ = static_cast<std::size_t>(std::max<zip_int64_t>(zip_get_num_entries(archive, 0), 0));
  counted_.assign(numStored_, false);
  total_ = 0;
  return true;
}

bool ZipArchive::close(std::string& error) {
  zip_t* const archive = std::exchange(archive_, nullptr);
  if (archive == nullptr) {
    error = "No archive is open";
    return false;
  }
  // Closing a new archive that is empty would delete a file that stands in its place.
  const bool isUnchanged = appended_.empty();
  const bool written = isUnchanged || zip_close(archive) == 0;
  if (!written) error = zip_strerror(archive);
  if (isUnchanged || !written) zip_discard(archive);
  appended_.clear();
  numbers_.clear();
  numStored_ = 0;
  return written;
}

bool ZipArchive::read(std::size_t index, std::string& out, std::string& error) {
  out.clear();
  if (index >= count()) {
    error = "No such entry";
    return false;
  }
  if (index >= numStored_) {
    out = appended_[index - numStored_];
    return true;
  }
  const OpenEntry entry(archive_, index);
  if (entry.get() == nullptr) {
    error = zip_strerror(archive_);
    return false;
  }
  // What an archive says of an entry's size is its maker's word only: bad enough to be refused, never good
  // enough to be believed.
  constexpr std::size_t kChunk = std::size_t{64} << 10;
  const std::uint64_t left = limits_.total - std::min(total_, limits_.total);
  const std::uint64_t limit = counted_[index] ? limits_.entry : std::min(limits_.entry, left);
  zip_stat_t said;
  if (zip_stat_index(archive_, index, 0, &said) == 0 && (said.valid & ZIP_STAT_SIZE) != 0 &&
      said.size > limit) {
    error = "The entry is too large";
    return false;
  }
  for (;;) {
    const std::size_t before = out.size();
    if (out.capacity() < before + kChunk) out.reserve(2 * (before + kChunk));
    out.resize(before + kChunk);
    const zip_int64_t received = zip_fread(entry.get(), out.data() + before, kChunk);
    out.resize(before + static_cast<std::size_t>(std::max<zip_int64_t>(received, 0)));
    if (received <= 0 || out.size() > limit) {
      if (received == 0) break;
      total_ += out.size();
      error = received < 0 ? zip_error_strerror(zip_file_get_error(entry.get())) : "The entry is too large";
      out.clear();
      out.shrink_to_fit();
      return false;
    }
  }
  if (!counted_[index]) total_ += out.size();
  counted_[index] = true;
  return true;
}

std::string ZipArchive::freeName(std::string_view name) {
  std::string free(name);
  const std::size_t dot = std::min(free.rfind('.'), free.size());
  while (zip_name_locate(archive_, free.c_str(), 0) >= 0) {
    free = std::string(name);
    free.insert(std::min(dot, free.size()), "_" + std::to_string(++numbers_[std::string(name)]));
  }
  return free;
}

bool ZipArchive::append(std::string_view name, std::string bytes, std::string& error) {
  if (!isOpen()) {
    error = "No archive is open";
    return false;
  }
  appended_.push_back(std::move(bytes));
  const std::string& kept = appended_.back();
  zip_source_t* const source = zip_source_buffer(archive_, kept.data(), kept.size(), 0);
  const zip_int64_t index =
      source == nullptr ? -1 : zip_file_add(archive_, freeName(name).c_str(), source, ZIP_FL_ENC_GUESS);
  if (index >= 0) return true;
  error = zip_strerror(archive_);
  if (source != nullptr) zip_source_free(source);
  appended_.pop_back();
  return false;
}

}  // namespace qv

// Zip archives, without any logging.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct zip;  // libzip's

namespace qv {

/// A small archive can hold a great many zeros: an entry that is larger than this when unpacked is not read,
/// nor is one when the entries read from the archive so far are that large together.
struct ZipLimits {
  std::uint64_t entry = std::uint64_t{512} << 20;
  std::uint64_t total = std::uint64_t{1} << 30;
};

/// One archive file. What is appended is in memory until `close` writes it; the file is then replaced as a
/// whole. A failure leaves the reason in `error`, a text that may hold names from the archive. Indexes are
/// 0-based.
class ZipArchive {
 public:
  explicit ZipArchive(ZipLimits limits = {}) noexcept : limits_(limits) {}
  /// What was appended and not yet written is lost.
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  /// Opens an existing archive; one that is open already must be closed first.
  bool open(std::string_view path, std::string& error);
  /// Begins a new archive, which takes the place of a file of that name when it is closed, unless nothing was
  /// appended.
  bool create(std::string_view path, std::string& error);
  bool isOpen() const noexcept { return archive_ != nullptr; }
  /// Writes what was appended. When that fails the archive is closed all the same and its file stays as it
  /// was.
  bool close(std::string& error);

  std::size_t count() const noexcept { return numStored_ + appended_.size(); }
  /// Unpacks an entry, also one that was appended just now. Encrypted and damaged entries fail.
  bool read(std::size_t index, std::string& out, std::string& error);
  /// Adds an entry at the end. A name that is taken already gets a number before its extension.
  bool append(std::string_view name, std::string bytes, std::string& error);

 private:
  bool openFile(std::string_view path, int flags, std::string& error);
  std::string freeName(std::string_view name);

  ZipLimits limits_;
  zip* archive_ = nullptr;
  std::size_t numStored_ = 0;                             // entries that the file holds
  std::deque<std::string> appended_;                      // the bytes of those that come after them
  std::vector<bool> counted_;                             // stored entries that are in `total_`
  std::uint64_t total_ = 0;                               // bytes unpacked so far
  std::unordered_map<std::string, std::size_t> numbers_;  // the last number that a name got
};

}  // namespace qv

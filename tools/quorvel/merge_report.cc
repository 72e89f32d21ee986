#include "quorvel/merge_report.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <optional>
#include <system_error>

#include "quorvel/csv_reader.h"
#include "quorvel/report.h"

namespace cli {

namespace {

constexpr std::string_view kTitles = "row,address,result,answer,time";
constexpr std::size_t kColumns = 5;
constexpr std::array<std::string_view, kMergeResults> kNames = {"sent", "refused", "left out", "uncertain"};

std::optional<MergeRow> mergeRowOf(const CsvRow& csv) {
  const auto* name =
      csv.fields.size() == kColumns ? std::find(kNames.begin(), kNames.end(), csv.fields[2]) : kNames.end();
  if (name == kNames.end() || !csv.fault.empty()) return std::nullopt;
  MergeRow row{0, csv.fields[1], static_cast<MergeResult>(name - kNames.begin()), csv.fields[3]};
  const std::string& number = csv.fields[0];
  std::from_chars(number.data(), number.data() + number.size(), row.row);
  return row;
}

Failure noReport(const std::string& path) {
  return {Status::file, path + " is there, and is no report of a merge", "",
          "nothing was done; --report names a new file, or the report of an earlier run"};
}

bool isTitleRow(const CsvRow& csv) {
  std::string text;
  for (const std::string& field : csv.fields) text += (text.empty() ? "" : ",") + field;
  // One that was never written to its end is no other file's.
  return csv.isEnded ? text == kTitles : kTitles.starts_with(text);
}

/// Calls `visit` for each whole row; gives where the last of them ends. Throws a Failure when it is no
/// report.
std::uintmax_t readRows(const std::string& path, const std::function<void(const MergeRow&)>& visit) {
  CsvReader reader(path, "report");
  CsvRow csv;
  std::uintmax_t end = 0;
  while (reader.next(csv)) {
    const bool isTitles = csv.number == 1;
    const std::optional<MergeRow> row = mergeRowOf(csv);
    if (isTitles && !isTitleRow(csv)) throw noReport(path);
    if (!csv.isEnded) break;
    if (!isTitles && !row) throw noReport(path);
    if (row) visit(*row);
    end = reader.position();
  }
  return end;
}

std::string timeNow() {
  char text[32] = "";
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  if (gmtime_r(&now, &parts) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return text;
}

}  // namespace

std::string_view nameOf(MergeResult result) noexcept {
  return kNames[static_cast<std::size_t>(result)];
}

AddressTable readSent(const std::string& path) {
  AddressTable sent;
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return sent;
  readRows(path, [&](const MergeRow& row) {
    if (row.result == MergeResult::sent) sent.add(row.address);
  });
  return sent;
}

MergeReport::MergeReport(const std::string& path)
    : path_(path), file_(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {
  if (file_.get() < 0) throw cannotWrite();
  if (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    throw Failure{Status::file, "another merge is writing the report " + path, "",
                  "nothing was done; wait for it to end"};
  }
  start_ = readRows(path, [](const MergeRow&) {});
  if (::ftruncate(file_.get(), static_cast<off_t>(start_)) != 0) throw cannotWrite();
  if (start_ > 0) return;
  write(std::string(kTitles) + "\r\n");
  start_ = kTitles.size() + 2;
  isNew_ = true;
}

MergeReport::~MergeReport() {
  if (isNew_ && !isUsed_) ::unlink(path_.c_str());
}

Failure MergeReport::cannotWrite() const {
  return {Status::file, "cannot write the report " + path_, std::generic_category().message(errno),
          "is there room, and may this user write there?"};
}

/// In one call, so that no more than the end of a row can be missing.
void MergeReport::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file_.get(), text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw cannotWrite();
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void MergeReport::add(const MergeRow& row) {
  const auto text = [](std::string value) {
    std::replace(value.begin(), value.end(), '\n', ' ');
    return csvField(printable(value));
  };
  write(std::to_string(row.row) + ',' + text(row.address) + ',' + std::string(nameOf(row.result)) + ',' +
        text(row.answer) + ',' + timeNow() + "\r\n");
  isUsed_ = true;
  ++counts_[static_cast<std::size_t>(row.result)];
}

void MergeReport::forEachAdded(const std::function<void(const MergeRow&)>& visit) const {
  CsvReader reader(path_, "report");
  reader.seek(start_);
  for (CsvRow csv; reader.next(csv);) {
    if (const auto row = mergeRowOf(csv)) visit(*row);
  }
}

}  // namespace cli

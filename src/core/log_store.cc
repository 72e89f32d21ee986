#include "core/log_store.h"

#include <algorithm>
#include <utility>

#include "platform/clock.h"

namespace qv {

namespace {

/// An operation this small is dropped whole; a larger one is cut down in steps of a quarter, so that cutting
/// costs little for each entry that comes.
constexpr std::size_t kSmallOperation = 64;

std::atomic<std::uint64_t> threadsSeen{0};

/// A number for each thread that no other one ever gets, and whether the thread has ended. The number and the
/// flag outlive the token, for objects that log while their thread is already being taken down.
thread_local std::uint64_t thisThreadNumber = 0;
thread_local bool thisThreadEnds = false;
struct ThreadToken {
  std::shared_ptr<const char> alive = std::make_shared<const char>('\0');
  ~ThreadToken() { thisThreadEnds = true; }
};
thread_local ThreadToken thisThreadToken;

std::uint64_t currentThreadNumber() {
  if (thisThreadNumber == 0) thisThreadNumber = ++threadsSeen;
  return thisThreadNumber;
}

bool isInformation(LogKind kind) {
  return kind == LogKind::info || kind == LogKind::data || kind == LogKind::xml;
}

}  // namespace

// Threads and operations.

LogStore::ThreadState& LogStore::threadState() {
  const auto [found, isNew] = threads_.try_emplace(currentThreadNumber());
  if (!isNew) return found->second;
  ThreadState& state = found->second;
  if (!thisThreadEnds) state.alive = thisThreadToken.alive;
  return state;
}

/// Hosts may use a new thread for every request; what an ended one left open is open no longer.
void LogStore::forgetEndedThreads() {
  for (auto each = threads_.begin(); each != threads_.end();) {
    const ThreadState& thread = each->second;
    if (each->first == currentThreadNumber() || !thread.alive.expired()) {
      ++each;
      continue;
    }
    if (thread.operation) thread.operation->isOpen = false;
    each = threads_.erase(each);
  }
  forgetAt_ = std::max<std::size_t>(16, 2 * threads_.size());
}

LogStore::OperationPtr LogStore::beginOperation() {
  if (threads_.size() >= forgetAt_) forgetEndedThreads();
  auto operation = std::make_shared<LogOperation>();
  operations_.push_back(operation);
  operation->isListed = true;
  return operation;
}

void LogStore::ThreadState::resume() {
  const std::string inner = errors.text();
  errors = std::move(suspended.back().errors);
  suspended.pop_back();
  if (!inner.empty()) errors.add(inner);
  innerEnded = false;
}

void LogStore::add(ThreadState& thread, const LogEntry& entry) {
  LogOperation& operation = *thread.operation;
  const std::size_t before = operation.bytes();
  operation.add(entry);
  bytes_ += operation.bytes() - before;
  ++entries_;
  keepToMark();
}

void LogStore::enterContext(std::string_view name, bool reportErrors) {
  const std::int64_t time = millisecondsSince1970();
  const std::lock_guard lock(mutex_);
  ThreadState& thread = threadState();
  if (thread.depth == 0) thread.operation = beginOperation();
  // A public operation inside a context of the host's, or inside one that calls the host back, answers for
  // itself alone.
  if (thread.innerEnded) thread.resume();
  if (thread.depth == 0) {
    thread.errors.clear();
    thread.errorsOfContext = true;
  } else if (reportErrors) {
    thread.suspended.push_back({thread.depth, std::exchange(thread.errors, {})});
  }
  if (thread.depth < kMaxContextDepth) {
    LogEntry entry;
    entry.kind = LogKind::context;
    entry.depth = static_cast<std::uint16_t>(thread.depth);
    entry.reportErrors = reportErrors;
    entry.time = time;
    entry.text = name.substr(0, kMaxContextName);
    add(thread, entry);
  }
  thread.operation->isOpen = true;
  ++thread.depth;
}

bool LogStore::leaveContext() {
  const std::lock_guard lock(mutex_);
  ThreadState& thread = threadState();
  if (thread.depth == 0) return false;
  if (thread.innerEnded) thread.resume();
  --thread.depth;
  // More were left than the inner operation had entered.
  while (!thread.suspended.empty() && thread.suspended.back().depth > thread.depth) thread.resume();
  thread.innerEnded = !thread.suspended.empty() && thread.suspended.back().depth == thread.depth;
  if (thread.depth == 0) {
    thread.operation->isOpen = false;
    thread.operation.reset();
  }
  return true;
}

void LogStore::logMessage(LogKind kind, std::string_view message, std::string_view keyword,
                          std::string_view format) {
  LogEntry entry;
  entry.kind = kind;
  entry.time = millisecondsSince1970();
  entry.text = message;
  entry.keyword = keyword;
  entry.format = format;

  const std::lock_guard lock(mutex_);
  ThreadState& thread = threadState();
  if (!thread.operation || !thread.operation->isListed) thread.operation = beginOperation();
  entry.depth = static_cast<std::uint16_t>(std::min(thread.depth, kMaxContextDepth));
  if (kind == LogKind::error) {
    if (thread.depth == 0 && thread.errorsOfContext) {
      thread.errors.clear();
      thread.errorsOfContext = false;
    }
    if (thread.innerEnded) thread.resume();
    std::string visible;
    appendVisible(withoutEndingBreaks(message), {"\n"}, visible);
    thread.errors.add(visible);
  }
  add(thread, entry);
}

void LogStore::logData(std::string_view tag, std::string_view value) {
  logMessage(LogKind::data, value, tag);
}

void LogStore::logXml(std::string_view fragment) {
  logMessage(LogKind::xml, fragment);
}

void LogStore::clear() {
  const std::lock_guard lock(mutex_);
  for (auto& [number, thread] : threads_) {
    thread.errors.clear();
    for (Suspended& outer : thread.suspended) outer.errors.clear();
    if (thread.depth > 0) {
      thread.operation->clear(std::min(thread.depth, kMaxContextDepth));
    } else {
      thread.operation.reset();
    }
  }
  std::erase_if(operations_, [](const OperationPtr& operation) { return !operation->isOpen; });
  entries_ = 0;
  bytes_ = 0;
  dropped_ = 0;
  for (const OperationPtr& operation : operations_) {
    entries_ += operation->count();
    bytes_ += operation->bytes();
  }
}

// The high-water mark.

bool LogStore::isAboveMark() const {
  return highWaterMark_ > 0 && (entries_ > static_cast<std::size_t>(highWaterMark_) || bytes_ > kMaxBytes);
}

void LogStore::keepToMark() {
  while (isAboveMark() && makeRoom()) {
  }
}

void LogStore::drop(std::list<OperationPtr>::iterator operation) {
  entries_ -= (*operation)->count();
  bytes_ -= (*operation)->bytes();
  dropped_ += (*operation)->count() + (*operation)->dropped();
  (*operation)->isListed = false;
  (*operation)->clear(0);  // a thread may hold on to it
  operations_.erase(operation);
}

std::size_t LogStore::trim(LogOperation& operation, std::size_t entries) {
  const std::size_t before = operation.bytes();
  const std::size_t removed = operation.dropOldest(entries);
  entries_ -= removed;
  bytes_ -= before - operation.bytes();
  return removed;
}

/// Drops something of what may best be missed; false when nothing can be dropped.
bool LogStore::makeRoom() {
  const auto mark = static_cast<std::size_t>(highWaterMark_);
  const std::size_t excess = entries_ > mark ? entries_ - mark : 1;
  const auto newest = std::prev(operations_.end());
  const auto oldestEnded = [&] {
    return std::find_if(operations_.begin(), newest, [](const OperationPtr& each) { return !each->isOpen; });
  };
  auto victim = oldestEnded();
  if (victim == newest) {
    forgetEndedThreads();
    victim = oldestEnded();
  }
  if (victim != newest) {
    const std::size_t count = (*victim)->count();
    const bool goesWhole = count <= std::max(excess, kSmallOperation);
    if (goesWhole || trim(**victim, std::max(excess, count / 4)) == 0) drop(victim);
    return true;
  }
  const auto isSmaller = [&](const OperationPtr& a, const OperationPtr& b) {
    return entries_ > mark ? a->count() < b->count() : a->bytes() < b->bytes();
  };
  const auto largest = std::max_element(operations_.begin(), operations_.end(), isSmaller);
  return trim(**largest, std::max(excess, (*largest)->count() / 4)) != 0;
}

void LogStore::checkHighWater() {
  const std::lock_guard lock(mutex_);
  if (!operations_.empty()) keepToMark();
}

long LogStore::highWaterMark() const {
  const std::lock_guard lock(mutex_);
  return highWaterMark_;
}

void LogStore::setHighWaterMark(long entries) {
  const std::lock_guard lock(mutex_);
  highWaterMark_ = entries;
  if (!operations_.empty()) keepToMark();
}

// Reading.

template <typename Wanted>
std::string LogStore::render(Wanted wanted, bool withNotes) const {
  std::string out;
  const std::lock_guard lock(mutex_);
  LogTextWriter writer(layout_, out);
  if (withNotes) writer.noteDropped(dropped_);
  for (const OperationPtr& operation : operations_) {
    if (withNotes) writer.noteDropped(operation->dropped());
    writer.write(*operation, wanted);
  }
  return out;
}

std::string LogStore::entries(LogKind kind) const {
  return render(
      [&](const LogEntry& entry) {
        return entry.kind == kind || (isInformation(kind) && isInformation(entry.kind));
      },
      false);
}

std::string LogStore::keywordEntries(std::string_view keyword) const {
  return render(
      [&](const LogEntry& entry) {
        return entry.kind != LogKind::data && !keyword.empty() && entry.keyword == keyword;
      },
      false);
}

std::string LogStore::text() const {
  return render([](const LogEntry&) { return true; }, true);
}

std::string LogStore::xml(bool timestamps) const {
  std::string out;
  const std::lock_guard lock(mutex_);
  LogXmlWriter writer(timestamps, out);
  writer.begin(componentName_, kVersion);
  writer.noteDropped(dropped_);
  for (const OperationPtr& operation : operations_) writer.write(*operation);
  writer.end();
  return out;
}

std::string LogStore::lastError() const {
  const std::lock_guard lock(mutex_);
  const auto found = threads_.find(currentThreadNumber());
  return found == threads_.end() ? std::string() : found->second.errors.text();
}

// Settings.

std::string LogStore::lineFormat() const {
  const std::lock_guard lock(mutex_);
  return layout_.lineFormat;
}

void LogStore::setLineFormat(std::string_view format) {
  const std::lock_guard lock(mutex_);
  layout_.lineFormat = format.empty() ? LogLayout::kDefaultFormat : format;
}

std::string LogStore::namedFormat(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  const auto found = layout_.namedFormats.find(name);
  return found == layout_.namedFormats.end() ? std::string() : found->second;
}

void LogStore::setNamedFormat(std::string_view name, std::string_view format) {
  const std::lock_guard lock(mutex_);
  if (format.empty()) {
    layout_.namedFormats.erase(std::string(name));
  } else {
    layout_.namedFormats.insert_or_assign(std::string(name), std::string(format));
  }
}

std::string LogStore::continuationPrefix() const {
  const std::lock_guard lock(mutex_);
  return layout_.continuationPrefix;
}

void LogStore::setContinuationPrefix(std::string_view prefix) {
  const std::lock_guard lock(mutex_);
  layout_.continuationPrefix = prefix;
}

bool LogStore::isHtml() const {
  const std::lock_guard lock(mutex_);
  return layout_.html;
}

void LogStore::setHtml(bool html) {
  const std::lock_guard lock(mutex_);
  layout_.html = html;
}

std::string LogStore::componentName() const {
  const std::lock_guard lock(mutex_);
  return componentName_;
}

void LogStore::setComponentName(std::string_view name) {
  const std::lock_guard lock(mutex_);
  componentName_ = name;
}

}  // namespace qv

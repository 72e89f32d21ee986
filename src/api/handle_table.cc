#include "api/handle_table.h"

#include <thread>
#include <unordered_map>
#include <utility>

namespace qv {

namespace {

struct Table {
  std::mutex mutex;
  std::unordered_map<std::uint64_t, std::unique_ptr<HandleEntry>> byNumber;
  std::unordered_map<const quorvel::IQuorvelObject*, HandleEntry*> byObject;
  std::uint64_t last = 0;

  HandleEntry* find(std::uint64_t number) const {
    const auto found = byNumber.find(number);
    return found == byNumber.end() ? nullptr : found->second.get();
  }
  /// As `find`, but only what the host still holds.
  HandleEntry* findHeld(std::uint64_t number) const {
    HandleEntry* entry = find(number);
    return entry != nullptr && entry->references > 0 ? entry : nullptr;
  }
  /// Takes an entry that is needed no more out of the table; the caller lets it go when the table is
  /// unlocked, for the object may call back as it goes.
  std::unique_ptr<HandleEntry> takeUnneeded(HandleEntry& entry) {
    if (entry.references > 0 || entry.uses > 0) return nullptr;
    byObject.erase(entry.object.get());
    const auto found = byNumber.find(entry.number);
    auto owned = std::move(found->second);
    byNumber.erase(found);
    return owned;
  }
};

/// Never destroyed: a host may release its last objects while the process is already being taken down.
Table& table() {
  static Table* const instance = new Table;
  return *instance;
}

}  // namespace

namespace handles {

std::uint64_t give(const quorvel::Ref<quorvel::IQuorvelObject>& object) {
  if (!object) return 0;
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  if (const auto found = all.byObject.find(object.get()); found != all.byObject.end()) {
    ++found->second->references;
    return found->second->number;
  }
  auto entry = std::make_unique<HandleEntry>();
  entry->number = all.last + 1;
  entry->object = object;
  entry->references = 1;
  const auto known = all.byObject.emplace(object.get(), entry.get()).first;
  try {
    all.byNumber.emplace(all.last + 1, std::move(entry));
  } catch (...) {
    all.byObject.erase(known);
    throw;
  }
  return ++all.last;
}

bool addReference(std::uint64_t number) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  HandleEntry* entry = all.findHeld(number);
  if (entry == nullptr) return false;
  ++entry->references;
  return true;
}

bool release(std::uint64_t number) {
  Table& all = table();
  std::unique_ptr<HandleEntry> unneeded;
  const std::lock_guard lock(all.mutex);
  HandleEntry* entry = all.findHeld(number);
  if (entry == nullptr) return false;
  --entry->references;
  unneeded = all.takeUnneeded(*entry);
  return true;
}

}  // namespace handles

HandleUse::HandleUse(std::uint64_t number) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  entry_ = all.findHeld(number);
  if (entry_ != nullptr) ++entry_->uses;
}

HandleUse::HandleUse(const quorvel::IQuorvelObject* object) : entry_(nullptr) {
  Table& all = table();
  const std::lock_guard lock(all.mutex);
  const auto found = all.byObject.find(object);
  if (found == all.byObject.end() || found->second->references == 0) return;
  entry_ = found->second;
  ++entry_->uses;
}

HandleUse::~HandleUse() {
  if (entry_ == nullptr) return;
  Table& all = table();
  std::unique_ptr<HandleEntry> unneeded;
  const std::lock_guard lock(all.mutex);
  --entry_->uses;
  unneeded = all.takeUnneeded(*entry_);
}

LockTogether::LockTogether(std::vector<HandleUse>& uses) : uses_(uses) {
  // Wait for one lock, try the others; when one is taken, let all go and wait for that one next.
  std::size_t first = 0;
  for (;;) {
    uses_[first].lock().lock();
    std::size_t taken = uses_.size();
    for (std::size_t i = 0; i < uses_.size() && taken == uses_.size(); ++i) {
      if (i != first && !uses_[i].lock().try_lock()) taken = i;
    }
    if (taken == uses_.size()) return;
    for (std::size_t i = 0; i < taken; ++i) {
      if (i != first) uses_[i].lock().unlock();
    }
    uses_[first].lock().unlock();
    first = taken;
    std::this_thread::yield();
  }
}

LockTogether::~LockTogether() {
  for (HandleUse& use : uses_) use.lock().unlock();
}

}  // namespace qv

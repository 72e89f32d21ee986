// The numbers by which C hosts know objects, and the lock of each object.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include <quorvel/object.h>

namespace qv {

/// One object that hosts know by a number.
struct HandleEntry {
  std::uint64_t number = 0;
  quorvel::Ref<quorvel::IQuorvelObject> object;
  std::recursive_mutex lock;
  std::size_t references = 0;  // the host's
  std::size_t uses = 0;        // calls that are running
};

namespace handles {

/// The number of an object, with one more reference for the host. The same object has the same number for as
/// long as the host holds it.
std::uint64_t give(const quorvel::Ref<quorvel::IQuorvelObject>& object);
/// False when the number is not in the host's hands.
bool addReference(std::uint64_t number);
bool release(std::uint64_t number);

}  // namespace handles

/// An object in use by a call: it stays, with its lock, until the use is over, even when the host releases it
/// meanwhile.
class HandleUse {
 public:
  /// Empty when the number is not in the host's hands.
  explicit HandleUse(std::uint64_t number);
  /// Empty when the host has no number for the object.
  explicit HandleUse(const quorvel::IQuorvelObject* object);
  ~HandleUse();
  HandleUse(HandleUse&& other) noexcept : entry_(std::exchange(other.entry_, nullptr)) {}
  HandleUse(const HandleUse&) = delete;
  HandleUse& operator=(const HandleUse&) = delete;

  explicit operator bool() const noexcept { return entry_ != nullptr; }
  quorvel::IQuorvelObject* object() const noexcept { return entry_->object.get(); }
  std::recursive_mutex& lock() const noexcept { return entry_->lock; }

 private:
  HandleEntry* entry_;
};

/// Holds the locks of several uses together, each as often as it is named. Waits for one lock at most while
/// it holds none of the others, so that two calls with the same objects never wait for each other.
class LockTogether {
 public:
  explicit LockTogether(std::vector<HandleUse>& uses);
  ~LockTogether();
  LockTogether(const LockTogether&) = delete;
  LockTogether& operator=(const LockTogether&) = delete;

 private:
  std::vector<HandleUse>& uses_;
};

}  // namespace qv

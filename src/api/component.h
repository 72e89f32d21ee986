// What the public objects share: the log, the error report, the count that decides about unloading.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <quorvel/component.h>

#include "core/log.h"

namespace qv::component {

inline constexpr std::string_view kVersion = "2.9.0";
/// The component's name and version as the log carries them.
inline constexpr std::string_view kLogName = "QuorvelMail2_9_0";

/// Every public object is one for as long as it lives. The shared log is made with the first one and stays
/// until `quorvel::canUnload` finds none.
class LivingObject {
 public:
  LivingObject();
  ~LivingObject();
  LivingObject(const LivingObject&) = delete;
  LivingObject& operator=(const LivingObject&) = delete;
};

/// The log of all objects; not owned, never null while an object lives. Where the log's store could not be
/// made it takes nothing and gives nothing.
CLog* sharedLog() noexcept;

/// Leaves the error report of this thread's operation, or none.
void setErrorReport(std::string_view description) noexcept;
void clearErrorReport() noexcept;
/// The report; null when the last operation left none. Valid until this thread's next operation.
const quorvel::ErrorReport* errorReport() noexcept;

/// A test makes the log's store, or none. An empty function gives the usual one back. Takes effect with the
/// next shared log.
void setLogStoreForTest(std::function<std::shared_ptr<LogStore>()> make);

}  // namespace qv::component

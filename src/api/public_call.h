// The one way into the component: what every public operation does besides its own work.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "core/log.h"

namespace qv {

/// How an operation's body ended.
enum class Outcome {
  done,
  failed,         ///< the host gets an error report, described by the log's LastError
  failedQuietly,  ///< the host gets the failure value only
};

/// Who the operation is.
struct Operation {
  std::string_view name;         ///< as "Unexpected exception in NAME" says it
  std::string_view context;      ///< the log context that it opens; empty when it opens none
  bool checksHighWater = false;  ///< it works on a server: the log is brought below its mark first
  /// Makes the report's description of the log's LastError; null when it is that itself.
  std::string (*describe)(std::string_view lastError) = nullptr;
};
constexpr Operation plain(std::string_view name) {
  return {.name = name, .context = {}};
}
constexpr Operation inContext(std::string_view name) {
  return {.name = name, .context = name};
}
constexpr Operation onServer(std::string_view name) {
  return {.name = name, .context = name, .checksHighWater = true};
}

using Body = Outcome (*)(void* state, CLog* log);
/// Enters the context, runs the body, catches whatever escapes it, leaves the context, and then leaves an
/// error report or takes away that of an earlier operation.
Outcome runPublicCall(const Operation& operation, Body body, void* state) noexcept;

/// Runs an operation of the host. `body` is called with the shared log and says how it ended; one without a
/// result is done when it returns.
template <typename Function>
Outcome publicCall(const Operation& operation, Function&& body) noexcept {
  constexpr auto call = [](void* state, CLog* log) -> Outcome {
    auto& function = *static_cast<std::remove_reference_t<Function>*>(state);
    if constexpr (std::is_void_v<std::invoke_result_t<Function, CLog*>>) {
      function(log);
      return Outcome::done;
    } else {
      return function(log);
    }
  };
  return runPublicCall(operation, call, &body);
}

/// An operation that gives a value: the body's, or the empty one when the body throws.
template <typename Function>
auto publicRead(const Operation& operation, Function&& body) noexcept {
  std::invoke_result_t<Function, CLog*> value{};
  publicCall(operation, [&](CLog* log) { value = body(log); });
  return value;
}

/// An operation that gives its success as 1 or 0.
template <typename Function>
std::int32_t publicFlag(const Operation& operation, Function&& body) noexcept {
  return publicCall(operation, body) == Outcome::done ? 1 : 0;
}

}  // namespace qv

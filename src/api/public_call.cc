#include "api/public_call.h"

#include "api/component.h"

namespace qv {

namespace {

Outcome runBody(const Operation& operation, Body body, void* state, CLog* log) noexcept {
  try {
    return body(state, log);
  } catch (...) {
    try {
      logError(log, "Unexpected exception in " + std::string(operation.name));
    } catch (...) {
      // There is no memory even for that.
    }
    return Outcome::failed;
  }
}

void leaveReport(const Operation& operation, CLog* log) noexcept {
  try {
    const std::string lastError = log == nullptr ? std::string() : log->get_LastError();
    component::setErrorReport(operation.describe == nullptr ? lastError : operation.describe(lastError));
  } catch (...) {
    component::setErrorReport({});
  }
}

}  // namespace

Outcome runPublicCall(const Operation& operation, Body body, void* state) noexcept {
  CLog* const log = component::sharedLog();
  if (operation.checksHighWater && log != nullptr) log->CheckHighWater();

  Outcome outcome;
  if (operation.context.empty()) {
    outcome = runBody(operation, body, state, log);
  } else {
    const LogContext context(log, operation.context, true);
    outcome = runBody(operation, body, state, log);
  }

  if (outcome == Outcome::failed) {
    leaveReport(operation, log);
  } else {
    component::clearErrorReport();
  }
  return outcome;
}

}  // namespace qv

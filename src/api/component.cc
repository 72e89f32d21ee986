#include "api/component.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>

#include "cert/certificate_store.h"
#include "core/log_store.h"

namespace qv::component {

namespace {

struct Shared {
  std::mutex mutex;
  std::size_t livingObjects = 0;
  std::unique_ptr<CLog> log;
  std::atomic<CLog*> logInUse{nullptr};
  std::function<std::shared_ptr<LogStore>()> makeStoreForTest;
};

/// Never destroyed: a host may let go of its last objects while the process is already being taken down.
Shared& shared() {
  static Shared* const instance = new Shared;
  return *instance;
}

/// The report and whether it is the last operation's.
struct ThreadReport {
  quorvel::ErrorReport report;
  bool left = false;
};

ThreadReport& threadReport() {
  thread_local ThreadReport report;
  return report;
}

std::unique_ptr<CLog> makeLog(const Shared& all) {
  std::shared_ptr<LogStore> store;
  try {
    store = all.makeStoreForTest ? all.makeStoreForTest() : std::make_shared<LogStore>();
  } catch (...) {
    // The component works on without a log.
  }
  auto log = std::make_unique<CLogImpl>(std::move(store));
  log->put_ComponentName(kLogName);
  return log;
}

}  // namespace

LivingObject::LivingObject() {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  if (!all.log) {
    all.log = makeLog(all);
    all.logInUse = all.log.get();
  }
  ++all.livingObjects;
}

LivingObject::~LivingObject() {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  --all.livingObjects;
}

CLog* sharedLog() noexcept {
  return shared().logInUse;
}

void setErrorReport(std::string_view description) noexcept {
  ThreadReport& mine = threadReport();
  mine.left = true;
  try {
    mine.report.source = "QuorvelMail.QuorvelMailMan";
    mine.report.interfaceName = "IQuorvelMailMan2";
    mine.report.description = description;
  } catch (...) {
    mine.report.description.clear();  // a report without words is one still
  }
}

void clearErrorReport() noexcept {
  threadReport().left = false;
}

const quorvel::ErrorReport* errorReport() noexcept {
  const ThreadReport& mine = threadReport();
  return mine.left ? &mine.report : nullptr;
}

void setLogStoreForTest(std::function<std::shared_ptr<LogStore>()> make) {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  all.makeStoreForTest = std::move(make);
}

}  // namespace qv::component

namespace quorvel {

using namespace qv::component;

std::optional<ErrorReport> lastError() {
  const ErrorReport* report = errorReport();
  return report == nullptr ? std::nullopt : std::optional(*report);
}

void setCertificateRoot(std::string_view path) {
  qv::setCertificateStoreRoot(path);
}

std::string_view version() noexcept {
  return kVersion;
}

bool canUnload() noexcept {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  if (all.livingObjects != 0) return false;
  all.logInUse = nullptr;
  all.log.reset();
  return true;
}

}  // namespace quorvel

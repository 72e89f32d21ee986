#include "platform/host_name.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <mutex>

namespace qv {

namespace {

constexpr std::size_t kLongestName = 499;

std::mutex testNameMutex;
std::string testName;

std::string machineName() {
  char name[kLongestName + 1] = {};
  return gethostname(name, kLongestName) == 0 ? std::string(name) : std::string();
}

std::string canonicalNameOf(const std::string& name) {
  if (name.empty()) return name;
  addrinfo wanted{};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_CANONNAME;
  addrinfo* found = nullptr;
  if (getaddrinfo(name.c_str(), nullptr, &wanted, &found) != 0) return name;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
  if (found == nullptr || found->ai_canonname == nullptr || *found->ai_canonname == '\0') return name;
  return std::string(found->ai_canonname).substr(0, kLongestName);
}

}  // namespace

const std::string& localHostName() {
  static const std::string name = machineName();
  return name;
}

std::string canonicalHostName() {
  {
    const std::lock_guard lock(testNameMutex);
    if (!testName.empty()) return testName;
  }
  // The look-up may ask the network, so it is made once.
  static const std::string name = canonicalNameOf(localHostName());
  return name;
}

void setHostNameForTest(const std::string& name) {
  const std::lock_guard lock(testNameMutex);
  testName = name;
}

}  // namespace qv

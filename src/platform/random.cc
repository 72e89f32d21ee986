#include "platform/random.h"

#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

namespace qv {

namespace {

using TestSource = std::function<std::string()>;

std::atomic<bool> testSourceSet{false};
std::mutex testSourceMutex;
std::shared_ptr<const TestSource> testSource;

}  // namespace

void randomBytes(char* bytes, std::size_t count) {
  // So few come whole or not at all; only a kernel without the call fails here.
  if (getentropy(bytes, count) != 0) {
    throw std::system_error(errno, std::system_category(), "no random numbers");
  }
}

std::string newUuid() {
  if (testSourceSet.load(std::memory_order_acquire)) {
    std::shared_ptr<const TestSource> source;
    {
      const std::lock_guard lock(testSourceMutex);
      source = testSource;
    }
    if (source) return (*source)();
  }
  std::array<char, 16> bytes;
  randomBytes(bytes.data(), bytes.size());
  bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40);  // RFC 4122 4.4: version 4
  bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80);  // and variant 10
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

void setUuidForTest(TestSource source) {
  const std::lock_guard lock(testSourceMutex);
  testSource = source ? std::make_shared<const TestSource>(std::move(source)) : nullptr;
  testSourceSet.store(testSource != nullptr, std::memory_order_release);
}

}  // namespace qv

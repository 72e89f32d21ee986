// Runs work on a thread with a small stack.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <stdexcept>

namespace qv_test {

inline void runOnSmallStack(std::function<void()> work, std::size_t stackBytes = 256 * 1024) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread;
  const auto start = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  const bool started = pthread_attr_setstacksize(&attributes, stackBytes) == 0 &&
                       pthread_create(&thread, &attributes, start, &work) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) throw std::runtime_error("cannot start a thread");
  pthread_join(thread, nullptr);
}

}  // namespace qv_test

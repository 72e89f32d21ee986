// The seeds of the fuzzers, which their laws hold for.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/temporary_folder.h"

namespace qv_test {

/// Holds a law against each seed of that fuzzer; there are some.
inline void holdAgainstSeeds(const std::string& fuzzer, void (*law)(std::string_view)) {
  std::size_t count = 0;
  for (const auto& seed :
       std::filesystem::directory_iterator(QUORVEL_TEST_DATA "/../../fuzz/seeds/" + fuzzer)) {
    SCOPED_TRACE(seed.path());
    law(qv::contentsOf(seed.path()));
    ++count;
  }
  EXPECT_GT(count, 0U) << fuzzer;
}

}  // namespace qv_test

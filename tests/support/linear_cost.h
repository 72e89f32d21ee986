// Whether work grows in proportion to its input, told from two sizes in one run.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>

// AddressSanitizer otherwise checks all of the text at each search in it, which makes repeated searches
// quadratic.
extern "C" __attribute__((weak, visibility("default"))) const char* __asan_default_options() {
  return "intercept_memmem=0";
}

namespace qv_test {

/// How many times the processor time of `work(make(n))` that of `work(make(2 * n))` is: the medians of five
/// runs. About 2 for linear work, 4 for quadratic. Measured again, up to three times, while it is above
/// `limit`, as a busy machine can spoil a measurement.
template <typename Make, typename Work>
double costOfTwice(std::size_t n, Make make, Work work, double limit = 3) {
  const auto once = make(n);
  const auto twice = make(2 * n);
  const auto seconds = [&](const auto& input) {
    const std::clock_t start = std::clock();
    work(input);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  double best = 1e9;
  for (int attempt = 0; attempt < 3 && best > limit; ++attempt) {
    std::array<double, 5> small{}, large{};
    for (std::size_t i = 0; i < small.size(); ++i) {
      small[i] = seconds(once);
      large[i] = seconds(twice);
    }
    std::nth_element(small.begin(), small.begin() + 2, small.end());
    std::nth_element(large.begin(), large.begin() + 2, large.end());
    best = std::min(best, large[2] / std::max(small[2], 1e-5));
  }
  return best;
}

}  // namespace qv_test

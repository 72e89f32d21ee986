// Whether work grows in proportion to its input, told from two sizes in one run.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ctime>

// AddressSanitizer otherwise checks all of the text at each search in it, which makes repeated searches
// quadratic.
extern "C" __attribute__((weak, visibility("default"))) const char* __asan_default_options() {
  return "intercept_memmem=0";
}

namespace qv_test {

/// The factor by which the processor time of `work(make(n))` grows when `n` is doubled: about 2 for linear
/// work, 4 for quadratic. Taken over two doublings, from n / 2 to 2 * n, and from the fastest of five runs at
/// each size, as a busy machine only ever adds time; measured again, up to five times, while it is above
/// `limit`.
template <typename Make, typename Work>
double costOfTwice(std::size_t n, Make make, Work work, double limit = 3) {
  const auto small = make(n / 2);
  const auto large = make(n * 2);
  const auto seconds = [&](const auto& input) {
    const std::clock_t start = std::clock();
    work(input);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  double best = 1e9;
  for (int attempt = 0; attempt < 5 && best > limit; ++attempt) {
    double ofSmall = 1e9, ofLarge = 1e9;
    for (int run = 0; run < 5; ++run) {
      ofSmall = std::min(ofSmall, seconds(small));
      ofLarge = std::min(ofLarge, seconds(large));
    }
    best = std::min(best, std::sqrt(ofLarge / std::max(ofSmall, 1e-5)));
  }
  return best;
}

}  // namespace qv_test

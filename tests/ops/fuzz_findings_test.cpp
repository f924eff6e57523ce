// Inputs the fuzzers found, kept as rows: what the library must do with them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "morvex-m.h"

namespace {

// Unwrap over a NaN or infinite sample (a dropout): the output there is not
// finite, the next sample starts a new signal as a NaN state does, and the
// record cut at any point (an empty first block included) gives one call.
TEST(UnwrapFindings, ADropoutRestartsTheSignalWhereverTheBlocksEnd) {
  const double inf = INFINITY, pi = 3.141592653589793;
  const struct {
    std::vector<double> in, want;
  } rows[] = {
      {{NAN, 0.0, 0.5, 7.0}, {NAN, 0.0, 0.5, 7.0 - 2 * pi}},
      {{1.0, NAN, 3.0, -3.0}, {1.0, NAN, 3.0, -3.0 + 2 * pi}},
      {{inf, 1.0, 2.0}, {inf, 1.0, 2.0}},
      {{1.0, -inf, 2.0, 2.5}, {1.0, NAN, 2.0, 2.5}},
  };
  for (const auto& [in, want] : rows) {
    const size_t n = in.size();
    std::vector<double> whole(n);
    double s = NAN;
    morvex_m_unwrap_f64(in.data(), whole.data(), n, &s);
    for (size_t i = 0; i < n; ++i)
      EXPECT_TRUE(std::isnan(want[i]) ? std::isnan(whole[i])
                                         : whole[i] == want[i] || std::abs(whole[i] - want[i]) < 1e-12) << i;
    for (size_t cut = 0; cut <= n; ++cut) {
      std::vector<double> split(n);
      double t = NAN;
      morvex_m_unwrap_f64(in.data(), split.data(), cut, &t);
      morvex_m_unwrap_f64(in.data() + cut, split.data() + cut, n - cut, &t);
      EXPECT_EQ(std::memcmp(split.data(), whole.data(), n * sizeof(double)), 0) << "cut at " << cut;
    }
  }
}

}  // namespace

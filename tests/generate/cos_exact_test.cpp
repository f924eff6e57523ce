// The generators' cosine: every kernel must give std::cos's value to the bit,
// for any argument (the processor kernels hand what they cannot decide to
// std::cos, so a wrong acceptance bound, table entry or reduction constant
// shows up here as a differing last bit), in place, at every tail length,
// and for the index ramps the windows and waveforms feed it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "generate/cos_exact.h"
#include "morvex-core.h"

namespace {

namespace cd = morvex::generate::cos_detail;
using morvex::generate::Ramp;
using morvex::test::Buffer;

struct Kernel {
  const char* name;
  void (*cos)(const double*, double*, std::size_t);
  void (*ramp)(Ramp, uint64_t, uint64_t, std::size_t, double, double, double*);
};

// The kernels this processor can run.
std::vector<Kernel> kernels() {
  std::vector<Kernel> k{{"plain", cd::cos_plain, cd::cos_ramp_plain}};
  if (morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()) k.push_back({"avx2", cd::cos_avx2, cd::cos_ramp_avx2});
  if (morvex_core_cpu_has_avx512f() && morvex_core_cpu_has_avx512cd())
    k.push_back({"avx512", cd::cos_avx512, cd::cos_ramp_avx512});
  return k;
}

// Index of the first element whose bits differ from std::cos of the argument.
size_t first_mismatch(const double* x, const double* got, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const double want = std::cos(x[i]);
    if (std::memcmp(&want, &got[i], sizeof want) != 0) return i;
  }
  return n;
}

void expect_libm(const Kernel& k, const std::vector<double>& x, const std::string& what) {
  Buffer<double> out(x.size(), 3);
  k.cos(x.data(), out.data(), x.size());
  const size_t bad = first_mismatch(x.data(), out.data(), x.size());
  EXPECT_EQ(bad, x.size()) << k.name << ", " << what << ": cos(" << std::hexfloat << x[bad] << ") gave "
                           << out[bad] << ", std::cos " << std::cos(x[bad]);
}

std::vector<double> uniform(double lo, double hi, size_t n, unsigned seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> d(lo, hi);
  std::vector<double> x(n);
  for (double& v : x) v = d(g);
  return x;
}

TEST(CosExact, RandomArgumentsOfEveryRange) {
  constexpr double kPi = 3.14159265358979323846;
  const struct {
    const char* what;
    double lo, hi;
  } ranges[] = {
      {"|x| < 1", -1.0, 1.0},
      {"the windows' range", 0.0, 8 * kPi},
      {"|x| < 1e4", -1e4, 1e4},
      {"up to the reduction limit", -0x1p24, 0x1p24},
      {"beyond it", 0x1p24, 0x1p40},
  };
  for (const Kernel& k : kernels())
    for (const auto& r : ranges) expect_libm(k, uniform(r.lo, r.hi, 1 << 19, 17), r.what);
}

// Arguments that stress one part each: cosines near zero (multiples of
// pi/2), the rounding of j (odd multiples of pi/256, where t is largest and
// j may go either way), table rows 0 and 255 and their neighbours, results
// of exactly 1 (tiny x), the acceptance limit, and non-finite values.
TEST(CosExact, HardAndSpecialArguments) {
  constexpr double kPi = 3.14159265358979323846;
  std::vector<double> x{0.0, -0.0, 0x1p-1074, 0x1p-30, 0x1p-27, 0x1p-26, -0x1p-26, 0x1p24, -0x1p24,
                        std::nextafter(0x1p24, 0.0), std::nextafter(0x1p24, 1e300), 1e300, -1e300,
                        std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                        std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN()};
  for (int m = -4096; m <= 4096; ++m) {
    const double half_step = double(2 * m + 1) * kPi / 256;
    const double quarter = double(m) * (kPi / 2);
    for (double v : {half_step, quarter, double(m) * kPi / 128})
      for (int u = -3; u <= 3; ++u) {
        double w = v;
        for (int s = 0; s < std::abs(u); ++s) w = std::nextafter(w, u < 0 ? -1e300 : 1e300);
        x.push_back(w);
      }
  }
  for (const Kernel& k : kernels()) expect_libm(k, x, "hard arguments");
}

TEST(CosExact, InPlaceAndEveryTailLength) {
  const std::vector<double> x = uniform(-30.0, 30.0, 64, 5);
  for (const Kernel& k : kernels())
    for (size_t n = 0; n <= x.size(); ++n)
      for (size_t offset : {0u, 1u, 5u}) {
        SCOPED_TRACE(std::string(k.name) + " n " + std::to_string(n) + " offset " + std::to_string(offset));
        Buffer<double> buf(n + 1, offset);
        std::copy(x.begin(), x.begin() + long(n), buf.data());
        const double guard = 12345.0;
        buf[n] = guard;
        k.cos(buf.data(), buf.data(), n);
        ASSERT_EQ(first_mismatch(x.data(), buf.data(), n), n);
        ASSERT_EQ(buf[n], guard);
      }
}

// The ramps against the scalar formula with std::cos: the windows' i * a / (N - 1)
// for many N and all four multiples, the waveform's i * w + phase term, from
// starting indices inside a record and with steps other than 1.
TEST(CosRamp, EqualsTheCosineOfTheScalarArgument) {
  constexpr double kPi = 3.14159265358979323846;
  for (const Kernel& k : kernels()) {
    std::vector<double> got, x;
    auto check = [&](Ramp r, uint64_t first, uint64_t step, size_t n, double mul, double other) {
      got.assign(n + 1, -7.0);
      x.resize(n);
      k.ramp(r, first, step, n, mul, other, got.data());
      for (size_t i = 0; i < n; ++i) {
        const double idx = double(first + i * step);
        x[i] = r == Ramp::kDivide ? idx * mul / other : idx * mul + other;
      }
      ASSERT_EQ(first_mismatch(x.data(), got.data(), n), n)
          << k.name << " first " << first << " step " << step << " n " << n << " mul " << mul << " other " << other;
      ASSERT_EQ(got[n], -7.0);
    };
    for (uint64_t n : {2u, 3u, 5u, 16u, 17u, 255u, 256u, 257u, 1000u, 4097u})
      for (double m : {2 * kPi, 4 * kPi, 6 * kPi, 8 * kPi}) check(Ramp::kDivide, 0, 1, n, m, double(n - 1));
    check(Ramp::kDivide, 0, 1, 1, 2 * kPi, 0.0);  // one element: 0 / 0
    check(Ramp::kDivide, 123457, 1, 3000, 6 * kPi, 1048575.0);
    check(Ramp::kDivide, 10, 7, 500, 8 * kPi, 9999.0);
    for (double period : {1000.0, 37.3, 2.0, 0.7})
      for (double phase : {0.0, 0.25, -0.6, 3.5})
        check(Ramp::kAdd, 0, 1, 2049, 2 * kPi / period, (phase + phase) * kPi);
    check(Ramp::kAdd, uint64_t(1) << 40, 1, 300, 2 * kPi / 1000.0, 0.1);  // beyond the reduction limit
    check(Ramp::kAdd, 99, 3, 77, 0.01, -2.0);
  }
}

}  // namespace

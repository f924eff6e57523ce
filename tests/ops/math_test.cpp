// Math functions: every export bit-exact against the C library function of
// the same precision, on ordinary values and on the edges (zeros of both
// signs, infinities, NaN, domain errors); the magnitude identical to
// cabsf/cabs element by element; abs in every kernel configuration.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

extern "C" {
float cabsf(__complex__ float) noexcept;
double cabs(__complex__ double) noexcept;
float cargf(__complex__ float) noexcept;
double carg(__complex__ double) noexcept;
}

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::fill_random;
using morvex::test::same_bits;

// Ordinary values of many magnitudes, values inside the usual domains
// ([-1, 1], around 1), and the edges.
template <class T>
std::vector<T> inputs() {
  std::vector<T> v(3000);
  fill_random(v.data(), 1000, 11);
  for (size_t i = 1000; i < 2000; ++i) v[i] = T(-1) + T(2) * T(i - 1000) / T(999);
  for (size_t i = 2000; i < 3000; ++i) v[i] = T(0.5) + T(i - 2000) / T(400);
  const T inf = std::numeric_limits<T>::infinity();
  for (T e : {T(0), T(-0.0), inf, -inf, std::numeric_limits<T>::quiet_NaN(), -std::numeric_limits<T>::quiet_NaN(),
              std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::max(), -std::numeric_limits<T>::max(),
              T(1), T(-1), T(2), T(-2), T(710), T(-710), T(89), T(1e30), T(-1e30)})
    v.push_back(e);
  return v;
}

template <class T>
struct Fn1 {
  const char* name;
  int32_t (*fn)(const T*, T*, uint64_t);
  T (*ref)(T);
};

#define MORVEX_FN1(NAME) \
  {#NAME, morvex_m_##NAME##_f32, [](float x) { return ::NAME##f(x); }}
#define MORVEX_FN1D(NAME) \
  {#NAME, morvex_m_##NAME##_f64, [](double x) { return ::NAME(x); }}

const std::vector<Fn1<float>> kFloat = {
    MORVEX_FN1(acos), MORVEX_FN1(acosh), MORVEX_FN1(asin), MORVEX_FN1(asinh), MORVEX_FN1(atan), MORVEX_FN1(atanh),
    MORVEX_FN1(cbrt), MORVEX_FN1(cos),   MORVEX_FN1(cosh), MORVEX_FN1(exp),   MORVEX_FN1(exp2), MORVEX_FN1(sin),
    MORVEX_FN1(sinh), MORVEX_FN1(sqrt),  MORVEX_FN1(tan),  MORVEX_FN1(tanh),
};
const std::vector<Fn1<double>> kDouble = {
    MORVEX_FN1D(acos), MORVEX_FN1D(acosh), MORVEX_FN1D(asin), MORVEX_FN1D(asinh), MORVEX_FN1D(atan),
    MORVEX_FN1D(atanh), MORVEX_FN1D(cbrt), MORVEX_FN1D(cos),  MORVEX_FN1D(cosh),  MORVEX_FN1D(exp),
    MORVEX_FN1D(exp2),  MORVEX_FN1D(sin),  MORVEX_FN1D(sinh), MORVEX_FN1D(sqrt),  MORVEX_FN1D(tan),
    MORVEX_FN1D(tanh),
};

template <class T>
void check_one_input(const std::vector<Fn1<T>>& fns) {
  const std::vector<T> in = inputs<T>();
  const size_t n = in.size();
  for (const auto& f : fns) {
    SCOPED_TRACE(f.name);
    std::vector<T> want(n), got(n);
    for (size_t i = 0; i < n; ++i) want[i] = f.ref(in[i]);
    ASSERT_EQ(f.fn(in.data(), got.data(), n), 0);
    EXPECT_TRUE(all_same_bits(got.data(), want.data(), n));
    // In place, and at every start within a vector (the grouped loops).
    for (size_t off = 1; off < 4; ++off) {
      std::vector<T> io(in.begin() + off, in.end());
      f.fn(io.data(), io.data(), io.size());
      EXPECT_TRUE(all_same_bits(io.data(), want.data() + off, io.size())) << "in place, offset " << off;
    }
  }
}

TEST(MathExports, OneInputF32MatchesTheCLibrary) { check_one_input(kFloat); }
TEST(MathExports, OneInputF64MatchesTheCLibrary) { check_one_input(kDouble); }

TEST(MathExports, TwoInputsAndSincosMatchTheCLibrary) {
  const std::vector<float> a = inputs<float>();
  std::vector<float> b(a.rbegin(), a.rend());
  const size_t n = a.size();
  std::vector<float> got(n), got2(n);
  morvex_m_atan2_f32(a.data(), b.data(), got.data(), n);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::atan2f(a[i], b[i]))) << i;
  morvex_m_hypot_f32(a.data(), b.data(), got.data(), n);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::hypotf(a[i], b[i]))) << i;
  morvex_m_sincos_f32(a.data(), got.data(), got2.data(), n);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::sinf(a[i])) && same_bits(got2[i], ::cosf(a[i])));

  const std::vector<double> x = inputs<double>();
  std::vector<double> y(x.rbegin(), x.rend()), r(x.size()), r2(x.size());
  morvex_m_atan2_f64(x.data(), y.data(), r.data(), x.size());
  for (size_t i = 0; i < x.size(); ++i) ASSERT_TRUE(same_bits(r[i], ::atan2(x[i], y[i]))) << i;
  morvex_m_hypot_f64(x.data(), y.data(), r.data(), x.size());
  for (size_t i = 0; i < x.size(); ++i) ASSERT_TRUE(same_bits(r[i], ::hypot(x[i], y[i]))) << i;
  morvex_m_sincos_f64(x.data(), r.data(), r2.data(), x.size());
  for (size_t i = 0; i < x.size(); ++i) ASSERT_TRUE(same_bits(r[i], ::sin(x[i])) && same_bits(r2[i], ::cos(x[i])));
}

TEST(MathExports, SincosStoresTheSineBeforeRereadingTheInput) {
  double v[3] = {0.5, 1.0, 2.0}, c[3];
  morvex_m_sincos_f64(v, v, c, 3);  // sine output is the input array
  EXPECT_EQ(c[1], std::cos(std::sin(1.0)));
  double w[2] = {0.5, 1.0};
  morvex_m_sincos_f64(w, w + 0, w + 0, 2);  // both outputs the same: cosines win
  EXPECT_EQ(w[0], std::cos(std::sin(0.5)));
}

TEST(MathExports, LogarithmsWithScale) {
  const std::vector<float> in = inputs<float>();
  const size_t n = in.size();
  std::vector<float> got(n);
  morvex_m_log_f32(in.data(), got.data(), n, 3.0f);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::logf(in[i]) * 3.0f)) << i;
  morvex_m_log2_f32(in.data(), got.data(), n, 0.1f);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::log2f(in[i]) * 0.1f)) << i;
  morvex_m_log10_f32(in.data(), got.data(), n, 20.0f);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::log10f(in[i]) * 20.0f)) << i;
  const float factor = 7.0f / ::logf(3.0f);  // formed once, in single precision
  morvex_m_logn_f32(in.data(), got.data(), n, 3.0f, 7.0f);
  for (size_t i = 0; i < n; ++i) ASSERT_TRUE(same_bits(got[i], ::logf(in[i]) * factor)) << i;

  double x[2] = {100.0, 0.0}, y[2];
  morvex_m_log10_f64(x, y, 2, 20.0);
  EXPECT_EQ(y[0], 40.0);
  EXPECT_EQ(y[1], -INFINITY);
  const double dfactor = 2.0 / ::log(10.0);
  std::vector<double> xs = inputs<double>(), ys(xs.size());
  morvex_m_logn_f64(xs.data(), ys.data(), xs.size(), 10.0, 2.0);
  for (size_t i = 0; i < xs.size(); ++i) ASSERT_TRUE(same_bits(ys[i], ::log(xs[i]) * dfactor)) << i;
  morvex_m_log_f64(xs.data(), ys.data(), xs.size(), -1.5);
  for (size_t i = 0; i < xs.size(); ++i) ASSERT_TRUE(same_bits(ys[i], ::log(xs[i]) * -1.5)) << i;
  morvex_m_log2_f64(xs.data(), ys.data(), xs.size(), 1.0);
  for (size_t i = 0; i < xs.size(); ++i) ASSERT_TRUE(same_bits(ys[i], ::log2(xs[i]))) << i;

  float eight = 8.0f, r;
  morvex_m_logn_f32(&eight, &r, 1, 2.0f, 1.0f);
  EXPECT_NEAR(r, 3.0f, 1e-6f);
  float two[2] = {2.0f, 1.0f}, rr[2];
  morvex_m_logn_f32(two, rr, 2, 1.0f, 1.0f);  // log(1) = 0: an infinite factor
  EXPECT_TRUE(std::isinf(rr[0]));
  EXPECT_TRUE(std::isnan(rr[1]));  // 0 * inf
}

TEST(MathExports, SqrtReportsDomainErrorsLikeTheLibrary) {
  float in[8] = {4.0f, -1.0f, 2.0f, 9.0f, -0.0f, 0.25f, 1e-40f, 16.0f}, out[8];
  errno = 0;
  morvex_m_sqrt_f32(in, out, 8);
  EXPECT_EQ(errno, EDOM);
  EXPECT_TRUE(std::isnan(out[1]));
  EXPECT_EQ(out[0], 2.0f);
  EXPECT_TRUE(same_bits(out[4], -0.0f));
  const double four[4] = {4.0, 1.0, 0.0, 2.0};
  double r[4];
  errno = 0;
  morvex_m_sqrt_f64(four, r, 4);
  EXPECT_EQ(errno, 0) << "no domain error for non-negative inputs";
  EXPECT_EQ(r[0], 2.0);
}

// Complex values whose parts cover the edges in every pairing, plus ordinary
// values of every magnitude (including ones whose squares leave the single
// range).
template <class T>
std::vector<T> complex_parts() {
  std::vector<T> edge = {T(0), T(-0.0), T(3), T(-4), std::numeric_limits<T>::infinity(),
                         -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN(),
                         std::numeric_limits<T>::max(), std::numeric_limits<T>::denorm_min(), T(1e-30)};
  std::vector<T> v;
  for (T a : edge)
    for (T b : edge) v.push_back(a), v.push_back(b);
  std::vector<T> r(20000);
  fill_random(r.data(), r.size(), 5, false);
  for (size_t i = 0; i < r.size(); ++i) r[i] = std::ldexp(r[i], int(i % 200) - 100);
  v.insert(v.end(), r.begin(), r.end());
  return v;
}

// Magnitudes that are exact ties between two floats (3k, 4k, 5k with 5k an
// odd integer in [2^24, 2^25), where floats are two apart) and their nearest
// neighbours: the rounding must be cabsf's, tie to even included.
std::vector<float> tie_parts() {
  std::vector<float> v;
  for (uint32_t k = 3355445; k < 5592405 && v.size() < 12000; k += 2 * 773) {
    for (int d : {0, 1, -1}) v.push_back(float(3 * k)), v.push_back(float(4 * k + 4 * d));
  }
  return v;
}

TEST(MathExports, MagnitudeAndPhaseIdenticalToTheComplexLibrary) {
  std::vector<float> p = complex_parts<float>();
  const std::vector<float> ties = tie_parts();
  p.insert(p.end(), ties.begin(), ties.end());
  morvex::test::for_each_kernel_config([&](const auto&) {
  const size_t n = p.size() / 2;
  for (size_t off = 0; off < 4; ++off) {
    const size_t m = n - off;
    std::vector<float> mag(m), arg(m);
    const auto* z = reinterpret_cast<const morvex_m_c32f32*>(p.data() + 2 * off);
    morvex_m_magnitude_c32f32(z, mag.data(), m);
    morvex_m_atan2_c32f32(z, arg.data(), m);
    for (size_t i = 0; i < m; ++i) {
      __complex__ float c;
      __real__ c = z[i].re;
      __imag__ c = z[i].im;
      ASSERT_TRUE(same_bits(mag[i], cabsf(c))) << z[i].re << ", " << z[i].im;
      ASSERT_TRUE(same_bits(arg[i], cargf(c))) << z[i].re << ", " << z[i].im;
    }
  }
  // In place: the magnitudes fill the first half of the complex array.
  std::vector<float> io(p.begin(), p.begin() + 2 * 1001);
  morvex_m_magnitude_c32f32(reinterpret_cast<const morvex_m_c32f32*>(io.data()), io.data(), 1001);
  for (size_t i = 0; i < 1001; ++i) {
    __complex__ float c;
    __real__ c = p[2 * i];
    __imag__ c = p[2 * i + 1];
    ASSERT_TRUE(same_bits(io[i], cabsf(c))) << i;
  }
  });

  const std::vector<double> q = complex_parts<double>();
  std::vector<double> dm(q.size() / 2), da(q.size() / 2);
  const auto* zd = reinterpret_cast<const morvex_m_c64f64*>(q.data());
  morvex_m_magnitude_c64f64(zd, dm.data(), dm.size());
  morvex_m_atan2_c64f64(zd, da.data(), da.size());
  for (size_t i = 0; i < dm.size(); ++i) {
    __complex__ double c;
    __real__ c = zd[i].re;
    __imag__ c = zd[i].im;
    ASSERT_TRUE(same_bits(dm[i], cabs(c)) && same_bits(da[i], carg(c))) << i;
  }
  morvex_m_c32f32 three_four{3.0f, 4.0f};
  float five;
  morvex_m_magnitude_c32f32(&three_four, &five, 1);
  EXPECT_EQ(five, 5.0f);
  morvex_m_c64f64 up{0.0, 1.0};
  double half_pi;
  morvex_m_atan2_c64f64(&up, &half_pi, 1);
  EXPECT_EQ(half_pi, M_PI / 2);
}

TEST(MathExports, ErfAndZeroCounts) {
  for (float x : {0.0f, -0.0f, 0.5f, -3.0f, 10.0f, INFINITY, NAN}) EXPECT_TRUE(same_bits(morvex_m_erf_f32(x), ::erff(x)));
  for (double x : {0.0, -0.0, 0.5, -3.0, 10.0, double(INFINITY)}) EXPECT_TRUE(same_bits(morvex_m_erf_f64(x), ::erf(x)));
  EXPECT_EQ(morvex_m_erf_f64(0.0), 0.0);
  EXPECT_EQ(morvex_m_sin_f32(nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_sqrt_f64(nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_logn_f32(nullptr, nullptr, 0, 2.0f, 1.0f), 0);
  EXPECT_EQ(morvex_m_magnitude_c32f32(nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_sincos_f64(nullptr, nullptr, nullptr, 0), 0);
}

// abs through its slot: the sign bit cleared and nothing else, in every
// configuration, out of place, in place and with shifted overlap.
template <class T>
void check_abs(int32_t (*fn)(const T*, T*, uint64_t)) {
  morvex::test::for_each_kernel_config([&](const auto&) {
    for (size_t n : {0, 1, 3, 7, 8, 31, 32, 33, 100, 4099})
      for (size_t off = 0; off < 4; ++off) {
        Buffer<T> in(n, off), out(n, (off + 1) % 4), want(n);
        fill_random(in.data(), n, unsigned(n + off));
        for (size_t i = 0; i < n; ++i) {
          want[i] = in[i];
          reinterpret_cast<unsigned char*>(&want[i])[sizeof(T) - 1] &= 0x7F;
        }
        ASSERT_EQ(fn(in.data(), out.data(), n), 0);
        ASSERT_TRUE(all_same_bits(out.data(), want.data(), n)) << "n=" << n;
        fn(in.data(), in.data(), n);
        ASSERT_TRUE(all_same_bits(in.data(), want.data(), n)) << "in place n=" << n;
      }
    // out = in + 1 reads each element after the previous step wrote it; the
    // element loop and the vector loop agree here only if the kernel honours
    // the overlap.
    std::vector<T> mem(101);
    fill_random(mem.data(), mem.size(), 3, false);
    std::vector<T> want = mem;
    for (size_t i = 0; i < 100; ++i) want[i + 1] = std::fabs(want[i]);
    fn(mem.data(), mem.data() + 1, 100);
    EXPECT_TRUE(all_same_bits(mem.data(), want.data(), 101));
  });
}

TEST(MathExports, AbsClearsOnlyTheSignBitInEveryConfiguration) {
  check_abs(morvex_m_abs_f32);
  check_abs(morvex_m_abs_f64);
  float m0 = -0.0f, r;
  morvex_m_abs_f32(&m0, &r, 1);
  EXPECT_TRUE(same_bits(r, 0.0f));
}

}  // namespace

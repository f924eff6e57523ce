// Windows: the normalisation constants, the f32 precision rules, symmetry,
// edge sizes, in-place use, coherent gain and thread-count independence.
// (The weights themselves are checked against scipy in test_windows.py.)
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "generate/window.h"
#include "generate_api.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::PinnedThreads;

template <class T>
using WindowFn = int32_t (*)(const T*, T*, uint64_t, int32_t);

constexpr double kAlpha = 2.5;
int32_t gaussian_f32(const float* in, float* out, uint64_t n, int32_t norm) {
  return morvex_m_window_gaussian_f32(in, out, n, norm, float(kAlpha));
}
int32_t gaussian_f64(const double* in, double* out, uint64_t n, int32_t norm) {
  return morvex_m_window_gaussian_f64(in, out, n, norm, kAlpha);
}

struct Window {
  const char* name;
  WindowFn<float> f32;
  WindowFn<double> f64;
  double (*scale)(uint64_t n);  // the documented normalisation factor, in double
  bool split;                   // spread over the task pool
  bool exact_mirror;            // weights built mirror-symmetric by construction
};

#define MORVEX_WINDOW(NAME) #NAME, morvex_m_window_##NAME##_f32, morvex_m_window_##NAME##_f64
const std::vector<Window>& windows() {
  static const std::vector<Window> all{
      {MORVEX_WINDOW(hanning), [](uint64_t) { return 2.0; }, true, false},
      {MORVEX_WINDOW(hamming), [](uint64_t) { return 1.8518518518518516; }, true, false},
      {MORVEX_WINDOW(blackman), [](uint64_t) { return 2.380952380952381; }, true, false},
      {MORVEX_WINDOW(blackmanharris), [](uint64_t) { return 2.787456445993031; }, true, false},
      {MORVEX_WINDOW(nuttall), [](uint64_t) { return 2.8108205347304986; }, true, false},
      {MORVEX_WINDOW(blackmannuttall), [](uint64_t) { return 2.7504119429487552; }, true, false},
      {MORVEX_WINDOW(flattop), [](uint64_t) { return 4.638671818375588; }, true, true},
      {MORVEX_WINDOW(bartlett), [](uint64_t n) { return double(n) / (0.5 * double(n) - 1.0); }, false, true},
      {MORVEX_WINDOW(welch), [](uint64_t) { return 1.5; }, false, true},
      {MORVEX_WINDOW(parzen), [](uint64_t) { return 2.6666666666666665; }, false, true},
      {"gaussian", gaussian_f32, gaussian_f64,
       [](uint64_t) { return std::sqrt(2.0) * kAlpha / (std::erf(kAlpha / std::sqrt(2.0)) * std::sqrt(M_PI)); },
       false, true},
  };
  return all;
}
#undef MORVEX_WINDOW

// The double weights: the f64 form applied to ones without normalisation.
std::vector<double> weights(const Window& w, uint64_t n) {
  std::vector<double> ones(n, 1.0), out(n);
  w.f64(ones.data(), out.data(), n, 0);
  return out;
}

const std::vector<uint64_t> kSizes{1, 2, 3, 4, 5, 6, 7, 8, 9, 33, 64, 1001, 4096};

TEST(WindowScale, NormalisedWeightsAreTheWeightsTimesTheStoredFactor) {
  // The f32 factors are the float roundings, e.g. of blackmanharris and flattop.
  EXPECT_EQ(float(2.787456445993031), 2.787456512451172);
  EXPECT_EQ(float(4.638671818375588), 4.638671875);
  for (const Window& w : windows())
    for (uint64_t n : {5u, 64u, 1001u}) {
      SCOPED_TRACE(std::string(w.name) + " N " + std::to_string(n));
      const auto plain = weights(w, n);
      std::vector<double> ones(n, 1.0), norm(n);
      w.f64(ones.data(), norm.data(), n, 7);  // any non-zero value normalises
      for (uint64_t i = 0; i < n; ++i) ASSERT_EQ(norm[i], plain[i] * w.scale(n)) << i;
    }
}

// f64: (w * s) * x. f32: the same in double from the widened float factor and
// sample, rounded once; the flat-top rounds w * s to float and multiplies in float.
TEST(WindowPrecision, BothTypesFollowTheDoubleWeights) {
  for (const Window& w : windows())
    for (uint64_t n : kSizes)
      for (int32_t norm : {0, 1}) {
        SCOPED_TRACE(std::string(w.name) + " N " + std::to_string(n) + " normalize " + std::to_string(norm));
        const auto wt = weights(w, n);
        const double s64 = norm ? w.scale(n) : 1.0, s32 = norm ? double(float(w.scale(n))) : 1.0;
        Buffer<double> x64(n), y64(n);
        Buffer<float> x32(n), y32(n), want32(n);
        morvex::test::fill_random(x64.data(), n, 11, false);
        morvex::test::fill_random(x32.data(), n, 12, false);
        w.f64(x64.data(), y64.data(), n, norm);
        w.f32(x32.data(), y32.data(), n, norm);
        for (uint64_t i = 0; i < n; ++i) {
          const double want64 = wt[i] * s64 * x64[i];
          ASSERT_TRUE(all_same_bits(&y64[i], &want64, 1)) << i;
          want32[i] = std::string(w.name) == "flattop" ? float(wt[i] * s32) * x32[i]
                                                        : float(wt[i] * s32 * double(x32[i]));
        }
        EXPECT_TRUE(all_same_bits(y32.data(), want32.data(), n));
      }
}

// The cosine-sum weights are the written formula with std::cos, to the bit,
// under every kernel configuration: a0 - a1 cos x + a2 cos 2x - ..., each
// multiple formed as i * (2 pi k) / (N - 1); Hanning as (1 - cos x) * 0.5.
TEST(WindowExact, CosineSumsAreTheFormulaWithStdCosUnderEveryKernel) {
  constexpr double kPi = 3.14159265358979323846;
  const struct {
    const char* name;
    WindowFn<double> f64;
    std::vector<double> a;  // empty: Hanning
  } sums[] = {
      {"hanning", morvex_m_window_hanning_f64, {}},
      {"hamming", morvex_m_window_hamming_f64, {0.54, 0.46}},
      {"blackman", morvex_m_window_blackman_f64, {0.42, 0.5, 0.08}},
      {"blackmanharris", morvex_m_window_blackmanharris_f64, {0.35875, 0.48829, 0.14128, 0.01168}},
      {"nuttall", morvex_m_window_nuttall_f64, {0.355768, 0.487396, 0.144232, 0.012604}},
      {"blackmannuttall", morvex_m_window_blackmannuttall_f64, {0.3635819, 0.4891775, 0.1365995, 0.0106411}},
      {"flattop", morvex_m_window_flattop_f64, {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}},
  };
  for (const auto& sum : sums)
    for (uint64_t n : {2u, 3u, 17u, 256u, 257u, 1001u, 4099u}) {
      SCOPED_TRACE(std::string(sum.name) + " N " + std::to_string(n));
      const double nm1 = double(n - 1);
      std::vector<double> want(n);
      for (uint64_t i = 0; i < n; ++i) {
        const double x = double(i);
        if (sum.a.empty()) {
          want[i] = (1.0 - std::cos(x * (2 * kPi) / nm1)) * 0.5;
          continue;
        }
        double w = sum.a[0] - sum.a[1] * std::cos(x * (2 * kPi) / nm1);
        if (sum.a.size() > 2) w = w + sum.a[2] * std::cos(x * (4 * kPi) / nm1);
        if (sum.a.size() > 3) w = w - sum.a[3] * std::cos(x * (6 * kPi) / nm1);
        if (sum.a.size() > 4) w = w + sum.a[4] * std::cos(x * (8 * kPi) / nm1);
        want[i] = w;
      }
      if (std::string(sum.name) == "flattop")  // the mirror gets the weight of its partner
        for (uint64_t i = 0; i < n / 2; ++i) want[n - 1 - i] = want[i];
      morvex::test::for_each_kernel_config([&](const morvex::test::KernelConfig&) {
        std::vector<double> ones(n, 1.0), got(n);
        sum.f64(ones.data(), got.data(), n, 0);
        EXPECT_TRUE(all_same_bits(got.data(), want.data(), n));
      });
    }
}

TEST(WindowEdges, EmptyWritesNothingAndOneElementDividesZeroByZero) {
  for (const Window& w : windows()) {
    SCOPED_TRACE(w.name);
    double in64[2] = {3.0, 3.0}, out64[2] = {-7.0, -7.0};
    float in32[2] = {3.0f, 3.0f}, out32[2] = {-7.0f, -7.0f};
    EXPECT_EQ(w.f64(in64, out64, 0, 1), 0);
    EXPECT_EQ(w.f32(in32, out32, 0, 1), 0);
    EXPECT_EQ(out64[0], -7.0);
    EXPECT_EQ(out32[0], -7.0f);
    EXPECT_EQ(w.f64(in64, out64, 1, 0), 0);
    EXPECT_EQ(w.f32(in32, out32, 1, 0), 0);
    if (std::string(w.name) == "parzen") {  // its middle weight is 1 - 0
      EXPECT_EQ(out64[0], 3.0);
      EXPECT_EQ(out32[0], 3.0f);
    } else {
      EXPECT_TRUE(std::isnan(out64[0]));
      EXPECT_TRUE(std::isnan(out32[0]));
    }
    EXPECT_EQ(out64[1], -7.0);
  }
}

TEST(WindowEdges, HanningOfFive) {
  const auto w = weights(windows()[0], 5);
  const double want[] = {0.0, 0.5, 1.0, 0.5, 0.0};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(w[i], want[i], 1e-15) << i;
}

TEST(WindowShape, MirrorSymmetricToTheBit) {
  for (const Window& w : windows()) {
    if (!w.exact_mirror) continue;
    for (uint64_t n = 2; n <= 41; ++n) {
      const auto wt = weights(w, n);
      std::vector<float> ones(n, 1.0f), w32(n);
      w.f32(ones.data(), w32.data(), n, 0);
      for (uint64_t i = 0; i < n / 2; ++i) {
        ASSERT_EQ(wt[i], wt[n - 1 - i]) << w.name << " N " << n << " i " << i;
        ASSERT_EQ(w32[i], w32[n - 1 - i]) << w.name << " f32 N " << n << " i " << i;
      }
      // The ends and the middle lie where the shape says.
      if (std::string(w.name) != "gaussian" && n >= 7) {
        EXPECT_LT(wt[0], 0.01) << w.name << " N " << n;
      }
      if (n % 2) {
        EXPECT_GT(wt[n / 2], 0.99) << w.name << " N " << n;
      }
    }
  }
}

// Normalised, every window gives a constant its own value on average.
TEST(WindowShape, NormalisedCoherentGainIsOne) {
  for (const Window& w : windows())
    for (uint64_t n : {100000u, 100001u}) {
      std::vector<double> ones(n, 1.0), out(n);
      w.f64(ones.data(), out.data(), n, 1);
      double sum = 0;
      for (double v : out) sum += v;
      EXPECT_NEAR(sum / double(n), 1.0, 1e-3) << w.name << " N " << n;
    }
}

template <class T>
void expect_in_place_matches(const Window& w, WindowFn<T> fn) {
  for (uint64_t n : kSizes)
    for (size_t offset : {0u, 1u, 3u})
      for (int32_t norm : {0, 1}) {
        Buffer<T> in(n, offset), out(n, offset), inplace(n, offset);
        morvex::test::fill_random(in.data(), n, uint32_t(n + offset), false);
        std::copy(in.begin(), in.end(), inplace.begin());
        fn(in.data(), out.data(), n, norm);
        fn(inplace.data(), inplace.data(), n, norm);
        ASSERT_TRUE(all_same_bits(out.data(), inplace.data(), n))
            << w.name << " N " << n << " offset " << offset << " normalize " << norm;
      }
}

TEST(WindowInPlace, SameAsSeparateArrays) {
  for (const Window& w : windows()) {
    expect_in_place_matches<float>(w, w.f32);
    expect_in_place_matches<double>(w, w.f64);
  }
}

TEST(WindowSplit, SameResultForEveryThreadCount) {
  for (const Window& w : windows()) {
    if (!w.split) continue;
    for (uint64_t n : {2u, 3u, 5u, 4099u, 65537u}) {
      Buffer<double> in(n), ref64(n), got64(n);
      Buffer<float> in32(n), ref32(n), got32(n);
      morvex::test::fill_random(in.data(), n, 5, false);
      morvex::test::fill_random(in32.data(), n, 6, false);
      {
        PinnedThreads one(1);
        w.f64(in.data(), ref64.data(), n, 1);
        w.f32(in32.data(), ref32.data(), n, 1);
      }
      for (unsigned h : morvex::test::thread_counts()) {
        PinnedThreads pin(h);
        w.f64(in.data(), got64.data(), n, 1);
        w.f32(in32.data(), got32.data(), n, 1);
        EXPECT_TRUE(all_same_bits(ref64.data(), got64.data(), n)) << w.name << " N " << n << " h " << h;
        EXPECT_TRUE(all_same_bits(ref32.data(), got32.data(), n)) << w.name << " f32 N " << n << " h " << h;
      }
    }
  }
}

TEST(WindowFlattopWalk, RefusesAZeroStepAndHonoursOthers) {
  const uint64_t n = 21;
  std::vector<double> in(n, 1.0), out(n, -1.0), whole(n);
  try {
    morvex::generate::flattop_walk(in.data(), out.data(), n, false, 0, n / 2, 0);
    ADD_FAILURE() << "a step of 0 was accepted";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(), "Invalid step");
  }
  EXPECT_EQ(out, std::vector<double>(n, -1.0)) << "nothing may be written before the refusal";

  morvex_m_window_flattop_f64(in.data(), whole.data(), n, 0);
  morvex::generate::flattop_walk(in.data(), out.data(), n, false, 0, n / 2, 3);
  for (uint64_t i = 0; i < n; ++i) {
    const uint64_t k = std::min(i, n - 1 - i);
    EXPECT_EQ(out[i], (k % 3 == 0 && k < n / 2) ? whole[i] : -1.0) << i;
  }
}

}  // namespace

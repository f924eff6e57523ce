// SPDX-License-Identifier: MIT
// Windows: the weights of the cosine sums as their formula with std::cos for
// every thread count, normalisation by the inverse of the window's mean (1 / a0
// for a cosine sum), the f32 precision rules, mirror symmetry, edge sizes, in place. (The weights of every window are checked
// against scipy by the Python oracles.)
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "frame/split.h"
#include "generate/window.h"
#include "morvex-m.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
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
  const char* name; WindowFn<float> f32; WindowFn<double> f64;
  std::vector<double> a;        // cosine-sum coefficients (empty: another shape)
  double (*factor)(uint64_t n);  // the normalisation: the inverse of the window's mean
  bool split;                   // spread over the task pool
};

#define MORVEX_WINDOW(NAME) #NAME, morvex_m_window_##NAME##_f32, morvex_m_window_##NAME##_f64
const std::vector<Window>& windows() {
  static const std::vector<Window> all{
      {MORVEX_WINDOW(hanning), {0.5, 0.5}, [](uint64_t) { return 1 / 0.5; }, true},
      {MORVEX_WINDOW(hamming), {0.54, 0.46}, [](uint64_t) { return 1 / 0.54; }, true},
      {MORVEX_WINDOW(blackman), {0.42, 0.5, 0.08}, [](uint64_t) { return 1 / 0.42; }, true},
      {MORVEX_WINDOW(blackmanharris), {0.35875, 0.48829, 0.14128, 0.01168}, [](uint64_t) { return 1 / 0.35875; }, true},
      {MORVEX_WINDOW(nuttall), {0.355768, 0.487396, 0.144232, 0.012604}, [](uint64_t) { return 1 / 0.355768; }, true},
      {MORVEX_WINDOW(blackmannuttall), {0.3635819, 0.4891775, 0.1365995, 0.0106411}, [](uint64_t) { return 1 / 0.3635819; }, true},
      {MORVEX_WINDOW(flattop), {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368},
       [](uint64_t) { return 1 / 0.21557895; }, true},
      {MORVEX_WINDOW(bartlett), {}, [](uint64_t n) { return double(n) / (0.5 * double(n) - 1.0); }, false},
      {MORVEX_WINDOW(welch), {}, [](uint64_t) { return 1 / (2.0 / 3); }, false},
      {MORVEX_WINDOW(parzen), {}, [](uint64_t) { return 1 / (3.0 / 8); }, false},
      {"gaussian", gaussian_f32, gaussian_f64,
       {}, [](uint64_t) { return std::sqrt(2.0) * kAlpha / (std::erf(kAlpha / std::sqrt(2.0)) * std::sqrt(M_PI)); }, false},
  };
  return all;
}
#undef MORVEX_WINDOW

// The double weights: the f64 form applied to ones without normalisation.
std::vector<double> weights(const Window& w, uint64_t n) {
  std::vector<double> ones(n, 1.0), out(n); w.f64(ones.data(), out.data(), n, 0);
  return out;
}

// a0 - a1 cos x + a2 cos 2x - ..., each multiple formed as i * (2 pi k) / (N - 1);
// Hanning as (1 - cos x) * 0.5; the flat-top's mirror half copies its partner.
TEST(Window, CosineSumsAreTheirFormulaWithStdCos) {
  for (const Window& w : windows())
    for (uint64_t n : {2u, 3u, 17u, 256u, 257u, 1001u, 4099u}) {
      if (w.a.empty()) continue;
      std::vector<double> want(n);
      for (uint64_t i = 0; i < n; ++i) {
        auto c = [&](int k) { return std::cos(double(i) * (2 * k * M_PI) / double(n - 1)); };
        if (w.a[0] == 0.5) {
          want[i] = (1.0 - c(1)) * 0.5; continue;
        }
        double v = w.a[0] - w.a[1] * c(1);
        for (size_t k = 2; k < w.a.size(); ++k) v = k % 2 ? v - w.a[k] * c(int(k)) : v + w.a[k] * c(int(k));
        want[i] = v;
      }
      if (std::string(w.name) == "flattop")
        for (uint64_t i = 0; i < n / 2; ++i) want[n - 1 - i] = want[i];
      for (unsigned h : {1u, 3u, 16u}) {  // the same weights however the pool splits the range
        morvex::frame::set_split_thread_count(h);
        EXPECT_TRUE(all_same_bits(weights(w, n).data(), want.data(), n)) << w.name << " N " << n << ", " << h << " threads";
      }
      morvex::frame::set_split_thread_count(0);
    }
}

// f64: (w * s) * x. f32: the same in double from the widened float factor and
// sample, rounded once; the flat-top rounds w * s to float and multiplies in float.
TEST(Window, NormalisationAndPrecisionOfBothTypes) {
  for (const Window& w : windows())
    for (uint64_t n : {1u, 2u, 3u, 4u, 5u, 8u, 9u, 33u, 64u, 1001u})
      for (int32_t norm : {0, 7}) {  // any non-zero value normalises
        SCOPED_TRACE(std::string(w.name) + " N " + std::to_string(n) + " normalize " + std::to_string(norm));
        const auto wt = weights(w, n);
        const double s64 = norm ? w.factor(n) : 1.0, s32 = norm ? double(float(w.factor(n))) : 1.0;
        Buffer<double> x64(n), y64(n), want64(n); Buffer<float> x32(n), y32(n), want32(n);
        morvex::test::fill_random(x64.data(), n, 11, false); morvex::test::fill_random(x32.data(), n, 12, false);
        EXPECT_EQ(w.f64(x64.data(), y64.data(), n, norm) | w.f32(x32.data(), y32.data(), n, norm), 0);
        for (uint64_t i = 0; i < n; ++i) {
          want64[i] = wt[i] * s64 * x64[i];
          want32[i] = std::string(w.name) == "flattop" ? float(wt[i] * s32) * x32[i] : float(wt[i] * s32 * double(x32[i]));
        }
        EXPECT_TRUE(all_same_bits(y64.data(), want64.data(), n));
        EXPECT_TRUE(all_same_bits(y32.data(), want32.data(), n));
        w.f32(x32.data(), x32.data(), n, norm);  // in place
        EXPECT_TRUE(all_same_bits(x32.data(), want32.data(), n));
      }
}

TEST(Window, EdgesAndMirrorSymmetry) {
  for (const Window& w : windows()) {
    SCOPED_TRACE(w.name);
    double in64[2] = {3.0, 3.0}, out64[2] = {-7.0, -7.0};
    float in32[2] = {3.0f, 3.0f}, out32[2] = {-7.0f, -7.0f};
    EXPECT_EQ(w.f64(in64, out64, 0, 1) | w.f32(in32, out32, 0, 1), 0);
    EXPECT_TRUE(out64[0] == -7.0 && out32[0] == -7.0f) << "empty: nothing written";
    w.f64(in64, out64, 1, 0), w.f32(in32, out32, 1, 0);
    if (std::string(w.name) == "parzen") {  // its middle weight is 1 - 0; everyone else divides 0 by 0
      EXPECT_TRUE(out64[0] == 3.0 && out32[0] == 3.0f);
    } else {
      EXPECT_TRUE(std::isnan(out64[0]) && std::isnan(out32[0]));
    }
    EXPECT_EQ(out64[1], -7.0);
    if (w.split && std::string(w.name) != "flattop") continue;  // mirror-symmetric by construction: the others
    for (uint64_t n = 2; n <= 41; ++n) {
      const auto wt = weights(w, n); std::vector<float> ones(n, 1.0f), w32(n); w.f32(ones.data(), w32.data(), n, 0);
      for (uint64_t i = 0; i < n / 2; ++i) ASSERT_TRUE(wt[i] == wt[n - 1 - i] && w32[i] == w32[n - 1 - i]) << n << " " << i;
    }
  }
}

TEST(WindowFlattopWalk, RefusesAZeroStepAndHonoursOthers) {
  const uint64_t n = 21; std::vector<double> in(n, 1.0), out(n, -1.0), whole(n);
  EXPECT_THROW(morvex::generate::flattop_walk(in.data(), out.data(), n, false, 0, n / 2, 0), std::invalid_argument);
  EXPECT_EQ(out, std::vector<double>(n, -1.0)) << "nothing may be written before the refusal";
  morvex_m_window_flattop_f64(in.data(), whole.data(), n, 0);
  morvex::generate::flattop_walk(in.data(), out.data(), n, false, 0, n / 2, 3);
  for (uint64_t i = 0; i < n; ++i) {
    const uint64_t k = std::min(i, n - 1 - i);
    EXPECT_EQ(out[i], (k % 3 == 0 && k < n / 2) ? whole[i] : -1.0) << i;
  }
}

}  // namespace

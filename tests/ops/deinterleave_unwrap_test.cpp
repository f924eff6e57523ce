// Deinterleave: every kernel against the plain frame loop for 2..4 channels,
// the exports in every kernel configuration with incomplete last frames and
// totals of 0 and below, 5 and 6 channels, the generic form. Unwrap: block
// splits, the NaN-state rule, differences of exactly plus and minus pi.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-core.h"
#include "morvex-m.h"
#include "ops/elements.h"
#include "ops/kernels.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::fill_random;
namespace ops = morvex::ops;

template <class T>
using Frames = void (*)(const T*, uint64_t, T* const*);

// One kernel against the reference loop over frame counts that cover every
// block tail, with destinations at odd offsets and guard elements after them.
template <class T>
void check_frames(unsigned channels, Frames<T> kernel) {
  for (uint64_t frames = 0; frames <= 150; ++frames) {
    const size_t off = frames % 5;
    Buffer<T> src(frames * channels + 1, off);
    fill_random(src.data(), src.size(), unsigned(frames));
    std::vector<Buffer<T>> got, want;
    std::vector<T*> gp, wp;
    for (unsigned k = 0; k < channels; ++k) {
      got.emplace_back(frames + 1, (k + off) % 3);
      want.emplace_back(frames + 1);
      got.back()[frames] = want.back()[frames] = T(0x5A);
    }
    for (unsigned k = 0; k < channels; ++k) gp.push_back(got[k].data()), wp.push_back(want[k].data());
    ops::deinterleave_frames(src.data(), 0, frames, channels, wp.data());
    kernel(src.data(), frames, gp.data());
    for (unsigned k = 0; k < channels; ++k)
      ASSERT_TRUE(all_same_bits(got[k].data(), want[k].data(), frames + 1)) << "channel " << k << " frames " << frames;
  }
}

TEST(DeinterleaveKernels, VariantsMatchThePlainLoop) {
  if (morvex_core_cpu_has_sse42()) {
    check_frames<uint8_t>(2, ops::deinterleave2_u8_sse42);
    check_frames<uint8_t>(3, ops::deinterleave3_u8_sse42);
    check_frames<uint8_t>(4, ops::deinterleave4_u8_sse42);
    check_frames<uint16_t>(2, ops::deinterleave2_u16_sse42);
    check_frames<uint16_t>(3, ops::deinterleave3_u16_sse42);
    check_frames<uint16_t>(4, ops::deinterleave4_u16_sse42);
  }
  if (morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()) check_frames<uint8_t>(2, ops::deinterleave2_u8_avx2);
}

// Records beyond the caches take the streaming-store path when both channel
// destinations share their alignment, and the ordinary path when they do not.
template <class T>
void check_large(Frames<T> kernel) {
  const uint64_t frames = (uint64_t(8) << 20) / (2 * sizeof(T)) + 21;
  Buffer<T> src(2 * frames, 1);
  fill_random(src.data(), src.size(), 3);
  for (size_t off1 : {3, 4}) {
    Buffer<T> a(frames, 3), b(frames, off1);
    T* const d[] = {a.data(), b.data()};
    kernel(src.data(), frames, d);
    size_t bad = 0;
    for (uint64_t f = 0; f < frames; ++f) bad += a[f] != src[2 * f] || b[f] != src[2 * f + 1];
    EXPECT_EQ(bad, 0u) << "second channel offset " << off1;
  }
}

TEST(DeinterleaveKernels, LargeRecordsKeepTheirValues) {
  if (morvex_core_cpu_has_sse42()) {
    check_large<uint8_t>(ops::deinterleave2_u8_sse42);
    check_large<uint16_t>(ops::deinterleave2_u16_sse42);
  }
  if (morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()) check_large<uint8_t>(ops::deinterleave2_u8_avx2);
}

// The N-channel export from the definition: q = total / N frames, then the
// first r channels get one more sample each.
template <class T, class Fn>
void check_export(unsigned channels, Fn call) {
  morvex::test::for_each_kernel_config([&](const auto&) {
    for (int32_t total : {-5, -1, 0, 1, 2, 5, 6, 7, 31, 32, 33, 95, 96, 97, 200, 1001}) {
      std::vector<T> src(total > 0 ? size_t(total) : 1);
      fill_random(src.data(), src.size(), unsigned(total + 50));
      const size_t cap = size_t(std::max(total, 0)) / channels + 2;
      std::vector<std::vector<T>> dst(channels, std::vector<T>(cap, T(0xEE)));
      std::vector<T*> p;
      for (auto& d : dst) p.push_back(d.data());
      ASSERT_EQ(call(src.data(), total, p.data()), 0);
      for (unsigned k = 0; k < channels; ++k) {
        size_t count = 0;
        for (int32_t i = int32_t(k); i < total; i += int32_t(channels)) {
          ASSERT_EQ(dst[k][count], src[size_t(i)]) << "total " << total << " channel " << k << " sample " << count;
          ++count;
        }
        for (size_t j = count; j < cap; ++j) ASSERT_EQ(dst[k][j], T(0xEE)) << "written past the end, total " << total;
      }
    }
  });
}

TEST(DeinterleaveExports, AllChannelCountsWithIncompleteFrames) {
  check_export<uint8_t>(2, [](const uint8_t* s, int32_t t, uint8_t** d) { return morvex_m_deinterleave2_u8(s, t, d[0], d[1]); });
  check_export<uint8_t>(3, [](const uint8_t* s, int32_t t, uint8_t** d) { return morvex_m_deinterleave3_u8(s, t, d[0], d[1], d[2]); });
  check_export<uint8_t>(4, [](const uint8_t* s, int32_t t, uint8_t** d) {
    return morvex_m_deinterleave4_u8(s, t, d[0], d[1], d[2], d[3]);
  });
  check_export<uint8_t>(5, [](const uint8_t* s, int32_t t, uint8_t** d) {
    return morvex_m_deinterleave5_u8(s, t, d[0], d[1], d[2], d[3], d[4]);
  });
  check_export<uint8_t>(6, [](const uint8_t* s, int32_t t, uint8_t** d) {
    return morvex_m_deinterleave6_u8(s, t, d[0], d[1], d[2], d[3], d[4], d[5]);
  });
  check_export<uint16_t>(2, [](const uint16_t* s, int32_t t, uint16_t** d) { return morvex_m_deinterleave2_u16(s, t, d[0], d[1]); });
  check_export<uint16_t>(3, [](const uint16_t* s, int32_t t, uint16_t** d) {
    return morvex_m_deinterleave3_u16(s, t, d[0], d[1], d[2]);
  });
  check_export<uint16_t>(4, [](const uint16_t* s, int32_t t, uint16_t** d) {
    return morvex_m_deinterleave4_u16(s, t, d[0], d[1], d[2], d[3]);
  });
  check_export<uint16_t>(5, [](const uint16_t* s, int32_t t, uint16_t** d) {
    return morvex_m_deinterleave5_u16(s, t, d[0], d[1], d[2], d[3], d[4]);
  });
  check_export<uint16_t>(6, [](const uint16_t* s, int32_t t, uint16_t** d) {
    return morvex_m_deinterleave6_u16(s, t, d[0], d[1], d[2], d[3], d[4], d[5]);
  });
  const uint8_t seven[7] = {0, 1, 2, 3, 4, 5, 6};
  uint8_t a[3] = {9, 9, 9}, b[3] = {9, 9, 9}, c[3] = {9, 9, 9};
  morvex_m_deinterleave3_u8(seven, 7, a, b, c);
  EXPECT_EQ(std::vector<uint8_t>(a, a + 3), (std::vector<uint8_t>{0, 3, 6}));
  EXPECT_EQ(std::vector<uint8_t>(b, b + 3), (std::vector<uint8_t>{1, 4, 9}));
  EXPECT_EQ(std::vector<uint8_t>(c, c + 3), (std::vector<uint8_t>{2, 5, 9}));
}

TEST(DeinterleaveExports, GenericFormTakesOneChannelOfAnySampleSize) {
  std::vector<uint8_t> src(4 * 2 * 10);
  for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i);
  std::vector<uint8_t> dst(40, 0xEE);
  // Channel 2 of 4 channels of 2-byte samples: bytes 4-5, 12-13, 20-21, ...
  EXPECT_EQ(morvex_m_deinterleave(src.data(), 2, 4, 10, 2, dst.data()), 0);
  for (size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(dst[2 * i], 8 * i + 4);
    EXPECT_EQ(dst[2 * i + 1], 8 * i + 5);
  }
  EXPECT_EQ(dst[20], 0xEE);
  // One channel: one block copy of count * size bytes.
  std::fill(dst.begin(), dst.end(), 0xEE);
  morvex_m_deinterleave(src.data(), 0, 1, 13, 3, dst.data());
  EXPECT_TRUE(std::equal(dst.begin(), dst.begin() + 39, src.begin()));
  EXPECT_EQ(dst[39], 0xEE);
  // Every size, odd ones included, against the definition.
  for (uint64_t size : {1, 3, 4, 5, 8, 12}) {
    const uint64_t channels = 3, channel = 1;
    const int64_t count = 7;
    std::vector<uint8_t> s(channels * size * count), d(size * count + 1, 0xEE);
    for (size_t i = 0; i < s.size(); ++i) s[i] = uint8_t(i * 7 + 1);
    morvex_m_deinterleave(s.data(), channel, channels, count, size, d.data());
    for (int64_t i = 0; i < count; ++i)
      for (uint64_t b = 0; b < size; ++b) ASSERT_EQ(d[i * size + b], s[(i * channels + channel) * size + b]) << size;
    EXPECT_EQ(d.back(), 0xEE);
  }
  // A count of 0 or below copies nothing.
  std::fill(dst.begin(), dst.end(), 0xEE);
  morvex_m_deinterleave(src.data(), 0, 1, -3, 2, dst.data());
  morvex_m_deinterleave(src.data(), 1, 2, 0, 2, dst.data());
  EXPECT_EQ(dst[0], 0xEE);
}

// ------------------------------------------------------------------ unwrap

template <class T>
std::vector<T> phase_record(size_t n, unsigned seed) {
  // A wrapped phase ramp with noise and a few large jumps.
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 0.3);
  std::vector<T> v(n);
  double p = 0.0;
  for (size_t i = 0; i < n; ++i) {
    p += 0.7 + noise(rng) + (i % 97 == 0 ? 9.0 : 0.0);
    v[i] = T(std::remainder(p, 2 * M_PI));
  }
  return v;
}

template <class T>
void check_block_split(int32_t (*fn)(const T*, T*, uint64_t, T*)) {
  const std::vector<T> in = phase_record<T>(5000, 1);
  std::vector<T> whole(in.size());
  T s = NAN;
  fn(in.data(), whole.data(), in.size(), &s);
  EXPECT_TRUE(morvex::test::same_bits(s, whole.back()));
  // Steps of the output never exceed pi.
  for (size_t i = 1; i < whole.size(); ++i) ASSERT_LE(std::fabs(double(whole[i]) - double(whole[i - 1])), M_PI + 1e-6);
  std::mt19937 rng(2);
  for (int trial = 0; trial < 20; ++trial) {
    std::vector<T> parts(in.size());
    T st = NAN;
    size_t i = 0;
    while (i < in.size()) {
      const size_t len = std::min(in.size() - i, size_t(rng() % 300));
      fn(in.data() + i, parts.data() + i, len, &st);
      // A call of 0 with a NaN state still starts the signal at in[i].
      if (len == 0 && i == 0) i = 1;
      i += len;
    }
    ASSERT_TRUE(all_same_bits(parts.data(), whole.data(), in.size())) << "trial " << trial;
  }
  // In place gives the same.
  std::vector<T> io = in;
  T st = NAN;
  fn(io.data(), io.data(), io.size(), &st);
  EXPECT_TRUE(all_same_bits(io.data(), whole.data(), io.size()));
}

TEST(Unwrap, BlockSplitsGiveWhatOneCallGives) {
  check_block_split(morvex_m_unwrap_f32);
  check_block_split(morvex_m_unwrap_f64);
}

TEST(Unwrap, NanStateAndWorkedValues) {
  const double in[2] = {3.0, -3.0};
  double out[2], s = NAN;
  morvex_m_unwrap_f64(in, out, 2, &s);
  EXPECT_EQ(out[0], 3.0);
  EXPECT_NEAR(out[1], 3.0 + (2 * M_PI - 6.0), 1e-12);
  EXPECT_EQ(s, out[1]);
  // Count 0 with a NaN state still reads in[0] and writes out[0].
  float x = 1.25f, y = 0.0f, fs = NAN;
  morvex_m_unwrap_f32(&x, &y, 0, &fs);
  EXPECT_EQ(y, 1.25f);
  EXPECT_EQ(fs, 1.25f);
  // Count 0 with a state leaves everything alone.
  y = 7.0f;
  fs = 2.0f;
  morvex_m_unwrap_f32(&x, &y, 0, &fs);
  EXPECT_EQ(y, 7.0f);
  EXPECT_EQ(fs, 2.0f);
  // The difference is taken against the previous output, not input.
  const double jumps[3] = {0.0, 6.0, 12.0};
  double u[3], us = NAN;
  morvex_m_unwrap_f64(jumps, u, 3, &us);
  EXPECT_NEAR(u[1], 6.0 - 2 * M_PI, 1e-12);
  EXPECT_NEAR(u[2], 12.0 - 4 * M_PI, 1e-12);
}

TEST(Unwrap, DifferencesOfExactlyPlusAndMinusPi) {
  const double pi = 3.141592653589793;
  double s = 0.0;
  const double up = pi, down = -pi;
  double out;
  morvex_m_unwrap_f64(&up, &out, 1, &s);
  EXPECT_EQ(out, pi) << "a step of exactly +pi stays +pi";
  s = 0.0;
  morvex_m_unwrap_f64(&down, &out, 1, &s);
  EXPECT_EQ(out, -pi) << "a step of exactly -pi stays -pi";
  // Clearly above pi wraps.
  const double over = pi + 1e-9;
  s = 0.0;
  morvex_m_unwrap_f64(&over, &out, 1, &s);
  EXPECT_LT(out, 0.0);
  // f32: the difference is formed in single precision, then wrapped in double.
  const float fpi = float(pi);  // above pi: the difference wraps
  float fs = 0.0f, fo;
  morvex_m_unwrap_f32(&fpi, &fo, 1, &fs);
  EXPECT_EQ(fo, float((std::fmod(double(fpi) + pi, 2 * pi) - pi - double(fpi)) + double(fpi)));
}

}  // namespace

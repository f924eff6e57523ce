// Bit and shift operations, clipping and fill: the shr_clip kernels against
// the plain kernel for every shift and both orders of low and high; the
// order rules of clip and shr_clip; shifts at and beyond the element width;
// the bit-mask search with positions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-core.h"
#include "morvex-m.h"
#include "ops/kernels.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::fill_random;
namespace ops = morvex::ops;

template <class T>
using ShrClip = void (*)(const T*, T*, uint64_t, uint8_t, T, T);

template <class T>
void check_shr_clip_variants(ShrClip<T> plain, ShrClip<T> sse42, ShrClip<T> avx2) {
  struct V {
    const char* name;
    ShrClip<T> fn;
    bool here;
  } vs[] = {{"sse4.2", sse42, morvex_core_cpu_has_sse42() != 0},
            {"avx2", avx2, morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()}};
  const T top = std::numeric_limits<T>::max();
  const T bounds[][2] = {{0, top}, {10, 100}, {100, 10}, {5, 5}, {T(top - 1), top}, {0, 0}};
  for (unsigned shift = 0; shift < 32; ++shift)
    for (const auto& b : bounds)
      for (size_t n : {0, 1, 15, 16, 17, 31, 32, 33, 64, 65, 100, 1000}) {
        const size_t off = (shift + n) % 7;
        Buffer<T> in(n, off), want(n), got(n, (off + 1) % 5);
        fill_random(in.data(), n, unsigned(shift * 1000 + n));
        plain(in.data(), want.data(), n, uint8_t(shift), b[0], b[1]);
        for (const V& v : vs) {
          if (!v.here) continue;
          v.fn(in.data(), got.data(), n, uint8_t(shift), b[0], b[1]);
          ASSERT_TRUE(all_same_bits(got.data(), want.data(), n))
              << v.name << " shift=" << shift << " low=" << +b[0] << " high=" << +b[1] << " n=" << n;
        }
      }
  // In place and with the output one element above the input.
  for (const V& v : vs) {
    if (!v.here) continue;
    std::vector<T> a(200), b;
    fill_random(a.data(), a.size(), 17);
    b = a;
    std::vector<T> c = a, d = a;
    plain(a.data(), a.data() + 1, 199, 1, 3, 90);
    v.fn(b.data(), b.data() + 1, 199, 1, 3, 90);
    EXPECT_TRUE(all_same_bits(a.data(), b.data(), 200)) << v.name << " shifted overlap";
    plain(c.data(), c.data(), 200, 2, 0, 50);
    v.fn(d.data(), d.data(), 200, 2, 0, 50);
    EXPECT_TRUE(all_same_bits(c.data(), d.data(), 200)) << v.name << " in place";
  }
}

// Outputs beyond the caches are written with streaming stores after an
// ordinary head; the values must be the plain kernel's at any alignment.
template <class T>
void check_large(ShrClip<T> plain, ShrClip<T> sse42, ShrClip<T> avx2) {
  const size_t n = (size_t(8) << 20) / sizeof(T) + 29;
  Buffer<T> in(n, 2), want(n);
  fill_random(in.data(), n, 12);
  const T high = sizeof(T) == 1 ? T(20) : T(4000);
  plain(in.data(), want.data(), n, 3, 7, high);
  for (size_t off : {0, 1, 5}) {
    Buffer<T> got(n, off);
    if (morvex_core_cpu_has_sse42()) {
      sse42(in.data(), got.data(), n, 3, 7, high);
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), n)) << "sse4.2 offset " << off;
    }
    if (morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()) {
      avx2(in.data(), got.data(), n, 3, 7, high);
      EXPECT_TRUE(all_same_bits(got.data(), want.data(), n)) << "avx2 offset " << off;
    }
  }
}

TEST(ShrClipKernels, LargeOutputsKeepTheirValues) {
  check_large<uint8_t>(ops::shr_clip_u8_plain, ops::shr_clip_u8_sse42, ops::shr_clip_u8_avx2);
  check_large<uint16_t>(ops::shr_clip_u16_plain, ops::shr_clip_u16_sse42, ops::shr_clip_u16_avx2);
}

TEST(ShrClipKernels, VariantsMatchPlainForEveryShiftAndBound) {
  check_shr_clip_variants<uint8_t>(ops::shr_clip_u8_plain, ops::shr_clip_u8_sse42, ops::shr_clip_u8_avx2);
  check_shr_clip_variants<uint16_t>(ops::shr_clip_u16_plain, ops::shr_clip_u16_sse42, ops::shr_clip_u16_avx2);
}

TEST(ShrClipExports, HighIsTestedBeforeLowInEveryConfiguration) {
  morvex::test::for_each_kernel_config([](const auto&) {
    std::vector<uint16_t> in(40, 0x0400), out(40);
    in[0] = 0x0FFF, in[1] = 0x0050, in[39] = 0x0FFF;
    morvex_m_shr_clip_u16(in.data(), out.data(), 40, 4, 10, 100);
    EXPECT_EQ(out[0], 100);  // 0xFF is above 100
    EXPECT_EQ(out[1], 10);   // 5 is below 10
    EXPECT_EQ(out[2], 64);
    EXPECT_EQ(out[39], 100);
    std::vector<uint8_t> b(50, 50), r(50);
    b[0] = 255;
    morvex_m_shr_clip_u8(b.data(), r.data(), 50, 0, 200, 100);  // low above high
    EXPECT_EQ(r[0], 100);
    EXPECT_EQ(r[1], 200);
    EXPECT_EQ(r[49], 200);
  });
}

TEST(Clip, RaiseToLowComesFirstAndNanPassesThrough) {
  std::vector<float> f = {0.0f, 3.0f, 7.0f, NAN, -INFINITY, INFINITY}, fo(f.size());
  morvex_m_clip_f32(f.data(), fo.data(), f.size(), 5.0f, 1.0f);  // low above high
  EXPECT_EQ(fo[0], 1.0f);
  EXPECT_EQ(fo[1], 1.0f);
  EXPECT_EQ(fo[2], 1.0f);
  EXPECT_TRUE(std::isnan(fo[3]));
  EXPECT_EQ(fo[5], 1.0f);
  std::vector<double> d(1000);
  fill_random(d.data(), d.size(), 8);
  std::vector<double> dref(d.size());
  for (size_t i = 0; i < d.size(); ++i) {
    const double x = d[i];
    dref[i] = std::isnan(x) ? x : std::min(std::max(x, -0.5), 0.25);
  }
  morvex_m_clip_f64(d.data(), d.data(), d.size(), -0.5, 0.25);  // in place
  EXPECT_TRUE(all_same_bits(d.data(), dref.data(), d.size()));
  // Signed zeros: an element equal to a bound is kept as it is.
  const float z[2] = {-0.0f, 0.0f};
  float zo[2];
  morvex_m_clip_f32(z, zo, 2, 0.0f, 0.0f);
  EXPECT_TRUE(std::signbit(zo[0]));
  EXPECT_FALSE(std::signbit(zo[1]));

  std::vector<uint8_t> u = {3, 250, 100, 10, 200}, uo(5);
  morvex_m_clip_u8(u.data(), uo.data(), 5, 10, 200);
  EXPECT_EQ(uo, (std::vector<uint8_t>{10, 200, 100, 10, 200}));
  std::vector<uint16_t> w = {0, 5000, 60000}, wo(3);
  morvex_m_clip_u16(w.data(), wo.data(), 3, 4000, 1000);
  EXPECT_EQ(wo, (std::vector<uint16_t>{1000, 1000, 1000}));
}

TEST(Set, FillsEveryElementAndZeroWritesNothing) {
  std::vector<double> d(37, 1.0);
  EXPECT_EQ(morvex_m_set_f64(d.data(), 0, 5.0), 0);
  EXPECT_EQ(d[0], 1.0);
  morvex_m_set_f64(d.data() + 1, 35, -0.0);
  EXPECT_EQ(d[0], 1.0);
  EXPECT_TRUE(std::signbit(d[35]));
  EXPECT_EQ(d[36], 1.0);
  std::vector<uint8_t> b(100, 0);
  morvex_m_set_u8(b.data() + 3, 90, 0xA5);
  EXPECT_EQ(b[2], 0);
  EXPECT_EQ(b[3], 0xA5);
  EXPECT_EQ(b[92], 0xA5);
  EXPECT_EQ(b[93], 0);
  std::vector<int16_t> s(9);
  morvex_m_set_i16(s.data(), 9, -7);
  EXPECT_EQ(s[8], -7);
  std::vector<uint16_t> us(9);
  morvex_m_set_u16(us.data(), 9, 65535);
  EXPECT_EQ(us[8], 65535);
  std::vector<uint32_t> ui(9);
  morvex_m_set_u32(ui.data(), 9, 0xDEADBEEF);
  EXPECT_EQ(ui[0], 0xDEADBEEFu);
  std::vector<float> f(9);
  morvex_m_set_f32(f.data(), 9, 2.5f);
  EXPECT_EQ(f[4], 2.5f);
}

// The narrow forms shift as 32-bit values: by the width or more gives 0.
template <class T>
void check_shifts(int32_t (*shl)(const T*, T*, uint64_t, uint8_t), int32_t (*shr)(const T*, T*, uint64_t, uint8_t),
                  void (*andc)(const T*, T*, uint64_t, T)) {
  constexpr unsigned kMaxShift = sizeof(T) == 8 ? 64 : 32;
  std::vector<T> in(100), out(100);
  fill_random(in.data(), in.size(), 4);
  for (unsigned s = 0; s < kMaxShift; ++s) {
    shl(in.data(), out.data(), in.size(), uint8_t(s));
    for (size_t i = 0; i < in.size(); ++i) {
      using W = std::conditional_t<(sizeof(T) < 4), uint32_t, T>;
      ASSERT_EQ(out[i], T(W(in[i]) << s)) << "shl " << s;
    }
    shr(in.data(), out.data(), in.size(), uint8_t(s));
    for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(out[i], T(in[i] >> s)) << "shr " << s;
  }
  const T mask = T(0x5A5A5A5A5A5A5A5Aull);
  andc(in.data(), out.data(), in.size(), mask);
  for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(out[i], T(in[i] & mask));
}

TEST(Shifts, AllWidthsIncludingCountsAtAndBeyondTheWidth) {
  check_shifts<uint8_t>(morvex_m_shl_u8, morvex_m_shr_u8, morvex_m_andc_u8);
  check_shifts<uint16_t>(morvex_m_shl_u16, morvex_m_shr_u16, morvex_m_andc_u16);
  check_shifts<uint32_t>(morvex_m_shl_u32, morvex_m_shr_u32, morvex_m_andc_u32);
  check_shifts<uint64_t>(morvex_m_shl_u64, morvex_m_shr_u64, morvex_m_andc_u64);
  uint8_t x = 0x81, y;
  morvex_m_shl_u8(&x, &y, 1, 1);
  EXPECT_EQ(y, 0x02);
  morvex_m_shl_u8(&x, &y, 1, 8);
  EXPECT_EQ(y, 0);
  uint16_t w = 0xFFFF, z = 1;
  morvex_m_shr_u16(&w, &z, 1, 16);
  EXPECT_EQ(z, 0);
}

TEST(BitMask, SetClearsMaskThenSetsBits) {
  const uint16_t in[2] = {0x1234, 0xFFFF};
  uint16_t out[2];
  EXPECT_EQ(morvex_m_bit_mask_set_u16(in, out, 2, 0x00F0, 0x0A00), 0);
  EXPECT_EQ(out[0], 0x1A04);
  EXPECT_EQ(out[1], 0xFF0F);
}

TEST(BitMask, SearchFromPositionAndResume) {
  std::vector<uint16_t> d(50, 0x0001);
  d[7] = 0x8001, d[8] = 0x8000, d[30] = 0xC000;
  uint64_t p = 0;
  std::vector<uint64_t> hits;
  for (;; ++p) {
    ASSERT_EQ(morvex_m_bit_mask_test_u16(d.data(), d.size(), 0x8000, 0x8000, &p), 0);
    if (p == d.size()) break;
    hits.push_back(p);
  }
  EXPECT_EQ(hits, (std::vector<uint64_t>{7, 8, 30}));
  // The comparison is against value exactly (under the mask).
  p = 0;
  morvex_m_bit_mask_test_u16(d.data(), d.size(), 0xC001, 0x8001, &p);
  EXPECT_EQ(p, 7u);
  p = 8;
  morvex_m_bit_mask_test_u16(d.data(), d.size(), 0xC001, 0x8001, &p);
  EXPECT_EQ(p, 50u) << "no match sets the count";
  p = 50;
  morvex_m_bit_mask_test_u16(d.data(), d.size(), 0, 0, &p);
  EXPECT_EQ(p, 50u) << "at the count stays at the count";
  p = 1000;
  morvex_m_bit_mask_test_u16(d.data(), d.size(), 0, 0, &p);
  EXPECT_EQ(p, 50u) << "past the count is set to the count";
  p = 49;
  morvex_m_bit_mask_test_u16(d.data(), d.size(), 0, 0, &p);
  EXPECT_EQ(p, 49u) << "the start itself is tested";
}

}  // namespace

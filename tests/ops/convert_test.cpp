// Conversions with calibration: every processor kernel against the plain
// kernel (or, for the fused ones, against std::fma per element), through the
// kernels directly and through the exports in every kernel configuration;
// the streaming-store path of large outputs; overlapping outputs; the
// non-raw conversions against the scalar formula.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "frame/dispatch.h"
#include "morvex-core.h"
#include "morvex-m.h"
#include "ops/kernels.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::fill_random;
using morvex::test::for_each_kernel_config;
namespace ops = morvex::ops;
using morvex::frame::Slot;

template <class TI, class TO>
using Kernel = void (*)(const TI*, TO*, uint64_t, TO, TO);

template <class TI, class TO>
struct Variant {
  std::string name;
  Kernel<TI, TO> fn;
  bool fused;
  bool runs_here;
};

template <class TI, class TO>
std::vector<Variant<TI, TO>> variants(Kernel<TI, TO> sse42, Kernel<TI, TO> avx, Kernel<TI, TO> avx2,
                                      Kernel<TI, TO> avx512) {
  return {{"sse4.2", sse42, false, morvex_core_cpu_has_sse42() != 0},
          {"avx", avx, false, morvex_core_cpu_has_avx() != 0},
          {"avx2+fma3", avx2, true, morvex_core_cpu_has_avx2() && morvex_core_cpu_has_fma3()},
          {"avx512f+cd", avx512, true, morvex_core_cpu_has_avx512f() && morvex_core_cpu_has_avx512cd()}};
}

// The reference of one element: a multiply then an add, or one fused
// multiply-add.
template <class TO, class TI>
TO expected(TI x, TO s, TO o, bool fused) {
  return fused ? std::fma(TO(x), s, o) : TO(TO(x) * s + o);
}

// Scale and offset for which fused and unfused results really differ on many
// raw codes (checked below, so the comparison cannot pass by accident).
template <class TO>
constexpr TO kScale = TO(1) / TO(3);
template <class TO>
constexpr TO kOffset = TO(-0.7);

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 0; n <= 100; ++n) v.push_back(n);
  for (size_t n : {255, 256, 257, 4096, 4099}) v.push_back(n);
  return v;
}

template <class TI, class TO>
void check_variants(Kernel<TI, TO> plain, const std::vector<Variant<TI, TO>>& vs) {
  const TO s = kScale<TO>, o = kOffset<TO>;
  size_t differing = 0;
  for (size_t n : lengths())
    for (size_t off = 0; off < 4; ++off) {
      Buffer<TI> in(n, off);
      fill_random(in.data(), n, unsigned(n * 5 + off));
      Buffer<TO> want(n), got(n, (off * 3 + 1) % 8);
      plain(in.data(), want.data(), n, s, o);
      for (size_t i = 0; i < n; ++i) {
        ASSERT_TRUE(morvex::test::same_bits(want[i], expected(in[i], s, o, false)));
        if (!morvex::test::same_bits(want[i], expected(in[i], s, o, true))) ++differing;
      }
      for (const auto& v : vs) {
        if (!v.runs_here) continue;
        SCOPED_TRACE(v.name);
        Buffer<TO> ref(n);
        for (size_t i = 0; i < n; ++i) ref[i] = expected(in[i], s, o, v.fused);
        v.fn(in.data(), got.data(), n, s, o);
        ASSERT_TRUE(all_same_bits(got.data(), ref.data(), n)) << "n=" << n << " off=" << off;
      }
    }
  EXPECT_GT(differing, 50u) << "inputs must separate fused from unfused results";
}

TEST(ConvertKernels, U8F32VariantsMatchPlainOrFma) {
  check_variants<uint8_t, float>(ops::convert_u8f32_plain,
                                 variants<uint8_t, float>(ops::convert_u8f32_sse42, ops::convert_u8f32_avx,
                                                          ops::convert_u8f32_avx2, ops::convert_u8f32_avx512));
}
TEST(ConvertKernels, U16F32VariantsMatchPlainOrFma) {
  check_variants<uint16_t, float>(ops::convert_u16f32_plain,
                                  variants<uint16_t, float>(ops::convert_u16f32_sse42, ops::convert_u16f32_avx,
                                                            ops::convert_u16f32_avx2, ops::convert_u16f32_avx512));
}
TEST(ConvertKernels, U8F64VariantsMatchPlainOrFma) {
  check_variants<uint8_t, double>(ops::convert_u8f64_plain,
                                  variants<uint8_t, double>(ops::convert_u8f64_sse42, ops::convert_u8f64_avx,
                                                            ops::convert_u8f64_avx2, ops::convert_u8f64_avx512));
}
TEST(ConvertKernels, U16F64VariantsMatchPlainOrFma) {
  check_variants<uint16_t, double>(ops::convert_u16f64_plain,
                                   variants<uint16_t, double>(ops::convert_u16f64_sse42, ops::convert_u16f64_avx,
                                                              ops::convert_u16f64_avx2, ops::convert_u16f64_avx512));
}

// Outputs of 8 MiB and more are written with streaming stores after a scalar
// head that aligns them; the values must not change, at any misalignment.
template <class TI, class TO>
void check_streaming(const std::vector<Variant<TI, TO>>& vs) {
  const size_t n = (size_t(8) << 20) / sizeof(TO) + 37;
  Buffer<TI> in(n, 1);
  fill_random(in.data(), n, 99);
  for (size_t out_off : {0, 1, 3}) {
    Buffer<TO> got(n, out_off);
    for (const auto& v : vs) {
      if (!v.runs_here) continue;
      SCOPED_TRACE(v.name);
      v.fn(in.data(), got.data(), n, kScale<TO>, kOffset<TO>);
      size_t bad = 0;
      for (size_t i = 0; i < n; ++i)
        if (!morvex::test::same_bits(got[i], expected(in[i], kScale<TO>, kOffset<TO>, v.fused))) ++bad;
      EXPECT_EQ(bad, 0u) << "out offset " << out_off;
    }
  }
}

TEST(ConvertKernels, StreamingStoresKeepTheValues) {
  check_streaming(variants<uint8_t, float>(ops::convert_u8f32_sse42, ops::convert_u8f32_avx,
                                           ops::convert_u8f32_avx2, ops::convert_u8f32_avx512));
  check_streaming(variants<uint16_t, double>(ops::convert_u16f64_sse42, ops::convert_u16f64_avx,
                                             ops::convert_u16f64_avx2, ops::convert_u16f64_avx512));
}

// An output overlapping its input is converted element by element in every
// kernel, giving the plain kernel's result (scale and offset chosen so that
// fusing cannot change anything).
TEST(ConvertKernels, OverlappingOutputFollowsThePlainKernel) {
  auto vs = variants<uint8_t, float>(ops::convert_u8f32_sse42, ops::convert_u8f32_avx, ops::convert_u8f32_avx2,
                                     ops::convert_u8f32_avx512);
  for (size_t n : {1, 5, 17, 100}) {
    for (size_t shift : {0, 1, 7, 64}) {
      std::vector<float> base(2 * n + 40);
      auto* bytes = reinterpret_cast<uint8_t*>(base.data());
      for (size_t i = 0; i < base.size() * 4; ++i) bytes[i] = uint8_t(i * 37 + 11);
      std::vector<float> want = base;
      ops::convert_u8f32_plain(reinterpret_cast<uint8_t*>(want.data()) + shift, want.data(), n, 0.5f, 0.25f);
      for (const auto& v : vs) {
        if (!v.runs_here) continue;
        std::vector<float> got = base;
        v.fn(reinterpret_cast<uint8_t*>(got.data()) + shift, got.data(), n, 0.5f, 0.25f);
        EXPECT_TRUE(all_same_bits(got.data(), want.data(), want.size())) << v.name << " n=" << n << " shift=" << shift;
      }
    }
  }
}

// Through the exports: in every kernel configuration the result is the plain
// formula, fused exactly when the slot holds a fused kernel.
template <class TI, class TO>
void check_export(int32_t (*fn)(const TI*, TO*, uint64_t, TO, TO), Slot slot) {
  for_each_kernel_config([&](const auto&) {
    const std::string variant = morvex::frame::slot_variant(slot);
    const bool fused = variant == "avx2+fma3" || variant == "avx512f+cd";
    for (size_t n : {0, 1, 15, 16, 33, 4099}) {
      Buffer<TI> in(n, 3);
      fill_random(in.data(), n, unsigned(n));
      Buffer<TO> out(n, 1), ref(n);
      for (size_t i = 0; i < n; ++i) ref[i] = expected(in[i], kScale<TO>, kOffset<TO>, fused);
      ASSERT_EQ(fn(in.data(), out.data(), n, kScale<TO>, kOffset<TO>), 0);
      ASSERT_TRUE(all_same_bits(out.data(), ref.data(), n)) << variant << " n=" << n;
    }
  });
}

TEST(ConvertExports, RawConversionsInEveryKernelConfiguration) {
  check_export(morvex_m_convert_u8f32, Slot::convert_u8f32);
  check_export(morvex_m_convert_u16f32, Slot::convert_u16f32);
  check_export(morvex_m_convert_u8f64, Slot::convert_u8f64);
  check_export(morvex_m_convert_u16f64, Slot::convert_u16f64);
}

// The conversions with only a plain kernel, against the formula over inputs
// that cover their whole range (so 32- and 64-bit integers round).
template <class TI, class TO, class S>
void check_plain_conversion(int32_t (*fn)(const TI*, TO*, uint64_t, S, S), S s, S o) {
  const size_t n = 1000;
  std::vector<TI> in(n);
  fill_random(in.data(), n, 7, false);
  in[0] = std::numeric_limits<TI>::max();
  in[1] = std::numeric_limits<TI>::lowest();
  std::vector<TO> out(n);
  ASSERT_EQ(fn(in.data(), out.data(), n, s, o), 0);
  for (size_t i = 0; i < n; ++i) {
    TO want;
    if constexpr (std::is_same_v<TI, double> && std::is_same_v<TO, float>)
      want = float(in[i] * double(s) + double(o));
    else
      want = TO(TO(in[i]) * TO(s) + TO(o));
    ASSERT_TRUE(morvex::test::same_bits(out[i], want)) << i;
  }
}

TEST(ConvertExports, PlainConversionsFollowTheFormula) {
  check_plain_conversion(morvex_m_convert_i8f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_i16f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_i32f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_i64f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_u32f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_u64f32, 0.1f, 3.0f);
  check_plain_conversion(morvex_m_convert_i8f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_i16f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_i32f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_i64f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_u32f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_u64f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_f32f64, 0.1, 3.0);
  check_plain_conversion(morvex_m_convert_f64f32, 0.1f, 3.0f);
}

TEST(ConvertExports, WorkedValues) {
  for_each_kernel_config([](const auto&) {
    const uint8_t raw[2] = {255, 0};
    float v[2];
    morvex_m_convert_u8f32(raw, v, 2, 2.0f / 255.0f, -1.0f);
    EXPECT_NEAR(v[0], 1.0f, 2e-7f);
    EXPECT_EQ(v[1], -1.0f);
  });
  const int16_t lowest = -32768;
  double d;
  morvex_m_convert_i16f64(&lowest, &d, 1, 1.0, 0.0);
  EXPECT_EQ(d, -32768.0);
  // Formed in double before narrowing: 1e40 is beyond the single range.
  const double big = 1e40;
  float f;
  morvex_m_convert_f64f32(&big, &f, 1, 1e-10f, 0.0f);
  EXPECT_NEAR(f, 1e30f, 1e24f);
  // Unsigned inputs are converted as unsigned.
  const uint64_t top = ~uint64_t(0);
  morvex_m_convert_u64f64(&top, &d, 1, 1.0, 0.0);
  EXPECT_EQ(d, 18446744073709551616.0);
}

}  // namespace

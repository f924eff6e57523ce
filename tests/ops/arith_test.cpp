// Arithmetic: every export bit-exact against the scalar C expression, in every
// kernel configuration, over lengths that cover the vector bulk and every tail,
// at misaligned starts, in place and with shifted overlap.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "morvex-m.h"

namespace {

using morvex::test::all_same_bits;
using morvex::test::Buffer;
using morvex::test::fill_random;
using morvex::test::for_each_kernel_config;

std::vector<size_t> lengths() {
  std::vector<size_t> v;
  for (size_t n = 0; n <= 70; ++n) v.push_back(n);
  v.push_back(4099);
  return v;
}

template <class T>
struct Binary {
  const char* name;
  int32_t (*fn)(const T*, const T*, T*, uint64_t);
  T (*ref)(T, T);
};

template <class T>
struct Unary {
  const char* name;
  std::function<int32_t(const T*, T*, uint64_t)> fn;
  std::function<T(T)> ref;
};

template <class T>
std::vector<Binary<T>> binaries();
template <>
std::vector<Binary<float>> binaries() {
  return {{"add", morvex_m_add_f32, [](float a, float b) { return a + b; }},
          {"sub", morvex_m_sub_f32, [](float a, float b) { return a - b; }},
          {"mul", morvex_m_mul_f32, [](float a, float b) { return a * b; }},
          {"div", morvex_m_div_f32, [](float a, float b) { return a / b; }}};
}
template <>
std::vector<Binary<double>> binaries() {
  return {{"add", morvex_m_add_f64, [](double a, double b) { return a + b; }},
          {"sub", morvex_m_sub_f64, [](double a, double b) { return a - b; }},
          {"mul", morvex_m_mul_f64, [](double a, double b) { return a * b; }},
          {"div", morvex_m_div_f64, [](double a, double b) { return a / b; }}};
}

// The constant-operand exports, bound to constants that exercise rounding.
template <class T>
std::vector<Unary<T>> unaries();
template <>
std::vector<Unary<float>> unaries() {
  const float c = 0.1f, m = 1.0f / 3.0f;
  return {
      {"addc", [=](auto i, auto o, auto n) { return morvex_m_addc_f32(i, o, n, c); }, [=](float x) { return x + c; }},
      {"subc", [=](auto i, auto o, auto n) { return morvex_m_subc_f32(i, o, n, c); }, [=](float x) { return x - c; }},
      {"mulc", [=](auto i, auto o, auto n) { return morvex_m_mulc_f32(i, o, n, m); }, [=](float x) { return x * m; }},
      {"divc", [=](auto i, auto o, auto n) { return morvex_m_divc_f32(i, o, n, m); }, [=](float x) { return x / m; }},
      {"csub", [=](auto i, auto o, auto n) { return morvex_m_csub_f32(i, o, n, c); }, [=](float x) { return c - x; }},
      {"cdiv", [=](auto i, auto o, auto n) { return morvex_m_cdiv_f32(i, o, n, m); }, [=](float x) { return m / x; }},
      {"modc", [=](auto i, auto o, auto n) { return morvex_m_modc_f32(i, o, n, 0.7f); },
       [](float x) { return fmodf(x, 0.7f); }},
      {"pow", [=](auto i, auto o, auto n) { return morvex_m_pow_f32(i, o, n, 1.7); },
       [](float x) { return float(std::pow(double(x), 1.7)); }},
      {"pow2", [=](auto i, auto o, auto n) { return morvex_m_pow2_f32(i, o, n); }, [](float x) { return x * x; }},
  };
}
template <>
std::vector<Unary<double>> unaries() {
  const double c = 0.1, m = 1.0 / 3.0;
  return {
      {"addc", [=](auto i, auto o, auto n) { return morvex_m_addc_f64(i, o, n, c); }, [=](double x) { return x + c; }},
      {"subc", [=](auto i, auto o, auto n) { return morvex_m_subc_f64(i, o, n, c); }, [=](double x) { return x - c; }},
      {"mulc", [=](auto i, auto o, auto n) { return morvex_m_mulc_f64(i, o, n, m); }, [=](double x) { return x * m; }},
      {"divc", [=](auto i, auto o, auto n) { return morvex_m_divc_f64(i, o, n, m); }, [=](double x) { return x / m; }},
      {"csub", [=](auto i, auto o, auto n) { return morvex_m_csub_f64(i, o, n, c); }, [=](double x) { return c - x; }},
      {"cdiv", [=](auto i, auto o, auto n) { return morvex_m_cdiv_f64(i, o, n, m); }, [=](double x) { return m / x; }},
      {"modc", [=](auto i, auto o, auto n) { return morvex_m_modc_f64(i, o, n, 0.7); },
       [](double x) { return fmod(x, 0.7); }},
      {"pow", [=](auto i, auto o, auto n) { return morvex_m_pow_f64(i, o, n, 1.7); },
       [](double x) { return std::pow(x, 1.7); }},
      {"pow2", [=](auto i, auto o, auto n) { return morvex_m_pow2_f64(i, o, n); }, [](double x) { return x * x; }},
  };
}

template <class T>
class Arith : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Arith, Types);

TYPED_TEST(Arith, BinaryExactOutOfPlaceAndInPlace) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    for (const auto& op : binaries<T>()) {
      SCOPED_TRACE(op.name);
      for (size_t n : lengths())
        for (size_t off = 0; off < 4; ++off) {
          Buffer<T> a(n, off), b(n, (off + 1) % 4), out(n, (off + 3) % 4), expect(n);
          fill_random(a.data(), n, unsigned(n * 7 + off));
          fill_random(b.data(), n, unsigned(n * 13 + off + 1));
          for (size_t i = 0; i < n; ++i) expect[i] = op.ref(a[i], b[i]);
          ASSERT_EQ(op.fn(a.data(), b.data(), out.data(), n), 0);
          ASSERT_TRUE(all_same_bits(out.data(), expect.data(), n)) << "n=" << n << " off=" << off;
          // In place over either operand.
          Buffer<T> a2(n, off), b2(n, off);
          std::copy(a.begin(), a.end(), a2.begin());
          std::copy(b.begin(), b.end(), b2.begin());
          op.fn(a2.data(), b.data(), a2.data(), n);
          ASSERT_TRUE(all_same_bits(a2.data(), expect.data(), n)) << "out == a, n=" << n;
          op.fn(a.data(), b2.data(), b2.data(), n);
          ASSERT_TRUE(all_same_bits(b2.data(), expect.data(), n)) << "out == b, n=" << n;
        }
    }
  });
}

TYPED_TEST(Arith, UnaryExactOutOfPlaceAndInPlace) {
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    for (const auto& op : unaries<T>()) {
      SCOPED_TRACE(op.name);
      for (size_t n : lengths())
        for (size_t off = 0; off < 4; ++off) {
          Buffer<T> in(n, off), out(n, (off + 2) % 4), expect(n);
          fill_random(in.data(), n, unsigned(n * 31 + off));
          for (size_t i = 0; i < n; ++i) expect[i] = op.ref(in[i]);
          ASSERT_EQ(op.fn(in.data(), out.data(), n), 0);
          ASSERT_TRUE(all_same_bits(out.data(), expect.data(), n)) << "n=" << n << " off=" << off;
          op.fn(in.data(), in.data(), n);
          ASSERT_TRUE(all_same_bits(in.data(), expect.data(), n)) << "in place, n=" << n;
        }
    }
  });
}

TYPED_TEST(Arith, ShiftedOverlapIsElementByElement) {
  // out = in + 1: element i reads in[i], which the previous step has just
  // overwritten. A whole-vector load before the stores would read stale values.
  using T = TypeParam;
  for_each_kernel_config([](const auto&) {
    for (const auto& op : unaries<T>()) {
      SCOPED_TRACE(op.name);
      for (size_t n : {1, 2, 7, 17, 64, 1001}) {
        std::vector<T> mem(n + 1), expect(n + 1);
        fill_random(mem.data(), n + 1, unsigned(n), false);
        expect = mem;
        for (size_t i = 0; i < n; ++i) expect[i + 1] = op.ref(expect[i]);
        op.fn(mem.data(), mem.data() + 1, n);
        ASSERT_TRUE(all_same_bits(mem.data(), expect.data(), n + 1)) << "n=" << n;
        // And the other direction: out = in - 1 reads ahead of its writes.
        fill_random(mem.data(), n + 1, unsigned(n + 100), false);
        expect = mem;
        for (size_t i = 0; i < n; ++i) expect[i] = op.ref(expect[i + 1]);
        op.fn(mem.data() + 1, mem.data(), n);
        ASSERT_TRUE(all_same_bits(mem.data(), expect.data(), n + 1)) << "n=" << n;
      }
    }
  });
}

TYPED_TEST(Arith, LargeOutputsStreamTheSameBits) {
  // Outputs of 8 MiB and more take the streaming-store path: an unaligned
  // head, whole aligned vectors, a tail. Same bits as the scalar expression.
  using T = TypeParam;
  const size_t n = (size_t(8) << 20) / sizeof(T) + 5;
  std::vector<T> a(n + 1), b(n), out(n + 1), expect(n);
  fill_random(a.data(), n + 1, 11);
  fill_random(b.data(), n, 12);
  for_each_kernel_config([&](const auto&) {
    for (const auto& op : binaries<T>()) {
      for (size_t i = 0; i < n; ++i) expect[i] = op.ref(a[i + 1], b[i]);
      op.fn(a.data() + 1, b.data(), out.data() + 1, n);  // out misaligned by one element
      ASSERT_TRUE(all_same_bits(out.data() + 1, expect.data(), n)) << op.name;
    }
    for (const auto& op : unaries<T>()) {
      if (std::string(op.name) == "modc" || std::string(op.name) == "pow") continue;  // not streamed
      for (size_t i = 0; i < n; ++i) expect[i] = op.ref(a[i]);
      op.fn(a.data(), out.data() + 1, n);
      ASSERT_TRUE(all_same_bits(out.data() + 1, expect.data(), n)) << op.name;
    }
    uint32_t avx2 = 0, fma = 0;
    morvex_m_getopt(MORVEX_M_OPT_AVX2, &avx2);
    morvex_m_getopt(MORVEX_M_OPT_FMA3, &fma);
    const T m = T(1) / T(3), c = T(-0.7);
    for (size_t i = 0; i < n; ++i) expect[i] = (avx2 && fma) ? std::fma(a[i], m, c) : a[i] * m + c;
    if constexpr (sizeof(T) == 4)
      morvex_m_mulc_addc_f32(a.data(), out.data() + 1, n, m, c);
    else
      morvex_m_mulc_addc_f64(a.data(), out.data() + 1, n, m, c);
    ASSERT_TRUE(all_same_bits(out.data() + 1, expect.data(), n)) << "mulc_addc";
  });
}

TEST(Arith, ZeroCountTouchesNothing) {
  EXPECT_EQ(morvex_m_add_f32(nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_div_f64(nullptr, nullptr, nullptr, 0), 0);
  EXPECT_EQ(morvex_m_modc_f32(nullptr, nullptr, 0, 1.0f), 0);
  EXPECT_EQ(morvex_m_pow_f64(nullptr, nullptr, 0, 2.0), 0);
  for_each_kernel_config([](const auto&) {
    EXPECT_EQ(morvex_m_mulc_addc_f32(nullptr, nullptr, 0, 2.0f, 1.0f), 0);
    EXPECT_EQ(morvex_m_mulc_addc_f64(nullptr, nullptr, 0, 2.0, 1.0), 0);
  });
}

TEST(Arith, WorkedValues) {
  float a[2] = {5.0f, -1.0f}, b[2] = {2.0f, 4.0f};
  morvex_m_sub_f32(a, b, a, 2);
  EXPECT_EQ(a[0], 3.0f);
  EXPECT_EQ(a[1], -5.0f);
  double x[2] = {0.25, 3.0}, y[2];
  morvex_m_csub_f64(x, y, 2, 1.0);
  EXPECT_EQ(y[0], 0.75);
  EXPECT_EQ(y[1], -2.0);
  float z[3] = {2.0f, -2.0f, 0.0f}, q[3];
  morvex_m_divc_f32(z, q, 3, 0.0f);
  EXPECT_EQ(q[0], INFINITY);
  EXPECT_EQ(q[1], -INFINITY);
  EXPECT_TRUE(std::isnan(q[2]));
  double m3 = -3.0, sq;
  morvex_m_pow2_f64(&m3, &sq, 1);
  EXPECT_EQ(sq, 9.0) << "pow2 squares";
  float four = 4.0f, neg = -8.0f, r;
  morvex_m_pow_f32(&four, &r, 1, 0.5);
  EXPECT_EQ(r, 2.0f);
  morvex_m_pow_f32(&neg, &r, 1, 0.5);
  EXPECT_TRUE(std::isnan(r));
  double m7 = -7.0, rem;
  morvex_m_modc_f64(&m7, &rem, 1, 3.0);
  EXPECT_EQ(rem, -1.0) << "the remainder takes the dividend's sign";
  double one = 1.0, nan0;
  morvex_m_modc_f64(&one, &nan0, 1, 0.0);
  EXPECT_TRUE(std::isnan(nan0));
}

// mulc_addc: one fused multiply-add per element under AVX2+FMA3, a multiply and
// an add otherwise. The inputs are chosen so the two really differ.
template <class T>
void check_mulc_addc(int32_t (*fn)(const T*, T*, uint64_t, T, T)) {
  const T m = T(1) / T(3), c = T(-0.7);
  for_each_kernel_config([&](const auto&) {
    uint32_t avx2 = 0, fma = 0;
    morvex_m_getopt(MORVEX_M_OPT_AVX2, &avx2);
    morvex_m_getopt(MORVEX_M_OPT_FMA3, &fma);
    const bool fused = avx2 && fma;
    size_t differing = 0;
    for (size_t n : lengths())
      for (size_t off = 0; off < 4; ++off) {
        Buffer<T> in(n, off), out(n, (off + 1) % 4), expect(n);
        fill_random(in.data(), n, unsigned(n * 3 + off), n % 5 == 0);
        for (size_t i = 0; i < n; ++i) {
          expect[i] = fused ? std::fma(in[i], m, c) : in[i] * m + c;
          if (!morvex::test::same_bits(std::fma(in[i], m, c), T(in[i] * m + c))) ++differing;
        }
        ASSERT_EQ(fn(in.data(), out.data(), n, m, c), 0);
        ASSERT_TRUE(all_same_bits(out.data(), expect.data(), n)) << "n=" << n << " fused=" << fused;
        fn(in.data(), in.data(), n, m, c);
        ASSERT_TRUE(all_same_bits(in.data(), expect.data(), n)) << "in place n=" << n;
      }
    EXPECT_GT(differing, 100u) << "inputs must separate fused from unfused results";
    T three = 3, seven;
    fn(&three, &seven, 1, T(2), T(1));
    EXPECT_EQ(seven, T(7));
  });
}

TEST(Arith, MulcAddcF32FusedOnlyUnderAvx2Fma3) { check_mulc_addc<float>(morvex_m_mulc_addc_f32); }
TEST(Arith, MulcAddcF64FusedOnlyUnderAvx2Fma3) { check_mulc_addc<double>(morvex_m_mulc_addc_f64); }

}  // namespace

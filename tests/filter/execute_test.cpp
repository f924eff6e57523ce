// Execution: every kernel and option setting against the straightforward
// cascade, bit for bit; blocks, in place, the steady start and resets.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/buffers.h"
#include "common/kernel_configs.h"
#include "filter/cascade.h"
#include "filter/state.h"
#include "frame/flags.h"
#include "morvex-m.h"

namespace {

using morvex::test::Buffer;
namespace mf = morvex::filter;

// The cascade as it is written down: per sample, per section, in order.
template <class T>
void reference(const T* in, T* out, size_t n, const std::vector<T>& c, std::vector<T>& d) {
  const size_t sections = c.size() / 6;
  for (size_t k = 0; k < n; ++k) {
    T v = in[k];
    for (size_t i = 0; i < sections; ++i) {
      const T x = v;
      const T y = c[6 * i] * x + d[2 * i];
      d[2 * i] = (c[6 * i + 1] * x + d[2 * i + 1]) - c[6 * i + 4] * y;
      d[2 * i + 1] = c[6 * i + 2] * x - c[6 * i + 5] * y;
      v = y;
    }
    out[k] = v;
  }
}

// Random stable sections: complex or real pole pairs inside the unit circle,
// zeros anywhere, a0 = 1.
template <class T>
std::vector<T> random_sections(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  std::vector<T> c;
  for (size_t i = 0; i < n; ++i) {
    double a1, a2;
    if (i % 3 == 2) {
      const double p = 2 * u(rng) - 1, q = 1.9 * u(rng) - 0.95;
      a1 = -(p + q) * 0.97, a2 = p * q * 0.97;
    } else {
      const double r = 0.3 + 0.69 * u(rng), th = M_PI * u(rng);
      a1 = -2 * r * std::cos(th), a2 = r * r;
    }
    for (double v : {u(rng) - 0.5, 2 * u(rng) - 1, u(rng) - 0.5, 1.0, a1, a2}) c.push_back(T(v));
  }
  return c;
}

// Both NaN or the same bits: NaN payloads may legitimately differ when two
// NaNs meet in one operation, whichever operand order the compiler chose.
template <class T>
::testing::AssertionResult same_values(const T* a, const T* b, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (!(std::memcmp(&a[i], &b[i], sizeof(T)) == 0 || (std::isnan(a[i]) && std::isnan(b[i]))))
      return ::testing::AssertionFailure() << "index " << i << " of " << n << ": " << std::hexfloat << a[i]
                                           << " vs " << b[i];
  return ::testing::AssertionSuccess();
}

// The plain kernel and every lane kernel this processor can run.
template <class T>
std::vector<std::pair<const char*, mf::CascadeKernel<T>*>> kernels() {
  auto pick = [](mf::CascadeKernel<float>* f, mf::CascadeKernel<double>* d) {
    if constexpr (sizeof(T) == 4)
      return f;
    else
      return d;
  };
  std::vector<std::pair<const char*, mf::CascadeKernel<T>*>> k{
      {"plain", pick(mf::cascade_plain_f32, mf::cascade_plain_f64)}};
  if (morvex::frame::use_sse42()) k.push_back({"sse42", pick(mf::cascade_sse42_f32, mf::cascade_sse42_f64)});
  if (morvex::frame::use_avx()) k.push_back({"avx", pick(mf::cascade_avx_f32, mf::cascade_avx_f64)});
  if (morvex::frame::use_avx512()) k.push_back({"avx512", pick(mf::cascade_avx512_f32, mf::cascade_avx512_f64)});
  return k;
}

// Each lane kernel on its own, over section counts around every vector and
// pass width, lengths around the fill and drain of the lane pipeline, odd
// start offsets, in place and apart, and a delay line carried in.
template <class T>
void kernels_match_reference() {
  const size_t section_counts[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 65, 70};
  const size_t lengths[] = {1, 2, 3, 5, 31, 32, 33, 100, 257, 1000};
  for (size_t sections : section_counts) {
    const std::vector<T> c = random_sections<T>(sections, uint32_t(sections));
    for (size_t n : lengths) {
      Buffer<T> in(n, n % 7);
      morvex::test::fill_random(in.data(), n, uint32_t(n * 31 + sections), false);
      std::vector<T> d0(2 * sections);
      morvex::test::fill_random(d0.data(), d0.size(), uint32_t(sections), false);
      std::vector<T> want(n), dref = d0;
      reference(in.data(), want.data(), n, c, dref);
      for (auto [name, kernel] : kernels<T>()) {
        SCOPED_TRACE(testing::Message() << name << " sections " << sections << " n " << n);
        Buffer<T> out(n, (n + 3) % 5);
        std::vector<T> d = d0;
        kernel(in.data(), out.data(), n, c.data(), d.data(), sections);
        ASSERT_TRUE(morvex::test::all_same_bits(out.data(), want.data(), n));
        ASSERT_TRUE(morvex::test::all_same_bits(d.data(), dref.data(), d.size()));
        Buffer<T> io(n, 1);
        std::memcpy(io.data(), in.data(), n * sizeof(T));
        d = d0;
        kernel(io.data(), io.data(), n, c.data(), d.data(), sections);
        ASSERT_TRUE(morvex::test::all_same_bits(io.data(), want.data(), n));
      }
    }
  }
}

TEST(FilterExecute, KernelsMatchTheStraightCascadeF32) { kernels_match_reference<float>(); }
TEST(FilterExecute, KernelsMatchTheStraightCascadeF64) { kernels_match_reference<double>(); }

// Infinities and NaNs go through every kernel as through the plain one.
TEST(FilterExecute, SpecialValuesPropagateAlike) {
  for (size_t sections : {3, 8, 20}) {
    const std::vector<double> c = random_sections<double>(sections, 5);
    const size_t n = 600;
    std::vector<double> in(n);
    morvex::test::fill_random(in.data(), n, 11, true);
    std::vector<double> want(n), d(2 * sections, 0.0);
    reference(in.data(), want.data(), n, c, d);
    for (auto [name, kernel] : kernels<double>()) {
      std::vector<double> out(n), dk(2 * sections, 0.0);
      kernel(in.data(), out.data(), n, c.data(), dk.data(), sections);
      EXPECT_TRUE(same_values(out.data(), want.data(), n)) << name << " sections " << sections;
    }
  }
}

struct State {
  morvex_m_filter_state* s = nullptr;
  explicit State(int band, int order) {
    EXPECT_EQ(morvex_m_filter_iir_butterworth(band, uint8_t(order), &s, 1000.0, 80.0, 200.0), 0);
  }
  ~State() { morvex_m_filter_state_destroy(s); }
  std::vector<double> sos() const {
    const double* c;
    uint64_t n;
    EXPECT_EQ(morvex_m_filter_iir_get_sos(s, &c, &n), 0);
    return std::vector<double>(c, c + n);
  }
};

template <class T>
int32_t run(const T* in, T* out, uint64_t n, morvex_m_filter_state* s) {
  if constexpr (sizeof(T) == 4)
    return morvex_m_filter_execute_f32(in, out, n, s);
  else
    return morvex_m_filter_execute_f64(in, out, n, s);
}

// Through the export, under every option setting, in random blocks, from
// rest and from steady state: the reference's samples, bit for bit.
template <class T>
void export_matches_reference() {
  std::mt19937 rng(3);
  for (int band : {0, 2}) {
    for (int order : {1, 2, 4, 8, 13, 24, 40}) {
      const size_t n = 3001;
      std::vector<T> in(n);
      morvex::test::fill_random(in.data(), n, uint32_t(order), false);
      for (bool steady : {false, true}) {
        const std::vector<double> sos = State(band, order).sos();
        const std::vector<T> c(sos.begin(), sos.end());
        morvex::test::for_each_kernel_config([&](const morvex::test::KernelConfig&) {
          SCOPED_TRACE(testing::Message() << "band " << band << " order " << order << " steady " << steady);
          State st(band, order);
          morvex_m_filter_reset_delay_line(st.s, steady);
          std::vector<T> out(n);
          size_t at = 0;
          while (at < n) {
            const size_t len = std::min<size_t>(n - at, rng() % 700);
            ASSERT_EQ(run<T>(in.data() + at, out.data() + at, len, st.s), 0);
            at += len;
          }
          // The whole record in one call on a fresh state.
          State one(band, order);
          morvex_m_filter_reset_delay_line(one.s, steady);
          std::vector<T> whole(n);
          ASSERT_EQ(run<T>(in.data(), whole.data(), n, one.s), 0);
          ASSERT_TRUE(morvex::test::all_same_bits(out.data(), whole.data(), n));
          if (!steady) {  // (steady starts are checked against scipy's)
            std::vector<T> d(c.size() / 3, T(0)), want(n);
            reference(in.data(), want.data(), n, c, d);
            ASSERT_TRUE(morvex::test::all_same_bits(out.data(), want.data(), n));
          }
        });
      }
    }
  }
}

TEST(FilterExecute, ExportMatchesReferenceInBlocksF32) { export_matches_reference<float>(); }
TEST(FilterExecute, ExportMatchesReferenceInBlocksF64) { export_matches_reference<double>(); }

TEST(FilterExecute, SteadyStartGivesTheDcGainAtOnce) {
  for (int order : {1, 2, 5, 8}) {
    State st(0, order);
    const std::vector<double> sos = st.sos();
    double gain = 1.0;
    for (size_t i = 0; i < sos.size(); i += 6)
      gain *= (sos[i] + sos[i + 1] + sos[i + 2]) / (sos[i + 3] + sos[i + 4] + sos[i + 5]);
    morvex_m_filter_reset_delay_line(st.s, 1);
    std::vector<double> x(300, -2.5), y(300);
    ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), y.data(), 0, st.s), 0);  // leaves the start pending
    ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), y.data(), x.size(), st.s), 0);
    for (double v : y) ASSERT_NEAR(v, -2.5 * gain, 1e-12) << "order " << order;
    // Re-armed later, the next block starts from its own first sample.
    morvex_m_filter_reset_delay_line(st.s, 1);
    std::vector<double> x2(300, 4.0);
    ASSERT_EQ(morvex_m_filter_execute_f64(x2.data(), y.data(), x2.size(), st.s), 0);
    for (double v : y) ASSERT_NEAR(v, 4.0 * gain, 1e-12);
  }
}

TEST(FilterExecute, ResetToZeroIsAFreshStart) {
  State a(2, 3), b(2, 3);
  std::vector<float> x(500), ya(500), yb(500);
  morvex::test::fill_random(x.data(), x.size(), 9, false);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), ya.data(), 123, a.s), 0);
  morvex_m_filter_reset_delay_line(a.s, 0);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), ya.data(), x.size(), a.s), 0);
  ASSERT_EQ(morvex_m_filter_execute_f32(x.data(), yb.data(), x.size(), b.s), 0);
  EXPECT_TRUE(morvex::test::all_same_bits(ya.data(), yb.data(), x.size()));
}

TEST(FilterExecute, WithoutSectionsIsACopy) {
  // Order 0: one pass-through section carrying the gain 1 (exact), so data
  // passes unchanged; overlapping arrays included.
  State st(0, 0);
  std::vector<double> x(100);
  for (size_t i = 0; i < x.size(); ++i) x[i] = double(i) - 40.5;
  std::vector<double> y(100);
  ASSERT_EQ(morvex_m_filter_execute_f64(x.data(), y.data(), x.size(), st.s), 0);
  EXPECT_EQ(x, y);
  // A state whose executor has no sections at all copies, even overlapping.
  morvex::def::FitlerIIRSOS<double> none{morvex::FilterState::IIR::SOS{}};
  std::vector<double> buf = x;
  ASSERT_EQ(none.execute(buf.data(), buf.data() + 3, 90), 0);
  EXPECT_TRUE(std::equal(x.begin(), x.begin() + 90, buf.begin() + 3));
}

TEST(FilterExecute, PartialOverlapFollowsThePlainOrder) {
  // output one element past input: the plain loop reads each input after
  // the previous output overwrote it, and every kernel choice must agree.
  State st(2, 6), ref(2, 6);
  std::vector<double> sos = st.sos();
  std::vector<double> buf(2000), copy;
  morvex::test::fill_random(buf.data(), buf.size(), 4, false);
  copy = buf;
  ASSERT_EQ(morvex_m_filter_execute_f64(buf.data(), buf.data() + 1, 1999, st.s), 0);
  std::vector<double> d(sos.size() / 3, 0.0);
  reference(copy.data(), copy.data() + 1, 1999, sos, d);
  EXPECT_TRUE(morvex::test::all_same_bits(buf.data(), copy.data(), buf.size()));
}

TEST(FilterExecute, TheFirstCallFixesTheElementType) {
  State st(0, 4);
  std::vector<float> xf(10, 1.0f);
  std::vector<double> xd(10, 1.0);
  ASSERT_EQ(morvex_m_filter_execute_f32(xf.data(), xf.data(), xf.size(), st.s), 0);
  EXPECT_EQ(morvex_m_filter_execute_f64(xd.data(), xd.data(), xd.size(), st.s), -1);
  EXPECT_EQ(xd, std::vector<double>(10, 1.0));
  EXPECT_EQ(morvex_m_filter_execute_f32(nullptr, nullptr, 0, nullptr), -1);
}

}  // namespace

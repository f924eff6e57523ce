// SPDX-License-Identifier: MIT
// Filters: every design export with fuzzed band, order, frequencies and
// ripple. A design either fails with -1 and no state, or gives a state on
// which every query works: finite ZPK, TF and SOS, stability, both
// frequency responses (or, for a degenerate filter the checks let through,
// statuses 0 or -1 and nothing worse). Its execution, in either element type, over a record
// cut into fuzzed blocks with the kernel options switched between calls,
// equals one call on a fresh state; after a reset, filtering in place equals
// a fresh state again; the other element type is refused.
#include <cmath>

#include "fuzz.h"

namespace {

using namespace morvex::fuzz;
using State = morvex_m_filter_state*;

// A frequency-like parameter: raw bits now and then (NaN, infinities,
// denormals), mostly a fraction of `scale` or one of its edges.
double parameter(FuzzedDataProvider& in, double scale) {
  switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0: return raw<double>(in);
    case 1: return scale * (in.ConsumeIntegralInRange(0, 4) * 0.25);
    default: return scale * in.ConsumeProbability<double>();
  }
}

struct Design {
  int kind;
  int32_t band;
  uint8_t order;
  double fs, f1, f2, extra;

  int32_t make(State* st) const {
    switch (kind) {
      case 0: return morvex_m_filter_iir_butterworth(band, order, st, fs, f1, f2);
      case 1: return morvex_m_filter_iir_chebyshev1(band, order, st, fs, f1, f2, extra);
      case 2: return morvex_m_filter_iir_chebyshev2(band, order, st, fs, f1, f2, extra);
      case 3: return morvex_m_filter_iir_notch(st, fs, f1, f2);
      default: return morvex_m_filter_iir_peak(st, fs, f1, f2);
    }
  }
  State fresh(bool steady) const {
    State st = nullptr;
    FUZZ_CHECK(make(&st) == 0 && st);
    morvex_m_filter_reset_delay_line(st, steady);
    return st;
  }
};

bool finite(const void* v, uint64_t n) {
  for (uint64_t i = 0; i < n; ++i)
    if (!std::isfinite(static_cast<const double*>(v)[i])) return false;
  return true;
}

// The queries. A design made of finite numbers must answer every one of them
// with finite values. Parameters that pass the checks can still describe a
// degenerate filter (a 0 dB Chebyshev I ripple, a notch at 0 Hz): its state
// holds non-finite values, and then every query must still return 0 or -1
// and nothing else. Returns whether the state is a finite filter.
bool query(FuzzedDataProvider& in, State st) {
  const morvex_m_c64f64 *z, *p;
  const double *b, *a, *sos, *b2, *a2;
  uint64_t nz = 0, np = 0, ntf = 0, nsos = 0;
  double k = 0;
  int32_t stable = -1;
  const int32_t zs = morvex_m_filter_iir_get_zpk(st, &z, &nz, &p, &np, &k);
  const int32_t ts = morvex_m_filter_iir_get_tf(st, &b, &a, &ntf);
  FUZZ_CHECK(ts == 0 && (zs == 0 || zs == -1));
  const bool healthy = zs == 0 && finite(z, 2 * nz) && finite(p, 2 * np) && std::isfinite(k) &&
                       finite(b, ntf) && finite(a, ntf);
  FUZZ_CHECK(morvex_m_filter_iir_get_tf(st, &b2, &a2, &ntf) == 0 && b2 == b && a2 == a);
  const int32_t ss = morvex_m_filter_iir_get_sos(st, &sos, &nsos);
  const int32_t is = morvex_m_filter_iir_isstable(st, &stable);
  const uint64_t count = in.ConsumeIntegralInRange(0, 300);
  std::vector<double> f(count);
  std::vector<morvex_m_c64f64> h(count);
  const double rate = parameter(in, 1e6);
  const int32_t whole = in.ConsumeBool(), nyquist = in.ConsumeBool(), log = in.ConsumeBool();
  const int32_t fs = morvex_m_filter_iir_freqz(st, count, whole, nyquist, log, f.data(), h.data(), rate);
  const int32_t fz = morvex_m_filter_iir_freqz_zpk(st, count, whole, log, f.data(), h.data(), rate);
  if (!healthy) {
    for (const int32_t r : {ss, is, fs, fz}) FUZZ_CHECK(r == 0 || r == -1);
    return false;
  }
  FUZZ_CHECK(ss == 0 && nsos % 6 == 0 && nsos && finite(sos, nsos));
  FUZZ_CHECK(is == (np ? 0 : -1) && (np ? stable >> 1 == 0 : stable == -1));
  FUZZ_CHECK(fs == 0 && fz == 0);
  return true;
}

template <class T>
int32_t execute(const T* x, T* y, uint64_t n, State st) {
  if constexpr (sizeof(T) == 4) return morvex_m_filter_execute_f32(x, y, n, st);
  else return morvex_m_filter_execute_f64(x, y, n, st);
}

template <class T>
void run(FuzzedDataProvider& in, const Design& d, State st) {
  const bool steady = in.ConsumeBool(), steady_again = in.ConsumeBool();
  const uint32_t cut = in.ConsumeIntegral<uint32_t>(), switching = in.ConsumeIntegral<uint32_t>();
  std::vector<T> x;
  for (uint8_t v : in.ConsumeBytes<uint8_t>(512))
    x.push_back(v == 0x80 ? T(NAN) : v == 0x7f ? T(INFINITY) : T(int8_t(v)) / 16);
  const uint64_t n = x.size();
  std::vector<T> y(n), want(n);
  auto reference = [&](bool steady_start) {  // one call on a fresh state
    const State fresh = d.fresh(steady_start);
    FUZZ_CHECK(execute(x.data(), want.data(), n, fresh) == 0);
    morvex_m_filter_state_destroy(fresh);
  };

  reference(steady);
  morvex_m_filter_reset_delay_line(st, steady);
  FUZZ_CHECK(execute<T>(nullptr, nullptr, 0, st) == 0);  // makes the executor, leaves a steady start pending
  uint64_t base = 0;
  for (uint32_t s = switching; uint64_t len : blocks(n, cut)) {
    switch_kernels(s = s * 1103515245u + 12345u);
    FUZZ_CHECK(execute(x.data() + base, y.data() + base, len, st) == 0);
    base += len;
  }
  switch_kernels(0);
  std::conditional_t<sizeof(T) == 4, double, float> other = 0;
  FUZZ_CHECK(same(y.data(), want.data(), n) && execute(&other, &other, 1, st) == -1);

  reference(steady_again);
  morvex_m_filter_reset_delay_line(st, steady_again);
  y = x;
  FUZZ_CHECK(execute(y.data(), y.data(), n, st) == 0 && same(y.data(), want.data(), n));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const int kind = in.ConsumeIntegralInRange(0, 4), band = in.ConsumeIntegralInRange(-1, 4);
  const uint8_t order = in.ConsumeIntegral<uint8_t>();
  const double fs = in.ConsumeBool() ? raw<double>(in) : in.ConsumeIntegralInRange(1, 100000);
  const double f1 = parameter(in, fs), f2 = parameter(in, fs);
  const double extra = in.ConsumeBool() ? raw<double>(in) : in.ConsumeIntegralInRange(0, 120) * 0.5;
  const Design d{kind, band, order, fs, f1, f2, extra};
  State st = nullptr;
  const int32_t status = d.make(&st);
  FUZZ_CHECK(status == 0 ? st != nullptr : status == -1 && st == nullptr);
  if (!st) return 0;
  if (!query(in, st)) {  // a degenerate filter: execution fails cleanly or runs
    const double* sos;
    uint64_t nsos;
    double x = 1.0;
    const int32_t sections = morvex_m_filter_iir_get_sos(st, &sos, &nsos);
    FUZZ_CHECK(morvex_m_filter_execute_f64(&x, &x, 1, st) == (sections == 0 ? 0 : -1));
    morvex_m_filter_state_destroy(st);
    return 0;
  }
  if (in.ConsumeBool()) run<float>(in, d, st);
  else run<double>(in, d, st);
  morvex_m_filter_state_destroy(st);
  return 0;
}

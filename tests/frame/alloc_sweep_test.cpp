// SPDX-License-Identifier: MIT
// Allocation failure at every point: each allocating export runs with the
// k-th allocation failing, then every one from the k-th on, for k = 1, 2, ...
// until a run makes fewer than k. It must return its documented status and
// make nothing, or do the work without the allocation and get it right; its
// object stays usable and the call succeeds again once allocation works. No
// exception may leave it; LeakSanitizer (sanitizer build) checks each export.
// The library allocates on the calling thread (a split's tasks included), so
// only that thread's allocations fail: a pool thread that is still starting
// takes memory for the C library and the sanitizer runtime, left alone.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/alloc_fail.h"
#include "common/trigger_kinds.h"
#include "dft/dft_api.h"
#include "frame/split.h"
#include "morvex-m.h"
#include "morvex-tp.h"

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace morvex::test {
namespace {

template <class T>
std::string bytes(const T* p, size_t n) {
  return n ? std::string(reinterpret_cast<const char*>(p), n * sizeof(T)) : std::string();
}

// What a row's calls work on; outputs are sized before the allocator is armed.
struct Fixture {
  morvex_m_filter_state* st = nullptr;
  void* state = nullptr;
  uint64_t position = 0;
  double phase = 0;
  int32_t stable = -1;
  std::vector<double> d = std::vector<double>(192, 1.0);
  std::vector<float> f = std::vector<float>(64, 1.0f);
};

struct Row {
  std::string what;
  int32_t oom;                          // the status when memory runs out; 0: the work must go on
  std::function<void()> prepare;        // before every call: a fresh object, cleared outputs
  std::function<int32_t()> call;        // the export, with the allocator armed
  std::function<std::string()> result;  // what the call made, read back; releases everything
  std::function<bool()> untouched = [] { return true; };  // after a failure: nothing was made
};

void sweep(const char* what, const std::vector<Row>& rows) {
  uint64_t points = 0;
  for (const Row& r : rows) {
    r.prepare();
    EXPECT_EQ(r.call(), 0) << r.what;
    const std::string want = r.result();
    for (const bool sticky : {false, true}) {
      for (uint64_t k = 1;; ++k, points += !sticky) {
        r.prepare();
        alloc_fail_arm(k, sticky, true);
        const int32_t status = r.call();
        const uint64_t made = alloc_fail_disarm();
        const std::string at = r.what + ", allocation " + std::to_string(k) + (sticky ? " on" : "") + " failing";
        if (status != 0) {
          EXPECT_TRUE(status == r.oom && r.oom != 0 && r.untouched()) << at << ": status " << status;
          EXPECT_EQ(r.call(), 0) << at << ", then again";
        }
        EXPECT_TRUE(r.result() == want) << at << ": a different result";
        if (made < k) break;
      }
    }
    if (__lsan_do_recoverable_leak_check) {
      EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << r.what;
    }
  }
  std::printf("%s: %zu exports, %llu allocation points\n", what, rows.size(), (unsigned long long)points);
}

// Start-up never fails: without its pool the library works on the calling
// thread, its shut-down leaves alone a pool reference the program took
// meanwhile, and a later clean start gets the pool.
TEST(AllocSweep, Init) {
  frame::set_split_thread_count(8);
  auto fx = std::make_shared<Fixture>();
  sweep("init", {{"init", 0, [=] { fx->f.assign(64, 1.0f); }, [] { return morvex_m_init(); }, [=] {
                    unsigned char own[2] = {}, clean[2] = {};
                    morvex_m_window_hanning_f32(fx->f.data(), fx->f.data(), 64, 1);
                    morvex_tp_init(), morvex_m_fini(), morvex_tp_get_status(own, 2), morvex_tp_fini();
                    morvex_m_init(), morvex_tp_get_status(clean, 2), morvex_m_fini();
                    return bytes(fx->f.data(), 64) + (own[0] && clean[0] ? "pool" : "no pool");
                  }}});
}

// Designs, and each query on a fresh state (so that it derives what it
// needs); the state's three representations and the outputs are compared.
const morvex_m_c64f64 *g_z, *g_p;
const double *g_b, *g_a;
uint64_t g_n, g_m;
double g_k;

TEST(AllocSweep, Filters) {
  using State = morvex_m_filter_state*;
  const std::function<int32_t(State*)> designs[] = {
      [](State* s) { return morvex_m_filter_iir_butterworth(0, 6, s, 1000.0, 100.0, 0.0); },
      [](State* s) { return morvex_m_filter_iir_chebyshev1(2, 4, s, 1000.0, 100.0, 200.0, 1.0); },
      [](State* s) { return morvex_m_filter_iir_chebyshev2(3, 3, s, 1000.0, 100.0, 200.0, 40.0); },
      [](State* s) { return morvex_m_filter_iir_notch(s, 1000.0, 50.0, 5.0); },
      [](State* s) { return morvex_m_filter_iir_peak(s, 1000.0, 50.0, 5.0); }};
  const std::function<int32_t(Fixture&)> queries[] = {
      [](Fixture& x) { return morvex_m_filter_iir_get_zpk(x.st, &g_z, &g_n, &g_p, &g_m, &g_k); },
      [](Fixture& x) { return morvex_m_filter_iir_get_tf(x.st, &g_b, &g_a, &g_n); },
      [](Fixture& x) { return morvex_m_filter_iir_get_sos(x.st, &g_b, &g_n); },
      [](Fixture& x) { return morvex_m_filter_iir_isstable(x.st, &x.stable); },
      [](Fixture& x) { return morvex_m_filter_iir_freqz(x.st, 64, 0, 1, 0, &x.d[0], (morvex_m_c64f64*)&x.d[64], 1.0); },
      [](Fixture& x) { return morvex_m_filter_iir_freqz_zpk(x.st, 64, 1, 1, &x.d[0], (morvex_m_c64f64*)&x.d[64], 1.); },
      [](Fixture& x) { return morvex_m_filter_execute_f64(x.d.data(), x.d.data(), 64, x.st); },
      [](Fixture& x) { return morvex_m_filter_execute_f32(x.f.data(), x.f.data(), 64, x.st); }};
  morvex_m_init();
  frame::set_split_thread_count(8);
  std::vector<Row> rows;
  for (const auto& design : designs) {
    auto fx = std::make_shared<Fixture>();
    auto release = [=] {
      const double *b, *a, *sos;
      uint64_t n = 0, ns = 0;
      std::string s = std::to_string(morvex_m_filter_iir_get_zpk(fx->st, &g_z, &g_n, &g_p, &g_m, &g_k)) +
                      std::to_string(morvex_m_filter_iir_get_tf(fx->st, &b, &a, &n)) +
                      std::to_string(morvex_m_filter_iir_get_sos(fx->st, &sos, &ns)) + std::to_string(fx->stable);
      s += bytes(g_z, g_n) + bytes(g_p, g_m) + bytes(&g_k, 1) + bytes(b, n) + bytes(a, n) + bytes(sos, ns);
      morvex_m_filter_state_destroy(fx->st);
      return s + bytes(fx->d.data(), fx->d.size()) + bytes(fx->f.data(), fx->f.size());
    };
    const std::string name = "filter design " + std::to_string(rows.size() / 9);
    rows.push_back({name, -1, [=] { *fx = Fixture{}; }, [=] { return design(&fx->st); }, release,
                    [=] { return fx->st == nullptr; }});
    for (const auto& query : queries) {
      rows.push_back({name + ", query " + std::to_string(rows.size() % 9), -1, [=] {
                        *fx = Fixture{};
                        EXPECT_EQ(design(&fx->st), 0);
                      }, [=] { return query(*fx); }, release});
    }
  }
  sweep("filters", rows);
  morvex_m_fini();
}

// One-shot transforms, plan creation (the plan made is run once) and the
// first run of a plan (where the built-in backend makes its twiddles and
// FFTW plans), on both backends. FFTW takes its own memory with memalign,
// which the failing allocator leaves alone: what fails there is ours.
template <class T>
void transform_rows(std::vector<Row>& rows, bool fftw) {
  using A = dft::Api<T>;
  using C = typename A::C;
  constexpr uint64_t n = 360, m = n / 2 + 1;  // 2^3 3^2 5: every radix of the built-in transform
  struct Arrays {
    std::vector<T> x, y;
    std::vector<C> X;
    morvex_m_dft_plan* plan = nullptr;
  };
  auto a = std::make_shared<Arrays>();
  auto clear = [=] {
    EXPECT_EQ(morvex_m_setopt(sizeof(T) == 4 ? MORVEX_M_OPT_FFTW3F : MORVEX_M_OPT_FFTW3, fftw), 0);
    a->x.assign(n, T(0)), a->y.assign(n, T(0)), a->X.assign(m, C{T(1), T(0)});
    for (uint64_t i = 0; i < n; ++i) a->x[i] = T(i % 7) - T(3);
  };
  auto planned = [=](bool inverse) {
    return [=] {
      clear();
      EXPECT_EQ(inverse ? A::icreate(a->X.data(), m, a->y.data(), n, &a->plan)
                        : A::create(a->x.data(), n, a->X.data(), m, &a->plan), 0);
    };
  };
  auto outputs = [=] {
    if (a->plan) {
      EXPECT_TRUE(A::execute(a->plan, a->x.data(), n, a->X.data(), m) == 0 ||
                  A::iexecute(a->plan, a->X.data(), m, a->y.data(), n) == 0);
    }
    morvex_m_dft_plan_destroy(std::exchange(a->plan, nullptr));
    return bytes(a->X.data(), m) + bytes(a->y.data(), n);
  };
  const std::string what = std::string(fftw ? "fftw " : "built-in ") + (sizeof(T) == 4 ? "f32 " : "f64 ");
  auto add = [&](const char* op, std::function<void()> prepare, std::function<int32_t()> call) {
    rows.push_back({what + op, -3, prepare, call, outputs, [=] { return a->plan == nullptr || op[0] == 'e'; }});
  };
  add("dft", clear, [=] { return A::dft(a->x.data(), n, a->X.data(), m); });
  add("dft_divn", clear, [=] { return A::dft_divn(a->x.data(), n, a->X.data(), m, 1); });
  add("idft", clear, [=] { return A::idft(a->X.data(), m, a->y.data(), n); });
  add("execute r2c", planned(false), [=] { return A::execute(a->plan, a->x.data(), n, a->X.data(), m); });
  add("execute c2r", planned(true), [=] { return A::iexecute(a->plan, a->X.data(), m, a->y.data(), n); });
  add("create r2c", clear, [=] { return A::create(a->x.data(), n, a->X.data(), m, &a->plan); });
  add("create c2r", clear, [=] { return A::icreate(a->X.data(), m, a->y.data(), n, &a->plan); });
}

TEST(AllocSweep, Transforms) {
  morvex_m_init();
  const bool fftw = morvex_m_setopt(MORVEX_M_OPT_FFTW3, 1) == 0 && morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == 0;
  std::vector<Row> rows;
  for (const bool on : {false, true})
    if (!on || fftw) transform_rows<float>(rows, on), transform_rows<double>(rows, on);
  sweep(fftw ? "transforms" : "transforms (FFTW not loadable here)", rows);
  morvex_m_fini();
}

// Every stateful trigger allocates its state block on a first call with a
// NULL handle: -3 and the handle still NULL when it cannot.
template <class T>
void trigger_rows(std::vector<Row>& rows) {
  static const T x[8] = {0, 3, 0, 3, 0, 3, 0, 3}, levels[4] = {1, 2, 3, 0};
  for (const TriggerKind<T>& k : trigger_kinds(levels, 0, 0, 0)) {
    auto fx = std::make_shared<Fixture>();
    if (!k.state_size) continue;
    rows.push_back({k.name, -3, [=] { fx->position = 0; }, [=, call = k.call] {
                      return call(x, 8, &fx->position, &fx->state);
                    }, [=] {
                      const std::string r = std::to_string(fx->position) + (fx->state ? " with state" : "");
                      return morvex_m_state_free(&fx->state), r;
                    }, [=] { return fx->state == nullptr; }});
  }
}

TEST(AllocSweep, Triggers) {
  morvex_m_init();
  std::vector<Row> rows;
  trigger_rows<int16_t>(rows), trigger_rows<uint8_t>(rows), trigger_rows<uint16_t>(rows);
  trigger_rows<float>(rows), trigger_rows<double>(rows);
  sweep("triggers", rows);
  morvex_m_fini();
}

// Split over 8 chunks whatever the machine: the record and handle arrays
// and seven tasks may fail, and every element must still be computed once.
// Four other windows first make the calling thread drop the weights it kept
// of the window under test, so that it computes them and keeps them anew.
template <class T>
void generator_rows(std::vector<Row>& rows, std::initializer_list<int32_t (*)(T*, double*)> fns) {
  for (const auto f : fns) {
    auto fx = std::make_shared<Fixture>();
    auto y = std::make_shared<std::vector<T>>();
    rows.push_back({"generator " + std::to_string(rows.size()), 0, [=] {
                      y->assign(1000, T(1)), fx->phase = 0.25;
                      for (uint64_t n = 2; n <= 5; ++n) morvex_m_window_hanning_f64(fx->d.data(), fx->d.data(), n, 0);
                    }, [=] { return f(y->data(), &fx->phase); },
                    [=] { return bytes(y->data(), y->size()) + bytes(&fx->phase, 1); }});
  }
}
#define SWEEP_WAVE(S, K, ...) [](auto* y, double* ph) { return morvex_m_waveform_##K##_##S(y, 1000, __VA_ARGS__); }
#define SWEEP_WAVEFORMS(T, S)                                                                                  \
  generator_rows<T>(rows, {SWEEP_WAVE(S, cosine, ph, 37.0, 100.0, 0.0, 0.3, T(0), T(90)),                      \
                           SWEEP_WAVE(S, triangle, ph, 37.0, 100.0, 0.0, 0.3, T(0), T(90)),                    \
                           SWEEP_WAVE(S, square, 37.0, T(1), T(9), 0.3, ph)})
#define SWEEP_WINDOW(S, NAME) [](auto* y, double*) { return morvex_m_window_##NAME##_##S(y, y, 1000, 1); }
#define SWEEP_WINDOWS(T, S)                                                                                    \
  generator_rows<T>(rows, {SWEEP_WINDOW(S, hanning), SWEEP_WINDOW(S, hamming), SWEEP_WINDOW(S, blackman),     \
                           SWEEP_WINDOW(S, blackmanharris), SWEEP_WINDOW(S, nuttall),                          \
                           SWEEP_WINDOW(S, blackmannuttall), SWEEP_WINDOW(S, flattop), SWEEP_WINDOW(S, parzen), \
                           SWEEP_WINDOW(S, bartlett), SWEEP_WINDOW(S, welch)})

TEST(AllocSweep, PoolSplitGeneratorsAndKeptWindows) {
  morvex_m_init();
  frame::set_split_thread_count(8);
  std::vector<Row> rows;
  SWEEP_WAVEFORMS(int16_t, i16), SWEEP_WAVEFORMS(uint8_t, u8), SWEEP_WAVEFORMS(uint16_t, u16);
  SWEEP_WAVEFORMS(float, f32), SWEEP_WAVEFORMS(double, f64), SWEEP_WINDOWS(float, f32), SWEEP_WINDOWS(double, f64);
  sweep("pool-split generators and kept windows", rows);
  frame::set_split_thread_count(0);
  morvex_m_fini();
}

}  // namespace
}  // namespace morvex::test

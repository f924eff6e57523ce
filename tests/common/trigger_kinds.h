// The 14 trigger kinds of one element type with their levels and time
// condition bound, and what a caller must know to walk each: the fuzzer and
// the allocation sweep go through all 70 exports this way.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "morvex-m.h"

namespace morvex::test {

template <class T>
struct TriggerKind {
  const char* name;
  std::function<int32_t(const T*, uint64_t, uint64_t*, void**)> call;
  size_t state_size;     // bytes of the state block; 0: no state
  bool steps_past;       // fires on the sample it stands on: the caller steps past a hit
  bool split_invariant;  // block boundaries never change the hits
  bool nan_may_fail;     // "Failed" on a sample that NaN levels cannot classify
};

template <class T>
std::vector<TriggerKind<T>> trigger_kinds(const T (&l)[4], uint32_t mode, uint32_t t1, uint32_t t2);

#define MORVEX_TEST_TRIGGER_KINDS(T, S)                                                                          \
  template <>                                                                                                    \
  inline std::vector<TriggerKind<T>> trigger_kinds<T>(const T (&l)[4], uint32_t mode, uint32_t t1, uint32_t t2) { \
    const T a = l[0], b = l[1], c = l[2], d = l[3];                                                              \
    using Timed = int32_t (*)(const T*, uint64_t, T, T, uint32_t, uint32_t, uint32_t, uint64_t*, void**);        \
    auto timed = [&](const char* name, Timed f, size_t size) {                                                   \
      return TriggerKind<T>{name, [=](auto x, auto n, auto p, auto s) { return f(x, n, a, b, mode, t1, t2, p, s); }, \
                            size, false, true, false};                                                           \
    };                                                                                                           \
    return {                                                                                                     \
        {"edge_rising", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_edge_rising_##S(x, n, a, b, p, s); }, \
         4, false, true, false},                                                                                 \
        {"edge_falling", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_edge_falling_##S(x, n, a, b, p, s); }, \
         4, false, true, false},                                                                                 \
        {"edge_any", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_edge_any_##S(x, n, a, b, c, p, s); }, \
         4, false, true, false},                                                                                 \
        {"window_inside", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_window_inside_##S(x, n, a, b, p, s); }, \
         4, true, false, false},                                                                                 \
        {"window_outside", [=](auto x, auto n, auto p, void**) { return morvex_m_trigger_window_outside_##S(x, n, a, b, p); }, \
         0, true, true, false},                                                                                  \
        {"window_enter", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_window_enter_##S(x, n, a, b, c, d, p, s); }, \
         4, false, true, true},                                                                                  \
        {"window_exit", [=](auto x, auto n, auto p, auto s) { return morvex_m_trigger_window_exit_##S(x, n, a, b, c, d, p, s); }, \
         4, false, false, true},                                                                                 \
        timed("interval_positive", morvex_m_trigger_interval_positive_##S, 16),                                  \
        timed("interval_negative", morvex_m_trigger_interval_negative_##S, 16),                                  \
        timed("pulse_width_positive", morvex_m_trigger_pulse_width_positive_##S, 16),                            \
        timed("pulse_width_negative", morvex_m_trigger_pulse_width_negative_##S, 16),                            \
        timed("runt_pulse_positive", morvex_m_trigger_runt_pulse_positive_##S, 24),                              \
        timed("runt_pulse_negative", morvex_m_trigger_runt_pulse_negative_##S, 24),                              \
        timed("runt_pulse_any", morvex_m_trigger_runt_pulse_any_##S, 24)};                                       \
  }
MORVEX_TEST_TRIGGER_KINDS(int16_t, i16)
MORVEX_TEST_TRIGGER_KINDS(uint8_t, u8)
MORVEX_TEST_TRIGGER_KINDS(uint16_t, u16)
MORVEX_TEST_TRIGGER_KINDS(float, f32)
MORVEX_TEST_TRIGGER_KINDS(double, f64)
#undef MORVEX_TEST_TRIGGER_KINDS

}  // namespace morvex::test

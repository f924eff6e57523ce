// SPDX-License-Identifier: MIT
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

#define MORVEX_TEST_CALL(...) [=](auto x, auto n, auto p, [[maybe_unused]] auto s) { return __VA_ARGS__; }
#define MORVEX_TEST_TIMED(KIND, S, SIZE) \
  {#KIND, MORVEX_TEST_CALL(morvex_m_trigger_##KIND##_##S(x, n, a, b, mode, t1, t2, p, s)), SIZE, false, true, false}
#define MORVEX_TEST_TRIGGER_KINDS(T, S)                                                                           \
  template <>                                                                                                     \
  inline std::vector<TriggerKind<T>> trigger_kinds<T>(const T (&l)[4], uint32_t mode, uint32_t t1, uint32_t t2) { \
    const T a = l[0], b = l[1], c = l[2], d = l[3];                                                               \
    return {{"edge_rising", MORVEX_TEST_CALL(morvex_m_trigger_edge_rising_##S(x, n, a, b, p, s)), 4, 0, 1, 0},    \
            {"edge_falling", MORVEX_TEST_CALL(morvex_m_trigger_edge_falling_##S(x, n, a, b, p, s)), 4, 0, 1, 0},  \
            {"edge_any", MORVEX_TEST_CALL(morvex_m_trigger_edge_any_##S(x, n, a, b, c, p, s)), 4, 0, 1, 0},       \
            {"window_inside", MORVEX_TEST_CALL(morvex_m_trigger_window_inside_##S(x, n, a, b, p, s)), 4, 1, 0, 0}, \
            {"window_outside", MORVEX_TEST_CALL(morvex_m_trigger_window_outside_##S(x, n, a, b, p)), 0, 1, 1, 0},  \
            {"window_enter", MORVEX_TEST_CALL(morvex_m_trigger_window_enter_##S(x, n, a, b, c, d, p, s)), 4, 0, 1, 1}, \
            {"window_exit", MORVEX_TEST_CALL(morvex_m_trigger_window_exit_##S(x, n, a, b, c, d, p, s)), 4, 0, 0, 1}, \
            MORVEX_TEST_TIMED(interval_positive, S, 16), MORVEX_TEST_TIMED(interval_negative, S, 16),            \
            MORVEX_TEST_TIMED(pulse_width_positive, S, 16), MORVEX_TEST_TIMED(pulse_width_negative, S, 16),      \
            MORVEX_TEST_TIMED(runt_pulse_positive, S, 24), MORVEX_TEST_TIMED(runt_pulse_negative, S, 24),        \
            MORVEX_TEST_TIMED(runt_pulse_any, S, 24)};                                                            \
  }
MORVEX_TEST_TRIGGER_KINDS(int16_t, i16)
MORVEX_TEST_TRIGGER_KINDS(uint8_t, u8)
MORVEX_TEST_TRIGGER_KINDS(uint16_t, u16)
MORVEX_TEST_TRIGGER_KINDS(float, f32)
MORVEX_TEST_TRIGGER_KINDS(double, f64)
#undef MORVEX_TEST_TRIGGER_KINDS
#undef MORVEX_TEST_TIMED
#undef MORVEX_TEST_CALL

}  // namespace morvex::test

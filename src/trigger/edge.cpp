// SPDX-License-Identifier: MIT
// Edge triggers: the exports, each one call of a machine of trigger/edge.h
// under the common calling scheme.
#include "trigger/edge.h"

#include <cstdint>

#include "morvex-m/trigger.h"
#include "trigger/machine.h"

namespace morvex::trigger {

template <class T>
int32_t edge_rising(const T* data, uint64_t count, T arm, T level, uint64_t* position, void** state) {
  return trigger_call<StateWord>(data, count, position, state,
                                 [&](Scan<T>& s, StateWord& w) { return edge_rising_machine(s, arm, level, w); });
}

template <class T>
int32_t edge_falling(const T* data, uint64_t count, T arm, T level, uint64_t* position, void** state) {
  return trigger_call<StateWord>(data, count, position, state,
                                 [&](Scan<T>& s, StateWord& w) { return edge_falling_machine(s, arm, level, w); });
}

template <class T>
int32_t edge_any(const T* data, uint64_t count, T arm_high, T arm_low, T level, uint64_t* position, void** state) {
  return trigger_call<StateWord>(data, count, position, state, [&](Scan<T>& s, StateWord& w) {
    return edge_any_machine(s, arm_high, arm_low, level, w);
  });
}

}  // namespace morvex::trigger

extern "C" {

#define MORVEX_TRIGGER_EDGE_EXPORT(T, S)                                                                      \
  int32_t morvex_m_trigger_edge_rising_##S(const T* d, uint64_t n, T arm, T level, uint64_t* p, void** s) {   \
    return morvex::trigger::edge_rising(d, n, arm, level, p, s);                                              \
  }                                                                                                           \
  int32_t morvex_m_trigger_edge_falling_##S(const T* d, uint64_t n, T arm, T level, uint64_t* p, void** s) {  \
    return morvex::trigger::edge_falling(d, n, arm, level, p, s);                                             \
  }                                                                                                           \
  int32_t morvex_m_trigger_edge_any_##S(const T* d, uint64_t n, T arm_high, T arm_low, T level, uint64_t* p, \
                                        void** s) {                                                           \
    return morvex::trigger::edge_any(d, n, arm_high, arm_low, level, p, s);                                   \
  }
MORVEX_TRIGGER_EDGE_EXPORT(int16_t, i16)
MORVEX_TRIGGER_EDGE_EXPORT(uint8_t, u8)
MORVEX_TRIGGER_EDGE_EXPORT(uint16_t, u16)
MORVEX_TRIGGER_EDGE_EXPORT(float, f32)
MORVEX_TRIGGER_EDGE_EXPORT(double, f64)
#undef MORVEX_TRIGGER_EDGE_EXPORT

}  // extern "C"

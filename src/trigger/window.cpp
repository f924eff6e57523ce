// SPDX-License-Identifier: MIT
// Window triggers: the signal inside or outside a band, or entering or
// leaving it with hysteresis.
#include <cstdint>

#include "morvex-m/trigger.h"
#include "reduce/search.h"
#include "trigger/machine.h"

namespace morvex::trigger {
namespace {

// Inside [low, high]. State 0 judges the current sample alone and fires on
// it when it is in the band; otherwise it remembers the side (1 above, 2
// below, which includes NaN) and waits for the return across that side's
// bound. The far bound is deliberately not checked: a jump across the whole
// band in one sample is a pass through it and fires.
template <class T>
Outcome inside_machine(Scan<T>& s, T high, T low, uint32_t& state) {
  for (;;) {
    switch (state) {
      case 0: {
        const T x = s.sample();
        if (low <= x && x <= high) return Outcome::kFired;
        state = x > high ? 1 : 2;
        break;
      }
      case 1:
        if (!s.lte(high)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      case 2:
        if (!s.gte(low)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      default:
        return Outcome::kCorrupt;
    }
  }
}

// Entering [low, high] from beyond the arming levels: 0 waits for the signal
// strictly outside [low_arm, high_arm]; from above, 1 waits for x <= high_arm
// and 2 fires on x <= high; from below, 3 waits for x >= low_arm and 4 fires
// on x >= low.
template <class T>
Outcome enter_machine(Scan<T>& s, T high_arm, T high, T low_arm, T low, uint32_t& state) {
  for (;;) {
    switch (state) {
      case 0: {
        if (!s.out(high_arm, low_arm)) return Outcome::kStopped;
        const T x = s.sample();
        if (x > high_arm)
          state = 1;
        else if (x < low_arm)
          state = 3;
        else
          return s.fail();
        break;
      }
      case 1:
        if (!s.lte(high_arm)) return Outcome::kStopped;
        state = 2;
        break;
      case 2:
        if (!s.lte(high)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      case 3:
        if (!s.gte(low_arm)) return Outcome::kStopped;
        state = 4;
        break;
      case 4:
        if (!s.gte(low)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      default:
        return Outcome::kCorrupt;
    }
  }
}

// Leaving [low, high] after having been inside the arming band [low_arm,
// high_arm]: 0 arms at once (3) when the current sample is in the arming
// band, else waits for the signal outside [low, high] and then for its return
// into the arming band (1 from above, 2 from below); 3 fires on the first
// sample outside [low, high]. So a signal that starts between the two bands
// must leave and come back before its exit counts.
//
// Whatever state 0 ends on, the next step starts one sample later, so no
// sample both arms and fires. With the arming band inside the trigger band
// that sample could not meet the next step anyway; with an arming band that
// reaches past the trigger band it would fire at once, and again at every
// call that asks for the next hit from there.
template <class T>
Outcome exit_machine(Scan<T>& s, T high_arm, T high, T low_arm, T low, uint32_t& state) {
  for (;;) {
    switch (state) {
      case 0: {
        const T now = s.sample();
        if (low_arm <= now && now <= high_arm) {
          state = 3;
        } else {
          if (!s.out(high, low)) return Outcome::kStopped;
          const T x = s.sample();
          if (x > high)
            state = 1;
          else if (x < low)
            state = 2;
          else
            return s.fail();
        }
        s.step_past();
        break;
      }
      case 1:
        if (!s.lte(high_arm)) return Outcome::kStopped;
        state = 3;
        break;
      case 2:
        if (!s.gte(low_arm)) return Outcome::kStopped;
        state = 3;
        break;
      case 3:
        if (!s.out(high, low)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      default:
        return Outcome::kCorrupt;
    }
  }
}

}  // namespace

template <class T>
int32_t window_inside(const T* data, uint64_t count, T high, T low, uint64_t* position, void** state) {
  return trigger_call<StateWord>(data, count, position, state,
                                 [&](Scan<T>& s, StateWord& w) { return inside_machine(s, high, low, w); });
}

// Stateless: the outside condition is one search, and a caller that wants
// the next sample outside simply starts after the last one.
template <class T>
int32_t window_outside(const T* data, uint64_t count, T high, T low, uint64_t* position) {
  return reduce::index_out(data, count, high, low, position);
}

template <class T>
int32_t window_enter(const T* data, uint64_t count, T high_arm, T high, T low_arm, T low, uint64_t* position,
                     void** state) {
  return trigger_call<StateWord>(data, count, position, state, [&](Scan<T>& s, StateWord& w) {
    return enter_machine(s, high_arm, high, low_arm, low, w);
  });
}

template <class T>
int32_t window_exit(const T* data, uint64_t count, T high_arm, T high, T low_arm, T low, uint64_t* position,
                    void** state) {
  return trigger_call<StateWord>(data, count, position, state, [&](Scan<T>& s, StateWord& w) {
    return exit_machine(s, high_arm, high, low_arm, low, w);
  });
}

}  // namespace morvex::trigger

extern "C" {

#define MORVEX_TRIGGER_WINDOW_EXPORT(T, S)                                                                     \
  int32_t morvex_m_trigger_window_inside_##S(const T* d, uint64_t n, T high, T low, uint64_t* p, void** s) {   \
    return morvex::trigger::window_inside(d, n, high, low, p, s);                                              \
  }                                                                                                            \
  int32_t morvex_m_trigger_window_outside_##S(const T* d, uint64_t n, T high, T low, uint64_t* p) {            \
    return morvex::trigger::window_outside(d, n, high, low, p);                                                \
  }                                                                                                            \
  int32_t morvex_m_trigger_window_enter_##S(const T* d, uint64_t n, T high_arm, T high, T low_arm, T low,      \
                                            uint64_t* p, void** s) {                                           \
    return morvex::trigger::window_enter(d, n, high_arm, high, low_arm, low, p, s);                            \
  }                                                                                                            \
  int32_t morvex_m_trigger_window_exit_##S(const T* d, uint64_t n, T high_arm, T high, T low_arm, T low,       \
                                           uint64_t* p, void** s) {                                            \
    return morvex::trigger::window_exit(d, n, high_arm, high, low_arm, low, p, s);                             \
  }
MORVEX_TRIGGER_WINDOW_EXPORT(int16_t, i16)
MORVEX_TRIGGER_WINDOW_EXPORT(uint8_t, u8)
MORVEX_TRIGGER_WINDOW_EXPORT(uint16_t, u16)
MORVEX_TRIGGER_WINDOW_EXPORT(float, f32)
MORVEX_TRIGGER_WINDOW_EXPORT(double, f64)
#undef MORVEX_TRIGGER_WINDOW_EXPORT

}  // extern "C"

// SPDX-License-Identifier: MIT
// The edge machines. They fire on a crossing of `level` in one direction, but
// only once the signal has been strictly beyond the arming level and come back
// to it: that hysteresis keeps noise around the level from firing again and
// again. The interval triggers count time between the edges of these same
// machines.
//
// The middle state (back at the arming level, not yet at the trigger level)
// looks redundant when the trigger level lies beyond the arming level, but it
// is what lets a block end between the return across the arming level and the
// crossing of the trigger level without losing track.
#pragma once

#include <cstdint>

#include "trigger/machine.h"

namespace morvex::trigger {

// Rising: 0 wait for x < arm; 1 wait for x >= arm; 2 wait for x >= level: fire.
template <class T>
Outcome edge_rising_machine(Scan<T>& s, T arm, T level, uint32_t& state) {
  switch (state) {
    case 0:
      if (!s.lt(arm)) return Outcome::kStopped;
      state = 1;
      [[fallthrough]];
    case 1:
      if (!s.gte(arm)) return Outcome::kStopped;
      state = 2;
      [[fallthrough]];
    case 2:
      if (!s.gte(level)) return Outcome::kStopped;
      state = 0;
      return Outcome::kFired;
    default:
      return Outcome::kCorrupt;
  }
}

// Falling, the mirror: 0 wait for x > arm; 1 for x <= arm; 2 for x <= level.
template <class T>
Outcome edge_falling_machine(Scan<T>& s, T arm, T level, uint32_t& state) {
  switch (state) {
    case 0:
      if (!s.gt(arm)) return Outcome::kStopped;
      state = 1;
      [[fallthrough]];
    case 1:
      if (!s.lte(arm)) return Outcome::kStopped;
      state = 2;
      [[fallthrough]];
    case 2:
      if (!s.lte(level)) return Outcome::kStopped;
      state = 0;
      return Outcome::kFired;
    default:
      return Outcome::kCorrupt;
  }
}

// Either direction: 0 wait for the signal to leave the arming band [low,
// high] (strictly); at or above high it is armed to fall (1), else to rise
// (2). 1 waits for x <= high (3), 2 for x >= low (4); 3 fires on x <= level,
// 4 on x >= level.
//
// Steps 1 and 2 start one sample after the one that left the band. With low
// at or below high that sample cannot meet them (it lies beyond the bound it
// would have to return to), so nothing changes; with low above high a sample
// at high and below low would otherwise leave, return and fire all at once,
// and a caller asking for the next hit from there would get it back for ever.
template <class T>
Outcome edge_any_machine(Scan<T>& s, T arm_high, T arm_low, T level, uint32_t& state) {
  for (;;) {
    switch (state) {
      case 0:
        if (!s.out(arm_high, arm_low)) return Outcome::kStopped;
        state = s.sample() >= arm_high ? 1 : 2;
        s.step_past();
        break;
      case 1:
        if (!s.lte(arm_high)) return Outcome::kStopped;
        state = 3;
        break;
      case 2:
        if (!s.gte(arm_low)) return Outcome::kStopped;
        state = 4;
        break;
      case 3:
        if (!s.lte(level)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      case 4:
        if (!s.gte(level)) return Outcome::kStopped;
        state = 0;
        return Outcome::kFired;
      default:
        return Outcome::kCorrupt;
    }
  }
}

}  // namespace morvex::trigger

// SPDX-License-Identifier: MIT
// Time-qualified triggers: the interval between successive edges, the width
// of pulses and the width of runt pulses, each fired only when the measured
// time meets a TimeCondition. They remember a sample index across blocks,
// rebased at the end of every block that runs out.
#include <cstdint>

#include "morvex-m/trigger.h"
#include "trigger/edge.h"
#include "trigger/machine.h"

namespace morvex::trigger {
namespace {

// Runs a time-qualified machine and, when it ran off the block, rebases the
// remembered index so that it names the same sample in the next block.
template <class Record, class T, class Machine>
int32_t timed_call(const T* data, uint64_t count, uint64_t* position, void** handle, Machine machine) {
  return trigger_call<Record>(data, count, position, handle, [&](Scan<T>& s, Record& r) {
    const Outcome outcome = machine(s, r);
    if (outcome == Outcome::kStopped && s.ran_off()) rebase(r.index, count);
    return outcome;
  });
}

// Edge to edge, on the edges of a rising (positive: arm at lower, fire at
// upper) or falling (negative: arm at upper, fire at lower) edge machine kept
// in the record's state word. The first edge only starts the clock; every
// later edge is timed from the one before and restarts the clock.
template <bool kPositive, class T>
Outcome interval_machine(Scan<T>& s, T upper, T lower, const TimeCondition& when, TimedRecord& r) {
  if (r.state > 2 || r.phase > 1) return Outcome::kCorrupt;
  for (;;) {
    const Outcome edge = kPositive ? edge_rising_machine(s, lower, upper, r.state)
                                   : edge_falling_machine(s, upper, lower, r.state);
    if (edge != Outcome::kFired) return edge;
    const uint64_t at = s.index();
    const bool first = r.phase == 0;
    const uint32_t t = elapsed(r.index, at);
    r.phase = 1;
    r.index = int64_t(at);
    if (!first && when.fires(t)) return Outcome::kFired;
  }
}

// Pulse width. Positive: 0 waits for the signal at or below lower; 1 for the
// pulse start at or above upper; 2 for the pulse end at or below lower, which
// is timed from the start and leaves the machine waiting for the next pulse
// (1). Negative is the mirror. The trigger sample is the end of the pulse.
//
// The end is searched from the sample after the start, so a pulse is at
// least one sample wide. With lower below upper the start sample cannot end
// the pulse anyway; with equal or inverted levels it could, and a pulse that
// fails the time condition would then start and end on that one sample for
// ever, while one that passes would be reported again at every next-hit call.
template <bool kPositive, class T>
Outcome pulse_width_machine(Scan<T>& s, T upper, T lower, const TimeCondition& when, TimedRecord& r) {
  // Toward the resting side of the pulse, and toward its peak.
  auto rest = [&] { return kPositive ? s.lte(lower) : s.gte(upper); };
  auto peak = [&] { return kPositive ? s.gte(upper) : s.lte(lower); };
  for (;;) {
    switch (r.state) {
      case 0:
        if (!rest()) return Outcome::kStopped;
        r.state = 1;
        break;
      case 1:
        if (!peak()) return Outcome::kStopped;
        r.state = 2;
        r.index = int64_t(s.index());
        s.step_past();
        break;
      case 2:
        if (!rest()) return Outcome::kStopped;
        r.state = 1;
        if (when.fires(elapsed(r.index, s.index()))) return Outcome::kFired;
        break;
      default:
        return Outcome::kCorrupt;
    }
  }
}

enum class RuntKind { kPositive, kNegative, kAny };

// Runt pulses against the band [lower, upper]. The machine tracks where the
// signal is (main: 1 inside, 2 above, 3 below) and from which side it last
// entered the band (side). Leaving the band on the side it came from is a
// runt: back up after coming from above is a negative runt, back down after
// coming from below a positive one; its time runs from the entry into the
// band to the leaving sample. Crossing the whole band, whether through it or
// in a single jump, is no runt.
template <RuntKind kKind, class T>
Outcome runt_machine(Scan<T>& s, T upper, T lower, const TimeCondition& when, RuntRecord& r) {
  if (r.main > 3 || r.sub > 2) return Outcome::kCorrupt;
  for (;;) {
    switch (r.main) {
      case 0:  // where is the signal? wait until it is clearly outside
        if (!s.out(upper, lower)) return Outcome::kStopped;
        r.main = s.sample() < lower ? 3 : 2;
        r.side = 0;
        r.index = int64_t(s.index());
        break;
      case 2:  // above: the first sample back at or below upper
        if (!s.lte(upper)) return Outcome::kStopped;
        r.side = 2;
        if (s.sample() >= lower) {
          r.main = 1;
          r.index = int64_t(s.index());
        } else {
          r.main = 3;  // jumped across the whole band
        }
        break;
      case 3:  // below: the first sample back at or above lower
        if (!s.gte(lower)) return Outcome::kStopped;
        if (s.sample() <= upper) {
          r.side = 3;
          r.main = 1;
          r.index = int64_t(s.index());
        } else {
          r.main = 2;
        }
        break;
      case 1: {  // inside: wait for the signal to leave
        if (!s.out(upper, lower)) return Outcome::kStopped;
        const bool above = s.sample() > upper;
        const bool negative = above && r.side == 2, positive = !above && r.side == 3;
        r.main = above ? 2 : 3;
        if ((negative || positive) && when.fires(elapsed(r.index, s.index()))) {
          r.side = 1;
          const bool wanted = kKind == RuntKind::kAny || (negative && kKind == RuntKind::kNegative) ||
                              (positive && kKind == RuntKind::kPositive);
          if (wanted) return Outcome::kFired;
        }
        break;
      }
      default:
        return Outcome::kCorrupt;
    }
  }
}

}  // namespace

template <class T>
int32_t interval_positive(const T* d, uint64_t n, T upper, T lower, TimeCondition when, uint64_t* p, void** s) {
  return timed_call<TimedRecord>(d, n, p, s, [&](Scan<T>& scan, TimedRecord& r) {
    return interval_machine<true>(scan, upper, lower, when, r);
  });
}

template <class T>
int32_t interval_negative(const T* d, uint64_t n, T upper, T lower, TimeCondition when, uint64_t* p, void** s) {
  return timed_call<TimedRecord>(d, n, p, s, [&](Scan<T>& scan, TimedRecord& r) {
    return interval_machine<false>(scan, upper, lower, when, r);
  });
}

template <class T>
int32_t pulse_width_positive(const T* d, uint64_t n, T upper, T lower, TimeCondition when, uint64_t* p,
                             void** s) {
  return timed_call<TimedRecord>(d, n, p, s, [&](Scan<T>& scan, TimedRecord& r) {
    return pulse_width_machine<true>(scan, upper, lower, when, r);
  });
}

template <class T>
int32_t pulse_width_negative(const T* d, uint64_t n, T upper, T lower, TimeCondition when, uint64_t* p,
                             void** s) {
  return timed_call<TimedRecord>(d, n, p, s, [&](Scan<T>& scan, TimedRecord& r) {
    return pulse_width_machine<false>(scan, upper, lower, when, r);
  });
}

template <RuntKind kKind, class T>
int32_t runt(const T* d, uint64_t n, T upper, T lower, TimeCondition when, uint64_t* p, void** s) {
  return timed_call<RuntRecord>(d, n, p, s, [&](Scan<T>& scan, RuntRecord& r) {
    return runt_machine<kKind>(scan, upper, lower, when, r);
  });
}

}  // namespace morvex::trigger

extern "C" {

#define MORVEX_TRIGGER_TIMED_EXPORT(NAME, CALL, T, S)                                                        \
  int32_t morvex_m_trigger_##NAME##_##S(const T* d, uint64_t n, T upper, T lower, uint32_t mode, uint32_t t1, \
                                        uint32_t t2, uint64_t* p, void** s) {                                \
    return morvex::trigger::CALL(d, n, upper, lower, morvex::trigger::TimeCondition{mode, t1, t2}, p, s);    \
  }
#define MORVEX_TRIGGER_TIMED_EXPORTS(T, S)                                                      \
  MORVEX_TRIGGER_TIMED_EXPORT(interval_positive, interval_positive, T, S)                       \
  MORVEX_TRIGGER_TIMED_EXPORT(interval_negative, interval_negative, T, S)                       \
  MORVEX_TRIGGER_TIMED_EXPORT(pulse_width_positive, pulse_width_positive, T, S)                 \
  MORVEX_TRIGGER_TIMED_EXPORT(pulse_width_negative, pulse_width_negative, T, S)                 \
  MORVEX_TRIGGER_TIMED_EXPORT(runt_pulse_positive, runt<morvex::trigger::RuntKind::kPositive>, T, S) \
  MORVEX_TRIGGER_TIMED_EXPORT(runt_pulse_negative, runt<morvex::trigger::RuntKind::kNegative>, T, S) \
  MORVEX_TRIGGER_TIMED_EXPORT(runt_pulse_any, runt<morvex::trigger::RuntKind::kAny>, T, S)
MORVEX_TRIGGER_TIMED_EXPORTS(int16_t, i16)
MORVEX_TRIGGER_TIMED_EXPORTS(uint8_t, u8)
MORVEX_TRIGGER_TIMED_EXPORTS(uint16_t, u16)
MORVEX_TRIGGER_TIMED_EXPORTS(float, f32)
MORVEX_TRIGGER_TIMED_EXPORTS(double, f64)
#undef MORVEX_TRIGGER_TIMED_EXPORTS
#undef MORVEX_TRIGGER_TIMED_EXPORT

}  // extern "C"

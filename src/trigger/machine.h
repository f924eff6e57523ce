// SPDX-License-Identifier: MIT
// What every trigger state machine is built from: the state records, the
// calling scheme around a record (allocation on first use, the early return
// for an exhausted block), the forward search steps and the time condition of
// the time-qualified triggers.
//
// Every search step goes through reduce/search.h, so a trigger on u8 or u16
// samples runs the very kernel that the index-search exports choose under the
// current options, and i16, f32 and f64 run the same plain scans as those
// exports. A trigger therefore never disagrees with a hand-written loop of
// index searches, in any kernel configuration.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "morvex-m/base.h"
#include "reduce/search.h"

namespace morvex::trigger {

// ---------------------------------------------------------------- state records
// Each record is allocated zero-filled with calloc by the first call that
// gets a NULL handle and released with free by morvex_m_state_free, so all
// of them are plain, trivially copyable words and 0 means "start".

// Edge and window triggers: the state number alone.
using StateWord = uint32_t;

// Interval and pulse-width triggers. `state` is the edge machine (interval)
// or the pulse machine (pulse width); `phase` tells the interval trigger
// whether it has seen its first edge. `index` is the last edge or the pulse
// start, relative to the current block: it goes negative when a block is
// handed over, which the 32-bit time difference absorbs.
struct TimedRecord {
  uint32_t state;
  uint32_t phase;
  int64_t index;
};

// Runt triggers. `side` tells how the signal entered the band (2 from above,
// 3 from below, 1 right after a runt, 0 not yet known); `main` where the
// signal is (0 unknown, 1 inside the band, 2 above it, 3 below it); `sub`
// belongs to the return into the band, which this implementation completes in
// one search, so it stays 0 but is still checked for a sane value; `index` is
// where the signal entered the band, rebased per block like TimedRecord's.
struct RuntRecord {
  uint32_t side;
  uint32_t main;
  uint64_t sub;
  int64_t index;
};

static_assert(sizeof(TimedRecord) == 16 && sizeof(RuntRecord) == 24, "state records are part of the interface");

// Moves a stored sample index from one block to the next: the block of
// `count` samples is over, so the same sample now lies `count` earlier. The
// arithmetic wraps as unsigned on purpose (an index far in the past simply
// keeps wrapping; only its low 32 bits ever matter).
inline void rebase(int64_t& index, uint64_t count) { index = int64_t(uint64_t(index) - count); }

// ---------------------------------------------------------------- calling scheme
// A NULL handle pointer is refused (the trigger would have nowhere to keep
// its state); a NULL handle gets a fresh zero-filled record, or -3 with the
// handle left NULL when there is no memory; a start at or past the end of the
// block returns 0 without touching anything else. Otherwise `run` gets the
// record.
template <class Record, class Run>
inline int32_t with_state(void** handle, uint64_t count, const uint64_t* position, Run run) {
  if (!handle) return MORVEX_M_NULLPTR;
  if (!*handle) {
    *handle = std::calloc(1, sizeof(Record));
    if (!*handle) return MORVEX_M_OUT_OF_MEMORY;
  }
  if (*position >= count) return MORVEX_M_SUCCESS;
  return run(*static_cast<Record*>(*handle));
}

// ---------------------------------------------------------------- search steps
enum class Outcome {
  kFired,    // the current sample is the trigger
  kStopped,  // the block ran out, or a step failed (see Scan::status)
  kCorrupt,  // the stored state is outside the machine's range: nothing was done
};

// A forward scan through one block. Each step searches from the current
// sample (inclusive: the step that follows a hit starts on that same sample,
// unless the machine steps past it) and reports whether it found one before
// the end of the block.
template <class T>
class Scan {
 public:
  Scan(const T* data, uint64_t count, uint64_t start) : x_(data), n_(count), i_(start) {}

  bool lt(T v) { return found(reduce::index_lt(x_, n_, v, &i_)); }
  bool lte(T v) { return found(reduce::index_lte(x_, n_, v, &i_)); }
  bool gt(T v) { return found(reduce::index_gt(x_, n_, v, &i_)); }
  bool gte(T v) { return found(reduce::index_gte(x_, n_, v, &i_)); }
  // x < low or x > high (ordered: NaN is never outside).
  bool out(T high, T low) { return found(reduce::index_out(x_, n_, high, low, &i_)); }

  // Stops the machine at the current sample with "Failed": for a found
  // sample that the machine cannot classify (only NaN levels allow one).
  Outcome fail() {
    status_ = MORVEX_M_FAILED;
    return Outcome::kStopped;
  }

  // Moves past the sample just found, so that the next step cannot be met
  // by that same sample. Only the progress rules of the machines use it (see
  // edge_any_machine, the pulse width and window exit): with levels in their
  // usual order the next step would fail on that sample anyway.
  void step_past() { ++i_; }

  T sample() const { return x_[i_]; }
  uint64_t index() const { return i_; }
  int32_t status() const { return status_; }
  // True when the scan stopped because the block is exhausted.
  bool ran_off() const { return status_ == MORVEX_M_SUCCESS && i_ >= n_; }

  // Ends a call that fired or stopped: position is the trigger sample, the
  // count, or wherever a failing step left the scan.
  int32_t finish(uint64_t* position) const {
    *position = i_;
    return status_;
  }

 private:
  bool found(int32_t status) {
    status_ = status;
    return status == MORVEX_M_SUCCESS && i_ < n_;
  }

  const T* x_;
  uint64_t n_;
  uint64_t i_;
  int32_t status_ = MORVEX_M_SUCCESS;
};

// Runs a machine over the block from *position and applies the result
// convention: fired or stopped, position is where the scan ended; a corrupt
// state changes nothing and fails.
template <class T, class Machine>
inline int32_t run_machine(const T* data, uint64_t count, uint64_t* position, Machine machine) {
  Scan<T> scan(data, count, *position);
  if (machine(scan) == Outcome::kCorrupt) return MORVEX_M_FAILED;
  return scan.finish(position);
}

// The whole of a stateful trigger call: the calling scheme, then `machine`
// (Outcome(Scan<T>&, Record&)) over the block.
template <class Record, class T, class Machine>
inline int32_t trigger_call(const T* data, uint64_t count, uint64_t* position, void** handle, Machine machine) {
  return with_state<Record>(handle, count, position, [&](Record& record) {
    return run_machine(data, count, position, [&](Scan<T>& s) { return machine(s, record); });
  });
}

// ---------------------------------------------------------------- time condition
// Whether a measured time t (samples, as a 32-bit difference of indices)
// fires a time-qualified trigger. Modes 5 and above never fire; the triggers
// keep tracking edges and pulses all the same.
struct TimeCondition {
  uint32_t mode, time1, time2;

  bool fires(uint32_t t) const {
    switch (mode) {
      case 0: return true;
      case 1: return t < time1;
      case 2: return t > time1;
      case 3: return time1 <= t && t <= time2;
      case 4: return t < time1 || t > time2;
      default: return false;
    }
  }
};

// The time from a stored index to the current sample, in the 32 bits that
// the time condition compares.
inline uint32_t elapsed(int64_t since, uint64_t now) { return uint32_t(now - uint64_t(since)); }

}  // namespace morvex::trigger

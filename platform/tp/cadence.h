// SPDX-License-Identifier: MIT
// The cadence of the splits a program submits, as the workers see them, and
// when an idle worker should be back for the next one.
//
// A program that splits at a steady pace (a long window on every acquisition
// block, a few milliseconds apart) finds the pool's workers asleep every
// time: a worker woken then starts tens of microseconds late and runs cold,
// and the calling thread does most of the work alone. Knowing the pace, a
// worker sleeps only until a lead before the next split is due and spins
// until a lead after it. The lead is an eighth of the period, which holds the
// spread of the gaps seen on the reference machine between long transforms
// (a few hundred microseconds at 7 ms; a sixteenth missed one split in five,
// and a lead from a running mean of that spread, shorter on average, gained
// less than this one); below 1.6 ms it is 200 us, or a
// quarter of the period when that is less. So the time spun is a quarter of
// the period, up to half of it for periods below 1.6 ms.
#pragma once

#include <atomic>
#include <cstdint>

namespace morvex::tp {

class Cadence {
 public:
  // Tasks seen closer together than kBurst belong to one split; gaps between
  // splits longer than kMaxPeriod are no cadence.
  static constexpr int64_t kBurst = 50'000, kMaxPeriod = 20'000'000, kLeadMin = 200'000;  // ns

  // Where a worker spins for the next split: [from, until). Empty (until
  // at or before now) when there is no cadence or the split is overdue.
  struct Window {
    int64_t from, until;
  };

  static int64_t lead(int64_t period) {
    const int64_t floor = period / 4 < kLeadMin ? period / 4 : kLeadMin;
    return period / 8 > floor ? period / 8 : floor;
  }

  // A worker saw a task at now (steady clock, ns): took it, or was woken for
  // it. Workers may race here: a lost update only spoils one prediction.
  void seen(int64_t now) {
    const int64_t gap = now - last_.exchange(now, std::memory_order_relaxed);
    if (gap >= kBurst) period_.store(gap <= kMaxPeriod ? gap : 0, std::memory_order_relaxed);
  }

  Window next() const {
    const int64_t period = period_.load(std::memory_order_relaxed);
    if (period == 0) return {0, 0};
    const int64_t due = last_.load(std::memory_order_relaxed) + period, l = lead(period);
    return {due - l, due + l};
  }

 private:
  std::atomic<int64_t> last_{0};    // the last task seen; 0 (boot) makes the first gap no cadence
  std::atomic<int64_t> period_{0};  // the last gap between splits; 0: none
};

}  // namespace morvex::tp

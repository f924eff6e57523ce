// SPDX-License-Identifier: MIT
// The windows' multipliers kept from call to call.
//
// A program that windows every acquisition block calls the same window with
// the same length again and again, and every call used to recompute the same
// weights (one to four cosines per element). Each thread that calls a window
// now keeps the multipliers it computed, w(i) * s for the window, length,
// normalisation, parameter and element type of the call, and a later call
// with the same ones only multiplies. The multipliers are the very doubles
// the computing call used, so a reused window gives the same bits.
//
// Weights computed under other processor options are computed afresh, so
// that switching a kernel off takes effect at the next call.
//
// Bounds, per calling thread: at most kEntries windows and kMaxWeights
// multipliers (8 bytes each, 8 MiB) in all; a longer window is computed on
// every call, as before. The least recently used window makes room. The
// store belongs to its thread (no lock, nothing shared) and is freed when
// the thread ends. Allocation failure only means the window is not kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace morvex::generate {

// What identifies a window's multipliers.
struct WeightKey {
  uint32_t window;     // which window (the caller's numbering)
  uint16_t element;    // element size: 4 for f32, 8 for f64
  uint16_t normalize;  // 0 or 1
  uint64_t n;          // length
  uint64_t shape;      // the bits of a shape parameter (0 if none)
  friend bool operator==(const WeightKey&, const WeightKey&) = default;
};

constexpr std::size_t kEntries = 4;
constexpr uint64_t kMaxWeights = uint64_t(1) << 20;

// The result of a lookup: the multipliers ready to use, or else room to
// compute them into (null when the window is not to be kept). A caller that
// fills the room publishes it with weights_filled(key) before returning.
struct WeightLookup {
  const double* ready;
  double* fill;
};

WeightLookup find_weights(const WeightKey& key);
void weights_filled(const WeightKey& key);

// Switches keeping weights on or off for the whole process (benchmarks
// measure the computation this way; on by default). Switching off does not
// drop what threads already keep, it only stops using it.
void set_weight_cache_enabled(bool on);

// What the calling thread keeps now: windows and multipliers (tests).
struct WeightCacheUse {
  std::size_t windows;
  uint64_t weights;
};
WeightCacheUse weight_cache_use();

}  // namespace morvex::generate

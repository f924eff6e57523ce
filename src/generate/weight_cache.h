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
// multipliers (8 bytes each, 8 MiB) in all, plus 2 bytes per mirror pair
// (below; 1 MiB at most); a longer window is computed on every call, as
// before. The least recently used window makes room. The store belongs to
// its thread (no lock, nothing shared) and is freed when the thread ends.
// Allocation failure only means the window is not kept.
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

// Long windows are read from the outer caches or from memory at every call,
// where the multipliers' 8 bytes per element are most of the traffic. Their
// weights are symmetric, and a multiplier and its mirror image, w(n-1-j)
// and w(j), computed apart, differ in their last few bits at most except
// where the weights are tiny or change sign. So windows of kMirrorFrom
// multipliers or more also keep, for each pair j < n/2, the difference of
// the two doubles' bit patterns as a 16-bit integer: the second half of the
// multipliers is then rebuilt, bit for bit, from the first (2 bytes read
// per element there instead of 8). A difference that does not fit is
// stored as kNoMirror, and that element is read from the multipliers.
constexpr uint64_t kMirrorFrom = uint64_t(1) << 16;
constexpr int16_t kNoMirror = INT16_MIN;

// The result of a lookup: the multipliers ready to use (with their mirror
// differences for long windows, else null), or else room to compute them
// into (null when the window is not to be kept). A caller that fills the
// room publishes it with weights_filled(key) before returning.
struct WeightLookup {
  const double* ready;
  const int16_t* mirror;
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

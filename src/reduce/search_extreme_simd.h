// SPDX-License-Identifier: MIT
// Vector extreme searches (index_max, index_min), written once and compiled
// per instruction set by the files that include this header with their own
// lane traits. Internal linkage throughout, so no instantiation leaks from one
// instruction set to another.
//
// The scalar scan keeps the first element strictly better than the running
// best, starting from the caller's bar. The same answer in two steps:
//  1. The extreme M of the elements and the bar, skipping NaN: with the
//     running value as the second operand, the processor's max and min return
//     it whenever the element is a NaN, and the running value never is one
//     (a NaN bar is answered before reading: nothing beats it).
//  2. If M beats the bar, the answer is the first index holding an element
//     equal to M, and the value reported is that element (of two zeros the
//     first one's sign, as the scan keeps it).
// Out of cache, step 2 must not read the record a second time, so the record
// is taken in chunks that stay in the first-level cache. A chunk first
// updates the running extremes; only when one of them has moved past the best
// so far (rare once a few chunks are in) does its horizontal extreme become
// the new best, found in the same chunk while it is still cached. Every lane
// of every accumulator then restarts from the new best, which loses nothing
// (all elements seen are at most as good) and keeps "some lane moved" a plain
// inequality test against the best.
//
// Several accumulators, one per vector of a group, hide the latency of the
// max/min instruction; the remaining whole vectors go to the first one, and
// the last few elements are covered by one vector that ends at count and
// overlaps elements already folded in (harmless for an extreme). So the
// scalar loop only runs when fewer than one vector of elements remains from
// the start.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <utility>

namespace morvex::reduce {
namespace {

// Bytes per chunk: half the smallest first-level data cache of the
// processors these kernels run on, so the search of step 2 reads from it.
constexpr uint64_t kExtremeChunkBytes = 16384;

// How far ahead the kernels for records beyond the caches prefetch.
constexpr uint64_t kExtremePrefetchBytes = 8192;

// acc[g] = fold(vector g from p, acc[g]) for g < H, unrolled so that the
// accumulators stay in registers.
template <class Ops, uint64_t H, class A>
inline void fold_vectors(A& acc, const typename Ops::T* p) {
  [&]<uint64_t... g>(std::integer_sequence<uint64_t, g...>) {
    ((acc[g] = Ops::fold(Ops::load(p + g * Ops::kLanes), acc[g])), ...);
  }(std::make_integer_sequence<uint64_t, H>{});
}

template <class V, uint64_t G>
inline void fill_all(V (&acc)[G], V v) {
  [&]<uint64_t... g>(std::integer_sequence<uint64_t, g...>) {
    ((acc[g] = v), ...);
  }(std::make_integer_sequence<uint64_t, G>{});
}

// Ops provides: T, V, kLanes, kGroup (vectors per group, accumulators),
// kMax (max or min), load (unaligned), set1, fold(x, acc) (the extreme, acc
// returned when x is a NaN), moved(acc, best) (some lane differs from best),
// spread (the extreme of a NaN-free vector's lanes, in every lane),
// equal_bits(v, m) (movemask-style bits of the lanes equal to m, kLaneBits
// per lane; 32 or 64 bits wide).
//
// kFar: for records far beyond the caches, the group loop prefetches
// kExtremePrefetchBytes ahead. The hardware prefetchers alone left the AVX2
// kernel at 0.88 of a bare pass of loads over 16M f32 samples (1.41 ms
// against 1.24); prefetching brings it to the bare pass (1.17 against
// 1.20). In cache the same prefetches cost 9-12%, so short records do
// without; the 8- and 16-bit kernels gained nothing from them at 16M.
template <class Ops, bool kFar = false>
inline uint64_t extreme_vec(const typename Ops::T* x, uint64_t i, uint64_t n, typename Ops::T* value) {
  using T = typename Ops::T;
  using V = typename Ops::V;
  constexpr uint64_t W = Ops::kLanes, G = Ops::kGroup, kChunk = kExtremeChunkBytes / sizeof(T);
  static_assert(kChunk % (G * W) == 0, "chunks hold whole groups");
  static_assert(G == 8, "the tail and the tree below are written for eight accumulators");
  T best = *value;
  if (!(best == best)) return n;  // a NaN bar: no comparison with it holds
  uint64_t at = n;
  if (n - i < W) {
    // Selects rather than a branch, which would mispredict on most records.
    for (; i < n; ++i) {
      const T v = x[i];
      const bool better = Ops::kMax ? v > best : v < best;
      at = better ? i : at;
      best = better ? v : best;
    }
    if (at != n) *value = best;
    return at;
  }
  V bar = Ops::set1(best);
  V acc[G];
  fill_all(acc, bar);
  while (i < n) {
    const uint64_t from = i, end = n - i > kChunk ? i + kChunk : n;
    for (; end - i >= G * W; i += G * W) {
      if constexpr (kFar) {
        const char* ahead = reinterpret_cast<const char*>(x + i) + kExtremePrefetchBytes;
        for (uint64_t b = 0; b < G * W * sizeof(T); b += 64) _mm_prefetch(ahead + b, _MM_HINT_T0);
      }
      fold_vectors<Ops, G>(acc, x + i);
    }
    // Fewer than G vectors left: halves of a group, each vector still on an
    // accumulator of its own.
    if (end - i >= 4 * W) fold_vectors<Ops, 4>(acc, x + i), i += 4 * W;
    if (end - i >= 2 * W) fold_vectors<Ops, 2>(acc, x + i), i += 2 * W;
    if (end - i >= W) fold_vectors<Ops, 1>(acc, x + i), i += W;
    // The last chunk may hold fewer than W elements; its vector starts in the
    // previous chunk, still at or after the start.
    const uint64_t last = end - W;
    if (i < end) fold_vectors<Ops, 1>(acc, x + last), i = end;
    // A tree over the accumulators (none holds a NaN, so any order will do).
    const V all = Ops::fold(Ops::fold(Ops::fold(acc[0], acc[1]), Ops::fold(acc[2], acc[3])),
                            Ops::fold(Ops::fold(acc[4], acc[5]), Ops::fold(acc[6], acc[7])));
    if (!Ops::moved(all, bar)) continue;
    // Everything before this chunk is at most as good as best, so the new
    // extreme lies in it (or in the overlapping vector's part of it): four
    // vectors tested at a time, then one at a time over the rest.
    const V below = bar;
    bar = Ops::spread(all);
    uint64_t j = from < last ? from : last;
    uint64_t hit = n;
    auto lane = [](uint64_t bits) { return uint64_t(__builtin_ctzll(bits)) / Ops::kLaneBits; };
    // Groups of four vectors without it are first passed over with one
    // compare each: the group folded onto the old bar (which the new extreme
    // beats) holds the new extreme in some lane exactly when an element of
    // the group equals it, a NaN element leaving the fold's lane as it was.
    // The group that has it, and always the last four vectors or more, are
    // then searched vector by vector, so short blocks go straight there. A
    // compare per vector had been this step's limit: an extreme late in
    // 4096 samples took f32 77 ns, f64 121, u16 44, i16 33; now 64, 98, 33, 26.
    for (; end - j >= 8 * W; j += 4 * W) {
      const V g = Ops::fold(Ops::fold(Ops::load(x + j + 3 * W), Ops::fold(Ops::load(x + j + 2 * W), below)),
                            Ops::fold(Ops::load(x + j + W), Ops::fold(Ops::load(x + j), below)));
      if (Ops::equal_bits(g, bar)) break;
    }
    for (; end - j >= 4 * W; j += 4 * W) {
      const uint64_t b0 = Ops::equal_bits(Ops::load(x + j), bar), b1 = Ops::equal_bits(Ops::load(x + j + W), bar),
                     b2 = Ops::equal_bits(Ops::load(x + j + 2 * W), bar),
                     b3 = Ops::equal_bits(Ops::load(x + j + 3 * W), bar);
      if (b0 | b1 | b2 | b3) {
        hit = b0 ? j + lane(b0) : b1 ? j + W + lane(b1) : b2 ? j + 2 * W + lane(b2) : j + 3 * W + lane(b3);
        break;
      }
    }
    for (; hit == n && j < end; j += W) {
      const uint64_t k = j < last ? j : last;
      if (const uint64_t bits = Ops::equal_bits(Ops::load(x + k), bar)) hit = k + lane(bits);
    }
    at = hit;
    best = x[at];
    fill_all(acc, bar);
  }
  if (at != n) *value = best;
  return at;
}

}  // namespace
}  // namespace morvex::reduce

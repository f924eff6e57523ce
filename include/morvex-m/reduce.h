/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/reduce.h
 * @brief Reductions over sample arrays: sums, extremes, index searches and
 *        linear histograms.
 */
#ifndef MORVEX_M_REDUCE_H
#define MORVEX_M_REDUCE_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup reductions Reductions
 * @brief One or a few results from a whole array.
 *
 * None of these functions allocates, locks or checks a pointer, and none
 * splits its work over the task pool: each is one pass on the calling
 * thread. They are safe to call from many threads at once on any arrays.
 * The kernels with processor variants (noted per family) choose the variant
 * from the options at every call; morvex_m_init() must have run for the
 * variants to be used, and without it the plain kernels run.
 */

/**
 * @defgroup sums Sums
 * @ingroup reductions
 * @brief Sums and sums of squares, accumulated into the caller's variable.
 *
 * `sum_<T>(data, count, result)` adds the sum of `data[0..count)` to
 * `*result`, which is an accumulator, not a plain output: store 0 first for
 * the sum of one array, or pass the same variable to consecutive calls to sum
 * a long record block by block. A count of 0 leaves `*result` unchanged.
 *
 * | export | accumulator | adds |
 * |---|---|---|
 * | `sum_u8`, `sum_u16`, `sum_u32` | `uint64_t` | x |
 * | `sum_i16` | `int64_t` | x |
 * | `sum_f32` | `float` | x |
 * | `sum_f64` | `double` | x |
 * | `square_sum_f32`, `square_sum_f64` | `double` | x * x |
 *
 * **Statuses.** Always 0.
 *
 * **Accuracy.** Integer sums are exact modulo 2^64 (wrap-around, no
 * saturation), whichever kernel runs: `sum_u8`, `sum_u16` and `sum_i16`
 * take a 512-bit kernel where the AVX-512BW option is on, chosen at each
 * call. Floating-point sums add in a fixed order, so a result is
 * reproducible bit for bit under the same options:
 * - `sum_f32` accumulates in single precision, `square_sum_f32` widens each
 *   element to double before squaring; both, and `sum_f64` / `square_sum_f64`
 *   when no variant is enabled, add strictly in index order into one
 *   accumulator that starts at 0, then add it to `*result`:
 *   `*result = (((0 + x0) + x1) + ...) + *result`.
 * - `sum_f64` and `square_sum_f64` with the AVX option: four lanes, lane k
 *   adds elements 4i+k in order; the count mod 4 tail elements are added one
 *   by one onto `*result`, then the lanes:
 *   `*result = l3 + (l2 + (l1 + (l0 + (*result + tail))))`.
 * - With SSE4.2 (and AVX off): two lanes and at most one tail element:
 *   `*result = (l1 + l0) + (*result + tail)`.
 *   These two variants take the count as a signed 32-bit number: a count of
 *   2^31 or more is summed correctly only with both options off.
 *
 * **Example**: the mean of a record read in blocks
 * @code{.c}
 * double s = 0; uint64_t total = 0, n;
 * while ((n = read_block(buf)) > 0) { morvex_m_sum_f64(buf, n, &s); total += n; }
 * double mean = s / total;
 * @endcode
 * @{
 */

/** @brief `*result += sum of data[i]` @{ */
MORVEX_M_API int32_t morvex_m_sum_u8(const uint8_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_u16(const uint16_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_u32(const uint32_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_i16(const int16_t* data, uint64_t count, int64_t* result);
MORVEX_M_API int32_t morvex_m_sum_f32(const float* data, uint64_t count, float* result);
MORVEX_M_API int32_t morvex_m_sum_f64(const double* data, uint64_t count, double* result);
/** @} */
/** @brief `*result += sum of data[i] * data[i]`, in double @{ */
MORVEX_M_API int32_t morvex_m_square_sum_f32(const float* data, uint64_t count, double* result);
MORVEX_M_API int32_t morvex_m_square_sum_f64(const double* data, uint64_t count, double* result);
/** @} */

/** @} */

/**
 * @defgroup extremes Extremes
 * @ingroup reductions
 * @brief The minimum and maximum of an array in one pass.
 *
 * `minmax_<T>(data, count, min, max)`: the minimum into `*min` and the
 * maximum into `*max` (plain outputs, overwritten). Either pointer may be
 * NULL to skip that result; with both NULL nothing is read. T: `i8 i16 i32
 * i64 u8 u16 u32 u64 f32 f64`.
 *
 * `data[0]` is always read: with a count of 0 or 1 both results are
 * `data[0]`, so `data` must point at one readable element even for an empty
 * block.
 *
 * **Statuses.** Always 0.
 *
 * **Floats** follow the running rule `min = (min < x) ? min : x` (`max`
 * likewise with `>`), element by element in index order, and every variant
 * returns exactly the plain result:
 * - a NaN replaces the running values and the next element replaces the NaN,
 *   so everything before the last NaN is forgotten; the results are NaN only
 *   when the last element is NaN;
 * - of equal values the later is kept: -0.0 then +0.0 gives +0.0.
 *
 * **Kernels.** Chosen at each call from the options: i16, u8 and u16 with
 * AVX-512BW, else AVX2 and FMA3 (both on), else SSE4.2; f32 and f64 with
 * AVX-512F and AVX-512CD, else AVX, else SSE4.2. Results never depend on the
 * variant (integer extremes are exact in any lane order; the float variants
 * keep the rule).
 *
 * **Example**:
 * @code{.c}
 * int16_t lo, hi;
 * morvex_m_minmax_i16(block, n, &lo, &hi);
 * @endcode
 * @{
 */

/** @brief The minimum into `*min` and the maximum into `*max` @{ */
MORVEX_M_API int32_t morvex_m_minmax_i8(const int8_t* data, uint64_t count, int8_t* min, int8_t* max);
MORVEX_M_API int32_t morvex_m_minmax_i16(const int16_t* data, uint64_t count, int16_t* min, int16_t* max);
MORVEX_M_API int32_t morvex_m_minmax_i32(const int32_t* data, uint64_t count, int32_t* min, int32_t* max);
MORVEX_M_API int32_t morvex_m_minmax_i64(const int64_t* data, uint64_t count, int64_t* min, int64_t* max);
MORVEX_M_API int32_t morvex_m_minmax_u8(const uint8_t* data, uint64_t count, uint8_t* min, uint8_t* max);
MORVEX_M_API int32_t morvex_m_minmax_u16(const uint16_t* data, uint64_t count, uint16_t* min, uint16_t* max);
MORVEX_M_API int32_t morvex_m_minmax_u32(const uint32_t* data, uint64_t count, uint32_t* min, uint32_t* max);
MORVEX_M_API int32_t morvex_m_minmax_u64(const uint64_t* data, uint64_t count, uint64_t* min, uint64_t* max);
MORVEX_M_API int32_t morvex_m_minmax_f32(const float* data, uint64_t count, float* min, float* max);
MORVEX_M_API int32_t morvex_m_minmax_f64(const double* data, uint64_t count, double* min, double* max);
/** @} */

/** @} */

/**
 * @defgroup searches Index searches
 * @ingroup reductions
 * @brief The first index at or after a start where a condition holds.
 *
 * Find the first index `i >= *position` (the start) where a condition holds,
 * and store it in `*position`; store `count` when there is none or when the
 * start is already at or past `count`. A caller walks a record hit by hit by
 * starting the next search at the hit + 1. T: `i16 u8 u16 f32 f64`;
 * thresholds have the element type.
 *
 * | export | arguments | condition |
 * |---|---|---|
 * | `index_gte_<T>` | data, count, level, position | `x[i] >= level` |
 * | `index_gt_<T>` | data, count, level, position | `x[i] > level` |
 * | `index_lte_<T>` | data, count, level, position | `x[i] <= level` |
 * | `index_lt_<T>` | data, count, level, position | `x[i] < level` |
 * | `index_in_<T>` | data, count, high, low, position | `low <= x[i] <= high` |
 * | `index_out_<T>` | data, count, high, low, position | `x[i] < low` or `x[i] > high` |
 * | `index_max_<T>` | data, count, position, value | the largest element, if above `*value` |
 * | `index_min_<T>` | data, count, position, value | the smallest element, if below `*value` |
 *
 * Note the band order: the upper bound comes first. With `high < low` no
 * element is in the band and every element is out of it. A NaN element never
 * meets any condition, `out` included.
 *
 * The extreme searches take `*value` as a bar that the extreme must beat
 * strictly: the first index `i >= start` holding the largest (smallest)
 * element greater (less) than `*value` goes to `*position` and that element
 * to `*value`; if no element beats the bar, `*position = count` and `*value`
 * stays. For the plain maximum pass the lowest value of the type (`-INFINITY`
 * for floats); to continue a running maximum pass the maximum so far. Of
 * equal extremes the first wins; NaN elements never win and a NaN bar is
 * never beaten.
 *
 * **Statuses.** Always 0.
 *
 * **Kernels.** The u8 and u16 level and band searches with AVX-512BW, else
 * AVX2 and FMA3, else SSE4.2; the extreme searches with AVX2 and FMA3, and
 * before that for i16, u8 and u16 with AVX-512BW, for f32 and f64 with
 * AVX-512F and AVX-512CD; chosen at each call. They return exactly the index (and value) of the
 * element-by-element scan.
 *
 * **Example**: every sample of a u16 block above 3000
 * @code{.c}
 * for (uint64_t p = 0;; ++p) {
 *   morvex_m_index_gt_u16(block, n, 3000, &p);
 *   if (p == n) break;
 *   handle(p);
 * }
 * @endcode
 * @{
 */

/** @brief The first `i >= *position` with `data[i] >= level` @{ */
MORVEX_M_API int32_t morvex_m_index_gte_i16(const int16_t* data, uint64_t count, int16_t level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gte_u8(const uint8_t* data, uint64_t count, uint8_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gte_u16(const uint16_t* data, uint64_t count, uint16_t level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gte_f32(const float* data, uint64_t count, float level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gte_f64(const double* data, uint64_t count, double level,
                                            uint64_t* position);
/** @} */
/** @brief The first `i >= *position` with `data[i] > level` @{ */
MORVEX_M_API int32_t morvex_m_index_gt_i16(const int16_t* data, uint64_t count, int16_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gt_u8(const uint8_t* data, uint64_t count, uint8_t level,
                                          uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gt_u16(const uint16_t* data, uint64_t count, uint16_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gt_f32(const float* data, uint64_t count, float level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_gt_f64(const double* data, uint64_t count, double level,
                                           uint64_t* position);
/** @} */
/** @brief The first `i >= *position` with `data[i] <= level` @{ */
MORVEX_M_API int32_t morvex_m_index_lte_i16(const int16_t* data, uint64_t count, int16_t level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lte_u8(const uint8_t* data, uint64_t count, uint8_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lte_u16(const uint16_t* data, uint64_t count, uint16_t level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lte_f32(const float* data, uint64_t count, float level,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lte_f64(const double* data, uint64_t count, double level,
                                            uint64_t* position);
/** @} */
/** @brief The first `i >= *position` with `data[i] < level` @{ */
MORVEX_M_API int32_t morvex_m_index_lt_i16(const int16_t* data, uint64_t count, int16_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lt_u8(const uint8_t* data, uint64_t count, uint8_t level,
                                          uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lt_u16(const uint16_t* data, uint64_t count, uint16_t level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lt_f32(const float* data, uint64_t count, float level,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_lt_f64(const double* data, uint64_t count, double level,
                                           uint64_t* position);
/** @} */
/** @brief The first `i >= *position` with `low <= data[i] <= high` @{ */
MORVEX_M_API int32_t morvex_m_index_in_i16(const int16_t* data, uint64_t count, int16_t high, int16_t low,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_in_u8(const uint8_t* data, uint64_t count, uint8_t high, uint8_t low,
                                          uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_in_u16(const uint16_t* data, uint64_t count, uint16_t high, uint16_t low,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_in_f32(const float* data, uint64_t count, float high, float low,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_in_f64(const double* data, uint64_t count, double high, double low,
                                           uint64_t* position);
/** @} */
/** @brief The first `i >= *position` with `data[i] < low` or `data[i] > high` @{ */
MORVEX_M_API int32_t morvex_m_index_out_i16(const int16_t* data, uint64_t count, int16_t high, int16_t low,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_out_u8(const uint8_t* data, uint64_t count, uint8_t high, uint8_t low,
                                           uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_out_u16(const uint16_t* data, uint64_t count, uint16_t high, uint16_t low,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_out_f32(const float* data, uint64_t count, float high, float low,
                                            uint64_t* position);
MORVEX_M_API int32_t morvex_m_index_out_f64(const double* data, uint64_t count, double high, double low,
                                            uint64_t* position);
/** @} */
/** @brief The first index of the largest element from `*position` on that beats `*value` @{ */
MORVEX_M_API int32_t morvex_m_index_max_i16(const int16_t* data, uint64_t count, uint64_t* position,
                                            int16_t* value);
MORVEX_M_API int32_t morvex_m_index_max_u8(const uint8_t* data, uint64_t count, uint64_t* position,
                                           uint8_t* value);
MORVEX_M_API int32_t morvex_m_index_max_u16(const uint16_t* data, uint64_t count, uint64_t* position,
                                            uint16_t* value);
MORVEX_M_API int32_t morvex_m_index_max_f32(const float* data, uint64_t count, uint64_t* position,
                                            float* value);
MORVEX_M_API int32_t morvex_m_index_max_f64(const double* data, uint64_t count, uint64_t* position,
                                            double* value);
/** @} */
/** @brief The first index of the smallest element from `*position` on that beats `*value` @{ */
MORVEX_M_API int32_t morvex_m_index_min_i16(const int16_t* data, uint64_t count, uint64_t* position,
                                            int16_t* value);
MORVEX_M_API int32_t morvex_m_index_min_u8(const uint8_t* data, uint64_t count, uint64_t* position,
                                           uint8_t* value);
MORVEX_M_API int32_t morvex_m_index_min_u16(const uint16_t* data, uint64_t count, uint64_t* position,
                                            uint16_t* value);
MORVEX_M_API int32_t morvex_m_index_min_f32(const float* data, uint64_t count, uint64_t* position,
                                            float* value);
MORVEX_M_API int32_t morvex_m_index_min_f64(const double* data, uint64_t count, uint64_t* position,
                                            double* value);
/** @} */

/** @} */

/**
 * @defgroup histograms Linear histograms
 * @ingroup reductions
 * @brief Count samples into equally wide bins, adding to the caller's counters.
 *
 * `histogram_lin_1d_<T><C>(data, count, min, max, bins, binCount, below, above)`
 * counts samples into `binCount` equally wide bins spanning [min, max] (both
 * edges inclusive) by ADDING to `bins[]` (never cleared: one histogram may
 * span many calls). Samples below `min` go to `*below` and samples above
 * `max` to `*above`; either may be NULL, and such samples are then skipped.
 * T (samples, and min/max): `i16 u8 u16 f32 f64`. C (counters): `u16 u32 u64`.
 *
 * **Returns** the number of samples counted somewhere (a bin, `*below` or
 * `*above`): `count` when both out-of-range counters are given, 0 for
 * count 0.
 *
 * **Bin rule**, in double precision: `width = (max - min) / binCount` and
 * `bin = trunc((x - min) / width)`, clamped to `binCount - 1`, so a sample
 * equal to max lands in the last bin. For integer samples the differences
 * are exact 32-bit integers, for f32 they are taken in single precision.
 * Consequences worth knowing:
 * - u8 with min 0, max 255, 256 bins: 128 lands in bin 128, 255 in 255;
 * - NaN samples are counted in the last bin;
 * - with `min == max` only samples equal to it are binned (last bin);
 * - with `max < min` nothing is binned; a sample is tested against min first.
 *
 * Counters wrap around at their width (a u16 bin at 65535 becomes 0).
 * With `binCount` 0 the width is infinite and every sample within [min, max]
 * (NaNs too) is counted in `bins[0]`, so `bins` must still hold one counter.
 * NULL `data` with a count, or a NULL `bins`, are the caller's fault.
 *
 * **Example**: 64-bin histogram of 12-bit samples, out-of-range samples counted
 * @code{.c}
 * uint32_t bins[64] = {0}, lo = 0, hi = 0;
 * morvex_m_histogram_lin_1d_u16u32(block, n, 0, 4095, bins, 64, &lo, &hi);
 * @endcode
 * @{
 */

/** @brief Histogram of int16_t samples @{ */
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_i16u16(const int16_t* data, uint64_t count, int16_t min,
                                                       int16_t max, uint16_t* bins, uint64_t binCount,
                                                       uint16_t* below, uint16_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_i16u32(const int16_t* data, uint64_t count, int16_t min,
                                                       int16_t max, uint32_t* bins, uint64_t binCount,
                                                       uint32_t* below, uint32_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_i16u64(const int16_t* data, uint64_t count, int16_t min,
                                                       int16_t max, uint64_t* bins, uint64_t binCount,
                                                       uint64_t* below, uint64_t* above);
/** @} */
/** @brief Histogram of uint8_t samples @{ */
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u8u16(const uint8_t* data, uint64_t count, uint8_t min,
                                                      uint8_t max, uint16_t* bins, uint64_t binCount,
                                                      uint16_t* below, uint16_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u8u32(const uint8_t* data, uint64_t count, uint8_t min,
                                                      uint8_t max, uint32_t* bins, uint64_t binCount,
                                                      uint32_t* below, uint32_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u8u64(const uint8_t* data, uint64_t count, uint8_t min,
                                                      uint8_t max, uint64_t* bins, uint64_t binCount,
                                                      uint64_t* below, uint64_t* above);
/** @} */
/** @brief Histogram of uint16_t samples @{ */
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u16u16(const uint16_t* data, uint64_t count, uint16_t min,
                                                       uint16_t max, uint16_t* bins, uint64_t binCount,
                                                       uint16_t* below, uint16_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u16u32(const uint16_t* data, uint64_t count, uint16_t min,
                                                       uint16_t max, uint32_t* bins, uint64_t binCount,
                                                       uint32_t* below, uint32_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_u16u64(const uint16_t* data, uint64_t count, uint16_t min,
                                                       uint16_t max, uint64_t* bins, uint64_t binCount,
                                                       uint64_t* below, uint64_t* above);
/** @} */
/** @brief Histogram of float samples @{ */
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f32u16(const float* data, uint64_t count, float min,
                                                       float max, uint16_t* bins, uint64_t binCount,
                                                       uint16_t* below, uint16_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f32u32(const float* data, uint64_t count, float min,
                                                       float max, uint32_t* bins, uint64_t binCount,
                                                       uint32_t* below, uint32_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f32u64(const float* data, uint64_t count, float min,
                                                       float max, uint64_t* bins, uint64_t binCount,
                                                       uint64_t* below, uint64_t* above);
/** @} */
/** @brief Histogram of double samples @{ */
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f64u16(const double* data, uint64_t count, double min,
                                                       double max, uint16_t* bins, uint64_t binCount,
                                                       uint16_t* below, uint16_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f64u32(const double* data, uint64_t count, double min,
                                                       double max, uint32_t* bins, uint64_t binCount,
                                                       uint32_t* below, uint32_t* above);
MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_f64u64(const double* data, uint64_t count, double min,
                                                       double max, uint64_t* bins, uint64_t binCount,
                                                       uint64_t* below, uint64_t* above);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_REDUCE_H */

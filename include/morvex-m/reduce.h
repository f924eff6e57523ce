/*
 * Reductions over sample arrays: sums, extremes, index searches and linear
 * histograms.
 *
 * None of these functions allocates, locks or checks a pointer, and none
 * splits its work over the task pool: each is one pass on the calling thread.
 * They are safe to call from many threads at once on any arrays. The kernels
 * with processor variants (noted per family) choose the variant from the
 * options at every call; morvex_m_init must have run for the variants to be
 * used, and without it the plain kernels run.
 */
#ifndef MORVEX_M_REDUCE_H
#define MORVEX_M_REDUCE_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ sums
 * Adds the sum of data[0..count) to *result, which is an accumulator, not a
 * plain output: store 0 first for the sum of one array, or pass the same
 * variable to consecutive calls to sum a long record block by block.
 * Always returns 0. A count of 0 leaves *result unchanged.
 *
 *   sum_u8, sum_u16, sum_u32   data, count, uint64_t* result
 *   sum_i16                    data, count, int64_t* result
 *   sum_f32                    data, count, float* result
 *   sum_f64                    data, count, double* result
 *   square_sum_f32             data, count, double* result  (sum of x*x)
 *   square_sum_f64             data, count, double* result  (sum of x*x)
 *
 * Integer sums are exact modulo 2^64 (wrap-around, no saturation).
 *
 * Floating-point sums add in a fixed order, so a result is reproducible bit
 * for bit under the same options:
 *  - sum_f32 accumulates in single precision, square_sum_f32 widens each
 *    element to double before squaring; both, and sum_f64/square_sum_f64
 *    when no variant is enabled, add strictly in index order into one
 *    accumulator that starts at 0, then add it to *result:
 *      *result = (((0 + x0) + x1) + ...) + *result
 *  - sum_f64 and square_sum_f64 with the AVX option: four lanes, lane k
 *    adds elements 4i+k in order; the count mod 4 tail elements are added
 *    one by one onto *result, then the lanes:
 *      *result = l3 + (l2 + (l1 + (l0 + (*result + tail))))
 *  - with SSE4.2 (and AVX off): two lanes and at most one tail element:
 *      *result = (l1 + l0) + (*result + tail)
 *    These two variants take the count as a signed 32-bit number: a count of
 *    2^31 or more is summed correctly only with both options off.
 *
 * Example: the mean of a record read in blocks
 *   double s = 0; uint64_t total = 0;
 *   while ((n = read_block(buf)) > 0) { morvex_m_sum_f64(buf, n, &s); total += n; }
 *   mean = s / total;
 */
MORVEX_M_API int32_t morvex_m_sum_u8(const uint8_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_u16(const uint16_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_u32(const uint32_t* data, uint64_t count, uint64_t* result);
MORVEX_M_API int32_t morvex_m_sum_i16(const int16_t* data, uint64_t count, int64_t* result);
MORVEX_M_API int32_t morvex_m_sum_f32(const float* data, uint64_t count, float* result);
MORVEX_M_API int32_t morvex_m_sum_f64(const double* data, uint64_t count, double* result);
MORVEX_M_API int32_t morvex_m_square_sum_f32(const float* data, uint64_t count, double* result);
MORVEX_M_API int32_t morvex_m_square_sum_f64(const double* data, uint64_t count, double* result);

/* ------------------------------------------------------------------ extremes
 * morvex_m_minmax_<T>(data, count, min, max): the minimum into *min and the
 * maximum into *max (plain outputs, overwritten). Either pointer may be NULL
 * to skip that result; with both NULL nothing is read. Always returns 0.
 * T: i8 i16 i32 i64 u8 u16 u32 u64 f32 f64.
 *
 * data[0] is always read: with a count of 0 or 1 both results are data[0],
 * so data must point at one readable element even for an empty block.
 *
 * Floats follow the running rule min = (min < x) ? min : x (max likewise
 * with >), element by element in index order, and every variant returns
 * exactly the plain result:
 *  - a NaN replaces the running values and the next element replaces the
 *    NaN, so everything before the last NaN is forgotten; the results are
 *    NaN only when the last element is NaN;
 *  - of equal values the later is kept: -0.0 then +0.0 gives +0.0.
 *
 * Processor variants, chosen at each call from the option flags: i16, u8
 * and u16 with AVX2 and FMA3 (both flags on), else SSE4.2; f32 with SSE4.2;
 * f64 with AVX, else SSE4.2. Results never depend on the variant (integer
 * extremes are exact in any lane order; the float variants keep the rule).
 *
 * Example: int16_t lo, hi; morvex_m_minmax_i16(block, n, &lo, &hi);
 */
#define MORVEX_M_MINMAX_DECLARE(T, S) \
  MORVEX_M_API int32_t morvex_m_minmax_##S(const T* data, uint64_t count, T* min, T* max);
MORVEX_M_MINMAX_DECLARE(int8_t, i8)
MORVEX_M_MINMAX_DECLARE(int16_t, i16)
MORVEX_M_MINMAX_DECLARE(int32_t, i32)
MORVEX_M_MINMAX_DECLARE(int64_t, i64)
MORVEX_M_MINMAX_DECLARE(uint8_t, u8)
MORVEX_M_MINMAX_DECLARE(uint16_t, u16)
MORVEX_M_MINMAX_DECLARE(uint32_t, u32)
MORVEX_M_MINMAX_DECLARE(uint64_t, u64)
MORVEX_M_MINMAX_DECLARE(float, f32)
MORVEX_M_MINMAX_DECLARE(double, f64)
#undef MORVEX_M_MINMAX_DECLARE

/* ------------------------------------------------------------------ index searches
 * Find the first index i >= *position (the start) where a condition holds,
 * and store it in *position; store count when there is none or when the
 * start is already at or past count. Always return 0. A caller walks a
 * record hit by hit by starting the next search at the hit + 1.
 * T: i16 u8 u16 f32 f64; thresholds have the element type.
 *
 *   index_gte_<T>(data, count, level, position)       x[i] >= level
 *   index_gt_<T> (data, count, level, position)       x[i] >  level
 *   index_lte_<T>(data, count, level, position)       x[i] <= level
 *   index_lt_<T> (data, count, level, position)       x[i] <  level
 *   index_in_<T> (data, count, high, low, position)   low <= x[i] <= high
 *   index_out_<T>(data, count, high, low, position)   x[i] < low or x[i] > high
 *
 * Note the band order: the upper bound comes first. With high < low no
 * element is in the band and every element is out of it. A NaN element
 * never meets any condition, `out` included.
 *
 *   index_max_<T>(data, count, position, value)
 *   index_min_<T>(data, count, position, value)
 *
 * The extreme searches take *value as a bar that the extreme must beat
 * strictly: the first index i >= start holding the largest (smallest)
 * element greater (less) than *value goes to *position and that element to
 * *value; if no element beats the bar, *position = count and *value stays.
 * For the plain maximum pass the lowest value of the type (-INFINITY for
 * floats); to continue a running maximum pass the maximum so far. Of equal
 * extremes the first wins; NaN elements never win and a NaN bar is never
 * beaten.
 *
 * Processor variants: the u8 and u16 level and band searches with SSE4.2,
 * index_gte_u16 with AVX2 and FMA3 before that. They return exactly the
 * index of the element-by-element scan.
 *
 * Example: every sample of a u16 block above 3000
 *   for (uint64_t p = 0;; ++p) {
 *     morvex_m_index_gt_u16(block, n, 3000, &p);
 *     if (p == n) break;
 *     handle(p);
 *   }
 */
#define MORVEX_M_INDEX_DECLARE(T, S)                                                                  \
  MORVEX_M_API int32_t morvex_m_index_gte_##S(const T* data, uint64_t count, T level, uint64_t* position); \
  MORVEX_M_API int32_t morvex_m_index_gt_##S(const T* data, uint64_t count, T level, uint64_t* position);  \
  MORVEX_M_API int32_t morvex_m_index_lte_##S(const T* data, uint64_t count, T level, uint64_t* position); \
  MORVEX_M_API int32_t morvex_m_index_lt_##S(const T* data, uint64_t count, T level, uint64_t* position);  \
  MORVEX_M_API int32_t morvex_m_index_in_##S(const T* data, uint64_t count, T high, T low,                 \
                                             uint64_t* position);                                         \
  MORVEX_M_API int32_t morvex_m_index_out_##S(const T* data, uint64_t count, T high, T low,                \
                                              uint64_t* position);                                        \
  MORVEX_M_API int32_t morvex_m_index_max_##S(const T* data, uint64_t count, uint64_t* position, T* value); \
  MORVEX_M_API int32_t morvex_m_index_min_##S(const T* data, uint64_t count, uint64_t* position, T* value);
MORVEX_M_INDEX_DECLARE(int16_t, i16)
MORVEX_M_INDEX_DECLARE(uint8_t, u8)
MORVEX_M_INDEX_DECLARE(uint16_t, u16)
MORVEX_M_INDEX_DECLARE(float, f32)
MORVEX_M_INDEX_DECLARE(double, f64)
#undef MORVEX_M_INDEX_DECLARE

/* ------------------------------------------------------------------ linear histograms
 * morvex_m_histogram_lin_1d_<T><C>(data, count, min, max, bins, binCount,
 *                                  below, above)
 * Counts samples into binCount equally wide bins spanning [min, max] (both
 * edges inclusive) by ADDING to bins[] (never cleared: one histogram may
 * span many calls). Samples below min go to *below and samples above max to
 * *above; either may be NULL, and such samples are then skipped.
 * T (samples, and min/max): i16 u8 u16 f32 f64. C (counters): u16 u32 u64.
 *
 * Returns the number of samples counted somewhere (a bin, *below or
 * *above): count when both out-of-range counters are given (and binCount is
 * not 0), 0 for count 0.
 *
 * Bin rule, in double precision: width = (max - min) / binCount and
 * bin = trunc((x - min) / width), clamped to binCount - 1, so a sample
 * equal to max lands in the last bin. For integer samples the differences
 * are exact 32-bit integers, for f32 they are taken in single precision.
 * Consequences worth knowing:
 *  - u8 with min 0, max 255, 256 bins: 128 lands in bin 128, 255 in 255;
 *  - NaN samples are counted in the last bin;
 *  - with min == max only samples equal to it are binned (last bin);
 *  - with max < min nothing is binned; a sample is tested against min first.
 * Counters wrap around at their width (a u16 bin at 65535 becomes 0).
 * With binCount 0 there is no bin: bins is not touched (it may be NULL) and
 * samples within [min, max] (and NaNs) are counted nowhere. NULL data with
 * a count, or NULL bins with bins to fill, are the caller's fault.
 *
 * Example: 64-bin histogram of 12-bit samples, out-of-range samples counted
 *   uint32_t bins[64] = {0}, lo = 0, hi = 0;
 *   morvex_m_histogram_lin_1d_u16u32(block, n, 0, 4095, bins, 64, &lo, &hi);
 */
#define MORVEX_M_HISTOGRAM_DECLARE(T, S, C, CS)                                                         \
  MORVEX_M_API uint64_t morvex_m_histogram_lin_1d_##S##CS(const T* data, uint64_t count, T min, T max, \
                                                          C* bins, uint64_t binCount, C* below, C* above);
#define MORVEX_M_HISTOGRAM_DECLARE_ALL(T, S) \
  MORVEX_M_HISTOGRAM_DECLARE(T, S, uint16_t, u16) \
  MORVEX_M_HISTOGRAM_DECLARE(T, S, uint32_t, u32) \
  MORVEX_M_HISTOGRAM_DECLARE(T, S, uint64_t, u64)
MORVEX_M_HISTOGRAM_DECLARE_ALL(int16_t, i16)
MORVEX_M_HISTOGRAM_DECLARE_ALL(uint8_t, u8)
MORVEX_M_HISTOGRAM_DECLARE_ALL(uint16_t, u16)
MORVEX_M_HISTOGRAM_DECLARE_ALL(float, f32)
MORVEX_M_HISTOGRAM_DECLARE_ALL(double, f64)
#undef MORVEX_M_HISTOGRAM_DECLARE_ALL
#undef MORVEX_M_HISTOGRAM_DECLARE

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_REDUCE_H */

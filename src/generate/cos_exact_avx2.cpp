// SPDX-License-Identifier: MIT
// The exact cosine, AVX2 with FMA3: four lanes per vector through the kernel
// of cos_exact_simd.h.
#include "generate/cos_exact_simd.h"

namespace morvex::generate::cos_detail {

namespace {

// For each 4-bit lane mask, the 32-bit element order that moves the 64-bit
// lanes of the set bits to the front, in order (the rest of the vector is
// don't-care).
struct PackTable {
  alignas(32) int32_t lanes[16][8];
  constexpr PackTable() : lanes{} {
    for (unsigned mask = 0; mask < 16; ++mask) {
      unsigned to = 0;
      for (unsigned lane = 0; lane < 4; ++lane)
        if (mask >> lane & 1u) {
          lanes[mask][2 * to] = int32_t(2 * lane);
          lanes[mask][2 * to + 1] = int32_t(2 * lane + 1);
          ++to;
        }
    }
  }
};
constexpr PackTable kPack;

struct Avx2 {
  using V = __m256d;
  static constexpr unsigned kLanes = 4;
  static V load(const double* p) { return _mm256_loadu_pd(p); }
  static void store(double* p, V v) { _mm256_storeu_pd(p, v); }
  static V set1(double v) { return _mm256_set1_pd(v); }
  static V add(V a, V b) { return _mm256_add_pd(a, b); }
  static V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static V div(V a, V b) { return _mm256_div_pd(a, b); }
  static V iota() { return _mm256_set_pd(3, 2, 1, 0); }
  static V fmadd(V a, V b, V c) { return _mm256_fmadd_pd(a, b, c); }
  static V fmsub(V a, V b, V c) { return _mm256_fmsub_pd(a, b, c); }
  static V fnmadd(V a, V b, V c) { return _mm256_fnmadd_pd(a, b, c); }
  static V abs(V v) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), v); }
  // The rows of j mod 256 (j sits in the low mantissa bits of jm),
  // transposed to {cos hi, cos lo, sin hi, sin lo} across the lanes.
  static void table_rows(V jm, V& ch, V& cl, V& sh, V& sl) {
    alignas(32) int64_t m[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(m), _mm256_and_si256(_mm256_castpd_si256(jm), _mm256_set1_epi64x(255)));
    const V r0 = _mm256_load_pd(kTable[m[0]]), r1 = _mm256_load_pd(kTable[m[1]]);
    const V r2 = _mm256_load_pd(kTable[m[2]]), r3 = _mm256_load_pd(kTable[m[3]]);
    const V h01 = _mm256_unpacklo_pd(r0, r1), l01 = _mm256_unpackhi_pd(r0, r1);  // {c0 c1 s0 s1}
    const V h23 = _mm256_unpacklo_pd(r2, r3), l23 = _mm256_unpackhi_pd(r2, r3);
    ch = _mm256_permute2f128_pd(h01, h23, 0x20);
    sh = _mm256_permute2f128_pd(h01, h23, 0x31);
    cl = _mm256_permute2f128_pd(l01, l23, 0x20);
    sl = _mm256_permute2f128_pd(l01, l23, 0x31);
  }
  // Appends the arguments and offsets of the rejected lanes; returns how
  // many. AVX2 has no compress: one permute per mask from a table packs the
  // rejected lanes to the front, and both vectors are stored whole (the
  // buffers have a vector's room past the count).
  static unsigned note(V v, uint64_t offset, unsigned rejected, double* arg, uint64_t* where) {
    const __m256i order = _mm256_load_si256(reinterpret_cast<const __m256i*>(kPack.lanes[rejected]));
    _mm256_storeu_pd(arg, _mm256_castsi256_pd(_mm256_permutevar8x32_epi32(_mm256_castpd_si256(v), order)));
    const __m256i lanes = _mm256_add_epi64(_mm256_set1_epi64x(int64_t(offset)), _mm256_set_epi64x(3, 2, 1, 0));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(where), _mm256_permutevar8x32_epi32(lanes, order));
    return unsigned(__builtin_popcount(rejected));
  }
  // Lanes failing the acceptance test of cos_exact_simd.h:
  // |vl| <= 0.4 u - kError, |x| <= kMaxArg, vh not a power of two.
  static unsigned rejected(V x, V vh, V vl) {
    const __m256i bits = _mm256_castpd_si256(vh);
    const V spacing = _mm256_mul_pd(
        _mm256_and_pd(vh, _mm256_castsi256_pd(_mm256_set1_epi64x(0x7FF0000000000000))), set1(0x1p-52));
    const V room = _mm256_fmsub_pd(spacing, set1(kAccept), set1(kError));
    const V ok = _mm256_and_pd(_mm256_cmp_pd(abs(vl), room, _CMP_LE_OQ),
                               _mm256_cmp_pd(abs(x), set1(kMaxArg), _CMP_LE_OQ));
    const __m256i power_of_two = _mm256_cmpeq_epi64(
        _mm256_and_si256(bits, _mm256_set1_epi64x(0x000FFFFFFFFFFFFF)), _mm256_setzero_si256());
    return unsigned(_mm256_movemask_pd(_mm256_andnot_pd(_mm256_castsi256_pd(power_of_two), ok))) ^ 0xFu;
  }
};

}  // namespace

MORVEX_COS_EXACT_ENTRY_POINTS(Twice<Avx2>, avx2)

}  // namespace morvex::generate::cos_detail

// SPDX-License-Identifier: MIT
// The exact cosine, AVX-512F: eight lanes per vector through the kernel of
// cos_exact_simd.h.
// GCC 12's AVX-512 intrinsics fill unused operands with a deliberately
// uninitialised value, which -Wmaybe-uninitialized reports at every inlined
// shuffle; nothing here reads such a value.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "generate/cos_exact_simd.h"

namespace morvex::generate::cos_detail {

namespace {

struct Avx512 {
  using V = __m512d;
  static constexpr unsigned kLanes = 8;
  static V load(const double* p) { return _mm512_loadu_pd(p); }
  static void store(double* p, V v) { _mm512_storeu_pd(p, v); }
  static V set1(double v) { return _mm512_set1_pd(v); }
  static V add(V a, V b) { return _mm512_add_pd(a, b); }
  static V sub(V a, V b) { return _mm512_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm512_mul_pd(a, b); }
  static V div(V a, V b) { return _mm512_div_pd(a, b); }
  static V iota() { return _mm512_set_pd(7, 6, 5, 4, 3, 2, 1, 0); }
  static V fmadd(V a, V b, V c) { return _mm512_fmadd_pd(a, b, c); }
  static V fmsub(V a, V b, V c) { return _mm512_fmsub_pd(a, b, c); }
  static V fnmadd(V a, V b, V c) { return _mm512_fnmadd_pd(a, b, c); }
  static V abs(V v) { return _mm512_castsi512_pd(_mm512_and_epi64(_mm512_castpd_si512(v), _mm512_set1_epi64(INT64_MAX))); }
  // The rows of j mod 256 (j sits in the low mantissa bits of jm),
  // transposed to {cos hi, cos lo, sin hi, sin lo} across the lanes: rows k
  // and k + 4 share a register, the unpacks pair neighbouring rows, one
  // two-source permute per part puts the lanes in order.
  static void table_rows(V jm, V& ch, V& cl, V& sh, V& sl) {
    alignas(64) int64_t m[8];
    _mm512_store_si512(m, _mm512_and_epi64(_mm512_castpd_si512(jm), _mm512_set1_epi64(255)));
    const auto rows = [&](int k) {
      return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_load_pd(kTable[m[k]])),
                                _mm256_load_pd(kTable[m[k + 4]]), 1);
    };
    const V r0 = rows(0), r1 = rows(1), r2 = rows(2), r3 = rows(3);
    // {c0 c1 s0 s1 c4 c5 s4 s5} and {c2 c3 s2 s3 c6 c7 s6 s7}, hi parts; the same for lo.
    const V h01 = _mm512_unpacklo_pd(r0, r1), h23 = _mm512_unpacklo_pd(r2, r3);
    const V l01 = _mm512_unpackhi_pd(r0, r1), l23 = _mm512_unpackhi_pd(r2, r3);
    const __m512i cos_order = _mm512_set_epi64(13, 12, 5, 4, 9, 8, 1, 0);
    const __m512i sin_order = _mm512_set_epi64(15, 14, 7, 6, 11, 10, 3, 2);
    ch = _mm512_permutex2var_pd(h01, cos_order, h23);
    sh = _mm512_permutex2var_pd(h01, sin_order, h23);
    cl = _mm512_permutex2var_pd(l01, cos_order, l23);
    sl = _mm512_permutex2var_pd(l01, sin_order, l23);
  }
  // Appends the arguments and offsets of the rejected lanes; returns how many.
  // The lanes are packed in a register and stored whole (the buffers have a
  // vector's room past the count): a compress straight to memory is a slow,
  // microcoded instruction on some processors, tens of cycles against one.
  static unsigned note(V v, uint64_t offset, unsigned rejected, double* arg, uint64_t* where) {
    const __mmask8 m = __mmask8(rejected);
    _mm512_storeu_pd(arg, _mm512_maskz_compress_pd(m, v));
    const __m512i lanes = _mm512_add_epi64(_mm512_set1_epi64(int64_t(offset)), _mm512_set_epi64(7, 6, 5, 4, 3, 2, 1, 0));
    _mm512_storeu_si512(where, _mm512_maskz_compress_epi64(m, lanes));
    return unsigned(__builtin_popcount(rejected));
  }
  // Lanes failing the acceptance test of cos_exact_simd.h:
  // |vl| <= 0.4 u - kError, |x| <= kMaxArg, vh not a power of two.
  static unsigned rejected(V x, V vh, V vl) {
    const __m512i bits = _mm512_castpd_si512(vh);
    const V spacing = _mm512_mul_pd(
        _mm512_castsi512_pd(_mm512_and_epi64(bits, _mm512_set1_epi64(0x7FF0000000000000))), set1(0x1p-52));
    const V room = _mm512_fmsub_pd(spacing, set1(kAccept), set1(kError));
    __mmask8 ok = _mm512_cmp_pd_mask(abs(vl), room, _CMP_LE_OQ);
    ok &= _mm512_cmp_pd_mask(abs(x), set1(kMaxArg), _CMP_LE_OQ);
    ok &= _mm512_test_epi64_mask(bits, _mm512_set1_epi64(0x000FFFFFFFFFFFFF));  // not a power of two
    return unsigned(~ok) & 0xFFu;
  }
};

}  // namespace

MORVEX_COS_EXACT_ENTRY_POINTS(Twice<Avx512>, avx512)

}  // namespace morvex::generate::cos_detail

// mulc_addc kernels, chosen at each call from the option flags: AVX2+FMA3
// (one fused multiply-add per element), else SSE4.2, else plain (a multiply
// then an add).
#pragma once

#include <cstdint>

namespace morvex::ops {

void mulc_addc_f32_plain(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_plain(const double* in, double* out, uint64_t n, double m, double c);
void mulc_addc_f32_sse42(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_sse42(const double* in, double* out, uint64_t n, double m, double c);
void mulc_addc_f32_avx2(const float* in, float* out, uint64_t n, float m, float c);
void mulc_addc_f64_avx2(const double* in, double* out, uint64_t n, double m, double c);

}  // namespace morvex::ops

// SPDX-License-Identifier: MIT
// The transform exports: each forwards to morvex::dft (plan.cpp), which keeps
// every exception inside. The public complex structs and std::complex share
// their layout (two parts, real first).
#include <complex>

#include "dft/plan.h"
#include "morvex-m/dft.h"

namespace {

std::complex<float>* cx(morvex_m_c32f32* p) { return reinterpret_cast<std::complex<float>*>(p); }
std::complex<double>* cx(morvex_m_c64f64* p) { return reinterpret_cast<std::complex<double>*>(p); }

}  // namespace

namespace dft = morvex::dft;

extern "C" {

int32_t morvex_m_dft_f32(const float* in, uint64_t n, morvex_m_c32f32* out, uint64_t out_count) {
  return dft::forward_once(in, n, cx(out), out_count, nullptr);
}
int32_t morvex_m_dft_f64(const double* in, uint64_t n, morvex_m_c64f64* out, uint64_t out_count) {
  return dft::forward_once(in, n, cx(out), out_count, nullptr);
}
int32_t morvex_m_dft_divn_f32(const float* in, uint64_t n, morvex_m_c32f32* out, uint64_t out_count, int32_t half) {
  const bool h = half != 0;
  return dft::forward_once(in, n, cx(out), out_count, &h);
}
int32_t morvex_m_dft_divn_f64(const double* in, uint64_t n, morvex_m_c64f64* out, uint64_t out_count, int32_t half) {
  const bool h = half != 0;
  return dft::forward_once(in, n, cx(out), out_count, &h);
}
int32_t morvex_m_idft_f32(morvex_m_c32f32* in, uint64_t in_count, float* out, uint64_t n) {
  return dft::inverse_once(cx(in), in_count, out, n);
}
int32_t morvex_m_idft_f64(morvex_m_c64f64* in, uint64_t in_count, double* out, uint64_t n) {
  return dft::inverse_once(cx(in), in_count, out, n);
}

int32_t morvex_m_dft_plan_create_r2c_1d_f32(const float* in, uint64_t n, morvex_m_c32f32* out, uint64_t out_count,
                                            morvex_m_dft_plan** result) {
  return dft::create_forward(in, n, cx(out), out_count, result);
}
int32_t morvex_m_dft_plan_create_r2c_1d_f64(const double* in, uint64_t n, morvex_m_c64f64* out, uint64_t out_count,
                                            morvex_m_dft_plan** result) {
  return dft::create_forward(in, n, cx(out), out_count, result);
}
int32_t morvex_m_dft_plan_execute_r2c_1d_f32(morvex_m_dft_plan* plan, const float* in, uint64_t n,
                                             morvex_m_c32f32* out, uint64_t out_count) {
  return dft::execute_forward(plan, in, n, cx(out), out_count, nullptr);
}
int32_t morvex_m_dft_plan_execute_r2c_1d_f64(morvex_m_dft_plan* plan, const double* in, uint64_t n,
                                             morvex_m_c64f64* out, uint64_t out_count) {
  return dft::execute_forward(plan, in, n, cx(out), out_count, nullptr);
}
int32_t morvex_m_dft_plan_execute_r2c_1d_divn_f32(morvex_m_dft_plan* plan, const float* in, uint64_t n,
                                                  morvex_m_c32f32* out, uint64_t out_count, int32_t half) {
  const bool h = half != 0;
  return dft::execute_forward(plan, in, n, cx(out), out_count, &h);
}
int32_t morvex_m_dft_plan_execute_r2c_1d_divn_f64(morvex_m_dft_plan* plan, const double* in, uint64_t n,
                                                  morvex_m_c64f64* out, uint64_t out_count, int32_t half) {
  const bool h = half != 0;
  return dft::execute_forward(plan, in, n, cx(out), out_count, &h);
}
void morvex_m_dft_plan_destroy(morvex_m_dft_plan* plan) { dft::destroy(plan); }
int32_t morvex_m_dft_alignment_of(const morvex_m_dft_plan* plan, const void* p) { return dft::alignment_of(plan, p); }

int32_t morvex_m_idft_plan_create_c2r_1d_f32(morvex_m_c32f32* in, uint64_t in_count, float* out, uint64_t n,
                                             morvex_m_dft_plan** result) {
  return dft::create_inverse(cx(in), in_count, out, n, result);
}
int32_t morvex_m_idft_plan_create_c2r_1d_f64(morvex_m_c64f64* in, uint64_t in_count, double* out, uint64_t n,
                                             morvex_m_dft_plan** result) {
  return dft::create_inverse(cx(in), in_count, out, n, result);
}
int32_t morvex_m_idft_plan_execute_c2r_1d_f32(morvex_m_dft_plan* plan, morvex_m_c32f32* in, uint64_t in_count,
                                              float* out, uint64_t n) {
  return dft::execute_inverse(plan, cx(in), in_count, out, n);
}
int32_t morvex_m_idft_plan_execute_c2r_1d_f64(morvex_m_dft_plan* plan, morvex_m_c64f64* in, uint64_t in_count,
                                              double* out, uint64_t n) {
  return dft::execute_inverse(plan, cx(in), in_count, out, n);
}
void morvex_m_idft_plan_destroy(morvex_m_dft_plan* plan) { dft::destroy(plan); }
int32_t morvex_m_idft_alignment_of(const morvex_m_dft_plan* plan, const void* p) { return dft::alignment_of(plan, p); }

}  // extern "C"

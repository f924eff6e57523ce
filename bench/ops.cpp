// SPDX-License-Identifier: MIT
// Element-wise operations: conversions in every kernel configuration, shift
// with clipping, deinterleave, abs, magnitude and log10, each beside memcpy of
// the same bytes and beside VOLK's matching kernel in the same run (VOLK's
// f32 multiply, the peer of abs, is in frame.cpp). Every
// benchmark reports bytes read + written, so the bytes/s ratio to its memcpy
// line is its share of copy bandwidth.
#include <cmath>
#include <cstring>

#include "bench_util.h"

#ifdef MORVEX_BENCH_HAVE_VOLK
#include <volk/volk.h>
#endif

namespace morvex::bench {
namespace {

void set_bytes(benchmark::State& state, size_t read, size_t written) {
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(read + written));
}

// ------------------------------------------------------------------ memcpy references
// BM_memcpy_<read>_<written>: bytes per sample read and written.
template <int R, int W>
void BM_memcpy(benchmark::State& state) {
  memcpy_reference(state, size_t(state.range(0)) * R, size_t(state.range(0)) * W);
}
BENCHMARK(BM_memcpy<1, 4>)->Name("BM_memcpy_1_4")->Arg(kBlock)->Arg(kRecord);  // u8 -> f32
BENCHMARK(BM_memcpy<2, 4>)->Name("BM_memcpy_2_4")->Arg(kBlock)->Arg(kRecord);  // u16/i16 -> f32
BENCHMARK(BM_memcpy<1, 8>)->Name("BM_memcpy_1_8")->Arg(kBlock)->Arg(kRecord);  // u8 -> f64
BENCHMARK(BM_memcpy<1, 1>)->Name("BM_memcpy_1_1")->Arg(kBlock)->Arg(kRecord);  // u8 deinterleave
BENCHMARK(BM_memcpy<2, 2>)->Name("BM_memcpy_2_2")->Arg(kBlock)->Arg(kRecord);  // u16 shr_clip, deinterleave
BENCHMARK(BM_memcpy<4, 4>)->Name("BM_memcpy_4_4")->Arg(kBlock)->Arg(kRecord);  // f32 abs, log10
BENCHMARK(BM_memcpy<8, 4>)->Name("BM_memcpy_8_4")->Arg(kBlock)->Arg(kRecord);  // c32f32 magnitude

// BM_floor_<read>_<written>: the byte floor of the same shapes (bench_util.h).
BENCHMARK(byte_floor<1, 4>)->Name("BM_floor_1_4")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<2, 4>)->Name("BM_floor_2_4")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<1, 8>)->Name("BM_floor_1_8")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<2, 8>)->Name("BM_floor_2_8")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<4, 8>)->Name("BM_floor_4_8")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<1, 1>)->Name("BM_floor_1_1")->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<2, 2>)->Name("BM_floor_2_2")->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<4, 4>)->Name("BM_floor_4_4")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(byte_floor<8, 4>)->Name("BM_floor_8_4")->Arg(64)->Arg(kBlock)->Arg(kRecord);

// ------------------------------------------------------------------ conversions
template <class TI, class TO>
void run_convert(benchmark::State& state, int32_t (*fn)(const TI*, TO*, uint64_t, TO, TO), TO offset = TO(-1.28),
                 TO scale = TO(0.01)) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  Array<TI> in(n);
  Array<TO> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = TI(i * 2654435761u >> 7);
  for (auto _ : state) {
    fn(in.data(), out.data(), n, scale, offset);
    benchmark::ClobberMemory();
  }
  set_bytes(state, n * sizeof(TI), n * sizeof(TO));
}

void BM_convert_u8f32(benchmark::State& s) { run_convert(s, morvex_m_convert_u8f32); }
void BM_convert_u16f32(benchmark::State& s) { run_convert(s, morvex_m_convert_u16f32); }
void BM_convert_u8f64(benchmark::State& s) { run_convert(s, morvex_m_convert_u8f64); }
void BM_convert_i8f32(benchmark::State& s) { run_convert(s, morvex_m_convert_i8f32); }
void BM_convert_i16f32(benchmark::State& s) { run_convert(s, morvex_m_convert_i16f32); }
void BM_convert_i8f64(benchmark::State& s) { run_convert(s, morvex_m_convert_i8f64); }
void BM_convert_i16f64(benchmark::State& s) { run_convert(s, morvex_m_convert_i16f64); }
// Signed codes scaled without an offset, VOLK's own operation: the wide
// paths then multiply only.
void BM_convert_i8f32_scale(benchmark::State& s) { run_convert(s, morvex_m_convert_i8f32, 0.0f); }
void BM_convert_i16f32_scale(benchmark::State& s) { run_convert(s, morvex_m_convert_i16f32, 0.0f); }
void BM_convert_f32f64(benchmark::State& s) { run_convert(s, morvex_m_convert_f32f64); }
void BM_convert_f64f32(benchmark::State& s) { run_convert(s, morvex_m_convert_f64f32); }
// Narrowing alone, VOLK's own operation.
void BM_convert_f64f32_unit(benchmark::State& s) { run_convert(s, morvex_m_convert_f64f32, 0.0f, 1.0f); }
// 64 samples shows the fixed cost of a call, 4096 the in-cache rate, 16M the
// rate against the byte floor. The raw-sample kernels sit in slots with a
// variant per configuration; the other conversions choose a wide path at
// call time, so AVX-512, AVX2 (configuration 1) and plain (the loop they used
// to be) suffice.
const std::vector<int64_t> kSizes = {64, kBlock, kRecord};
const std::vector<int64_t> kConfigs = {0, 1, 2, 3, 4};
BENCHMARK(BM_convert_u8f32)->ArgsProduct({kSizes, kConfigs});
BENCHMARK(BM_convert_u16f32)->ArgsProduct({kSizes, kConfigs});
BENCHMARK(BM_convert_u8f64)->ArgsProduct({kSizes, kConfigs});
BENCHMARK(BM_convert_i8f32)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_i16f32)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_i8f32_scale)->ArgsProduct({kSizes, {0, 4}});
BENCHMARK(BM_convert_i16f32_scale)->ArgsProduct({kSizes, {0, 4}});
BENCHMARK(BM_convert_i8f64)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_i16f64)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_f32f64)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_f64f32)->ArgsProduct({kSizes, {0, 1, 4}});
BENCHMARK(BM_convert_f64f32_unit)->ArgsProduct({kSizes, {0, 4}});

// ------------------------------------------------------------------ shift with clipping, deinterleave
void BM_shr_clip_u16(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  Array<uint16_t> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = uint16_t(i * 40503u);
  for (auto _ : state) {
    morvex_m_shr_clip_u16(in.data(), out.data(), n, 4, 100, 3000);
    benchmark::ClobberMemory();
  }
  set_bytes(state, 2 * n, 2 * n);
}
BENCHMARK(BM_shr_clip_u16)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});

// n samples in all (n / 2 per channel).
template <class T>
void run_deinterleave2(benchmark::State& state, int32_t (*fn)(const T*, int32_t, T*, T*)) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  Array<T> src(n), a(n / 2), b(n / 2);
  for (size_t i = 0; i < n; ++i) src[i] = T(i);
  for (auto _ : state) {
    fn(src.data(), int32_t(n), a.data(), b.data());
    benchmark::ClobberMemory();
  }
  set_bytes(state, n * sizeof(T), n * sizeof(T));
}
void BM_deinterleave2_u8(benchmark::State& s) { run_deinterleave2(s, morvex_m_deinterleave2_u8); }
void BM_deinterleave2_u16(benchmark::State& s) { run_deinterleave2(s, morvex_m_deinterleave2_u16); }
BENCHMARK(BM_deinterleave2_u8)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});
BENCHMARK(BM_deinterleave2_u16)->ArgsProduct({{kBlock, kRecord}, {0, 2, 4}});

// ------------------------------------------------------------------ abs, magnitude, log10
void BM_abs_f32(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  Array<float> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = float(i) - float(n / 2);
  for (auto _ : state) {
    morvex_m_abs_f32(in.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  set_bytes(state, 4 * n, 4 * n);
}
BENCHMARK(BM_abs_f32)->ArgsProduct({{kBlock, kRecord}, {0, 3}});

void BM_magnitude_c32f32(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  ConfigScope config(state, int(state.range(1)));
  Array<morvex_m_c32f32> in(n);
  Array<float> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = {std::cos(float(i)), std::sin(float(i)) * 3.0f};
  for (auto _ : state) {
    morvex_m_magnitude_c32f32(in.data(), out.data(), n);
    benchmark::ClobberMemory();
  }
  set_bytes(state, 8 * n, 4 * n);
}
BENCHMARK(BM_magnitude_c32f32)->ArgsProduct({{kBlock, kRecord}, {0, 1, 2}});  // AVX-512, AVX2, baseline

void BM_log10_f32(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<float> in(n), out(n);
  for (size_t i = 0; i < n; ++i) in[i] = 1.0f + float(i % 1000);
  for (auto _ : state) {
    morvex_m_log10_f32(in.data(), out.data(), n, 20.0f);
    benchmark::ClobberMemory();
  }
  set_bytes(state, 4 * n, 4 * n);
}
BENCHMARK(BM_log10_f32)->Arg(kBlock)->Arg(kRecord);

// ------------------------------------------------------------------ VOLK peers
#ifdef MORVEX_BENCH_HAVE_VOLK
// VOLK's conversions divide by a scalar and add no offset; the closest peer.
void BM_volk_8i_s32f_convert_32f(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<int8_t> in(n);
  Array<float> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = int8_t(i * 2654435761u >> 7);
  for (auto _ : state) {
    volk_8i_s32f_convert_32f(out.data(), in.data(), 100.0f, unsigned(n));
    benchmark::ClobberMemory();
  }
  set_bytes(state, n, 4 * n);
}
BENCHMARK(BM_volk_8i_s32f_convert_32f)->Arg(64)->Arg(kBlock)->Arg(kRecord);

void BM_volk_16i_s32f_convert_32f(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<int16_t> in(n);
  Array<float> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = int16_t(i * 2654435761u >> 7);
  for (auto _ : state) {
    volk_16i_s32f_convert_32f(out.data(), in.data(), 100.0f, unsigned(n));
    benchmark::ClobberMemory();
  }
  set_bytes(state, 2 * n, 4 * n);
}
BENCHMARK(BM_volk_16i_s32f_convert_32f)->Arg(64)->Arg(kBlock)->Arg(kRecord);

// VOLK's f32 <-> f64 conversions apply no scale or offset. (VOLK's names
// are function-pointer variables, set by its dispatcher, hence the reference.)
template <class TI, class TO, auto& Convert>
void BM_volk_convert_float(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<TI> in(n);
  Array<TO> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = TI(i) * TI(0.25);
  for (auto _ : state) {
    Convert(out.data(), in.data(), unsigned(n));
    benchmark::ClobberMemory();
  }
  set_bytes(state, sizeof(TI) * n, sizeof(TO) * n);
}
BENCHMARK(BM_volk_convert_float<float, double, volk_32f_convert_64f>)
    ->Name("BM_volk_32f_convert_64f")->Arg(64)->Arg(kBlock)->Arg(kRecord);
BENCHMARK(BM_volk_convert_float<double, float, volk_64f_convert_32f>)
    ->Name("BM_volk_64f_convert_32f")->Arg(64)->Arg(kBlock)->Arg(kRecord);

void BM_volk_32fc_magnitude_32f(benchmark::State& state) {
  const size_t n = size_t(state.range(0));
  Array<lv_32fc_t> in(n);
  Array<float> out(n);
  for (size_t i = 0; i < n; ++i) in[i] = lv_cmake(std::cos(float(i)), std::sin(float(i)) * 3.0f);
  for (auto _ : state) {
    volk_32fc_magnitude_32f(out.data(), in.data(), unsigned(n));
    benchmark::ClobberMemory();
  }
  set_bytes(state, 8 * n, 4 * n);
}
BENCHMARK(BM_volk_32fc_magnitude_32f)->Arg(kBlock)->Arg(kRecord);

#endif

}  // namespace
}  // namespace morvex::bench

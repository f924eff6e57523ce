/* SPDX-License-Identifier: MIT */
/*
 * Quick start: raw 8-bit ADC codes to volts in one pass, then the extremes
 * and the mean of the block.
 *
 *   cc -std=c99 quickstart.c $(pkg-config --cflags --libs morvex-m) -lm
 *
 * The ADC here is simulated: a cosine of 100 codes around mid-scale, 10 mV
 * per code, code 128 being 0 V. The program checks its own results and exits
 * with 1 if they are not what the numbers above imply.
 */
#include <math.h>
#include <stdio.h>

#include <morvex-m.h>

enum { N = 1000 };

int main(void) {
  static uint8_t raw[N];
  static float volts[N];
  double phase = 0.0; /* in periods; carried from block to block */
  float lo, hi, sum = 0.0f;

  /* Start the library: it reads the processor's features and picks the
   * fastest kernels (the conversion below goes through one). */
  morvex_m_init();
  printf("libmorvex-m %s\n", MORVEX_M_VERSION_STRING);

  /* One block of the simulated acquisition: 10 periods of 100 samples. */
  morvex_m_waveform_cosine_u8(raw, N, &phase, 100.0, 100.0, 128.0, 0.5, 0, 255);

  /* Calibrate: volts = code * 0.01 - 1.28. */
  morvex_m_convert_u8f32(raw, volts, N, 0.01f, -1.28f);

  /* Extremes and mean of the calibrated block. */
  morvex_m_minmax_f32(volts, N, &lo, &hi);
  morvex_m_sum_f32(volts, N, &sum); /* adds to sum, which starts at 0 */
  printf("min %+.4f V, max %+.4f V, mean %+.5f V over %d samples\n", lo, hi, sum / N, N);

  morvex_m_fini();

  /* Codes 28..228 are -1 V .. +1 V (to a float's rounding), and whole
   * periods of a cosine average to 0 up to the rounding to whole codes. */
  return fabsf(lo + 1.0f) < 1e-5f && fabsf(hi - 1.0f) < 1e-5f && fabsf(sum / N) < 2e-3f ? 0 : 1;
}

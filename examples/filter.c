/* SPDX-License-Identifier: MIT */
/*
 * An IIR filter designed, queried and run: a 4th-order Butterworth lowpass
 * at 500 Hz for a 10 kHz sample rate takes a 3 kHz interferer off a 100 Hz
 * signal, block by block.
 *
 *   cc -std=c99 filter.c $(pkg-config --cflags --libs morvex-m) -lm
 *
 * The program checks its own results: the design is stable, its gain at the
 * cut-off is -3 dB, and the filtered signal is the 100 Hz tone alone.
 */
#include <math.h>
#include <stdio.h>

#include <morvex-m.h>

enum { BLOCK = 500, BLOCKS = 20, POINTS = 1001 };

int main(void) {
  const double fs = 10000.0;
  morvex_m_filter_state* lp = NULL;
  const double* sos;
  uint64_t coefficients, s;
  int32_t stable = 0;
  static double f[POINTS];
  static morvex_m_c64f64 h[POINTS];
  static double signal[BLOCK], interferer[BLOCK], out[BLOCK];
  double phase_signal = 0.0, phase_interferer = 0.0, lo = 0.0, hi = 0.0, gain_db;
  int b, ok;

  morvex_m_init(); /* the frequency response runs on the task pool */

  /* Design. A design returns -1 for parameters it rejects (a cut-off at or
   * above fs/2, say) and then makes no state. */
  if (morvex_m_filter_iir_butterworth(MORVEX_M_FILTER_LOWPASS, 4, &lp, fs, 500.0, 0.0) != 0) return 1;

  /* Query: stability, the second-order sections, the frequency response. */
  morvex_m_filter_iir_isstable(lp, &stable);
  morvex_m_filter_iir_get_sos(lp, &sos, &coefficients);
  printf("Butterworth lowpass, order 4, 500 Hz at %.0f Hz: %s, %llu sections\n", fs,
         stable ? "stable" : "UNSTABLE", (unsigned long long)(coefficients / 6));
  for (s = 0; s < coefficients / 6; ++s)
    printf("  b = %+.6f %+.6f %+.6f   a = %+.6f %+.6f %+.6f\n", sos[6 * s], sos[6 * s + 1], sos[6 * s + 2],
           sos[6 * s + 3], sos[6 * s + 4], sos[6 * s + 5]);
  /* 1001 points from 0 to fs/2 inclusive: point i is at 5 * i Hz. */
  morvex_m_filter_iir_freqz(lp, POINTS, 0, 1, 0, f, h, fs);
  gain_db = 20.0 * log10(hypot(h[100].re, h[100].im));
  printf("gain at %.0f Hz: %.3f dB\n", f[100], gain_db);

  /* Run: 100 Hz of amplitude 1 plus 3 kHz of amplitude 1, in blocks; the
   * delay line carries over from block to block inside the state. */
  morvex_m_filter_reset_delay_line(lp, 1); /* no start-up transient */
  for (b = 0; b < BLOCKS; ++b) {
    morvex_m_waveform_cosine_f64(signal, BLOCK, &phase_signal, fs / 100.0, 1.0, 0.0, 0.5, -2.0, 2.0);
    morvex_m_waveform_cosine_f64(interferer, BLOCK, &phase_interferer, fs / 3000.0, 1.0, 0.0, 0.5, -2.0, 2.0);
    morvex_m_add_f64(signal, interferer, signal, BLOCK);
    morvex_m_filter_execute_f64(signal, out, BLOCK, lp);
  }
  /* The last block holds 5 periods of the filtered 100 Hz tone. */
  morvex_m_minmax_f64(out, BLOCK, &lo, &hi);
  printf("last block after the filter: %+.4f .. %+.4f\n", lo, hi);

  morvex_m_filter_state_destroy(lp);
  morvex_m_fini();

  /* -3.01 dB at the cut-off is what makes it a Butterworth; at 100 Hz the
   * gain is 1 to 1e-5 and at 3 kHz below -60 dB, so the output swings +-1. */
  ok = stable && coefficients == 12 && fabs(gain_db + 3.0103) < 0.01 && fabs(hi - 1.0) < 2e-3 &&
       fabs(lo + 1.0) < 2e-3;
  return ok ? 0 : 1;
}

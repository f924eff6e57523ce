/*
 * The acquisition pipeline in miniature: a block of raw 8-bit samples, as an
 * instrument delivers them, calibrated to volts and summarised.
 *
 * Run without arguments it processes its built-in signal; the first argument,
 * if given, is the number of samples per block.
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "morvex-m.h"

enum { kDefaultBlock = 4096 };

/* The built-in signal: a 50 Hz sine at 10 kS/s on an 8-bit ADC with a small
 * offset, as the raw codes 0..255. */
static void make_raw_block(uint8_t* raw, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const double v = 100.0 * sin(2.0 * 3.141592653589793 * 50.0 * (double)i / 10000.0) + 131.0;
    raw[i] = (uint8_t)lround(v);
  }
}

int main(int argc, char** argv) {
  size_t n = kDefaultBlock;
  if (argc > 1) n = (size_t)strtoull(argv[1], NULL, 10);
  if (n == 0) n = kDefaultBlock;

  morvex_m_init();
  const morvex_m_version* v = morvex_m_get_version();
  printf("libmorvex-m %u.%u.%u\n", (unsigned)(v->version >> 48), (unsigned)(v->version >> 32) & 0xFFFFu,
         (unsigned)(v->version >> 16) & 0xFFFFu);

  uint8_t* raw = malloc(n);
  float* volts = malloc(n * sizeof *volts);
  float* square = malloc(n * sizeof *square);
  if (!raw || !volts || !square) {
    fprintf(stderr, "out of memory\n");
    return 1;
  }
  make_raw_block(raw, n);

  /* Calibration of the ADC: code 128 is 0 V, full scale +-1.28 V. */
  const float lsb = 0.01f, zero = -1.28f;
  morvex_m_convert_u8f32(raw, volts, n, 1.0f, 0.0f);
  morvex_m_mulc_addc_f32(volts, volts, n, lsb, zero);

  /* RMS through the arithmetic exports. */
  morvex_m_pow2_f32(volts, square, n);
  double sum = 0.0, lo = volts[0], hi = volts[0];
  for (size_t i = 0; i < n; ++i) {
    sum += square[i];
    if (volts[i] < lo) lo = volts[i];
    if (volts[i] > hi) hi = volts[i];
  }
  printf("block of %zu samples: min %.4f V, max %.4f V, rms %.4f V\n", n, lo, hi, sqrt(sum / (double)n));

  free(square);
  free(volts);
  free(raw);
  morvex_m_fini();
  return 0;
}

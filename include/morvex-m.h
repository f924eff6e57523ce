/*
 * libmorvex-m: the whole public interface. Include this header, link
 * -lmorvex-m (pkg-config morvex-m, or the CMake target morvex::morvex-m).
 * The family headers under morvex-m/ document each group of exports.
 */
#ifndef MORVEX_M_H
#define MORVEX_M_H

#include "morvex-m/base.h"     /* lifecycle, status, version, options */
#include "morvex-m/arith.h"    /* element-wise arithmetic */
#include "morvex-m/ops.h"      /* math functions, conversion, bits, deinterleave, unwrap */
#include "morvex-m/reduce.h"   /* sums, extremes, index searches, histograms */
#include "morvex-m/trigger.h"  /* software triggers */
#include "morvex-m/generate.h" /* waveforms, windows, noise */
#include "morvex-m/dft.h"      /* real discrete Fourier transforms */
#include "morvex-m/filter.h"   /* IIR filters */
#include "morvex-m/fit.h"      /* exponential fit */

#endif /* MORVEX_M_H */

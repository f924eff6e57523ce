/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m.h
 * @brief libmorvex-m: the whole public interface.
 *
 * Include this header and link `-lmorvex-m` (`pkg-config --cflags --libs
 * morvex-m`, or the CMake target `morvex::morvex-m`). The family headers
 * under `morvex-m/` document each group of exports; each compiles on its own
 * too, as C99 and as C++.
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

/**
 * @example quickstart.c
 * Raw 8-bit ADC codes to volts in one pass, then the extremes and the mean.
 */
/**
 * @example block_loop.cpp
 * A block loop in C++: rising edges found with the trigger state carried
 * across blocks, and a spectrum per block through one transform plan.
 */
/**
 * @example filter.c
 * A Butterworth lowpass designed, queried (stability, sections, response) and
 * run block by block.
 */

#endif /* MORVEX_M_H */

// SPDX-License-Identifier: MIT
// Frequency response and stability of a filter state.
#pragma once

#include <cstdint>

#include "morvex-m/filter.h"

namespace morvex::filter {

// The frequency grid in radians per sample (see filter.h).
struct Grid {
  bool logarithmic;
  double start;        // 0, or log10 of the 1 Hz angular frequency
  double step;         // between points (in log10 for a logarithmic grid)
  double end;          // the end point (or its log10), used for the last point
  uint64_t end_index;  // index of the end point; past every point without one
};

Grid make_grid(uint64_t count, bool whole, bool include_end, bool logarithmic, double sample_rate);
double grid_point(const Grid& g, uint64_t i);

// Statuses as the exports return them. Derivation failures throw.
int32_t freqz(morvex_m_filter_state& st, uint64_t count, bool whole, bool include_nyquist, bool logarithmic,
              double* frequencies, morvex_m_c64f64* response, double sample_rate);
int32_t freqz_zpk(morvex_m_filter_state& st, uint64_t count, bool whole, bool logarithmic, double* frequencies,
                  morvex_m_c64f64* response, double sample_rate);
int32_t isstable(morvex_m_filter_state& st, bool& stable);

}  // namespace morvex::filter

// SPDX-License-Identifier: MIT
// Window internals reachable from tests: the flat-top's mirrored range walk.
#pragma once

#include <cstdint>

namespace morvex::generate {

// Applies the flat-top weight of loop index i to element i and to its mirror
// n - 1 - i, for i = begin, begin + step, ... below end, spread over the task
// pool. The export walks 0 to n / 2 with step 1. A step of 0 would never
// advance: it raises std::invalid_argument("Invalid step") before any work.
void flattop_walk(const float* in, float* out, uint64_t n, bool normalize, uint64_t begin, uint64_t end,
                  uint64_t step);
void flattop_walk(const double* in, double* out, uint64_t n, bool normalize, uint64_t begin, uint64_t end,
                  uint64_t step);

}  // namespace morvex::generate

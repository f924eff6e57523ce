// SPDX-License-Identifier: MIT
// Allocation failure on demand. A test binary linked with the CMake target
// morvex-test-alloc-fail routes malloc, calloc, realloc, posix_memalign,
// aligned_alloc and every operator new through a counter. The executable's
// definitions come first in symbol lookup, so the shared libraries'
// allocations count too, as do those of every thread. Unarmed, nothing fails.
#pragma once

#include <cstdint>

namespace morvex::test {

// From now on the k-th allocation fails (k >= 1; 0 only counts), and with
// `sticky` every one after it too. With `this_thread_only` only the calling
// thread's allocations count and fail: a thread starting meanwhile (whose C
// library and sanitizer runtime take memory as it starts) is left alone.
void alloc_fail_arm(uint64_t k, bool sticky = false, bool this_thread_only = false);

// Stops failing; returns the allocations made since arming, failed ones
// included (a sweep over k ends when this is below k).
uint64_t alloc_fail_disarm();

}  // namespace morvex::test

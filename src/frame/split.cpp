// SPDX-License-Identifier: MIT
#include "frame/split.h"

#include <time.h>

#include <atomic>
#include <thread>

namespace morvex::frame {

namespace {

std::atomic<unsigned> g_pinned{0};
std::atomic<unsigned> g_cached{0};
std::atomic<int64_t> g_cached_at{0};  // coarse monotonic time of the last read, in ms

int64_t coarse_ms() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);  // a vDSO read, a few nanoseconds
  return int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

}  // namespace

unsigned split_thread_count() {
  if (unsigned pinned = g_pinned.load(std::memory_order_relaxed)) return pinned;
  const int64_t now = coarse_ms();
  unsigned h = g_cached.load(std::memory_order_relaxed);
  if (h == 0 || now - g_cached_at.load(std::memory_order_relaxed) >= 100) {
    h = std::thread::hardware_concurrency();
    if (h == 0) h = 1;
    g_cached.store(h, std::memory_order_relaxed);
    g_cached_at.store(now, std::memory_order_relaxed);
  }
  return h;
}

void set_split_thread_count(unsigned h) { g_pinned.store(h, std::memory_order_relaxed); }

}  // namespace morvex::frame

// SPDX-License-Identifier: MIT
// The per-thread store of window multipliers (weight_cache.h).
#include "generate/weight_cache.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "frame/flags.h"

namespace morvex::generate {

namespace {

std::atomic<bool> g_enabled{true};

// The processor options as they stand. Weights kept under other options are
// computed afresh: the values would be the same, but a caller who switches
// a kernel off expects the next call to run the kernel now chosen (to time
// it, or to compare kernels), not to reuse another kernel's work.
uint8_t options_now() {
  using namespace frame;
  return uint8_t(flag(kSse42) | flag(kAvx) << 1 | flag(kAvx2) << 2 | flag(kFma3) << 3 | flag(kAvx512f) << 4 |
                 flag(kAvx512cd) << 5);
}

struct Entry {
  WeightKey key{};
  double* data = nullptr;  // key.n multipliers, then their mirror differences (long windows)
  bool ready = false;      // filled by a call that completed
  uint8_t options = 0;     // options_now() when it was filled
  uint64_t used = 0;       // the store's clock at the last lookup
};

uint64_t mirror_pairs(uint64_t n) { return n >= kMirrorFrom ? n / 2 : 0; }

int16_t* mirror_of(const Entry& e) {
  return mirror_pairs(e.key.n) ? reinterpret_cast<int16_t*>(e.data + e.key.n) : nullptr;
}

// Room for n multipliers and their mirror differences. Long windows are
// read from the outer caches or memory at every call, where a walk through
// 4 KiB pages costs a good part of the multiply: they get 2 MiB-aligned
// storage, offered to the system as huge pages (a hint; the memory is the
// same either way).
double* allocate(uint64_t n) {
  constexpr std::size_t kHuge = std::size_t(2) << 20;
  const std::size_t bytes = n * sizeof(double) + mirror_pairs(n) * sizeof(int16_t);
  if (bytes < kHuge) return static_cast<double*>(std::malloc(bytes));
  const std::size_t rounded = (bytes + kHuge - 1) / kHuge * kHuge;
  void* p = std::aligned_alloc(kHuge, rounded);
  if (p) madvise(p, rounded, MADV_HUGEPAGE);
  return static_cast<double*>(p);
}

// For each pair j < n/2: the bits of w[n-1-j] less those of w[j], where
// that fits in 16 bits. The integer difference of the two patterns rebuilds
// w[n-1-j] exactly from w[j], whatever the two values (signs, NaNs).
void fill_mirror(const double* w, int16_t* mirror, uint64_t n) {
  for (uint64_t j = 0; j < n / 2; ++j) {
    uint64_t a, b;
    std::memcpy(&a, w + j, sizeof a);
    std::memcpy(&b, w + n - 1 - j, sizeof b);
    const int64_t d = int64_t(b - a);
    mirror[j] = d > kNoMirror && d <= INT16_MAX ? int16_t(d) : kNoMirror;
  }
}

// A thread's windows. Lookups scan the few entries in order; the clock
// orders them by last use.
class Store {
 public:
  ~Store() {
    for (Entry& e : entries_) std::free(e.data);
  }

  WeightLookup find(const WeightKey& key) {
    ++clock_;
    const uint8_t options = options_now();
    for (Entry& e : entries_)
      if (e.data && e.key == key) {
        e.used = clock_;
        if (e.ready && e.options == options) return {e.data, mirror_of(e), nullptr};
        e.ready = false;  // to be filled (again) by this call
        e.options = options;
        return {nullptr, nullptr, e.data};
      }
    if (key.n > kMaxWeights) return {nullptr, nullptr, nullptr};
    Entry& slot = make_room(key.n);
    slot.data = allocate(key.n);
    if (!slot.data) return {nullptr, nullptr, nullptr};
    slot.key = key;
    slot.ready = false;
    slot.options = options;
    slot.used = clock_;
    weights_ += key.n;
    return {nullptr, nullptr, slot.data};
  }

  void filled(const WeightKey& key) {
    for (Entry& e : entries_)
      if (e.data && e.key == key) {
        if (int16_t* mirror = mirror_of(e)) fill_mirror(e.data, mirror, key.n);
        e.ready = true;
      }
  }

  WeightCacheUse use() const {
    std::size_t windows = 0;
    for (const Entry& e : entries_) windows += e.data != nullptr;
    return {windows, weights_};
  }

 private:
  // Frees least recently used entries until n more multipliers fit and a
  // slot is free; returns that slot.
  Entry& make_room(uint64_t n) {
    for (;;) {
      Entry* free_slot = nullptr;
      Entry* oldest = nullptr;
      for (Entry& e : entries_) {
        if (!e.data)
          free_slot = free_slot ? free_slot : &e;
        else if (!oldest || e.used < oldest->used)
          oldest = &e;
      }
      if (free_slot && weights_ + n <= kMaxWeights) return *free_slot;
      weights_ -= oldest->key.n;
      std::free(oldest->data);
      *oldest = Entry{};
    }
  }

  Entry entries_[kEntries];
  uint64_t clock_ = 0;
  uint64_t weights_ = 0;  // multipliers held, in all
};

Store& store() {
  thread_local Store s;
  return s;
}

}  // namespace

WeightLookup find_weights(const WeightKey& key) {
  if (!g_enabled.load(std::memory_order_relaxed)) return {nullptr, nullptr, nullptr};
  return store().find(key);
}

void weights_filled(const WeightKey& key) { store().filled(key); }

void set_weight_cache_enabled(bool on) { g_enabled.store(on, std::memory_order_relaxed); }

WeightCacheUse weight_cache_use() { return store().use(); }

}  // namespace morvex::generate

// SPDX-License-Identifier: MIT
// See alloc_fail.h. The next allocator is found with dlsym(RTLD_NEXT), which
// may allocate while it looks: those few requests get static arena memory,
// which free and realloc recognise. Nothing here locks or calls itself back.
#include "common/alloc_fail.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<bool> g_armed{false}, g_sticky{false}, g_this_thread{false};
std::atomic<uint64_t> g_count{0}, g_fail_at{0};
thread_local bool t_arming = false;  // static TLS of the executable: reading it allocates nothing

bool refuse() {  // counts one allocation; true if it is to fail
  if (!g_armed.load(std::memory_order_acquire)) return false;
  if (g_this_thread.load() && !t_arming) return false;
  const uint64_t n = g_count.fetch_add(1) + 1, k = g_fail_at.load();
  return k != 0 && (n == k || (n > k && g_sticky.load()));
}

alignas(64) char g_arena[8192];
std::atomic<size_t> g_arena_used{0};
bool in_arena(const void* p) { return p >= g_arena && p < g_arena + sizeof g_arena; }
void* from_arena(size_t n) {  // never reused, so zero-filled
  const size_t at = g_arena_used.fetch_add((n + 63) & ~size_t(63));
  return at + n <= sizeof g_arena ? g_arena + at : nullptr;
}

void* (*g_malloc)(size_t);
void* (*g_calloc)(size_t, size_t);
void* (*g_realloc)(void*, size_t);
void (*g_free)(void*);
int (*g_memalign)(void**, size_t, size_t);
std::atomic<int> g_resolved{0};  // 0 not yet, 1 under way, 2 done

template <class F>
void next(F*& fn, const char* name) { fn = reinterpret_cast<F*>(dlsym(RTLD_NEXT, name)); }

bool ready() {  // false while dlsym runs
  int state = g_resolved.load(std::memory_order_acquire);
  if (state == 2) return true;
  if (state == 1 || !g_resolved.compare_exchange_strong(state, 1)) return g_resolved.load() == 2;
  next(g_malloc, "malloc"), next(g_calloc, "calloc"), next(g_realloc, "realloc"), next(g_free, "free");
  next(g_memalign, "posix_memalign");
  g_resolved.store(2, std::memory_order_release);
  return true;
}

void* aligned(size_t n, std::align_val_t a) noexcept {
  void* p = nullptr;
  return posix_memalign(&p, std::max(size_t(a), sizeof(void*)), n ? n : 1) == 0 ? p : nullptr;
}

void* or_throw(void* p) { return p ? p : throw std::bad_alloc(); }

}  // namespace

void morvex::test::alloc_fail_arm(uint64_t k, bool sticky, bool this_thread_only) {
  g_armed.store(false), g_count.store(0), g_fail_at.store(k), g_sticky.store(sticky);
  g_this_thread.store(this_thread_only), t_arming = true;
  g_armed.store(true, std::memory_order_release);
}

uint64_t morvex::test::alloc_fail_disarm() {
  g_armed.store(false), t_arming = false;
  return g_count.load();
}

extern "C" {
void* malloc(size_t n) noexcept { return !ready() ? from_arena(n) : refuse() ? nullptr : g_malloc(n); }
void* calloc(size_t c, size_t n) noexcept {
  if (n && c > SIZE_MAX / n) return nullptr;
  return !ready() ? from_arena(c * n) : refuse() ? nullptr : g_calloc(c, n);
}
void* realloc(void* p, size_t n) noexcept {
  if (!in_arena(p)) return !ready() ? from_arena(n) : refuse() ? nullptr : g_realloc(p, n);
  void* q = malloc(n);
  if (q) std::memcpy(q, p, std::min<size_t>(n, g_arena + sizeof g_arena - static_cast<char*>(p)));
  return q;
}
void free(void* p) noexcept {
  if (p && !in_arena(p) && ready()) g_free(p);
}
int posix_memalign(void** p, size_t a, size_t n) noexcept {
  return !ready() || refuse() ? ENOMEM : g_memalign(p, a, n);
}
void* aligned_alloc(size_t a, size_t n) noexcept { return aligned(n, std::align_val_t(a)); }
}  // extern "C"

// Every form of new and delete, so that C++ allocations count and their
// memory goes back the way it came (a sanitizer checks the pairing).
#define MORVEX_NEW_DELETE(A)                                                                               \
  void* operator new A(size_t n) { return or_throw(malloc(n ? n : 1)); }                                 \
  void* operator new A(size_t n, std::align_val_t a) { return or_throw(aligned(n, a)); }                 \
  void* operator new A(size_t n, const std::nothrow_t&) noexcept { return malloc(n ? n : 1); }           \
  void* operator new A(size_t n, std::align_val_t a, const std::nothrow_t&) noexcept { return aligned(n, a); } \
  void operator delete A(void* p) noexcept { free(p); }                                                  \
  void operator delete A(void* p, size_t) noexcept { free(p); }                                          \
  void operator delete A(void* p, std::align_val_t) noexcept { free(p); }                                \
  void operator delete A(void* p, size_t, std::align_val_t) noexcept { free(p); }                        \
  void operator delete A(void* p, const std::nothrow_t&) noexcept { free(p); }                           \
  void operator delete A(void* p, std::align_val_t, const std::nothrow_t&) noexcept { free(p); }
MORVEX_NEW_DELETE()
MORVEX_NEW_DELETE([])
#undef MORVEX_NEW_DELETE

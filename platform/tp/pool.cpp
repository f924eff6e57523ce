// SPDX-License-Identifier: MIT
// libmorvex-tp: a small pool of persistent worker threads.
//
// What it is for. The numerical library splits an index range into one chunk
// per hardware thread, queues all chunks but the last, computes the last one
// itself and waits. Chunks are short (a 4096-sample window is tens of
// microseconds of work in all), so the cost that matters is the hand-off: how
// long a queued chunk waits before a thread starts it, and how long the waiter
// takes to notice that it is done.
//
// Design.
//  - One FIFO queue per pool: an intrusive doubly-linked list under a mutex.
//    The critical sections are a few pointer writes, so the mutex is
//    uncontended in practice; an atomic counter of queued tasks lets idle
//    threads poll without taking it.
//  - Workers spin briefly before sleeping. A worker that finds the queue empty
//    polls the counter for kSpin (a short time, with the pause instruction)
//    and only then sleeps on a futex. Back-to-back splits therefore find a
//    spinning worker and hand over in well under a microsecond, while an idle
//    pool costs no CPU. Sleepers are counted, so a submitter issues the wake-up
//    system call only when someone actually sleeps.
//  - Workers keep time with a steady caller (cadence.h). A program that
//    splits every few milliseconds would find them asleep every time; they
//    learn the pace from the tasks they take (and the wake-ups a submission
//    gives them), and are back, spinning, shortly before the next split is
//    due. Nothing of this runs on the submitting thread: its hand-off costs
//    what it did. MORVEX_TP_WAIT_POLICY=passive turns this off.
//  - Waiters help. morvex_tp_wait takes a task that no worker has started yet
//    off the queue and runs it on the waiting thread. A waiter thus never
//    depends on a worker being free or awake: if the worker is still waking
//    up, the caller does the chunk itself and loses nothing. This is also what
//    makes the pool safe to share between many application threads with fewer
//    workers than submitters, and what keeps fini from ever waiting on a task
//    that nobody will run.
//  - Completion is one atomic state word per task (queued, running, done, plus
//    a "waiter asleep" bit). A waiter spins on it for a while, then sleeps on
//    the word's futex; the finishing worker wakes it only if the bit is set.
//  - Each task runs exactly once: the transition out of "queued" happens under
//    the queue mutex, by a worker popping it or a waiter unlinking it.
//  - Shut-down sets a flag and wakes everyone; workers leave only when the
//    queue is empty, so every queued task runs before fini returns.
//
// Sizing: the default pool has one worker per hardware thread but one (the
// submitting thread computes a chunk itself), and at least one.
#include "morvex-tp.h"

#include <immintrin.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "cadence.h"

namespace {

constexpr uint32_t kQueued = 0, kRunning = 1, kDone = 2, kWaiterAsleep = 4;
constexpr auto kSpin = std::chrono::microseconds(100);

int64_t now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

long futex(std::atomic<uint32_t>* word, int op, uint32_t value, const timespec* timeout = nullptr) {
  return syscall(SYS_futex, reinterpret_cast<uint32_t*>(word), op | FUTEX_PRIVATE_FLAG, value, timeout, nullptr, 0);
}

// Spins with the pause instruction until pred() holds or the steady clock
// passes deadline (ns); the clock is read only every 64 rounds.
template <class Pred>
bool spin_until(Pred pred, int64_t deadline) {
  for (unsigned round = 1;; ++round) {
    if (pred()) return true;
    _mm_pause();
    if ((round & 63) == 0 && now_ns() > deadline) return pred();
  }
}

template <class Pred>
bool spin_until(Pred pred) {
  return spin_until(pred, now_ns() + std::chrono::nanoseconds(kSpin).count());
}

bool anticipating() {
  const char* policy = std::getenv("MORVEX_TP_WAIT_POLICY");
  return !policy || std::strcmp(policy, "passive") != 0;
}

class Pool;

}  // namespace

struct morvex_tp_task {
  morvex_tp_fn fn;
  void* arg;
  Pool* pool;  // null when the task ran at creation
  morvex_tp_task* prev = nullptr;
  morvex_tp_task* next = nullptr;
  std::atomic<uint32_t> state{kQueued};
};

namespace {

class Pool {
 public:
  explicit Pool(unsigned workers) {
    threads_.reserve(workers);
    try {
      for (unsigned i = 0; i < workers; ++i) threads_.emplace_back([this] { work(); });
    } catch (...) {
      stop();
      throw;
    }
  }
  ~Pool() { stop(); }

  void submit(morvex_tp_task* t) {
    {
      std::lock_guard<std::mutex> guard(lock_);
      t->prev = tail_;
      t->next = nullptr;
      (tail_ ? tail_->next : head_) = t;
      tail_ = t;
      queued_.fetch_add(1);
    }
    wake_one();
  }

  // Runs t on this thread if no worker has taken it yet; true if it did.
  bool try_run_here(morvex_tp_task* t) {
    if (t->state.load(std::memory_order_acquire) != kQueued) return false;
    {
      std::lock_guard<std::mutex> guard(lock_);
      if (t->state.load(std::memory_order_relaxed) != kQueued) return false;
      unlink(t);
      t->state.store(kRunning, std::memory_order_relaxed);
    }
    run(t);
    return true;
  }

  uint16_t workers() const { return uint16_t(threads_.size()); }
  uint16_t sleepers() const { return uint16_t(sleepers_.load(std::memory_order_relaxed)); }
  uint32_t queued() const { return queued_.load(std::memory_order_relaxed); }
  uint64_t completed() const { return completed_.load(std::memory_order_relaxed); }

  static void run(morvex_tp_task* t) {
    t->fn(t->arg);
    if (t->pool) t->pool->completed_.fetch_add(1, std::memory_order_relaxed);
    // The waiter may free the task as soon as it sees kDone; the futex wake
    // below only uses the address, which the kernel tolerates.
    if (t->state.exchange(kDone, std::memory_order_acq_rel) & kWaiterAsleep)
      futex(&t->state, FUTEX_WAKE, INT_MAX);
  }

 private:
  void unlink(morvex_tp_task* t) {
    (t->prev ? t->prev->next : head_) = t->next;
    (t->next ? t->next->prev : tail_) = t->prev;
    t->prev = t->next = nullptr;
    queued_.fetch_sub(1);
  }

  morvex_tp_task* pop() {
    if (queued_.load(std::memory_order_relaxed) == 0) return nullptr;
    std::lock_guard<std::mutex> guard(lock_);
    morvex_tp_task* t = head_;
    if (!t) return nullptr;
    unlink(t);
    t->state.store(kRunning, std::memory_order_relaxed);
    return t;
  }

  void wake_one() {
    // Sequentially consistent order with the sleeper's steps in work(): either
    // the sleeper sees the new queue count before it sleeps, or we see it
    // counted as a sleeper, and then its epoch reading is older than the
    // bump below, so its futex wait returns at once or is woken. With every
    // worker awake (spinning or running) there is nothing to bump or wake: a
    // back-to-back hand-off writes one shared word less.
    if (sleepers_.load() != 0) {
      epoch_.fetch_add(1);
      futex(&epoch_, FUTEX_WAKE, 1);
    }
  }

  void work() {
    const auto ready = [this] { return queued_.load(std::memory_order_relaxed) != 0 || stopping_.load(); };
    for (;;) {
      if (morvex_tp_task* t = pop()) {
        if (anticipate_) cadence_.seen(now_ns());
        run(t);
        continue;
      }
      if (stopping_.load()) return;  // queue seen empty after the stop flag
      if (spin_until(ready)) continue;
      // Back for the next split of a steady caller; one that does not come
      // in its window leaves the worker to a plain sleep, so a program that
      // stops splitting costs one window.
      if (anticipate_) {
        const morvex::tp::Cadence::Window w = cadence_.next();
        const int64_t now = now_ns();
        if (now < w.until) {
          if (now < w.from && sleep(w.from - now)) continue;
          if (spin_until(ready, w.until)) continue;
        }
      }
      sleep(-1);
    }
  }

  // Sleeps until a submission wakes this worker, or for at most ns (< 0: no
  // limit); true if a submission came. The cadence counts it even when the
  // waiter ran the task before this worker got to it.
  bool sleep(int64_t ns) {
    const timespec timeout{time_t(ns / 1'000'000'000), long(ns % 1'000'000'000)};
    const uint32_t seen = epoch_.load();
    sleepers_.fetch_add(1);
    if (queued_.load() == 0 && !stopping_.load()) futex(&epoch_, FUTEX_WAIT, seen, ns < 0 ? nullptr : &timeout);
    sleepers_.fetch_sub(1);
    const bool woken = epoch_.load() != seen;
    if (woken && anticipate_) cadence_.seen(now_ns());
    return woken;
  }

  void stop() {
    stopping_.store(true);
    epoch_.fetch_add(1);
    futex(&epoch_, FUTEX_WAKE, INT_MAX);
    for (auto& th : threads_)
      if (th.joinable()) th.join();
    threads_.clear();
  }

  std::mutex lock_;
  morvex_tp_task* head_ = nullptr;
  morvex_tp_task* tail_ = nullptr;
  std::atomic<uint32_t> queued_{0};
  std::atomic<uint32_t> epoch_{0};
  std::atomic<uint32_t> sleepers_{0};
  std::atomic<bool> stopping_{false};
  const bool anticipate_ = anticipating();
  // Written by workers only, after a hand-off: on a line of its own, away
  // from the words the submitting thread writes.
  alignas(64) morvex::tp::Cadence cadence_;
  // Counted by whichever thread runs a task, read only for the status: on a
  // line of its own, away from the words every hand-off touches.
  alignas(64) std::atomic<uint64_t> completed_{0};
  std::vector<std::thread> threads_;
};

unsigned default_workers() {
  const unsigned hw = std::thread::hardware_concurrency();
  return hw > 1 ? hw - 1 : 1;
}

std::mutex g_lifecycle;
uint64_t g_refs = 0;
std::atomic<Pool*> g_default{nullptr};

void wait_for(morvex_tp_task* t) {
  // A queued task implies a live pool (pools drain their queue before they go).
  if (t->state.load(std::memory_order_acquire) == kQueued && t->pool->try_run_here(t)) return;
  if (spin_until([t] { return t->state.load(std::memory_order_acquire) == kDone; })) return;
  for (;;) {
    uint32_t s = t->state.load(std::memory_order_acquire);
    if (s == kDone) return;
    if (!(s & kWaiterAsleep)) {
      if (!t->state.compare_exchange_weak(s, s | kWaiterAsleep, std::memory_order_acq_rel)) continue;
      s |= kWaiterAsleep;
    }
    futex(&t->state, FUTEX_WAIT, s);
  }
}

}  // namespace

struct morvex_tp_context {
  Pool pool;
  explicit morvex_tp_context(unsigned workers) : pool(workers) {}
};

extern "C" {

int32_t morvex_tp_init(void) {
  std::lock_guard<std::mutex> guard(g_lifecycle);
  if (g_refs == 0) {
    try {
      g_default.store(new Pool(default_workers()), std::memory_order_release);
    } catch (...) {
      return -1;
    }
  }
  ++g_refs;
  return 0;
}

int32_t morvex_tp_fini(void) {
  std::lock_guard<std::mutex> guard(g_lifecycle);
  if (g_refs == 0) return -1;
  if (--g_refs == 0) delete g_default.exchange(nullptr, std::memory_order_acq_rel);
  return 0;
}

int32_t morvex_tp_get_status(void* buf, uint64_t len) {
  if (!buf || len < 2) return -1;
  unsigned char status[16] = {};
  std::lock_guard<std::mutex> guard(g_lifecycle);
  if (Pool* p = g_default.load(std::memory_order_acquire)) {
    const uint16_t workers = p->workers(), sleepers = p->sleepers();
    const uint32_t queued = p->queued();
    const uint64_t completed = p->completed();
    std::memcpy(status + 0, &workers, 2);
    std::memcpy(status + 2, &sleepers, 2);
    std::memcpy(status + 4, &queued, 4);
    std::memcpy(status + 8, &completed, 8);
  }
  std::memcpy(buf, status, len < 16 ? len : 16);
  return 0;
}

morvex_tp_context* morvex_tp_context_create(uint16_t workers) {
  try {
    return new morvex_tp_context(workers ? workers : default_workers());
  } catch (...) {
    return nullptr;
  }
}

void morvex_tp_context_destroy(morvex_tp_context* context) { delete context; }

morvex_tp_task* morvex_tp_context_new_task(morvex_tp_context* context, morvex_tp_fn fn, void* arg) {
  Pool* pool = context ? &context->pool : g_default.load(std::memory_order_acquire);
  auto* t = new (std::nothrow) morvex_tp_task{fn, arg, pool};
  if (!t) {
    // No memory for a task: the work is done here and now, so that a caller
    // who skips the NULL handle loses nothing.
    fn(arg);
    return nullptr;
  }
  if (pool) {
    pool->submit(t);
  } else {
    t->state.store(kRunning, std::memory_order_relaxed);
    Pool::run(t);  // no pool running: the creating thread does the work
  }
  return t;
}

int32_t morvex_tp_wait(morvex_tp_task* const* tasks, uint64_t count) {
  if (!tasks) return 0;
  for (uint64_t i = 0; i < count; ++i)
    if (tasks[i]) wait_for(tasks[i]);
  return 0;
}

void morvex_tp_task_delete(morvex_tp_task* task) {
  if (!task) return;
  // Deleting a task that has not finished would leave it in the queue (or
  // running) with its memory gone: finish it first.
  if (task->state.load(std::memory_order_acquire) != kDone) wait_for(task);
  delete task;
}

}  // extern "C"

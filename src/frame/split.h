// SPDX-License-Identifier: MIT
// Parallel range splitting: an index range is cut into one contiguous chunk
// per hardware thread; all chunks but the last go to the task pool, the
// calling thread computes the last one, then waits for the others. The call
// is synchronous. Used by generators whose every output element is computed
// independently from its own index (waveforms, windows, frequency responses).
// share_blocks, at the end, hands a range out in pieces instead, to whichever
// thread comes free (the multiply by a window's kept weights).
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "morvex-tp.h"

namespace morvex::frame {

// The number of chunks a split makes: the hardware thread count (0 read as 1).
// Reading it from the system costs a file read (microseconds, more than a
// small split itself), so the value is refreshed at most every 100 ms;
// a processor brought on or off line is followed within that time.
unsigned split_thread_count();

// Pins the count for tests and benchmarks (0 returns to the system's value).
void set_split_thread_count(unsigned h);

// How n elements fall into chunks for h hardware threads: c chunks, the
// first r of length q + 1 and the rest of length q.
struct ChunkLayout {
  uint64_t q, r, chunks;
};

inline ChunkLayout chunk_layout(uint64_t n, unsigned h) {
  if (h == 0) h = 1;
  uint64_t q, r;
  if (n <= UINT32_MAX) {  // 32-bit division where it suffices: the same result, faster
    q = uint32_t(n) / h;
    r = uint32_t(n) % h;
  } else {
    q = n / h;
    r = n % h;
  }
  return {q, r, n < h ? n : h};
}

// One queued chunk.
struct SplitTask {
  const uint64_t* begin;  // the range's first output index
  uint64_t first, end;    // loop indices [first, end)
  uint64_t step;
  const void* params;     // the kernel's parameter block, on the caller's stack
};

namespace detail {

template <class P, void (*Block)(uint64_t, uint64_t, uint64_t, const P&)>
void run_chunk(const SplitTask& t) {
  Block(*t.begin + t.first * t.step, t.step, t.end - t.first, *static_cast<const P*>(t.params));
}

template <class P, void (*Block)(uint64_t, uint64_t, uint64_t, const P&)>
void task_body(void* record) {
  run_chunk<P, Block>(*static_cast<const SplitTask*>(record));
}

template <class P, void (*Kernel)(uint64_t, const P&)>
void element_block(uint64_t first, uint64_t step, uint64_t count, const P& params) {
  for (uint64_t k = 0; k < count; ++k) Kernel(first + k * step, params);
}

}  // namespace detail

// Calls Block(first, step, count, params) once per chunk of the range
// [begin, end): the chunk's elements are first, first + step, ... (count of
// them). The chunks are those split_range makes; a kernel that works on a run
// of elements at once (several per vector, say) takes this form. Block must
// store its elements and touch nothing shared but its own outputs.
//
// Nothing here fails: when the bookkeeping arrays cannot be allocated the
// calling thread computes the whole range in one block, and a chunk the pool
// cannot take as a task is run by the pool on this thread before it returns
// (see morvex-tp.h). Either way every element is computed exactly once and the
// output is the same.
template <class P, void (*Block)(uint64_t, uint64_t, uint64_t, const P&)>
void split_blocks(uint64_t begin, uint64_t end, uint64_t step, const P& params) noexcept {
  if (end <= begin) return;
  const uint64_t length = end - begin;
  if (length <= step) {  // a single element: no task
    Block(begin, step, 1, params);
    return;
  }
  const uint64_t n = step == 1 ? length : (length - 1) / step + 1;
  ChunkLayout layout = chunk_layout(n, split_thread_count());

  // The chunk records and task handles live on this stack for the usual
  // thread counts (a split's hand-off is a few hundred nanoseconds, and two
  // heap allocations were a fair part of it); beyond kInline chunks they are
  // reserved on the heap before any task exists, so that running out of
  // memory can only happen while nothing has been handed to the pool yet.
  constexpr uint64_t kInline = 16;
  SplitTask inline_tasks[kInline - 1];
  morvex_tp_task* inline_handles[kInline - 1];
  std::vector<SplitTask> heap_tasks;
  std::vector<morvex_tp_task*> heap_handles;
  SplitTask* tasks = inline_tasks;
  morvex_tp_task** handles = inline_handles;
  if (layout.chunks > kInline) {
    try {
      heap_tasks.resize(layout.chunks - 1);
      heap_handles.resize(layout.chunks - 1);
    } catch (...) {
      Block(begin, step, n, params);
      return;
    }
    tasks = heap_tasks.data();
    handles = heap_handles.data();
  }
  const uint64_t queued = layout.chunks - 1;
  uint64_t b = 0;
  for (uint64_t c = 0; c < queued; ++c) {
    uint64_t len = layout.q;
    if (layout.r) {
      ++len;
      --layout.r;
    }
    tasks[c] = SplitTask{&begin, b, b + len, step, &params};
    handles[c] = morvex_tp_context_new_task(nullptr, &detail::task_body<P, Block>, &tasks[c]);
    b += len;
  }
  detail::run_chunk<P, Block>(SplitTask{&begin, b, n, step, &params});

  if (queued) morvex_tp_wait(handles, queued);
  for (uint64_t c = 0; c < queued; ++c)
    if (handles[c]) morvex_tp_task_delete(handles[c]);
}

// Walks a block kernel's elements (first, first + step, ..., count of them)
// in runs of at most R, calling f(run_first, run_count) for each: the shape
// of a kernel that fills a fixed-size scratch array per run.
template <uint64_t R, class F>
inline void for_each_run(uint64_t first, uint64_t step, uint64_t count, F&& f) {
  for (uint64_t done = 0; done < count; done += R) f(first + done * step, count - done < R ? count - done : R);
}

// Calls Kernel(begin + i * step, params) for every loop index i of the range
// [begin, end), spread over the default task pool. Kernel must compute and
// store one element and touch nothing shared but its own output element.
template <class P, void (*Kernel)(uint64_t, const P&)>
void split_range(uint64_t begin, uint64_t end, uint64_t step, const P& params) noexcept {
  split_blocks<P, detail::element_block<P, Kernel>>(begin, end, step, params);
}

// Shares the elements [0, n) out in pieces of `piece` (the last may be
// shorter): the calling thread and split_thread_count() - 1 pool tasks each
// take the next piece not yet taken, until none is left, and call
// Block(first, count, params) for it. Unlike split_blocks, where each thread
// has its share fixed in advance, a thread that starts late (a worker woken
// from sleep) simply takes fewer pieces, so the call never waits for one
// thread's whole share: it costs at most a piece more than the calling thread
// doing it all. Block must store its elements and touch nothing shared but
// its own outputs. Nothing here fails: a task the pool cannot take is run on
// this thread (see morvex-tp.h), and finds the pieces already taken or takes
// them itself.
template <class P, void (*Block)(uint64_t, uint64_t, const P&)>
void share_blocks(uint64_t n, uint64_t piece, const P& params) noexcept {
  if (n == 0) return;
  if (piece == 0) piece = 1;
  struct Shared {
    std::atomic<uint64_t> next;  // the next piece to take
    uint64_t n, piece, pieces;
    const P* params;
    static void take(void* arg) {
      Shared& s = *static_cast<Shared*>(arg);
      for (uint64_t k; (k = s.next.fetch_add(1, std::memory_order_relaxed)) < s.pieces;) {
        const uint64_t first = k * s.piece;
        Block(first, s.n - first < s.piece ? s.n - first : s.piece, *s.params);
      }
    }
  };
  Shared shared{{0}, n, piece, (n - 1) / piece + 1, &params};
  constexpr unsigned kMaxHelpers = 15;  // the handles stay on this stack, as in split_blocks
  const uint64_t threads = split_thread_count();
  uint64_t helpers = (threads < shared.pieces ? threads : shared.pieces) - 1;
  if (helpers > kMaxHelpers) helpers = kMaxHelpers;
  morvex_tp_task* handles[kMaxHelpers];
  for (uint64_t h = 0; h < helpers; ++h) handles[h] = morvex_tp_context_new_task(nullptr, &Shared::take, &shared);
  Shared::take(&shared);
  if (helpers) morvex_tp_wait(handles, helpers);
  for (uint64_t h = 0; h < helpers; ++h)
    if (handles[h]) morvex_tp_task_delete(handles[h]);
}

}  // namespace morvex::frame

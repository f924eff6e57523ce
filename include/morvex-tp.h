/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-tp.h
 * @brief libmorvex-tp: a pool of persistent worker threads for short,
 *        independent tasks.
 */
#ifndef MORVEX_TP_H
#define MORVEX_TP_H

#include <stdint.h>

/** @brief Marks an export of libmorvex-tp. */
#if defined(__GNUC__)
#define MORVEX_TP_API __attribute__((visibility("default")))
#else
#define MORVEX_TP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup tp libmorvex-tp
 * @brief A pool of persistent worker threads for short, independent tasks
 *        (the chunks of a split index range).
 *
 * libmorvex-m splits waveforms, windows and frequency responses over the
 * default pool, which morvex_m_init() starts; a program may queue its own
 * tasks too. Link with `pkg-config --libs morvex-tp` or the CMake target
 * `morvex::morvex-tp`.
 *
 * Usage:
 * @code{.c}
 * morvex_tp_init();                                  // reference-counted
 * morvex_tp_task* t = morvex_tp_context_new_task(NULL, fn, arg);
 * // ... do other work on this thread ...
 * morvex_tp_wait(&t, 1);                             // t has run when this returns
 * morvex_tp_task_delete(t);
 * morvex_tp_fini();
 * @endcode
 *
 * A task runs exactly once: on a worker, or on the thread that waits for it
 * if no worker has picked it up by then (so a wait never depends on a free
 * worker). Tasks may be created and waited for from any number of threads
 * at once; each task is waited for and deleted by one thread.
 *
 * Idle workers spin for 100 us, then sleep. A program that queues work at a
 * steady pace (every few milliseconds, up to 20 ms apart) finds them
 * awake: they learn the pace and spin again from shortly before the next
 * task is due to shortly after, a quarter of the period (up to half, for
 * periods below 1.6 ms). When the tasks stop, workers sleep after one such
 * window. Set the environment variable `MORVEX_TP_WAIT_POLICY=passive`
 * before the pool starts to keep them asleep between tasks.
 *
 * Contexts: NULL names the default pool, started by the first
 * morvex_tp_init() and stopped by the last morvex_tp_fini(). Private pools can be
 * made with morvex_tp_context_create(). When the default pool is not running,
 * a task created on it runs at once on the creating thread.
 * @{
 */

/** @brief A pool of worker threads (opaque); NULL names the default pool. */
typedef struct morvex_tp_context morvex_tp_context;
/** @brief A queued task (opaque). */
typedef struct morvex_tp_task morvex_tp_task;
/** @brief The function a task runs, with its argument. */
typedef void (*morvex_tp_fn)(void* arg);

/** @brief Start or reference the default pool (one worker per hardware thread but
 * one, at least one). Returns 0, or -1 if no worker thread could start. */
MORVEX_TP_API int32_t morvex_tp_init(void);

/** @brief Drop a reference; the last one stops the default pool after every queued
 * task has run. Returns 0, or -1 when the pool was not started. */
MORVEX_TP_API int32_t morvex_tp_fini(void);

/** @brief Status of the default pool, written as little-endian fields into buf
 * (at most len bytes; 16 hold everything).
 *
 * | bytes | field |
 * |---|---|
 * | 0-1 | u16 worker threads (0 when the pool is not running) |
 * | 2-3 | u16 workers asleep at this moment |
 * | 4-7 | u32 tasks queued and not yet started |
 * | 8-15 | u64 tasks run since the pool started |
 *
 * Returns 0, or -1 when buf is NULL or len is below 2. */
MORVEX_TP_API int32_t morvex_tp_get_status(void* buf, uint64_t len);

/** @brief A private pool with `workers` threads (0: as the default pool). NULL if
 * no thread could start. Destroy runs every queued task, then joins. */
MORVEX_TP_API morvex_tp_context* morvex_tp_context_create(uint16_t workers);
/** @brief Run every task queued on a private pool, stop its workers and release it. */
MORVEX_TP_API void morvex_tp_context_destroy(morvex_tp_context* context);

/** @brief Queue fn(arg) on the pool (NULL: the default pool). Returns the task
 * handle, or NULL when no memory was available for the task: fn(arg) has
 * then already run on the calling thread, before this returned. Either way
 * fn runs exactly once, and a NULL handle may be passed to morvex_tp_wait()
 * and morvex_tp_task_delete() like any other. */
MORVEX_TP_API morvex_tp_task* morvex_tp_context_new_task(morvex_tp_context* context, morvex_tp_fn fn,
                                                         void* arg);

/** @brief Block until every listed task has run; NULL entries are skipped. A task
 * not yet started runs on the calling thread. Returns 0. */
MORVEX_TP_API int32_t morvex_tp_wait(morvex_tp_task* const* tasks, uint64_t count);

/** @brief Release a task that has run (after morvex_tp_wait). NULL is ignored. */
MORVEX_TP_API void morvex_tp_task_delete(morvex_tp_task* task);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_TP_H */

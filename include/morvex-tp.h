/*
 * libmorvex-tp: a pool of persistent worker threads for short, independent
 * tasks (the chunks of a split index range).
 *
 * Usage:
 *   morvex_tp_init();                                  // reference-counted
 *   morvex_tp_task* t = morvex_tp_context_new_task(NULL, fn, arg);
 *   ... do other work on this thread ...
 *   morvex_tp_wait(&t, 1);                             // t has run when this returns
 *   morvex_tp_task_delete(t);
 *   morvex_tp_fini();
 *
 * A task runs exactly once: on a worker, or on the thread that waits for it
 * if no worker has picked it up by then (so a wait never depends on a free
 * worker). Tasks may be created and waited for from any number of threads
 * at once; each task is waited for and deleted by one thread.
 *
 * Contexts: NULL names the default pool, started by the first
 * morvex_tp_init and stopped by the last morvex_tp_fini. Private pools can be
 * made with morvex_tp_context_create. When the default pool is not running,
 * a task created on it runs at once on the creating thread.
 */
#ifndef MORVEX_TP_H
#define MORVEX_TP_H

#include <stdint.h>

#if defined(__GNUC__)
#define MORVEX_TP_API __attribute__((visibility("default")))
#else
#define MORVEX_TP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct morvex_tp_context morvex_tp_context;
typedef struct morvex_tp_task morvex_tp_task;
typedef void (*morvex_tp_fn)(void* arg);

/* Start or reference the default pool (one worker per hardware thread but
 * one, at least one). Returns 0, or -1 if no worker thread could start. */
MORVEX_TP_API int32_t morvex_tp_init(void);

/* Drop a reference; the last one stops the default pool after every queued
 * task has run. Returns 0, or -1 when the pool was not started. */
MORVEX_TP_API int32_t morvex_tp_fini(void);

/* Status of the default pool, written as little-endian fields into buf
 * (at most len bytes; 16 hold everything):
 *   bytes 0-1   u16 worker threads (0 when the pool is not running)
 *   bytes 2-3   u16 workers asleep at this moment
 *   bytes 4-7   u32 tasks queued and not yet started
 *   bytes 8-15  u64 tasks run since the pool started
 * Returns 0, or -1 when buf is NULL or len is below 2. */
MORVEX_TP_API int32_t morvex_tp_get_status(void* buf, uint64_t len);

/* A private pool with `workers` threads (0: as the default pool). NULL if
 * no thread could start. Destroy runs every queued task, then joins. */
MORVEX_TP_API morvex_tp_context* morvex_tp_context_create(uint16_t workers);
MORVEX_TP_API void morvex_tp_context_destroy(morvex_tp_context* context);

/* Queue fn(arg) on the pool (NULL: the default pool). Returns the task
 * handle, or NULL when no memory was available for the task: fn(arg) has
 * then already run on the calling thread, before this returned. Either way
 * fn runs exactly once, and a NULL handle may be passed to morvex_tp_wait
 * and morvex_tp_task_delete like any other. */
MORVEX_TP_API morvex_tp_task* morvex_tp_context_new_task(morvex_tp_context* context, morvex_tp_fn fn,
                                                         void* arg);

/* Block until every listed task has run; NULL entries are skipped. A task
 * not yet started runs on the calling thread. Returns 0. */
MORVEX_TP_API int32_t morvex_tp_wait(morvex_tp_task* const* tasks, uint64_t count);

/* Release a task that has run (after morvex_tp_wait). NULL is ignored. */
MORVEX_TP_API void morvex_tp_task_delete(morvex_tp_task* task);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_TP_H */

/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/trigger.h
 * @brief Software triggers: the sample at which a trigger condition is met,
 *        in a stream of samples delivered block by block.
 */
#ifndef MORVEX_M_TRIGGER_H
#define MORVEX_M_TRIGGER_H

#include "morvex-m/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup triggers Triggers
 * @brief Find the sample at which a trigger condition is met, carrying a
 *        small state from block to block.
 *
 * T is one of `i16` (int16_t), `u8` (uint8_t), `u16` (uint16_t), `f32`
 * (float) and `f64` (double); every level has the element type and is an
 * absolute sample value. Comparisons are made in the element type; for f32
 * and f64 they are ordered, so a NaN sample meets no condition and is passed
 * over (but see the window triggers for the one place where a machine
 * classifies the sample it stands on).
 *
 * **Calling scheme, shared by every trigger.**
 *
 * | argument | meaning |
 * |---|---|
 * | data, count | the current block |
 * | levels... | per family |
 * | position | in/out: the index to start from; on return the trigger sample, or `count` |
 * | state | `void**` handle of the trigger's state block |
 *
 * - **State.** Pass the address of a `void*` that is NULL before the first
 *   call: the trigger allocates its state block, zero-filled, and stores it
 *   there. Keep passing the same handle with the following blocks, and
 *   release it with `morvex_m_state_free(&handle)`, which sets it back to
 *   NULL. A state block belongs to the one trigger kind (and the one element
 *   type) that created it. Reset a trigger by freeing its state.
 * - **Result.** A trigger that fires returns 0 with `position` at the trigger
 *   sample (below `count`). A block that ends first returns 0 with
 *   `position = count` and the state keeping the progress: call with the next
 *   block and position 0 to continue, and a trigger whose conditions straddle
 *   the block boundary fires in the next block at the right sample.
 * - **Next hit.** To look for the next trigger in the same block, call again
 *   with the position returned: the search restarts at that very sample, and
 *   no trigger reports the same sample twice that way, except window inside
 *   and outside, which report the sample they stand on when it meets their
 *   condition (advance past a hit before calling again).
 * - **Progress.** Levels are not checked against each other, and whatever
 *   they are (equal, inverted, in any order) every call ends and the
 *   next-hit promise above holds: within a call no machine goes round on
 *   one sample, and between a hit and the next one a trigger moves on by at
 *   least one sample. Three steps start one sample after the step before
 *   them so that this holds: the pulse end of the pulse-width triggers (a
 *   pulse is at least one sample wide), steps 1 and 2 of `edge_any` after the
 *   sample that left the arming band, and every step of `window_exit` after
 *   state 0 (no sample both arms and fires). With levels in their usual
 *   order (upper above lower, `arm_level_low` at or below `arm_level_high`,
 *   the arming band of `window_exit` inside its trigger band) that sample
 *   could not meet the step anyway, so results are those of the machines
 *   as written below.
 * - A position at or past `count` returns 0 at once and changes nothing,
 *   except that a NULL handle still gets its state block.
 *
 * **Statuses.** 0 "Success"; -1 "Failed" for a state block holding a state
 * number outside the trigger's range (position and state untouched, see each
 * family); -3 "Out of memory" when the state block cannot be allocated (the
 * handle stays NULL); -5 "nullptr" when the handle pointer itself is NULL.
 * Data and position pointers are not checked.
 *
 * **Kernels.** Every step of a machine is a forward index search (see
 * @ref searches), and u8 and u16 triggers use the processor variants of
 * those searches that the options select at each call. Results never depend
 * on the variant.
 *
 * **Threads.** No allocation other than the state block on the first call,
 * no lock, no shared state. Different triggers may run on different threads
 * at once; one state block must be used by one thread at a time.
 *
 * **Example**: rising edges of 8-bit blocks, armed below code 100, at code 140
 * @code{.c}
 * void* st = NULL;
 * uint64_t block_start = 0, n;
 * while ((n = read_block(buf)) > 0) {
 *   for (uint64_t p = 0;;) {
 *     morvex_m_trigger_edge_rising_u8(buf, n, 100, 140, &p, &st);
 *     if (p == n) break;
 *     handle_edge(block_start + p);
 *   }
 *   block_start += n;
 * }
 * morvex_m_state_free(&st);
 * @endcode
 */

/**
 * @defgroup edge_triggers Edge triggers
 * @ingroup triggers
 * @brief A crossing of a level with hysteresis.
 *
 * The signal must first be strictly beyond the arming level, then come back
 * to it, then reach the level.
 *
 * - `edge_rising_<T>(data, count, arm_level, level, position, state)`:
 *   0: wait for `x < arm_level`; 1: wait for `x >= arm_level`;
 *   2: fire on `x >= level`.
 * - `edge_falling_<T>(data, count, arm_level, level, position, state)`:
 *   0: wait for `x > arm_level`; 1: wait for `x <= arm_level`;
 *   2: fire on `x <= level`.
 * - `edge_any_<T>(data, count, arm_level_high, arm_level_low, level, position, state)`:
 *   0: wait for `x < arm_level_low` or `x > arm_level_high`; then, at or above
 *   `arm_level_high` armed to fall (1), else to rise (2);
 *   1: wait for `x <= arm_level_high` (3); 2: wait for `x >= arm_level_low` (4);
 *   3: fire on `x <= level`; 4: fire on `x >= level`.
 *
 * Each step searches from the sample where the previous one stopped, that
 * sample included. A sample equal to the arming level does not arm (strict)
 * but completes the return (inclusive); a sample equal to `level` fires.
 * Levels are not checked against each other: with `arm_level` above `level`
 * a rising trigger fires on the sample that returns to `arm_level`.
 *
 * State block: one `uint32_t`, the state number (0 after a hit); -1 for a
 * number above 2 (rising, falling) or 4 (any).
 * @{
 */

/** @brief Rising edge: below `arm_level`, back to it, then at or above `level` @{ */
MORVEX_M_API int32_t morvex_m_trigger_edge_rising_i16(const int16_t* data, uint64_t count, int16_t arm_level,
                                                      int16_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_rising_u8(const uint8_t* data, uint64_t count, uint8_t arm_level,
                                                     uint8_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_rising_u16(const uint16_t* data, uint64_t count,
                                                      uint16_t arm_level, uint16_t level, uint64_t* position,
                                                      void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_rising_f32(const float* data, uint64_t count, float arm_level,
                                                      float level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_rising_f64(const double* data, uint64_t count, double arm_level,
                                                      double level, uint64_t* position, void** state);
/** @} */
/** @brief Falling edge: above `arm_level`, back to it, then at or below `level` @{ */
MORVEX_M_API int32_t morvex_m_trigger_edge_falling_i16(const int16_t* data, uint64_t count, int16_t arm_level,
                                                       int16_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_falling_u8(const uint8_t* data, uint64_t count, uint8_t arm_level,
                                                      uint8_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_falling_u16(const uint16_t* data, uint64_t count,
                                                       uint16_t arm_level, uint16_t level, uint64_t* position,
                                                       void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_falling_f32(const float* data, uint64_t count, float arm_level,
                                                       float level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_falling_f64(const double* data, uint64_t count, double arm_level,
                                                       double level, uint64_t* position, void** state);
/** @} */
/** @brief Either edge, armed by leaving the band [arm_level_low, arm_level_high] @{ */
MORVEX_M_API int32_t morvex_m_trigger_edge_any_i16(const int16_t* data, uint64_t count,
                                                   int16_t arm_level_high, int16_t arm_level_low,
                                                   int16_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_any_u8(const uint8_t* data, uint64_t count, uint8_t arm_level_high,
                                                  uint8_t arm_level_low, uint8_t level, uint64_t* position,
                                                  void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_any_u16(const uint16_t* data, uint64_t count,
                                                   uint16_t arm_level_high, uint16_t arm_level_low,
                                                   uint16_t level, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_any_f32(const float* data, uint64_t count, float arm_level_high,
                                                   float arm_level_low, float level, uint64_t* position,
                                                   void** state);
MORVEX_M_API int32_t morvex_m_trigger_edge_any_f64(const double* data, uint64_t count, double arm_level_high,
                                                   double arm_level_low, double level, uint64_t* position,
                                                   void** state);
/** @} */

/** @} */

/**
 * @defgroup window_triggers Window triggers
 * @ingroup triggers
 * @brief The signal inside or outside a band, or entering or leaving it with
 *        hysteresis.
 *
 * The band [low, high] includes both levels. The upper level comes first.
 *
 * - `window_inside_<T>(data, count, high, low, position, state)`:
 *   0: the current sample alone: inside the band fires on it at once;
 *   otherwise above `high` goes to 1, anything else (below `low`, NaN) to 2;
 *   1: fire on `x <= high`; 2: fire on `x >= low`. A jump from one side of
 *   the band straight to the other fires too. Because state 0 fires on the
 *   sample it stands on, advance `position` past a hit before calling again.
 *   State: `uint32_t`, 0..2.
 * - `window_outside_<T>(data, count, high, low, position)` (no state):
 *   the first sample from `position` on with `x < low` or `x > high`, else
 *   `count` (also for a position at or past `count`). Same as
 *   `morvex_m_index_out_<T>`.
 * - `window_enter_<T>(data, count, high_arm, high, low_arm, low, position, state)`,
 *   normally `low_arm < low <= high < high_arm`:
 *   0: wait for `x < low_arm` or `x > high_arm`: above goes to 1, below to 3;
 *   1: wait for `x <= high_arm` (2); 2: fire on `x <= high` (entered from
 *   above); 3: wait for `x >= low_arm` (4); 4: fire on `x >= low` (entered
 *   from below). State: `uint32_t`, 0..4.
 * - `window_exit_<T>(data, count, high_arm, high, low_arm, low, position, state)`,
 *   normally `low <= low_arm <= high_arm <= high`:
 *   0: a current sample in [low_arm, high_arm] arms at once (3); otherwise
 *   wait for `x < low` or `x > high`: above goes to 1, below to 2;
 *   1: wait for `x <= high_arm` (3); 2: wait for `x >= low_arm` (3);
 *   3: fire on `x < low` or `x > high`. So a signal that starts between the
 *   two bands must leave the trigger band and return to the arming band
 *   before its exit counts. A jump from beyond one side of the trigger band
 *   straight beyond the other passes the arming level on the way and fires.
 *   State 0 judges the sample each call starts on, so a fresh trigger whose
 *   first block ends before the signal has left the trigger band arms at
 *   once if the next block starts in the arming band. State: `uint32_t`, 0..3.
 *
 * Enter and exit also return -1 when state 0 finds a sample it can classify
 * as neither above nor below (only NaN levels allow one); `position` is then
 * that sample and the state stays 0.
 * @{
 */

/** @brief Fires on a sample inside [low, high] @{ */
MORVEX_M_API int32_t morvex_m_trigger_window_inside_i16(const int16_t* data, uint64_t count, int16_t high,
                                                        int16_t low, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_inside_u8(const uint8_t* data, uint64_t count, uint8_t high,
                                                       uint8_t low, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_inside_u16(const uint16_t* data, uint64_t count, uint16_t high,
                                                        uint16_t low, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_inside_f32(const float* data, uint64_t count, float high,
                                                        float low, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_inside_f64(const double* data, uint64_t count, double high,
                                                        double low, uint64_t* position, void** state);
/** @} */
/** @brief The first sample outside [low, high] (no state) @{ */
MORVEX_M_API int32_t morvex_m_trigger_window_outside_i16(const int16_t* data, uint64_t count, int16_t high,
                                                         int16_t low, uint64_t* position);
MORVEX_M_API int32_t morvex_m_trigger_window_outside_u8(const uint8_t* data, uint64_t count, uint8_t high,
                                                        uint8_t low, uint64_t* position);
MORVEX_M_API int32_t morvex_m_trigger_window_outside_u16(const uint16_t* data, uint64_t count, uint16_t high,
                                                         uint16_t low, uint64_t* position);
MORVEX_M_API int32_t morvex_m_trigger_window_outside_f32(const float* data, uint64_t count, float high,
                                                         float low, uint64_t* position);
MORVEX_M_API int32_t morvex_m_trigger_window_outside_f64(const double* data, uint64_t count, double high,
                                                         double low, uint64_t* position);
/** @} */
/** @brief Fires when the signal enters [low, high] from beyond an arming level @{ */
MORVEX_M_API int32_t morvex_m_trigger_window_enter_i16(const int16_t* data, uint64_t count, int16_t high_arm,
                                                       int16_t high, int16_t low_arm, int16_t low,
                                                       uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_enter_u8(const uint8_t* data, uint64_t count, uint8_t high_arm,
                                                      uint8_t high, uint8_t low_arm, uint8_t low,
                                                      uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_enter_u16(const uint16_t* data, uint64_t count,
                                                       uint16_t high_arm, uint16_t high, uint16_t low_arm,
                                                       uint16_t low, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_enter_f32(const float* data, uint64_t count, float high_arm,
                                                       float high, float low_arm, float low,
                                                       uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_enter_f64(const double* data, uint64_t count, double high_arm,
                                                       double high, double low_arm, double low,
                                                       uint64_t* position, void** state);
/** @} */
/** @brief Fires when the signal leaves [low, high] after being inside [low_arm, high_arm] @{ */
MORVEX_M_API int32_t morvex_m_trigger_window_exit_i16(const int16_t* data, uint64_t count, int16_t high_arm,
                                                      int16_t high, int16_t low_arm, int16_t low,
                                                      uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_exit_u8(const uint8_t* data, uint64_t count, uint8_t high_arm,
                                                     uint8_t high, uint8_t low_arm, uint8_t low,
                                                     uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_exit_u16(const uint16_t* data, uint64_t count, uint16_t high_arm,
                                                      uint16_t high, uint16_t low_arm, uint16_t low,
                                                      uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_exit_f32(const float* data, uint64_t count, float high_arm,
                                                      float high, float low_arm, float low,
                                                      uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_window_exit_f64(const double* data, uint64_t count, double high_arm,
                                                      double high, double low_arm, double low,
                                                      uint64_t* position, void** state);
/** @} */

/** @} */

/**
 * @defgroup timed_triggers Interval, pulse-width and runt triggers
 * @ingroup triggers
 * @brief Edges and pulses qualified by their duration.
 *
 * `<kind>_<T>(data, count, upper, lower, mode, time1, time2, position, state)`
 *
 * They measure a time t in samples (the difference of two sample indices,
 * taken as a `uint32_t`, across any number of blocks) and fire only when the
 * time condition holds:
 *
 * | mode | fires when |
 * |---|---|
 * | 0 | always |
 * | 1 | t < time1 |
 * | 2 | t > time1 |
 * | 3 | time1 <= t <= time2 |
 * | 4 | t < time1 or t > time2 |
 * | 5 and above | never (the trigger still tracks edges and pulses) |
 *
 * `time2` below `time1` is taken literally.
 *
 * - `interval_positive_<T>`: the time between successive rising edges
 *   (edge_rising with `arm_level = lower`, `level = upper`); fires at the
 *   second edge and later ones, each timed from the edge before it.
 * - `interval_negative_<T>`: the same with falling edges
 *   (`arm_level = upper`, `level = lower`).
 * - `pulse_width_positive_<T>`: after the signal has been at or below
 *   `lower`, a pulse starts at the first sample at or above `upper` and ends
 *   at the next sample at or below `lower`; `t = end - start`, and the
 *   trigger sample is the end.
 * - `pulse_width_negative_<T>`: the mirror (rest at or above `upper`, start
 *   at or below `lower`, end at or above `upper`).
 * - `runt_pulse_positive_<T>`: the signal enters the band [lower, upper] from
 *   below and leaves it below again, without having reached above `upper`;
 *   t runs from the first sample inside the band to the first sample below
 *   it, which is the trigger sample.
 * - `runt_pulse_negative_<T>`: the mirror (from above, back above).
 * - `runt_pulse_any_<T>`: either. A crossing of the whole band, through it or
 *   in one jump, is never a runt.
 *
 * State blocks (zero-filled on allocation), for the curious; treat them as
 * opaque:
 * - interval, pulse width: `struct { uint32_t state; uint32_t phase; int64_t
 *   index; }`: the edge or pulse machine (0..2), whether the interval has
 *   seen its first edge (0..1), and the last edge or pulse start relative to
 *   the current block (negative once a block is over);
 * - runt: `struct { uint32_t side; uint32_t main; uint64_t sub; int64_t
 *   index; }`: how the signal entered the band, where it is (0..3), a
 *   sub-state (0..2), and where it entered the band.
 *
 * -1 for a machine state above 2, a phase above 1, a main state above 3 or a
 * sub-state above 2.
 *
 * **Example**: pulses of f32 samples (0.2 V rest, 2.0 V high) shorter than 50
 * samples
 * @code{.c}
 * morvex_m_trigger_pulse_width_positive_f32(buf, n, 2.0f, 0.2f, 1, 50, 0, &p, &st);
 * @endcode
 * @{
 */

/** @brief The time between successive rising edges @{ */
MORVEX_M_API int32_t morvex_m_trigger_interval_positive_i16(const int16_t* data, uint64_t count,
                                                            int16_t upper, int16_t lower, uint32_t mode,
                                                            uint32_t time1, uint32_t time2,
                                                            uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_positive_u8(const uint8_t* data, uint64_t count, uint8_t upper,
                                                           uint8_t lower, uint32_t mode, uint32_t time1,
                                                           uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_positive_u16(const uint16_t* data, uint64_t count,
                                                            uint16_t upper, uint16_t lower, uint32_t mode,
                                                            uint32_t time1, uint32_t time2,
                                                            uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_positive_f32(const float* data, uint64_t count, float upper,
                                                            float lower, uint32_t mode, uint32_t time1,
                                                            uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_positive_f64(const double* data, uint64_t count, double upper,
                                                            double lower, uint32_t mode, uint32_t time1,
                                                            uint32_t time2, uint64_t* position, void** state);
/** @} */
/** @brief The time between successive falling edges @{ */
MORVEX_M_API int32_t morvex_m_trigger_interval_negative_i16(const int16_t* data, uint64_t count,
                                                            int16_t upper, int16_t lower, uint32_t mode,
                                                            uint32_t time1, uint32_t time2,
                                                            uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_negative_u8(const uint8_t* data, uint64_t count, uint8_t upper,
                                                           uint8_t lower, uint32_t mode, uint32_t time1,
                                                           uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_negative_u16(const uint16_t* data, uint64_t count,
                                                            uint16_t upper, uint16_t lower, uint32_t mode,
                                                            uint32_t time1, uint32_t time2,
                                                            uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_negative_f32(const float* data, uint64_t count, float upper,
                                                            float lower, uint32_t mode, uint32_t time1,
                                                            uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_interval_negative_f64(const double* data, uint64_t count, double upper,
                                                            double lower, uint32_t mode, uint32_t time1,
                                                            uint32_t time2, uint64_t* position, void** state);
/** @} */
/** @brief The width of a positive pulse (from at or above `upper` to at or below `lower`) @{ */
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_positive_i16(const int16_t* data, uint64_t count,
    int16_t upper, int16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_positive_u8(const uint8_t* data, uint64_t count,
    uint8_t upper, uint8_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_positive_u16(const uint16_t* data, uint64_t count,
    uint16_t upper, uint16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_positive_f32(const float* data, uint64_t count, float upper,
    float lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_positive_f64(const double* data, uint64_t count,
    double upper, double lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
/** @} */
/** @brief The width of a negative pulse (from at or below `lower` to at or above `upper`) @{ */
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_negative_i16(const int16_t* data, uint64_t count,
    int16_t upper, int16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_negative_u8(const uint8_t* data, uint64_t count,
    uint8_t upper, uint8_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_negative_u16(const uint16_t* data, uint64_t count,
    uint16_t upper, uint16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_negative_f32(const float* data, uint64_t count, float upper,
    float lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_pulse_width_negative_f64(const double* data, uint64_t count,
    double upper, double lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
/** @} */
/** @brief A positive runt: into [lower, upper] from below and back below @{ */
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_positive_i16(const int16_t* data, uint64_t count,
    int16_t upper, int16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_positive_u8(const uint8_t* data, uint64_t count,
    uint8_t upper, uint8_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_positive_u16(const uint16_t* data, uint64_t count,
    uint16_t upper, uint16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_positive_f32(const float* data, uint64_t count, float upper,
    float lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_positive_f64(const double* data, uint64_t count,
    double upper, double lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
/** @} */
/** @brief A negative runt: into [lower, upper] from above and back above @{ */
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_negative_i16(const int16_t* data, uint64_t count,
    int16_t upper, int16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_negative_u8(const uint8_t* data, uint64_t count,
    uint8_t upper, uint8_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_negative_u16(const uint16_t* data, uint64_t count,
    uint16_t upper, uint16_t lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_negative_f32(const float* data, uint64_t count, float upper,
    float lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_negative_f64(const double* data, uint64_t count,
    double upper, double lower, uint32_t mode, uint32_t time1, uint32_t time2, uint64_t* position,
    void** state);
/** @} */
/** @brief A runt of either polarity @{ */
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_any_i16(const int16_t* data, uint64_t count, int16_t upper,
                                                         int16_t lower, uint32_t mode, uint32_t time1,
                                                         uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_any_u8(const uint8_t* data, uint64_t count, uint8_t upper,
                                                        uint8_t lower, uint32_t mode, uint32_t time1,
                                                        uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_any_u16(const uint16_t* data, uint64_t count, uint16_t upper,
                                                         uint16_t lower, uint32_t mode, uint32_t time1,
                                                         uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_any_f32(const float* data, uint64_t count, float upper,
                                                         float lower, uint32_t mode, uint32_t time1,
                                                         uint32_t time2, uint64_t* position, void** state);
MORVEX_M_API int32_t morvex_m_trigger_runt_pulse_any_f64(const double* data, uint64_t count, double upper,
                                                         double lower, uint32_t mode, uint32_t time1,
                                                         uint32_t time2, uint64_t* position, void** state);
/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_TRIGGER_H */

/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-core.h
 * @brief libmorvex-core: start-up of the morvex family and processor-feature
 *        queries.
 */
#ifndef MORVEX_CORE_H
#define MORVEX_CORE_H

#include <stdint.h>

/** @brief Marks an export of libmorvex-core. */
#if defined(__GNUC__)
#define MORVEX_CORE_API __attribute__((visibility("default")))
#else
#define MORVEX_CORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup core libmorvex-core
 * @brief Start-up of the morvex family and processor-feature queries.
 *
 * The queries answer from CPUID and XGETBV, read once per process. AVX, AVX2,
 * FMA3 and the AVX-512 features count as present only when the operating
 * system has enabled the register state they need (XCR0), so a "yes" always
 * means the instructions can be executed. NEON reads 0 on x86-64.
 * Every query returns 1 for present, 0 for absent, and works with or without
 * morvex_core_init(). All functions are thread-safe.
 *
 * libmorvex-m starts this library itself (morvex_m_init()); a program calls
 * it directly only to ask about the processor:
 * @code{.c}
 * if (!morvex_core_cpu_has_avx2()) puts("no AVX2: the plainer kernels run");
 * @endcode
 * Link with `pkg-config --libs morvex-core` or the CMake target
 * `morvex::morvex-core`.
 * @{
 */

/** @brief Reference-counted start; returns 0. */
MORVEX_CORE_API int32_t morvex_core_init(void);
/** @brief Reference-counted stop; returns 0. */
MORVEX_CORE_API int32_t morvex_core_fini(void);

/** @brief 1 when the processor has SSE. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse(void);
/** @brief 1 when the processor has SSE2. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse2(void);
/** @brief 1 when the processor has SSE3. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse3(void);
/** @brief 1 when the processor has SSSE3. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_ssse3(void);
/** @brief 1 when the processor has SSE4.1. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse41(void);
/** @brief 1 when the processor has SSE4.2. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse42(void);
/** @brief 1 when the processor has AVX and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx(void);
/** @brief 1 when the processor has AVX2 and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx2(void);
/** @brief 1 when the processor has AVX-512F and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512f(void);
/** @brief 1 when the processor has AVX-512CD and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512cd(void);
/** @brief 1 when the processor has AVX-512BW and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512bw(void);
/** @brief 1 when the processor has AVX-512DQ and the system saves its registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512dq(void);
/** @brief 1 when the processor has FMA3 and the system saves the AVX registers. */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_fma3(void);
/** @brief 1 on processors with NEON (never on x86-64). */
MORVEX_CORE_API uint8_t morvex_core_cpu_has_neon(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_CORE_H */

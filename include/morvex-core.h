/*
 * libmorvex-core: start-up of the morvex family and processor-feature queries.
 *
 * The queries answer from CPUID and XGETBV, read once per process. AVX, AVX2,
 * FMA3 and the AVX-512 features count as present only when the operating
 * system has enabled the register state they need (XCR0), so a "yes" always
 * means the instructions can be executed. NEON reads 0 on x86-64.
 * Every query returns 1 for present, 0 for absent, and works with or without
 * morvex_core_init. All functions are thread-safe.
 */
#ifndef MORVEX_CORE_H
#define MORVEX_CORE_H

#include <stdint.h>

#if defined(__GNUC__)
#define MORVEX_CORE_API __attribute__((visibility("default")))
#else
#define MORVEX_CORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Reference-counted start and stop; both return 0. */
MORVEX_CORE_API int32_t morvex_core_init(void);
MORVEX_CORE_API int32_t morvex_core_fini(void);

MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse2(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse3(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_ssse3(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse41(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_sse42(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx2(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512f(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512cd(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512bw(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_avx512dq(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_fma3(void);
MORVEX_CORE_API uint8_t morvex_core_cpu_has_neon(void);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_CORE_H */

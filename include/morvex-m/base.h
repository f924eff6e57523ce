/* SPDX-License-Identifier: MIT */
/**
 * @file morvex-m/base.h
 * @brief Common types, status codes, the library lifecycle, the version record
 *        and the processor and library options.
 *
 * Every other family header includes this one.
 */
#ifndef MORVEX_M_BASE_H
#define MORVEX_M_BASE_H

#include <stdint.h>

#include "morvex-m/version.h"

/**
 * @brief Marks an export of libmorvex-m.
 *
 * The library is built with hidden visibility, so only what carries this mark
 * (and matches the linker's `morvex_m_*` list) is exported.
 */
#if defined(__GNUC__)
#define MORVEX_M_API __attribute__((visibility("default")))
#else
#define MORVEX_M_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup frame Library frame
 * @brief Start-up and shut-down, status codes, version, options, and the
 *        conventions every export shares.
 *
 * **Conventions shared by every export.**
 *
 * - Names are `morvex_m_<operation>_<types>`. Type suffixes: `i8 i16 i32 i64`,
 *   `u8 u16 u32 u64`, `f32 f64`, `c32f32 c64f64` (complex, real part first).
 *   Two suffixes joined (`i16f32`, `u8u32`) name the input type, then the
 *   output or counter type.
 * - Arguments come in the order inputs, outputs, element count, scalars.
 *   Counts are unsigned 64-bit and count elements, never bytes.
 * - Every array belongs to the caller and is only borrowed for the call.
 * - Plain array operations check no pointers; a count of 0 returns at once.
 * - Boolean arguments are 32-bit integers, non-zero meaning true.
 * - The library never prints, aborts or exits, and never changes the
 *   floating-point control state (rounding mode, denormal handling).
 * @{
 */

/**
 * @defgroup status Status codes
 * @ingroup frame
 * @brief The codes most exports return, and their texts.
 *
 * Which export returns which code is documented with each export family.
 * @{
 */

/** @brief The result of most exports: 0 for success, a negative code otherwise. */
typedef int32_t morvex_m_status;

/** @brief The defined status codes; morvex_m_status_str() gives each one's text. */
enum {
  MORVEX_M_SUCCESS = 0,            /**< "Success" */
  MORVEX_M_FAILED = -1,            /**< "Failed" */
  MORVEX_M_ERROR_DATA_LENGTH = -2, /**< "Error data length": a length the operation cannot take */
  MORVEX_M_OUT_OF_MEMORY = -3,     /**< "Out of memory" */
  MORVEX_M_INVALID_PLAN = -4,      /**< "Invalid plan": a plan used with arrays it was not made for */
  MORVEX_M_NULLPTR = -5            /**< "nullptr": a required handle pointer was NULL */
};

/**
 * @brief The static text of a status code.
 *
 * @param status a status code
 * @return the code's text ("Success", "Failed", ...), or NULL for a code
 *         outside -5..0. The text is static: never free it.
 *
 * Works without morvex_m_init(); safe from any thread.
 */
MORVEX_M_API const char* morvex_m_status_str(int32_t status);

/** @} */

/**
 * @defgroup types Complex types
 * @ingroup frame
 * @brief Complex values as they cross the boundary.
 *
 * Interleaved, real part first: the layout of C99 `float _Complex` /
 * C++ `std::complex<float>` (and of their double forms), so arrays of either
 * may be passed by casting the pointer.
 * @{
 */

/** @brief A complex number of two floats. */
typedef struct morvex_m_c32f32 {
  float re; /**< real part */
  float im; /**< imaginary part */
} morvex_m_c32f32;

/** @brief A complex number of two doubles. */
typedef struct morvex_m_c64f64 {
  double re; /**< real part */
  double im; /**< imaginary part */
} morvex_m_c64f64;

/** @} */

/**
 * @defgroup lifecycle Lifecycle
 * @ingroup frame
 * @brief Reference-counted start-up and shut-down; release of trigger states.
 *
 * morvex_m_init() starts the library (platform libraries, processor features,
 * kernel choice) or adds a reference; morvex_m_fini() drops one, and the last
 * one shuts the library down (unloading FFTW if it was loaded). Call init
 * before any export that uses a kernel slot, the task pool or FFTW, and fini
 * once per init: an unbalanced fini is not guarded against. Both are safe
 * from any thread; a second init returns only when the first has finished.
 *
 * morvex_m_status_str(), morvex_m_get_version(), the option getters and the
 * plain array operations that do not go through a kernel slot work without
 * init.
 *
 * The library starts no threads of its own: the operations that split their
 * work use the worker pool of libmorvex-tp, which the first init starts.
 *
 * @code{.c}
 * morvex_m_init();
 * morvex_m_convert_u8f32(raw, volts, n, 0.01f, -1.28f);
 * morvex_m_fini();
 * @endcode
 * @{
 */

/** @brief Starts the library, or adds a reference to it. Always returns 0. */
MORVEX_M_API int32_t morvex_m_init(void);
/** @brief Drops a reference; the last one shuts the library down. Always returns 0. */
MORVEX_M_API int32_t morvex_m_fini(void);

/**
 * @brief Releases a trigger's state block and sets the handle back to NULL.
 *
 * @param state the address of the handle that a trigger export filled on its
 *              first call; a handle that is already NULL is accepted.
 */
MORVEX_M_API void morvex_m_state_free(void** state);

/** @} */

/**
 * @defgroup version Version
 * @ingroup frame
 * @brief The version of the library and of the headers.
 *
 * The headers give the version they belong to as macros (MORVEX_M_VERSION_MAJOR,
 * MORVEX_M_VERSION_MINOR, MORVEX_M_VERSION_PATCH, MORVEX_M_VERSION_STRING and
 * the packed MORVEX_M_VERSION_NUMBER); morvex_m_get_version() gives the
 * version of the library actually loaded. A program may compare the two:
 *
 * @code{.c}
 * if (morvex_m_get_version()->version < MORVEX_M_VERSION_NUMBER)
 *   fprintf(stderr, "libmorvex-m is older than the %s headers\n", MORVEX_M_VERSION_STRING);
 * @endcode
 *
 * Every 1.x release keeps the ABI of `libmorvex-m.so.0`: exports, their
 * arguments and the layout of the public structures only grow.
 * @{
 */

/** @brief The version record: a packed number and a suffix text. */
typedef struct morvex_m_version {
  /** Major, minor, release (patch) and build as four 16-bit fields from the
   *  most significant end: 1.5.38.0 is 0x0001000500260000. */
  uint64_t version;
  /** A suffix text such as a pre-release mark; empty for a release. */
  const char* extra;
} morvex_m_version;

/**
 * @brief The version record of the loaded library.
 * @return a pointer to a constant record owned by the library (never freed).
 *         Works without morvex_m_init().
 */
MORVEX_M_API const morvex_m_version* morvex_m_get_version(void);

/** @} */

/**
 * @defgroup options Options
 * @ingroup frame
 * @brief One boolean option per processor feature and per optional outside
 *        library.
 *
 * At start-up each option is set to what the processor offers (the FFTW
 * options to whether FFTW is loaded: it never is at start-up). A caller may
 * switch an option off to force plainer kernels, or on again where the
 * processor or the library allows it. Every accepted change re-chooses the
 * kernels.
 *
 * Options are plain process-wide values: do not change them while other
 * threads run operations.
 *
 * Uses: reproduce results bit for bit across machines (switch off AVX2 and
 * AVX-512 to avoid the fused conversions), compare kernels, or enable FFTW
 * for the transforms:
 *
 * @code{.c}
 * if (morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) != 0)
 *   puts("libfftw3f.so.3 not available: transforms use the built-in FFT");
 * morvex_m_setopt(MORVEX_M_OPT_AVX512F, 0);   // plainer kernels from now on
 * @endcode
 * @{
 */

/** @brief Option ids (13 is unassigned and rejected everywhere). */
enum {
  MORVEX_M_OPT_SSE = 1,       /**< "Use SSE" */
  MORVEX_M_OPT_SSE2 = 2,      /**< "Use SSE2" */
  MORVEX_M_OPT_SSE3 = 3,      /**< "Use SSE3" */
  MORVEX_M_OPT_SSSE3 = 4,     /**< "Use SSSE3" */
  MORVEX_M_OPT_SSE41 = 5,     /**< "Use SSE4.1" */
  MORVEX_M_OPT_SSE42 = 6,     /**< "Use SSE4.2" */
  MORVEX_M_OPT_AVX = 7,       /**< "Use AVX" */
  MORVEX_M_OPT_AVX2 = 8,      /**< "Use AVX2" */
  MORVEX_M_OPT_NEON = 9,      /**< "Use NEON" (never on x86-64) */
  MORVEX_M_OPT_IPP = 10,      /**< "Use IPP" (never available) */
  MORVEX_M_OPT_FFTW3 = 11,    /**< "Use FFTW3": double-precision transforms through FFTW */
  MORVEX_M_OPT_FFTW3F = 12,   /**< "Use FFTW3F": single-precision transforms through FFTW */
  MORVEX_M_OPT_FMA3 = 14,     /**< "Use FMA3" */
  MORVEX_M_OPT_AVX512F = 15,  /**< "Use AVX-512F" */
  MORVEX_M_OPT_AVX512BW = 16, /**< "Use AVX-512BW" */
  MORVEX_M_OPT_AVX512DQ = 17, /**< "Use AVX-512DQ" */
  MORVEX_M_OPT_AVX512CD = 18  /**< "Use AVX-512CD" */
};

/** @brief One entry of the option table. */
typedef struct morvex_m_option_entry {
  uint64_t id;      /**< the option id (MORVEX_M_OPT_...), 0 in the closing entry */
  const char* name; /**< "Use SSE", ...; NULL in the closing entry */
} morvex_m_option_entry;

/**
 * @brief The option table, in presentation order, ended by {0, NULL}.
 * @return a constant table owned by the library.
 */
MORVEX_M_API const morvex_m_option_entry* morvex_m_getopt_list(void);

/**
 * @brief Reads an option.
 * @param id    an option id
 * @param value receives 0 or 1
 * @return 0, or -1 for an unknown id (then `*value` is left alone). Works
 *         before morvex_m_init() (every option reads 0 then).
 */
MORVEX_M_API int32_t morvex_m_getopt(int32_t id, uint32_t* value);

/**
 * @brief Switches an option off (value 0) or on (any other value).
 * @param id    an option id
 * @param value 0 for off, anything else for on
 * @return 0 when the option now has the requested state; -1 for an unknown id
 *         or a request that cannot be met (a feature the processor lacks,
 *         IPP, an FFTW library that cannot be loaded). Switching the FFTW
 *         options on loads FFTW; switching them off stops its use (the
 *         library stays loaded until the last morvex_m_fini()).
 */
MORVEX_M_API int32_t morvex_m_setopt(int32_t id, int32_t value);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_BASE_H */

/*
 * libmorvex-m: numerical routines for data-acquisition sample arrays.
 *
 * Common types, the library lifecycle, status codes, the version record and
 * the processor/library options. Every other family header includes this one.
 *
 * Conventions shared by every export:
 *  - All names are morvex_m_<operation>_<types>. Type suffixes: i8 i16 i32 i64,
 *    u8 u16 u32 u64, f32 f64, c32f32 c64f64 (complex, real part first). Two
 *    suffixes joined (i16f32, u8u32) name the input type, then the output or
 *    counter type.
 *  - Arguments come in the order inputs, outputs, element count, scalars.
 *    Counts are unsigned 64-bit and count elements, never bytes.
 *  - Every array belongs to the caller and is only borrowed for the call.
 *  - Plain array operations check no pointers; a count of 0 returns at once.
 *  - Boolean arguments are 32-bit integers, non-zero meaning true.
 *  - The library never prints, aborts or exits, and never changes the
 *    floating-point control state.
 */
#ifndef MORVEX_M_BASE_H
#define MORVEX_M_BASE_H

#include <stdint.h>

/* Marks an export. The library is built with hidden visibility, so only what
 * is declared with this mark (and matches the linker's morvex_m_* list) is
 * exported. */
#if defined(__GNUC__)
#define MORVEX_M_API __attribute__((visibility("default")))
#else
#define MORVEX_M_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------ status
 * Most exports return one of these codes; morvex_m_status_str gives its text.
 */
typedef int32_t morvex_m_status;

enum {
  MORVEX_M_SUCCESS = 0,           /* "Success" */
  MORVEX_M_FAILED = -1,           /* "Failed" */
  MORVEX_M_ERROR_DATA_LENGTH = -2,/* "Error data length" */
  MORVEX_M_OUT_OF_MEMORY = -3,    /* "Out of memory" */
  MORVEX_M_INVALID_PLAN = -4,     /* "Invalid plan" */
  MORVEX_M_NULLPTR = -5           /* "nullptr" */
};

/* Complex values as they cross the boundary: interleaved, real part first,
 * the layout of C99 float _Complex / C++ std::complex<float>. */
typedef struct morvex_m_c32f32 { float re; float im; } morvex_m_c32f32;
typedef struct morvex_m_c64f64 { double re; double im; } morvex_m_c64f64;

/* ------------------------------------------------------------------ lifecycle
 * morvex_m_init starts the library (platform libraries, processor features,
 * kernel choice) or adds a reference; morvex_m_fini drops one, and the last
 * one shuts the library down (unloading FFTW if it was loaded). Call init
 * before any export that uses a kernel slot, the task pool or FFTW, and fini
 * once per init. Both are safe from any thread and always return 0.
 *
 * morvex_m_status_str, morvex_m_get_version, the option getters and the plain
 * array operations that do not go through a kernel slot work without init.
 */
MORVEX_M_API int32_t morvex_m_init(void);
MORVEX_M_API int32_t morvex_m_fini(void);

/* The static text of a status code, or NULL for a code outside -5..0. */
MORVEX_M_API const char* morvex_m_status_str(int32_t status);

/* Version record: `version` packs major, minor, release and build as four
 * 16-bit fields from the most significant end (1.5.38.0); `extra` is a
 * suffix text (empty for a release). Owned by the library, constant. */
typedef struct morvex_m_version {
  uint64_t version;
  const char* extra;
} morvex_m_version;

MORVEX_M_API const morvex_m_version* morvex_m_get_version(void);

/* Releases a state block that a trigger export allocated on its first call
 * with a NULL handle, and sets the handle back to NULL. A NULL handle value
 * is accepted. */
MORVEX_M_API void morvex_m_state_free(void** state);

/* ------------------------------------------------------------------ options
 * One boolean option per processor feature and per optional outside library.
 * At start-up each is set to what the processor offers (FFTW options to
 * whether FFTW is loaded: it never is at start-up). A caller may switch an
 * option off to force plainer kernels, or on again where the processor or
 * the library allows it. Every accepted change re-chooses the kernels.
 *
 * Options are plain process-wide values: do not change them while other
 * threads run operations.
 */
enum {
  MORVEX_M_OPT_SSE = 1,
  MORVEX_M_OPT_SSE2 = 2,
  MORVEX_M_OPT_SSE3 = 3,
  MORVEX_M_OPT_SSSE3 = 4,
  MORVEX_M_OPT_SSE41 = 5,
  MORVEX_M_OPT_SSE42 = 6,
  MORVEX_M_OPT_AVX = 7,
  MORVEX_M_OPT_AVX2 = 8,
  MORVEX_M_OPT_NEON = 9,
  MORVEX_M_OPT_IPP = 10,    /* never available */
  MORVEX_M_OPT_FFTW3 = 11,  /* double-precision transforms through FFTW */
  MORVEX_M_OPT_FFTW3F = 12, /* single-precision transforms through FFTW */
  /* 13 is unassigned and rejected everywhere */
  MORVEX_M_OPT_FMA3 = 14,
  MORVEX_M_OPT_AVX512F = 15,
  MORVEX_M_OPT_AVX512BW = 16,
  MORVEX_M_OPT_AVX512DQ = 17,
  MORVEX_M_OPT_AVX512CD = 18
};

typedef struct morvex_m_option_entry {
  uint64_t id;
  const char* name;
} morvex_m_option_entry;

/* The option table, in presentation order, ended by {0, NULL}. Constant. */
MORVEX_M_API const morvex_m_option_entry* morvex_m_getopt_list(void);

/* Reads option `id` (0 or 1) into *value and returns 0; returns -1 and leaves
 * *value alone for an unknown id. Works before init (all options read 0). */
MORVEX_M_API int32_t morvex_m_getopt(int32_t id, uint32_t* value);

/* Switches option `id` off (value 0) or on (any other value). Returns 0 when
 * the option now has the requested state, -1 for an unknown id or a request
 * that cannot be met (a feature the processor lacks, IPP, an FFTW library
 * that cannot be loaded). */
MORVEX_M_API int32_t morvex_m_setopt(int32_t id, int32_t value);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_M_BASE_H */

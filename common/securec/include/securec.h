// Bounds-checked copies and formats, for systems where libboundscheck is not installed: the same
// signatures, results and effects on failure. Nothing here allocates or blocks.
#ifndef QUON_SECUREC_H
#define QUON_SECUREC_H

#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int errno_t;

#define SECUREC_MEM_MAX_LEN 0x7fffffffUL

#define EOK 0
#define EINVAL_AND_RESET 150
#define ERANGE_AND_RESET 162
#define EOVERLAP_AND_RESET 182

// Copies `count` bytes. Results: 0; EINVAL (destination null); ERANGE (destMax 0 or above
// SECUREC_MEM_MAX_LEN); EINVAL_AND_RESET (source null), ERANGE_AND_RESET (count above destMax) and
// EOVERLAP_AND_RESET (overlapping areas), each of which clears all destMax bytes.
errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// Sets `count` bytes to `c`. Results as memcpy_s; a count above destMax fills all destMax bytes.
errno_t memset_s(void* dest, size_t destMax, int c, size_t count);

// Format at most `count` characters into `strDest`. Returns their number, or -1: with an empty text
// when the formatted text does not fit destMax, with the cut text when it is longer than `count`,
// and when strDest or format is null or destMax is 0 or above SECUREC_MEM_MAX_LEN.
int snprintf_s(char* strDest, size_t destMax, size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
int vsnprintf_s(char* strDest, size_t destMax, size_t count, const char* format, va_list args)
    __attribute__((format(printf, 4, 0)));

#ifdef __cplusplus
}
#endif

#endif

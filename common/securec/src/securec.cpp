#include "securec.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace {

bool is_legal_size(size_t dest_max) {
    return dest_max != 0 && dest_max <= SECUREC_MEM_MAX_LEN;
}

// An area copied onto itself does not count as overlapping: nothing changes.
bool overlaps(const void* a, const void* b, size_t count) {
    const auto first = reinterpret_cast<uintptr_t>(a);
    const auto second = reinterpret_cast<uintptr_t>(b);
    return first < second ? second - first < count : first > second && first - second < count;
}

}  // namespace

errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    if (!is_legal_size(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    errno_t result = EOK;
    if (src == nullptr) {
        result = EINVAL_AND_RESET;
    } else if (count > destMax) {
        result = ERANGE_AND_RESET;
    } else if (overlaps(dest, src, count)) {
        result = EOVERLAP_AND_RESET;
    }
    if (result != EOK) {
        memset(dest, 0, destMax);
    } else if (dest != src) {
        memcpy(dest, src, count);
    }
    return result;
}

errno_t memset_s(void* dest, size_t destMax, int c, size_t count) {
    if (!is_legal_size(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    const bool fits = count <= destMax;
    memset(dest, c, fits ? count : destMax);
    return fits ? EOK : ERANGE_AND_RESET;
}

int vsnprintf_s(char* strDest, size_t destMax, size_t count, const char* format, va_list args) {
    if (strDest == nullptr || !is_legal_size(destMax)) {
        return -1;
    }
    if (format == nullptr) {
        strDest[0] = '\0';
        return -1;
    }
    const bool count_cuts = count < destMax;
    const size_t room = count_cuts ? count + 1 : destMax;
    const int length = vsnprintf(strDest, room, format, args);
    if (length >= 0 && static_cast<size_t>(length) < room) {
        return length;
    }
    if (length < 0 || !count_cuts) {
        strDest[0] = '\0';
    }
    return -1;
}

int snprintf_s(char* strDest, size_t destMax, size_t count, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = vsnprintf_s(strDest, destMax, count, format, args);
    va_end(args);
    return result;
}

// The smallest locale model that the C++ headers accept, for a C library without uselocale.
#ifndef QUON_OVERLAY_CXXLOCALE_H
#define QUON_OVERLAY_CXXLOCALE_H

#include <bits/c++config.h>
#include <stdarg.h>
#include <stdio.h>

#define _GLIBCXX_NUM_CATEGORIES 0

// The formatter takes the macro for a function's head.
// clang-format off
namespace std _GLIBCXX_VISIBILITY(default) {
_GLIBCXX_BEGIN_NAMESPACE_VERSION

typedef void* __c_locale;

inline int __convert_from_v(const __c_locale&, char* out, const int size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(out, static_cast<size_t>(size), format, args);
    va_end(args);
    return length;
}

_GLIBCXX_END_NAMESPACE_VERSION
}  // namespace std
// clang-format on

#endif

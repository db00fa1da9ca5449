// Differences between the C libraries that the daemon runs on, and between the compilers that build
// it: the only conditional code in the tree.
#ifndef QUON_PLATFORM_H
#define QUON_PLATFORM_H

#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

// glibc gives each thread its own malloc arena: 1 GB of address space at 200 requests in flight.
// One arena is just as fast for this program. Other C libraries have a single heap anyway.
static inline void quon_limit_malloc_arenas(void) {
#if defined(__GLIBC__) && defined(M_ARENA_MAX)
    mallopt(M_ARENA_MAX, 1);
#endif
}

// Returns free heap pages to the system. On a large heap it holds the heap's lock for several
// milliseconds.
static inline void quon_release_heap(void) {
#ifdef __GLIBC__
    (void)malloc_trim(0);
#endif
}

// Total bytes of ended threads' stacks that the C library caches for new threads, the same in glibc
// and uClibc. One byte more evicts the oldest.
#define QUON_STACK_CACHE ((size_t)40 << 20)

// Sets a new thread's stack size to `wanted` bytes, or to the C library's minimum if that is
// larger. Returns 0, or an error number with the default size unchanged.
static inline int quon_set_thread_stack(pthread_attr_t* attr, size_t wanted) {
    const size_t least = (size_t)PTHREAD_STACK_MIN;
    return pthread_attr_setstacksize(attr, wanted > least ? wanted : least);
}

// The C library's handler of failed assertions (text, file, line, function), which aborts. Callers
// include <assert.h> without NDEBUG.
#ifdef __UCLIBC__
#define quon_assertion_failed __assert
#else
#define quon_assertion_failed __assert_fail
#endif

// Between these two lines GCC's analyzer does not report `check` ("-Wanalyzer-..."), for its false
// alarms: it follows one path through one source file and cannot count references.
#if defined(__GNUC__) && !defined(__clang__)
#define QUON_PRAGMA(text) _Pragma(#text)
#define QUON_ANALYZER_OFF(check) \
    QUON_PRAGMA(GCC diagnostic push) QUON_PRAGMA(GCC diagnostic ignored check)
#define QUON_ANALYZER_ON QUON_PRAGMA(GCC diagnostic pop)
#else
#define QUON_ANALYZER_OFF(check)
#define QUON_ANALYZER_ON
#endif

// `popen` for reading the output of `command`. Other commands must not inherit the pipe, or it
// would stay open as long as they run. uClibc creates an inheritable one, so the next command waits
// until the flag is set; a command that `system` starts in between still inherits it.
static inline FILE* quon_popen_for_reading(const char* command) {
#ifdef __UCLIBC__
    static pthread_mutex_t one_at_a_time = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&one_at_a_time);
    FILE* const stream = popen(command, "r");
    if (stream != nullptr) {
        (void)fcntl(fileno(stream), F_SETFD, FD_CLOEXEC);
    }
    pthread_mutex_unlock(&one_at_a_time);
    return stream;
#else
    return popen(command, "re");
#endif
}

#endif

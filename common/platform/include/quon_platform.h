// What differs between the C libraries that the daemon runs on: the only conditional code of the
// tree.
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

// glibc gives every thread a malloc arena of its own: 1 GB of address space at 200 requests in
// flight. One arena is as fast for this program. Other C libraries have one heap anyway.
static inline void quon_limit_malloc_arenas(void) {
#if defined(__GLIBC__) && defined(M_ARENA_MAX)
    mallopt(M_ARENA_MAX, 1);
#endif
}

// Hands free pages of the heap back to the system. Takes the heap's lock for some milliseconds
// where the heap is large.
static inline void quon_release_heap(void) {
#ifdef __GLIBC__
    (void)malloc_trim(0);
#endif
}

// The stacks of ended threads that the C library keeps for new ones: bytes in all, glibc and uClibc
// alike. One more byte drives the oldest ones out.
#define QUON_STACK_CACHE ((size_t)40 << 20)

// Sets the stack size of a thread to be made to `wanted` bytes, or to the least that the C library
// accepts when that is more. Returns 0, or an error number and leaves the default size.
static inline int quon_set_thread_stack(pthread_attr_t* attr, size_t wanted) {
    const size_t least = (size_t)PTHREAD_STACK_MIN;
    return pthread_attr_setstacksize(attr, wanted > least ? wanted : least);
}

// The C library's report of a failed assertion (text, file, line, function), which aborts. Whoever
// uses it includes <assert.h> without NDEBUG.
#ifdef __UCLIBC__
#define quon_assertion_failed __assert
#else
#define quon_assertion_failed __assert_fail
#endif

// `popen` for reading what `command` prints. No other command inherits the pipe, which would hold
// its end back for as long as that command runs. uClibc makes an inheritable one, so the next
// command waits until the flag is set; a command that `system` starts in between still inherits it.
static inline FILE* quon_popen_for_reading(const char* command) {
#ifdef __UCLIBC__
    static pthread_mutex_t one_at_a_time = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&one_at_a_time);
    FILE* const stream = popen(command, "r");
    if (stream != NULL) {
        (void)fcntl(fileno(stream), F_SETFD, FD_CLOEXEC);
    }
    pthread_mutex_unlock(&one_at_a_time);
    return stream;
#else
    return popen(command, "re");
#endif
}

#endif

// What differs between the C libraries that the daemon runs on (the only conditional code of the
// tree), and what every library does with a new descriptor.
#ifndef QUON_PLATFORM_H
#define QUON_PLATFORM_H

#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stddef.h>
#include <stdlib.h>
#include <unistd.h>
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

// Sets the stack size of a thread to be made to `wish` bytes, or to the least that the C library
// accepts when that is more. Returns 0, or an error number and leaves the default size.
static inline int quon_set_thread_stack(pthread_attr_t* attr, size_t wish) {
    const size_t least = (size_t)PTHREAD_STACK_MIN;
    return pthread_attr_setstacksize(attr, wish > least ? wish : least);
}

// The C library's report of a failed assertion (text, file, line, function), which aborts. Whoever
// uses it includes <assert.h> without NDEBUG.
#ifdef __UCLIBC__
#define quon_assertion_failed __assert
#else
#define quon_assertion_failed __assert_fail
#endif

// Keeps `fd` out of the commands that the shell services and the network update start. Returns fd,
// also when it is negative or the flag cannot be set.
static inline int quon_close_on_exec(int fd) {
    if (fd >= 0) {
        (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    return fd;
}

// The numbers 0 to 2 can be free when the process was started without standard streams, and
// whatever is printed would go to 1 and 2. Returns fd, or in place of such a number a new one above
// 2; fd itself is then closed. Negative numbers come back as they are; -1 when there is no new one.
static inline int quon_clear_of_standard_streams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = fcntl(fd, F_DUPFD, STDERR_FILENO + 1);
    (void)close(fd);
    return moved;
}

#endif

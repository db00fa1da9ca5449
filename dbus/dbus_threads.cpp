#include "dbus_threads.h"

#include <pthread.h>
#include <stddef.h>

#include "quon_platform.h"

namespace quon::dbus {

namespace {

// Threads are many and their work is shallow.
constexpr size_t kThreadStack = size_t{64} * 1024;

}  // namespace

bool start_thread(void* (*function)(void*), void* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    // A size that is refused leaves the default: a large thread is better than none.
    (void)quon_set_thread_stack(&attributes, kThreadStack);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, function, argument) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

}  // namespace quon::dbus

#include "dbus_threads.h"

#include <stddef.h>

#include "dbus_socket_common.h"
#include "quon_platform.h"

namespace {

size_t wanted_stack = 0;  // atomic

}  // namespace

namespace quon::dbus {

ThreadKind::ThreadKind() {
    pthread_attr_init(&attributes_);
    pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED);
    const size_t stack = __atomic_load_n(&wanted_stack, __ATOMIC_RELAXED);
    if (stack != 0) {
        // If the size is refused the default stays: a large thread is better than none.
        (void)quon_set_thread_stack(&attributes_, stack);
    }
}

ThreadKind::~ThreadKind() {
    pthread_attr_destroy(&attributes_);
}

bool ThreadKind::start(void* (*function)(void*), void* argument) const {
    pthread_t thread;
    return pthread_create(&thread, &attributes_, function, argument) == 0;
}

}  // namespace quon::dbus

void Dbus_SetThreadStack(size_t bytes) {
    __atomic_store_n(&wanted_stack, bytes, __ATOMIC_RELAXED);
}

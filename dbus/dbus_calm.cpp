#include "dbus_calm.h"

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "dbus_state.h"
#include "dbus_threads.h"
#include "quon_platform.h"

namespace quon::dbus {

namespace {

constexpr char kWatchName[] = "DbusCalm";
constexpr int32_t kWorthIt = 8;  // what fewer leave behind is little
constexpr uint32_t kCalm = 8;    // changes between two looks
constexpr useconds_t kLookUs = 200'000;

// Atomic.
int32_t load;
int32_t highest;   // load since memory was given back
uint32_t changes;  // of the load
bool watched;

template <typename Number>
Number look_at(const Number& number) {
    return __atomic_load_n(&number, __ATOMIC_SEQ_CST);
}

void raise_height(int32_t to) {
    int32_t height = look_at(highest);
    while (to > height && !__atomic_compare_exchange_n(&highest, &height, to, true,
                                                       __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
}

// What begins meanwhile raises it, too.
void forget_height() {
    __atomic_store_n(&highest, 0, __ATOMIC_SEQ_CST);
    raise_height(look_at(load));
}

bool has_dropped(int32_t now) {
    return look_at(highest) - now >= kWorthIt;
}

// What has ended lately may not have given its memory up yet.
void wait_for_calm() {
    uint32_t before = 0;
    do {
        before = look_at(changes);
        usleep(kLookUs);
    } while (look_at(changes) - before >= kCalm);
}

void* end_at_once(void* /*unused*/) {
    return nullptr;
}

// A storm leaves hundreds of stacks in the C library's cache, with the pages that were used. One
// that alone fills the cache drives all the others out.
void release_stacks() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, QUON_STACK_CACHE);
    pthread_t thread;
    if (pthread_create(&thread, &attributes, end_at_once, nullptr) == 0) {
        pthread_join(thread, nullptr);
    }
    pthread_attr_destroy(&attributes);
}

void start_watch();

// The stacks first: the C library's data on them are spread over the heap.
void* watch(void* /*unused*/) {
    prctl(PR_SET_NAME, kWatchName);
    do {
        wait_for_calm();
        forget_height();
        release_stacks();
        quon_release_heap();
    } while (has_dropped(look_at(load)));
    set_flag(&watched, false);
    if (has_dropped(look_at(load))) {
        start_watch();
    }
    return nullptr;
}

// Where there is no room for such a thread, the end of another one tries again.
void start_watch() {
    if (!swap_flag(&watched, true) && !ThreadKind().start(watch, nullptr)) {
        set_flag(&watched, false);
    }
}

}  // namespace

void load_begins() {
    __atomic_add_fetch(&changes, 1U, __ATOMIC_SEQ_CST);
    raise_height(__atomic_add_fetch(&load, 1, __ATOMIC_SEQ_CST));
}

void load_ends() {
    __atomic_add_fetch(&changes, 1U, __ATOMIC_SEQ_CST);
    const int32_t now = __atomic_sub_fetch(&load, 1, __ATOMIC_SEQ_CST);
    if (has_dropped(now) && !get_flag(&watched)) {
        start_watch();
    }
}

}  // namespace quon::dbus

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

constexpr size_t kCacheLine = 64;

// Atomic. Two that many threads change, and what they only look at, each with a line of its own.
alignas(kCacheLine) uint32_t begun;
alignas(kCacheLine) uint32_t ended;
alignas(kCacheLine) int32_t highest;  // load since memory was given back
bool watched;

template <typename Number>
Number look_at(const Number& number) {
    return __atomic_load_n(&number, __ATOMIC_SEQ_CST);
}

int32_t load() {
    const uint32_t over = look_at(ended);
    return static_cast<int32_t>(look_at(begun) - over);
}

uint32_t changes() {
    return look_at(begun) + look_at(ended);
}

void raise_height(int32_t to) {
    int32_t height = look_at(highest);
    while (to > height && !__atomic_compare_exchange_n(&highest, &height, to, true,
                                                       __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
}

// The end of what goes on raises it again.
void forget_height() {
    __atomic_store_n(&highest, 0, __ATOMIC_SEQ_CST);
}

bool has_dropped(int32_t now) {
    return look_at(highest) - now >= kWorthIt;
}

// What has ended lately may not have given its memory up yet.
void wait_for_calm() {
    uint32_t before = 0;
    do {
        before = changes();
        usleep(kLookUs);
    } while (changes() - before >= kCalm);
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
    } while (has_dropped(load()));
    set_flag(&watched, false);
    if (has_dropped(load())) {
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
    __atomic_add_fetch(&begun, 1U, __ATOMIC_RELAXED);
}

void load_ends() {
    const uint32_t over = __atomic_add_fetch(&ended, 1U, __ATOMIC_SEQ_CST);
    const auto now = static_cast<int32_t>(look_at(begun) - over);
    raise_height(now + 1);
    if (has_dropped(now) && !get_flag(&watched)) {
        start_watch();
    }
}

}  // namespace quon::dbus

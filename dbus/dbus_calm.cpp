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
constexpr int32_t kWorthIt = 8;  // fewer than this leave little behind
constexpr uint32_t kCalm = 8;    // most changes between two looks that count as calm
constexpr useconds_t kLookUs = 200'000;

constexpr size_t kCacheLine = 64;

// All atomic. Many threads change the two counters; each counter, and the rest, has its own cache
// line.
alignas(kCacheLine) uint32_t begun;
alignas(kCacheLine) uint32_t ended;
alignas(kCacheLine) int32_t highest;  // highest load since memory was last given back
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

// Work still in progress raises it again when it ends.
void forget_height() {
    __atomic_store_n(&highest, 0, __ATOMIC_SEQ_CST);
}

bool has_dropped(int32_t now) {
    return look_at(highest) - now >= kWorthIt;
}

// Threads that have just ended may not have released their memory yet.
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

// A storm leaves hundreds of used stacks in the C library's cache. One stack that fills the cache
// by itself evicts all the others.
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

// Stacks first: the C library's bookkeeping for them is scattered over the heap.
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

// If this thread cannot be created, the next thread to end tries again.
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

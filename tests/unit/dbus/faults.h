// System calls and allocations that fail when a test says so, and what they were called with. Put
// in place at link time (-Wl,--wrap) for everything in the test program, the library included.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quon::test {

// What fails, on threads other than the one that asks: the next calls of a kind, after some that
// pass.
enum class Fault { kMalloc, kThread, kListen, kConnect };

enum class Where { kThisThread, kOtherThreads };

void fail_next(Fault what, int count, int after = 0, Where where = Where::kThisThread);
bool all_failed(Fault what);  // as often as they should

// Allocations made on the thread that fails them, in order.
std::vector<void*> allocations_before_failure();

struct ThreadStart {
    void* (*function)(void*);
    bool default_attributes;
    std::size_t stack;
    bool detached;
};
std::vector<ThreadStart> threads_started();

struct Calls {
    std::vector<std::string> sockets;  // "family type protocol"
    std::vector<int> accept_flags;
    std::vector<std::string> binds;  // "family path length"
    std::vector<int> backlogs;
    std::vector<std::size_t> sends;
    int connects = 0;
};
Calls calls();
int slack_at_last_pause();               // of a thread whose pause is 1000 microseconds
int waits_for_room();                    // polls for room that have begun
int most_waiters_for_room();             // of them at once
int pauses_of(useconds_t us);            // those of 50,000 microseconds are counted, but not slept
std::vector<std::string> names_given();  // to threads, by prctl
void forget_calls();

// No thread more can be made while so many live that were made since.
void limit_threads(int most);
void lift_thread_limit();

// From now on sockets come with the smallest send buffer that the system has.
void make_new_sockets_small();

// The next send puts only so many bytes on the socket.
void cut_next_send(std::size_t bytes);

}  // namespace quon::test

#include "faults.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>

namespace quon::test {

namespace {

struct Plan {
    std::atomic<int> pass{0};
    std::atomic<int> fail{0};
    std::atomic<int> where{0};
    std::atomic<pthread_t> asker{};
};

std::array<Plan, 4> plans;
std::atomic<std::size_t> cut_to{0};
std::atomic<bool> sockets_are_small{false};
std::atomic<int> thread_limit{-1};
std::atomic<int> live_threads{0};
std::atomic<int> last_slack{0};
std::atomic<int> room_waits{0};
std::atomic<int> room_waiters{0};
std::atomic<int> most_room_waiters{0};

constexpr int kUncleared = 0xA5;

Plan& plan(Fault what) {
    return plans.at(static_cast<std::size_t>(what));
}

bool concerns_this_thread(const Plan& of) {
    const bool same = pthread_equal(of.asker, pthread_self()) != 0;
    return same == (of.where == static_cast<int>(Where::kThisThread));
}

// Whether to fail this call. No lock: it runs within malloc.
bool takes(Fault what) {
    Plan& of = plan(what);
    if (of.fail == 0 || !concerns_this_thread(of)) {
        return false;
    }
    if (of.pass > 0) {
        of.pass--;
        return false;
    }
    of.fail--;
    return true;
}

struct Record {
    std::mutex lock;
    std::vector<ThreadStart> threads;
    Calls calls;
    std::map<useconds_t, int> pauses;
    std::vector<std::string> names;
};

Record& record() {
    static auto* const only = new Record;
    return *only;
}

// A thread that counts for the limit until it ends, also by cancellation.
struct Counted {
    void* (*function)(void*);
    void* argument;
    bool counts;
};

struct Uncounted {
    explicit Uncounted(bool counts) : counts_(counts) {}
    ~Uncounted() { live_threads -= counts_ ? 1 : 0; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;

  private:
    bool counts_;
};

void* run_counted(void* counted_pointer) {
    const Counted counted = *static_cast<Counted*>(counted_pointer);
    delete static_cast<Counted*>(counted_pointer);
    const Uncounted at_end(counted.counts);
    return counted.function(counted.argument);
}

bool may_start_a_thread() {
    if (thread_limit < 0) {
        return true;
    }
    if (++live_threads <= thread_limit) {
        return true;
    }
    --live_threads;
    return false;
}

std::array<std::atomic<void*>, 16> allocations;
std::atomic<std::size_t> allocation_count{0};

}  // namespace

void fail_next(Fault what, int count, int after, Where where) {
    record();  // allocates
    Plan& of = plan(what);
    allocation_count = 0;
    of.asker = pthread_self();
    of.where = static_cast<int>(where);
    of.pass = after;
    of.fail = count;
}

bool all_failed(Fault what) {
    return plan(what).fail == 0;
}

std::vector<void*> allocations_before_failure() {
    std::vector<void*> all;
    for (std::size_t i = 0; i < allocation_count; i++) {
        all.push_back(allocations.at(i));
    }
    return all;
}

std::vector<ThreadStart> threads_started() {
    const std::lock_guard guard(record().lock);
    return record().threads;
}

Calls calls() {
    const std::lock_guard guard(record().lock);
    return record().calls;
}

int pauses_of(useconds_t us) {
    const std::lock_guard guard(record().lock);
    return record().pauses[us];
}

std::vector<std::string> names_given() {
    const std::lock_guard guard(record().lock);
    return record().names;
}

void forget_calls() {
    const std::lock_guard guard(record().lock);
    record().calls = {};
    record().threads.clear();
    record().pauses.clear();
    record().names.clear();
    room_waits = 0;
    most_room_waiters = 0;
}

int slack_at_last_pause() {
    return last_slack;
}

int waits_for_room() {
    return room_waits;
}

int most_waiters_for_room() {
    return most_room_waiters;
}

void limit_threads(int most) {
    live_threads = 0;
    thread_limit = most;
}

void lift_thread_limit() {
    thread_limit = -1;
}

void make_new_sockets_small() {
    sockets_are_small = true;
}

void cut_next_send(std::size_t bytes) {
    cut_to = bytes;
}

}  // namespace quon::test

using namespace quon::test;

extern "C" {

void* __real_malloc(std::size_t size);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
int __real_socket(int family, int type, int protocol);
int __real_bind(int fd, const sockaddr* address, socklen_t length);
int __real_listen(int fd, int backlog);
int __real_connect(int fd, const sockaddr* address, socklen_t length);
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);
int __real_usleep(useconds_t us);
int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __real_accept4(int fd, sockaddr* address, socklen_t* length, int flags);
int __real_prctl(int option, ...);

void* __wrap_malloc(std::size_t size) {
    const bool watched =
        plan(Fault::kMalloc).fail > 0 && concerns_this_thread(plan(Fault::kMalloc));
    if (takes(Fault::kMalloc)) {
        errno = ENOMEM;
        return nullptr;
    }
    void* made = __real_malloc(size);
    if (made != nullptr) {
        std::memset(made, kUncleared, size);
    }
    if (watched && allocation_count < allocations.size()) {
        allocations.at(allocation_count++) = made;
    }
    return made;
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    if (takes(Fault::kThread) || !may_start_a_thread()) {
        return EAGAIN;
    }
    ThreadStart start{function, attributes == nullptr, 0, false};
    if (attributes != nullptr) {
        int detached = 0;
        pthread_attr_getstacksize(attributes, &start.stack);
        pthread_attr_getdetachstate(attributes, &detached);
        start.detached = detached == PTHREAD_CREATE_DETACHED;
    }
    {
        const std::lock_guard guard(record().lock);
        record().threads.push_back(start);
    }
    return __real_pthread_create(thread, attributes, run_counted,
                                 new Counted{function, argument, thread_limit >= 0});
}

int __wrap_socket(int family, int type, int protocol) {
    {
        const std::lock_guard guard(record().lock);
        record().calls.sockets.push_back(std::to_string(family) + " " + std::to_string(type) + " " +
                                         std::to_string(protocol));
    }
    const int fd = __real_socket(family, type, protocol);
    if (fd >= 0 && sockets_are_small) {
        const int least = 1;
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof(least));
    }
    return fd;
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
    {
        const auto* local = reinterpret_cast<const sockaddr_un*>(address);
        const std::lock_guard guard(record().lock);
        record().calls.binds.push_back(std::to_string(local->sun_family) + " " + local->sun_path +
                                       " " + std::to_string(length));
    }
    return __real_bind(fd, address, length);
}

int __wrap_listen(int fd, int backlog) {
    if (takes(Fault::kListen)) {
        errno = EADDRINUSE;
        return -1;
    }
    {
        const std::lock_guard guard(record().lock);
        record().calls.backlogs.push_back(backlog);
    }
    return __real_listen(fd, backlog);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t length) {
    {
        const std::lock_guard guard(record().lock);
        record().calls.connects++;
    }
    if (takes(Fault::kConnect)) {
        errno = ECONNREFUSED;
        return -1;
    }
    return __real_connect(fd, address, length);
}

ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags) {
    {
        const std::lock_guard guard(record().lock);
        record().calls.sends.push_back(size);
    }
    const std::size_t cut = cut_to.exchange(0);
    return __real_send(fd, bytes, cut != 0 ? cut : size, flags);
}

int __wrap_usleep(useconds_t us) {
    {
        const std::lock_guard guard(record().lock);
        record().pauses[us]++;
    }
    if (us == 1000) {
        last_slack = prctl(PR_GET_TIMERSLACK);
    }
    return us == 50000 ? 0 : __real_usleep(us);
}

int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
    if (count != 1 || fds[0].events != POLLOUT) {
        return __real_poll(fds, count, timeout);
    }
    room_waits++;
    const int now = ++room_waiters;
    int most = most_room_waiters;
    while (most < now && !most_room_waiters.compare_exchange_weak(most, now)) {
    }
    const int result = __real_poll(fds, count, timeout);
    room_waiters--;
    return result;
}

int __wrap_accept4(int fd, sockaddr* address, socklen_t* length, int flags) {
    {
        const std::lock_guard guard(record().lock);
        record().calls.accept_flags.push_back(flags);
    }
    return __real_accept4(fd, address, length, flags);
}

int __wrap_prctl(int option, ...) {
    va_list rest;
    va_start(rest, option);
    const unsigned long argument = va_arg(rest, unsigned long);
    va_end(rest);
    if (option == PR_SET_NAME) {
        const std::lock_guard guard(record().lock);
        record().names.emplace_back(reinterpret_cast<const char*>(argument));
    }
    return __real_prctl(option, argument);
}
}

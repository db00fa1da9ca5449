#include <time.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "checks.h"
#include "sockets.h"

namespace quon::board {

namespace {

constexpr int kCalls = 200;
constexpr uint32_t kLoopSteps = 1'000'000;

// Answered from memory; with a chip exchange; with a failure that prints one line.
constexpr char kPlain[] = "method.quon.mcu.get.allwakeup.info";
constexpr char kExchange[] = "method.quon.mcu.get.time";
constexpr char kLogged[] = "method.quon.mcu.get.log.profile";

double microseconds_of(clockid_t clock) {
    timespec used{};
    if (clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("no processor time of the daemon");
    }
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

// The yardstick: the time that the same board takes for a loop that never changes.
double loop_time() {
    const double before = microseconds_of(CLOCK_PROCESS_CPUTIME_ID);
    volatile uint32_t value = 1;
    for (uint32_t step = 0; step < kLoopSteps; step++) {
        value = value * 1664525U + 1013904223U;
    }
    return microseconds_of(CLOCK_PROCESS_CPUTIME_ID) - before;
}

double time_of_call(const BusPeer& peer, clockid_t daemon, const char* service) {
    const double before = microseconds_of(daemon);
    for (int i = 0; i < kCalls; i++) {
        if (!peer.call(service, {})) {
            throw std::runtime_error(std::string(service) + " is not answered");
        }
    }
    return (microseconds_of(daemon) - before) / kCalls;
}

void report(const char* what, double microseconds, double loop) {
    std::printf("figures cost what=%s us=%.0f loops=%.4f\n", what, microseconds,
                microseconds / loop);
}

}  // namespace

int print_costs(int daemon_pid) {
    clockid_t daemon{};
    if (clock_getcpuclockid(daemon_pid, &daemon) != 0) {
        throw std::runtime_error("there is no such daemon");
    }
    const BusPeer peer;
    // The start is over when a query to the chip has been answered.
    time_of_call(peer, daemon, kExchange);
    const double plain = time_of_call(peer, daemon, kPlain);
    const double exchange = time_of_call(peer, daemon, kExchange) - plain;
    const double logged = time_of_call(peer, daemon, kLogged) - plain;
    const double loop = loop_time();
    report("call", plain, loop);
    report("chip-exchange", exchange, loop);
    report("log-line", logged, loop);
    return 0;
}

int print_cost_of_start(int daemon_pid) {
    clockid_t daemon{};
    if (clock_getcpuclockid(daemon_pid, &daemon) != 0) {
        throw std::runtime_error("there is no such daemon");
    }
    report("start", microseconds_of(daemon), loop_time());
    return 0;
}

}  // namespace quon::board

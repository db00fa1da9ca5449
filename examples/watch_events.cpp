// Prints the chip's events as they come, a line of hex digits each: 33 bytes of the event's
// payload.
//
//   watch_events [COUNT]      ends after COUNT events, otherwise with Ctrl-C or SIGTERM
//
// An event goes to whoever asks first, and the daemon keeps the oldest ten that nobody has asked
// for.
//
// Exit status: 0 COUNT events are printed, or ended by Ctrl-C or SIGTERM; 1 the service failed, or
// standard output cannot be written; 2 wrong arguments; 3 no daemon, or the connection was lost; 4
// no answer in time; 5 a malformed answer.
//
// Needs nothing of the C++ library at run time, so it also builds with -fno-exceptions -fno-rtti.
#include <dbus_socket_common.h>
#include <quon_mcu_services.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <charconv>
#include <cstdint>
#include <memory>
#include <span>
#include <system_error>

namespace {

enum Outcome { kDone = 0, kFailed = 1, kUsage = 2, kNoDaemon = 3, kTimedOut = 4, kMalformed = 5 };

constexpr char kMember[] = "method.quon.mcu.get.event.info";
constexpr std::uint32_t kEventSize = 33;
constexpr std::int32_t kNoEvent = -1;  // the handler's result while none is waiting
constexpr timespec kPause{0, 200'000'000};
// Generous: an event whose answer comes too late has left the daemon and is lost.
constexpr std::int32_t kTimeoutMs = 10'000;

struct Disconnect {
    void operator()(DbusInfo* info) const { Dbus_Client_Disconnect(info); }
};
using Bus = std::unique_ptr<DbusInfo, Disconnect>;

volatile sig_atomic_t stopped = 0;

void stop(int /*signal*/) {
    stopped = 1;
}

void stop_on(int signal) {
    struct sigaction action {};
    action.sa_handler = stop;  // without SA_RESTART: the pause ends at once
    sigaction(signal, &action, nullptr);
}

Outcome say(Outcome outcome, const char* what) {
    fprintf(stderr, "watch_events: %s\n", what);
    return outcome;
}

Outcome print(std::span<const std::uint8_t> event) {
    for (const std::uint8_t byte : event) {
        printf("%02x", byte);
    }
    putchar('\n');
    return fflush(stdout) == 0 && ferror(stdout) == 0
               ? kDone
               : say(kFailed, "standard output cannot be written");
}

// Takes the oldest event. `got` tells whether there was one.
Outcome take_event(DbusInfo* bus, bool& got) {
    DbusReply reply;
    got = false;
    switch (Dbus_Method_Call(bus, kMember, nullptr, 0, kTimeoutMs, &reply)) {
        case DBUS_CALL_OK:
            break;
        case DBUS_CALL_TIMEOUT:
            return say(kTimedOut, "no answer in time");
        case DBUS_CALL_NO_CONNECTION:
            return say(kNoDaemon, "the connection was lost");
        default:
            return say(kFailed, "the call cannot be made");
    }
    if (reply.result == kNoEvent) {
        return kDone;
    }
    if (reply.result < 0) {
        return say(kFailed, "the service failed");
    }
    if (reply.data_len != kEventSize) {
        return say(kMalformed, "malformed answer");
    }
    got = true;
    return print({reply.data, kEventSize});
}

// `count` 0: for ever.
Outcome watch(DbusInfo* bus, std::uint32_t count) {
    std::uint32_t printed = 0;
    while (stopped == 0 && (count == 0 || printed < count)) {
        bool got = false;
        if (const Outcome outcome = take_event(bus, got); outcome != kDone) {
            return outcome;
        }
        if (got) {
            printed++;
        } else {
            nanosleep(&kPause, nullptr);
        }
    }
    return kDone;
}

// A count above 0.
bool is_count(const char* text, std::uint32_t& count) {
    const char* end = text + strlen(text);
    const std::from_chars_result result = std::from_chars(text, end, count);
    return result.ec == std::errc() && result.ptr == end && count > 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint32_t count = 0;
    if (argc > 2 || (argc == 2 && !is_count(argv[1], count))) {
        fprintf(stderr, "usage: watch_events [COUNT]\n");
        return kUsage;
    }
    stop_on(SIGINT);
    stop_on(SIGTERM);
    const Bus bus(Dbus_Client_Connect("example.watch.events", QUON_MCU_BUS_NAME, 0));
    if (!bus) {
        fprintf(stderr, "watch_events: no daemon: nobody answers at " DBUS_SOCKET_PATH_FORMAT "\n",
                QUON_MCU_BUS_NAME);
        return kNoDaemon;
    }
    return watch(bus.get(), count);
}

// Prints the chip's events as they arrive, each as a line of 33 bytes in hexadecimal.
//
//   follow_events [COUNT]      ends after COUNT events, otherwise with Ctrl-C or SIGTERM
//
// An event goes to the first program that asks, and the daemon keeps the oldest ten.
//
// Exit status: 0 ended as requested; 1 failed. Needs no C++ library at run time.
#include <quon_mcu_client.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <memory>

namespace {

struct Disconnect {
    void operator()(quon_mcu_client* client) const { quon_mcu_client_disconnect(client); }
};

volatile sig_atomic_t stopped = 0;

void stop(int /*signal*/) {
    stopped = 1;
}

int fail(const char* why) {
    fprintf(stderr, "follow_events: %s\n", why);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    long left = argc > 1 ? atol(argv[1]) : -1;
    signal(SIGINT, stop);
    signal(SIGTERM, stop);
    const std::unique_ptr<quon_mcu_client, Disconnect> client(
        quon_mcu_client_connect("example.events", 0));
    if (client == nullptr) {
        return fail("no daemon");
    }
    quon_mcu_event_info event;
    while (stopped == 0 && left != 0) {
        const quon_mcu_status status = quon_mcu_client_next_event(client.get(), &event, 500);
        if (status == QUON_MCU_OK) {
            for (const uint8_t byte : event.bytes) {
                printf("%02x", byte);
            }
            left -= left > 0 ? 1 : 0;
            if (putchar('\n') < 0 || fflush(stdout) != 0) {
                return fail("standard output cannot be written");
            }
        } else if (status != QUON_MCU_TIMEOUT) {
            return fail(quon_mcu_status_text(status));
        }
    }
    return 0;
}

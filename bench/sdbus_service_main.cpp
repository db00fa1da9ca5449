// The service as a program of its own, the counterpart of this project's daemon next to
// dbus-daemon. Writes one byte to standard output once it can be called.
#include <unistd.h>

#include <cstdio>

#include "peers/sdbus.h"

void quon::bench::pause_as_the_bus_does() {}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_sdbus_service SOCKET\n");
        return 2;
    }
    quon::bench::SdBusService service;
    try {
        quon::bench::serve_sdbus(quon::bench::open_sdbus(argv[1]), service, true,
                                 [] { (void)!write(STDOUT_FILENO, "y", 1); });
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench_sdbus_service: %s\n", problem.what());
        return 1;
    }
    return 0;
}

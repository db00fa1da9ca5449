// A bus server that the stress test starts, kills and starts again: "stress_server BUS_NAME".
// Prints "ready" when it serves.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "dbus_socket_common.h"

namespace {

std::int32_t echo(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                  std::int32_t /*capacity*/) {
    std::memcpy(reply, request, static_cast<std::size_t>(len));
    return len;
}

// As the request says: its first byte in milliseconds.
std::int32_t slow_echo(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                       std::int32_t capacity) {
    const timespec pause{0, request[0] * 1'000'000L};
    nanosleep(&pause, nullptr);
    return echo(request, len, reply, capacity);
}

void ignore(const std::uint8_t* /*request*/, std::int32_t /*len*/) {}

void add(DbusInterface& entry, const char* name, DbusMethodHandler method,
         DbusSignalHandler signal) {
    std::snprintf(entry.name, sizeof(entry.name), "%s", name);
    std::strcpy(entry.method_type, method != nullptr ? "Method" : "");
    std::strcpy(entry.signal_type, signal != nullptr ? "signal" : "");
    entry.method_handler = method;
    entry.signal_handler = signal;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::strlen(argv[1]) >= DBUS_NAME_SIZE) {
        std::fprintf(stderr, "usage: stress_server BUS_NAME\n");
        return 2;
    }
    DbusInfo* info = DbusInfo_Alloc(3);
    std::snprintf(info->name, sizeof(info->name), "%s", argv[1]);
    add(*info->interfaces[0], "method.echo", echo, nullptr);
    add(*info->interfaces[1], "method.slow", slow_echo, nullptr);
    add(*info->interfaces[2], "signal.ignore", nullptr, ignore);
    if (Dbus_Register(info) != 0) {
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    for (;;) {
        pause();
    }
}

// The counterpart of this project's daemon on the other bus: one method that copies its array of
// bytes, and one that counts without an answer.
#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "peer.h"

namespace quon::bench {

inline constexpr char kBusName[] = "org.bench.Service";
inline constexpr char kBusPath[] = "/bench";

inline int check(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "sd-bus");
    }
    return result;
}

struct SdBusService {
    bool pauses = false;
    std::atomic<std::uint64_t>* received = nullptr;
};

// Serves a connection until it ends. `named`: on a bus, under kBusName; otherwise directly to a
// peer.
void serve_sdbus(sd_bus* bus, SdBusService& service, bool named,
                 const std::function<void()>& ready);

// To a bus daemon, at a socket's path. The caller owns it.
sd_bus* open_sdbus(const std::string& path);

// `destination` is null between two peers without a bus.
void call_sdbus(sd_bus* bus, const char* destination, Payload payload);
void send_sdbus(sd_bus* bus, const char* destination, Payload payload);

}  // namespace quon::bench

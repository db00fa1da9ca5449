// One connection to the daemon.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "catalog/catalog.h"
#include "quon_mcu/values.h"

struct DbusInfo;

namespace quon::client {

struct answer {
    int32_t result;  // length of `payload`, or the service's negative result
    octets payload;
};

class bus_session {
  public:
    // Connects. Throws failure (no daemon) when nobody listens.
    explicit bus_session(int32_t timeout_ms);
    ~bus_session();
    bus_session(const bus_session&) = delete;
    bus_session& operator=(const bus_session&) = delete;

    // Calls a method. Throws failure (no daemon, timed out, malformed); a negative result is an
    // answer like any other.
    answer call(const catalog::service& service, std::span<const uint8_t> request);

    // For the calls that follow.
    void set_timeout(int32_t timeout_ms) { timeout_ms_ = timeout_ms; }

    // As call, and throws failure (failure, malformed) for a negative result or a payload that is
    // not as long as the service's record.
    octets query(const catalog::service& service, std::span<const uint8_t> request);

    // Hands a signal to the connection.
    void send(const catalog::service& service, std::span<const uint8_t> request);

  private:
    int32_t timeout_ms_;
    DbusInfo* info_;
};

}  // namespace quon::client

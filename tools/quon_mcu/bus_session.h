// One connection to the daemon.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "catalog/catalog.h"
#include "quon_mcu_client.h"
#include "quon_mcu_services.h"
#include "shared/bytes.h"

namespace quon::client {

inline constexpr const char* kBusSocket = "/tmp/dbus-" QUON_MCU_BUS_NAME;

struct answer {
    int32_t result;  // length of `payload`, or the service's negative result
    byte_list payload;
    int32_t took_ms;
};

// "method.quon.mcu.get.time: the service failed, result -1: CAUSE", with the likely cause, as the
// catalog and the time that it took show it.
std::string refusal_text(const catalog::service& service, const answer& refusal);

class bus_session {
  public:
    // Connects. Throws failure (unreachable) that says what keeps the daemon from answering.
    explicit bus_session(int32_t timeout_ms);
    ~bus_session();
    bus_session(const bus_session&) = delete;
    bus_session& operator=(const bus_session&) = delete;

    // Calls a method. Throws failure (unreachable, timed out, malformed); a negative result is an
    // answer like any other.
    answer call(const catalog::service& service, byte_view request);

    // For the calls that follow.
    void set_timeout(int32_t timeout_ms) { timeout_ms_ = timeout_ms; }

    // As call, and throws failure (failure, malformed) for a negative result or a payload that is
    // not as long as the service's record.
    byte_list query(const catalog::service& service, byte_view request);

    // Hands a signal to the connection.
    void send(const catalog::service& service, byte_view request);

    // For what the library does in several calls.
    quon_mcu_client* library() const { return client_; }

    // Throws as query does when the library's call of `service`, which took so long, did not end
    // well; `result` matters with QUON_MCU_FAILED.
    void check(const catalog::service& service, quon_mcu_status status, int32_t result,
               int32_t took_ms) const;

  private:
    int32_t timeout_ms_;
    quon_mcu_client* client_;
};

}  // namespace quon::client

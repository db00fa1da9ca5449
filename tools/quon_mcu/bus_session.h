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

// "method.quon.mcu.get.time: the service failed, result -1: CAUSE", with the likely cause, judged
// by the catalog and the time that the call took.
std::string refusal_text(const catalog::service& service, const answer& refusal);

class bus_session {
  public:
    // Connects. Throws failure (unreachable) with the reason why the daemon cannot answer.
    explicit bus_session(int32_t timeout_ms);
    ~bus_session();
    bus_session(const bus_session&) = delete;
    bus_session& operator=(const bus_session&) = delete;

    // Calls a method. Throws failure (unreachable, timed out, malformed); a negative result is
    // returned like any other.
    answer call(const catalog::service& service, byte_view request);

    // For later calls.
    void set_timeout(int32_t timeout_ms) { timeout_ms_ = timeout_ms; }

    // Like call, but throws failure (failure, malformed) for a negative result or a payload whose
    // length is not the service's record's.
    byte_list query(const catalog::service& service, byte_view request);

    // Sends a signal.
    void send(const catalog::service& service, byte_view request);

    // For library functions that make several calls.
    quon_mcu_client* library() const { return client_; }

    // Throws like query if the library's call of `service`, which took that long, failed; `result`
    // is used with QUON_MCU_FAILED.
    void check(const catalog::service& service, quon_mcu_status status, int32_t result,
               int32_t took_ms) const;

  private:
    int32_t timeout_ms_;
    quon_mcu_client* client_;
};

}  // namespace quon::client

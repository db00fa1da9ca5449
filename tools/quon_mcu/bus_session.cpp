#include "quon_mcu/bus_session.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "dbus_socket_common.h"
#include "quon_mcu/failure.h"
#include "quon_mcu_services.h"

namespace quon::client {
namespace {

constexpr int32_t one_attempt = 0;

[[noreturn]] void fail(exit_status status, const catalog::service& service,
                       const std::string& text) {
    throw failure(status, std::string(service.name) + ": " + text);
}

const char* own_name() {
    static const std::string name = "quon-mcu." + std::to_string(getpid());
    return name.c_str();
}

bool daemon_listens() {
    DbusInfo* probe = Dbus_Client_Connect(own_name(), QUON_MCU_BUS_NAME, one_attempt);
    Dbus_Client_Disconnect(probe);
    return probe != nullptr;
}

// A call that was under way when the daemon ended runs into its time-out like any other.
[[noreturn]] void fail_by_time(const catalog::service& service, int32_t timeout_ms) {
    const bool lost = !daemon_listens();
    fail(lost ? exit_status::no_daemon : exit_status::timed_out, service,
         "no answer within " + std::to_string(timeout_ms) + " ms" +
             (lost ? ", and the daemon is gone" : ""));
}

[[noreturn]] void fail_call(DbusCallStatus status, const catalog::service& service,
                            int32_t timeout_ms) {
    switch (status) {
        case DBUS_CALL_TIMEOUT:
            fail_by_time(service, timeout_ms);
        case DBUS_CALL_NO_CONNECTION:
            fail(exit_status::no_daemon, service, "the connection to the daemon was lost");
        case DBUS_CALL_INVALID:
            fail(exit_status::usage, service,
                 "a payload has at most " + std::to_string(DBUS_DATA_SIZE) + " bytes");
        case DBUS_CALL_OK:
        case DBUS_CALL_NO_MEMORY:
            break;
    }
    fail(exit_status::failure, service, "out of memory");
}

answer checked(const catalog::service& service, const DbusReply& reply) {
    if (reply.result < 0) {
        return {reply.result, {}};
    }
    const auto length = static_cast<uint32_t>(reply.result);
    if (length > DBUS_DATA_SIZE || reply.data_len != length) {
        fail(exit_status::malformed, service,
             "malformed answer: result " + std::to_string(reply.result) + ", length " +
                 std::to_string(reply.data_len));
    }
    return {reply.result, octets(reply.data, reply.data + length)};
}

}  // namespace

bus_session::bus_session(int32_t timeout_ms)
    : timeout_ms_(timeout_ms),
      info_(Dbus_Client_Connect(own_name(), QUON_MCU_BUS_NAME, one_attempt)) {
    if (info_ == nullptr) {
        throw failure(exit_status::no_daemon,
                      "no daemon: nobody answers at /tmp/dbus-" QUON_MCU_BUS_NAME);
    }
}

bus_session::~bus_session() {
    Dbus_Client_Disconnect(info_);
}

answer bus_session::call(const catalog::service& service, std::span<const uint8_t> request) {
    const auto reply = std::make_unique<DbusReply>();
    const DbusCallStatus status =
        Dbus_Method_Call(info_, std::string(service.name).c_str(), request.data(),
                         static_cast<uint32_t>(request.size()), timeout_ms_, reply.get());
    if (status != DBUS_CALL_OK) {
        fail_call(status, service, timeout_ms_);
    }
    return checked(service, *reply);
}

octets bus_session::query(const catalog::service& service, std::span<const uint8_t> request) {
    answer got = call(service, request);
    if (got.result < 0) {
        fail(exit_status::failure, service,
             "the service failed, result " + std::to_string(got.result));
    }
    const uint32_t size = service.reply->size;
    if (size != 0 && got.payload.size() != size) {
        fail(exit_status::malformed, service,
             "malformed answer: " + std::to_string(got.payload.size()) + " bytes instead of " +
                 std::to_string(size));
    }
    return std::move(got.payload);
}

void bus_session::send(const catalog::service& service, std::span<const uint8_t> request) {
    const DbusCallStatus status =
        Dbus_Signal_Send(info_, std::string(service.name).c_str(), request.data(),
                         static_cast<uint32_t>(request.size()), timeout_ms_);
    if (status != DBUS_CALL_OK) {
        fail_call(status, service, timeout_ms_);
    }
}

}  // namespace quon::client

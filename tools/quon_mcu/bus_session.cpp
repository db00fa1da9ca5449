#include "quon_mcu/bus_session.h"

#include <unistd.h>

#include <chrono>
#include <string>

#include "quon_mcu/daemon_state.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

constexpr int32_t kOneAttempt = 0;

[[noreturn]] void fail(exit_status status, const catalog::service& service,
                       const std::string& text) {
    throw failure(status, std::string(service.name) + ": " + text);
}

const char* own_name() {
    static const std::string name = "quon-mcu." + std::to_string(getpid());
    return name.c_str();
}

// A call in progress when the daemon ends runs into its time-out like any other.
[[noreturn]] void fail_by_time(const catalog::service& service, int32_t timeout_ms) {
    const daemon_report daemon = look_at_daemon(kBusSocket);
    const std::string text = "no answer within " + std::to_string(timeout_ms) + " ms";
    if (daemon.state == daemon_state::gone) {
        fail(exit_status::unreachable, service, text + ", and the daemon is gone");
    }
    fail(exit_status::timed_out, service, daemon.text.empty() ? text : text + ": " + daemon.text);
}

[[noreturn]] void fail_call(quon_mcu_status status, const catalog::service& service,
                            int32_t timeout_ms) {
    switch (status) {
        case QUON_MCU_TIMEOUT:
            fail_by_time(service, timeout_ms);
        case QUON_MCU_NO_CONNECTION:
            fail(exit_status::unreachable, service, "the connection to the daemon was lost");
        case QUON_MCU_INVALID:
            fail(exit_status::usage, service,
                 "a payload has at most " + std::to_string(DBUS_DATA_SIZE) + " bytes");
        default:
            break;
    }
    fail(exit_status::failure, service, "out of memory");
}

answer answer_of(quon_mcu_status status, const catalog::service& service, const DbusReply& reply,
                 int32_t took_ms) {
    if (status == QUON_MCU_MALFORMED) {
        fail(exit_status::malformed, service,
             "malformed answer: result " + std::to_string(reply.result) + ", length " +
                 std::to_string(reply.data_len));
    }
    const uint32_t length = status == QUON_MCU_OK ? reply.data_len : 0;
    return {reply.result, byte_list(reply.data, reply.data + length), took_ms};
}

bool is_answered(quon_mcu_status status) {
    return status == QUON_MCU_OK || status == QUON_MCU_FAILED || status == QUON_MCU_MALFORMED;
}

// What the daemon's log shows: errors at any level, frames at the highest one.
constexpr const char* kLogHint =
    "; the daemon's log tells more, most after 'quon-mcu log-level debug'";

std::string cause_of(const catalog::service& service, int32_t took_ms) {
    if (service.timeout_ms != 0 && took_ms >= service.timeout_ms) {
        return "no answer of the chip within " + std::to_string(service.timeout_ms) + " ms" +
               kLogHint;
    }
    if (!service.refusal.empty()) {
        return std::string(service.refusal) + (service.message ? kLogHint : "");
    }
    if (service.message) {
        return std::string(
                   "the chip could not be asked: the channel to it is closed, or it failed") +
               kLogHint;
    }
    return "";
}

}  // namespace

std::string refusal_text(const catalog::service& service, const answer& refusal) {
    const std::string cause = cause_of(service, refusal.took_ms);
    return std::string(service.name) + ": the service failed, result " +
           std::to_string(refusal.result) + (cause.empty() ? "" : ": " + cause);
}

bus_session::bus_session(int32_t timeout_ms)
    : timeout_ms_(timeout_ms), client_(quon_mcu_client_connect(own_name(), kOneAttempt)) {
    if (client_ == nullptr) {
        throw failure(exit_status::unreachable, why_unreachable(kBusSocket));
    }
}

bus_session::~bus_session() {
    quon_mcu_client_disconnect(client_);
}

answer bus_session::call(const catalog::service& service, byte_view request) {
    const auto reply = std::make_unique<DbusReply>();
    const auto start = std::chrono::steady_clock::now();
    const quon_mcu_status status =
        quon_mcu_client_call(client_, std::string(service.name).c_str(), request.data(),
                             static_cast<uint32_t>(request.size()), timeout_ms_, reply.get());
    if (!is_answered(status)) {
        fail_call(status, service, timeout_ms_);
    }
    const auto took = std::chrono::steady_clock::now() - start;
    return answer_of(
        status, service, *reply,
        static_cast<int32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
}

byte_list bus_session::query(const catalog::service& service, byte_view request) {
    answer got = call(service, request);
    if (got.result < 0) {
        throw failure(exit_status::failure, refusal_text(service, got));
    }
    const uint32_t size = service.reply->size;
    if (size != 0 && got.payload.size() != size) {
        fail(exit_status::malformed, service,
             "malformed answer: " + std::to_string(got.payload.size()) + " bytes instead of " +
                 std::to_string(size));
    }
    return std::move(got.payload);
}

void bus_session::check(const catalog::service& service, quon_mcu_status status, int32_t result,
                        int32_t took_ms) const {
    switch (status) {
        case QUON_MCU_OK:
            return;
        case QUON_MCU_FAILED:
            throw failure(exit_status::failure, refusal_text(service, {result, {}, took_ms}));
        case QUON_MCU_MALFORMED:
            fail(exit_status::malformed, service, "malformed answer");
        default:
            fail_call(status, service, timeout_ms_);
    }
}

void bus_session::send(const catalog::service& service, byte_view request) {
    const quon_mcu_status status =
        quon_mcu_client_send(client_, std::string(service.name).c_str(), request.data(),
                             static_cast<uint32_t>(request.size()), timeout_ms_);
    if (status != QUON_MCU_OK) {
        fail_call(status, service, timeout_ms_);
    }
}

}  // namespace quon::client

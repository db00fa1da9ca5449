// Operations that take several calls: waiting for an event, a command's status, the firmware
// upgrade.
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "client_calls.h"
#include "quon_clock.h"
#include "quon_mcu_client.h"
#include "securec.h"

namespace quon::typed {

namespace {

constexpr int32_t kNoEvent = -1;  // the service's result when no event is queued
constexpr int64_t kPauseMs = 100;
constexpr int64_t kEventUnderWayMs = 1000;

// The table lists every service; a missing one leads to a call with an empty name, which is
// refused.
const Service& row_of(const char* name) {
    static constexpr Service kNobody = {"", nullptr, nullptr, nullptr};
    const Service* found = service_named(name);
    return found != nullptr ? *found : kNobody;
}

// Sets `got`, or leaves it unset while the queue is empty.
quon_mcu_status take_event(quon_mcu_client* client, quon_mcu_event_info* event, int64_t left_ms,
                           bool& got) {
    const auto timeout_ms =
        static_cast<int32_t>(std::clamp(left_ms, kEventUnderWayMs, int64_t{INT32_MAX}));
    int32_t result = 0;
    const quon_mcu_status status =
        ask(client, row_of("method.quon.mcu.get.event.info"), nullptr, event, timeout_ms, &result);
    got = status == QUON_MCU_OK;
    return status == QUON_MCU_FAILED && result == kNoEvent ? QUON_MCU_OK : status;
}

bool is_sound(const quon_mcu_upgrade* upgrade) {
    return upgrade != nullptr && upgrade->read != nullptr && upgrade->from < upgrade->size &&
           upgrade->from % QUON_MCU_UPGRADE_BLOCK == 0;
}

void tell_progress(const quon_mcu_upgrade& upgrade) {
    if (upgrade.progress != nullptr) {
        upgrade.progress(upgrade.context, upgrade.stopped_at, upgrade.size);
    }
}

quon_mcu_status begin_upgrade(quon_mcu_client* client, quon_mcu_upgrade& upgrade,
                              int32_t timeout_ms) {
    upgrade.stopped_at = upgrade.from;
    upgrade.result = 0;
    const quon_mcu_upg_start start = {upgrade.first, upgrade.second};
    const quon_mcu_status status = upgrade.from == 0
                                       ? ask(client, row_of("method.quon.mcu.upg.start"), &start,
                                             nullptr, timeout_ms, &upgrade.result)
                                       : QUON_MCU_OK;
    if (status == QUON_MCU_OK) {
        tell_progress(upgrade);
    }
    return status;
}

quon_mcu_status send_block(quon_mcu_client* client, quon_mcu_upgrade& upgrade, int32_t timeout_ms) {
    const uint32_t offset = upgrade.stopped_at;
    quon_mcu_upg_block block = {};
    block.word = offset;
    block.length = std::min<uint32_t>(upgrade.size - offset, QUON_MCU_UPGRADE_BLOCK);
    block.tail = upgrade.tail;
    if (upgrade.read(upgrade.context, offset, block.data, block.length) != 0) {
        return QUON_MCU_INVALID;
    }
    const quon_mcu_status status = ask(client, row_of("method.quon.mcu.upg.transmit"), &block,
                                       nullptr, timeout_ms, &upgrade.result);
    if (status == QUON_MCU_OK) {
        upgrade.stopped_at += block.length;
        tell_progress(upgrade);
    }
    return status;
}

bool read_decimal(const char* text, int32_t* number) {
    char* end = nullptr;
    errno = 0;
    const long value = strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || value < INT32_MIN || value > INT32_MAX) {
        return false;
    }
    *number = static_cast<int32_t>(value);
    return true;
}

}  // namespace

}  // namespace quon::typed

using namespace quon::typed;

quon_mcu_status quon_mcu_client_next_event(quon_mcu_client* client, quon_mcu_event_info* event,
                                           int32_t timeout_ms) {
    if (timeout_ms < 0) {
        return QUON_MCU_INVALID;
    }
    const int64_t deadline = quon_clock_ms64() + timeout_ms;
    for (;;) {
        bool got = false;
        const quon_mcu_status status = take_event(client, event, deadline - quon_clock_ms64(), got);
        if (got || status != QUON_MCU_OK) {
            return status;
        }
        const int64_t left = deadline - quon_clock_ms64();
        if (left <= 0) {
            return QUON_MCU_TIMEOUT;
        }
        poll(nullptr, 0, static_cast<int>(std::min(left, kPauseMs)));
    }
}

quon_mcu_status quon_mcu_client_exec(quon_mcu_client* client, const char* command,
                                     int32_t* wait_status, int32_t timeout_ms) {
    quon_mcu_shell_command request;
    quon_mcu_shell_status reply;
    if (command == nullptr || wait_status == nullptr ||
        strnlen(command, DBUS_DATA_SIZE) == DBUS_DATA_SIZE) {
        return QUON_MCU_INVALID;
    }
    (void)memcpy_s(request.command, sizeof(request.command), command, strlen(command) + 1);
    const quon_mcu_status status = ask(client, row_of("method.quon.mcu.get.system"), &request,
                                       &reply, timeout_ms, wait_status);
    if (status != QUON_MCU_OK) {
        return status;
    }
    return read_decimal(reply.status, wait_status) ? QUON_MCU_OK : QUON_MCU_MALFORMED;
}

quon_mcu_status quon_mcu_client_upgrade(quon_mcu_client* client, quon_mcu_upgrade* upgrade,
                                        int32_t timeout_ms) {
    if (!is_sound(upgrade)) {
        return QUON_MCU_INVALID;
    }
    quon_mcu_status status = begin_upgrade(client, *upgrade, timeout_ms);
    while (status == QUON_MCU_OK && upgrade->stopped_at < upgrade->size) {
        status = send_block(client, *upgrade, timeout_ms);
    }
    return status == QUON_MCU_OK ? ask(client, row_of("method.quon.mcu.upg.finish"), nullptr,
                                       nullptr, timeout_ms, &upgrade->result)
                                 : status;
}

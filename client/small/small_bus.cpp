// The small client's connection to the daemon.
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "quon_mcu_services.h"
#include "small_line.h"

namespace quon::small {

quon_mcu_client* client = nullptr;
DbusReply answer;
uint8_t request[DBUS_DATA_SIZE];

namespace {

constexpr char kNoSnapshot[] = "the start-up snapshot does not exist yet";
constexpr size_t kStartMsOffset = 396;

bool has_snapshot() {
    const Bytes context = query(service_of("get", "allwakeup.info"), 0);
    return std::any_of(context.begin() + kStartMsOffset, context.end(),
                       [](uint8_t each) { return each != 0; });
}

}  // namespace

void connect() {
    if (client == nullptr) {
        char name[DBUS_NAME_SIZE];
        snprintf(name, sizeof(name), "quon-mcu-small.%d", static_cast<int>(getpid()));
        client = quon_mcu_client_connect(name, 0);
    }
    if (client == nullptr) {
        fail(kUnreachable, "no daemon: nobody answers at " DBUS_SOCKET_PATH_FORMAT,
             QUON_MCU_BUS_NAME);
    }
}

void check(const Service& service, quon_mcu_status status) {
    switch (status) {
        case QUON_MCU_OK:
        case QUON_MCU_FAILED:
            return;
        case QUON_MCU_TIMEOUT:
            fail(kTimedOut, "%s: no answer within %d ms", service.name,
                 static_cast<int>(line.timeout_ms));
        case QUON_MCU_NO_CONNECTION:
            fail(kUnreachable, "%s: the connection to the daemon was lost", service.name);
        case QUON_MCU_MALFORMED:
            fail(kMalformed, "%s: malformed answer", service.name);
        default:
            fail(kFailed, "%s: %s", service.name, quon_mcu_status_text(status));
    }
}

quon_mcu_status call_service(const Service& service, uint32_t length) {
    connect();
    const quon_mcu_status status =
        quon_mcu_client_call(client, service.name, request, length, line.timeout_ms, &answer);
    check(service, status);
    return status;
}

Bytes query(const Service& service, uint32_t length) {
    if (call_service(service, length) == QUON_MCU_FAILED) {
        fail(kFailed, "%s: the service failed, result %d", service.name,
             static_cast<int>(answer.result));
    }
    const Bytes bytes(answer.data, answer.data_len);
    if (!typed::is_sound(*service.reply, bytes)) {
        fail(kMalformed, "%s: malformed answer: %u bytes", service.name,
             static_cast<unsigned>(bytes.size()));
    }
    return bytes;
}

bool is(const Record* record, const char* name) {
    return record != nullptr && strcmp(record->name, name) == 0;
}

Bytes ask(const Service& service, uint32_t length, const char*& zero) {
    zero = service.zero;
    const bool needs_snapshot =
        is(service.reply, "wakeup_context") || is(service.reply, "socup_time");
    const bool exists = line.mode != Mode::people || !needs_snapshot || has_snapshot();
    Bytes bytes = query(service, length);
    if (line.mode == Mode::people && is(service.reply, "time") &&
        is_blank(*service.reply, *find_field(*service.reply, "second", 6), bytes)) {
        usleep(1100000);
        bytes = query(service, length);
    }
    if (!exists) {
        std::fill(answer.data, answer.data + answer.data_len, uint8_t{0});
        zero = kNoSnapshot;
    }
    return bytes;
}

}  // namespace quon::small

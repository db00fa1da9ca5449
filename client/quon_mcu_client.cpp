#include "quon_mcu_client.h"

#include <stdlib.h>

#include "client_calls.h"

struct quon_mcu_client {
    DbusInfo* bus;
};

namespace quon::typed {

namespace {

static_assert(static_cast<int>(QUON_MCU_TIMEOUT) == DBUS_CALL_TIMEOUT);
static_assert(static_cast<int>(QUON_MCU_NO_CONNECTION) == DBUS_CALL_NO_CONNECTION);
static_assert(static_cast<int>(QUON_MCU_INVALID) == DBUS_CALL_INVALID);
static_assert(static_cast<int>(QUON_MCU_NO_MEMORY) == DBUS_CALL_NO_MEMORY);

struct StatusText {
    quon_mcu_status status;
    const char* text;
};

constexpr StatusText kTexts[] = {
    {QUON_MCU_OK, "done"},
    {QUON_MCU_TIMEOUT, "no answer in time"},
    {QUON_MCU_NO_CONNECTION, "no connection to the daemon"},
    {QUON_MCU_INVALID, "what was given cannot be sent"},
    {QUON_MCU_NO_MEMORY, "out of memory"},
    {QUON_MCU_FAILED, "the service failed"},
    {QUON_MCU_MALFORMED, "malformed answer"},
};

// -1 where it cannot be sent.
int32_t request_of(const Service& service, const void* request, uint8_t* into) {
    if (service.request == nullptr) {
        return 0;
    }
    return request == nullptr ? -1 : encode(*service.request, request, into);
}

}  // namespace

quon_mcu_status take(const Service& service, const DbusReply& answer, void* reply) {
    const std::span<const uint8_t> bytes(answer.data, answer.data_len);
    if (!is_sound(*service.reply, bytes)) {
        return QUON_MCU_MALFORMED;
    }
    if (reply != nullptr) {
        decode(*service.reply, bytes, service.zero == nullptr, reply);
    }
    return QUON_MCU_OK;
}

quon_mcu_status ask(quon_mcu_client* client, const Service& service, const void* request,
                    void* reply, int32_t timeout_ms, int32_t* result) {
    uint8_t bytes[DBUS_DATA_SIZE];
    const int32_t length = request_of(service, request, bytes);
    if (length < 0) {
        return QUON_MCU_INVALID;
    }
    DbusReply answer;
    const quon_mcu_status status = quon_mcu_client_call(
        client, service.name, bytes, static_cast<uint32_t>(length), timeout_ms, &answer);
    if (status == QUON_MCU_FAILED && result != nullptr) {
        *result = answer.result;
    }
    return status == QUON_MCU_OK ? take(service, answer, reply) : status;
}

quon_mcu_status tell(quon_mcu_client* client, const Service& service, const void* request,
                     int32_t timeout_ms) {
    uint8_t bytes[DBUS_DATA_SIZE];
    const int32_t length = request_of(service, request, bytes);
    if (length < 0) {
        return QUON_MCU_INVALID;
    }
    return quon_mcu_client_send(client, service.name, bytes, static_cast<uint32_t>(length),
                                timeout_ms);
}

}  // namespace quon::typed

const char* quon_mcu_status_text(quon_mcu_status status) {
    for (const auto& each : quon::typed::kTexts) {
        if (each.status == status) {
            return each.text;
        }
    }
    return "unknown status";
}

quon_mcu_client* quon_mcu_client_connect(const char* name, int32_t wait_ms) {
    if (name == nullptr || name[0] == '\0' || wait_ms < 0) {
        return nullptr;
    }
    auto* client = static_cast<quon_mcu_client*>(malloc(sizeof(quon_mcu_client)));
    if (client == nullptr) {
        return nullptr;
    }
    client->bus = Dbus_Client_Connect(name, QUON_MCU_BUS_NAME, wait_ms);
    if (client->bus == nullptr) {
        free(client);
        return nullptr;
    }
    return client;
}

void quon_mcu_client_disconnect(quon_mcu_client* client) {
    if (client != nullptr) {
        Dbus_Client_Disconnect(client->bus);
        free(client);
    }
}

quon_mcu_status quon_mcu_client_call(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms,
                                     DbusReply* reply) {
    if (client == nullptr || reply == nullptr) {
        return QUON_MCU_INVALID;
    }
    const DbusCallStatus status =
        Dbus_Method_Call(client->bus, service, request, length, timeout_ms, reply);
    if (status != DBUS_CALL_OK) {
        return static_cast<quon_mcu_status>(status);
    }
    if (reply->result < 0) {
        return QUON_MCU_FAILED;
    }
    const bool sound = reply->data_len <= DBUS_DATA_SIZE &&
                       reply->data_len == static_cast<uint32_t>(reply->result);
    return sound ? QUON_MCU_OK : QUON_MCU_MALFORMED;
}

quon_mcu_status quon_mcu_client_send(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms) {
    if (client == nullptr) {
        return QUON_MCU_INVALID;
    }
    return static_cast<quon_mcu_status>(
        Dbus_Signal_Send(client->bus, service, request, length, timeout_ms));
}

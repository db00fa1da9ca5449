#include "service_table.h"

#include <string.h>

#include <algorithm>
#include <string_view>

#include "daemon_log.h"
#include "securec.h"
#include "service_handlers.h"

#define SERVICE_ROW(index, name, handler) {name, handler},
constexpr bus_service quon_mcu_bus_services[QUON_MCU_SERVICE_COUNT + 1] = {
    QUON_MCU_SERVICES(SERVICE_ROW){nullptr, {}}};

namespace {

// A method's type text begins with a capital, a signal's does not. Intended.
constexpr char kSignalTypeText[] = "signal";
constexpr char kMethodTypeText[] = "Method";

#define SERVICE_INDEX(index, name, handler) index,
constexpr int kServiceIndices[] = {QUON_MCU_SERVICES(SERVICE_INDEX)};

constexpr bool table_is_sound() {
    for (int i = 0; i < QUON_MCU_SERVICE_COUNT; i++) {
        const std::string_view name = quon_mcu_bus_services[i].name;
        if (kServiceIndices[i] != i || name.size() >= DBUS_NAME_SIZE) {
            return false;
        }
    }
    return true;
}
static_assert(table_is_sound());
static_assert(sizeof(QUON_MCU_BUS_NAME) == 16);

// Returns false if the name has neither kind.
bool fill_entry(DbusInterface* entry, const bus_service& service) {
    (void)memcpy_s(entry->name, sizeof(entry->name), service.name, strlen(service.name) + 1);
    if (is_of_kind(service.name, kSignalKind)) {
        (void)memcpy_s(entry->signal_type, sizeof(entry->signal_type), kSignalTypeText,
                       sizeof(kSignalTypeText));
        entry->signal_handler = service.handler.signal;
        return true;
    }
    if (is_of_kind(service.name, kMethodKind)) {
        (void)memcpy_s(entry->method_type, sizeof(entry->method_type), kMethodTypeText,
                       sizeof(kMethodTypeText));
        entry->method_handler = service.handler.method;
        return true;
    }
    return false;
}

}  // namespace

int32_t quon_mcu_dbus_server_init(DbusInfo** handle, const bus_service* table, int32_t count) {
    if (handle == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "params invalid\n");
        return -1;
    }
    DbusInfo* info = DbusInfo_Alloc(count);
    *handle = info;
    if (info == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "DbusInfo_Alloc error\n");
        return -1;
    }
    (void)memcpy_s(info->name, sizeof(info->name), QUON_MCU_BUS_NAME, sizeof(QUON_MCU_BUS_NAME));
    for (int32_t i = 0; i < count; i++) {
        if (!fill_entry(info->interfaces[i], table[i])) {
            DAEMON_LOG(QN_LOG_ERROR, "name type error\n");
            DbusInfo_Free(info);
            return -1;
        }
    }
    if (Dbus_Register(info) != 0) {
        DAEMON_LOG(QN_LOG_ERROR, "Dbus_Register error\n");
        DbusInfo_Free(info);
        return -1;
    }
    return 0;
}

int32_t quon_mcu_dbus_server_deinit(DbusInfo** handle) {
    if (handle == nullptr || *handle == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "params invalid\n");
        return -1;
    }
    if (Dbus_UnRegister(*handle) != 0) {
        DAEMON_LOG(QN_LOG_ERROR, "Dbus_UnRegister error\n");
        return -1;
    }
    DbusInfo_Free(*handle);
    *handle = nullptr;
    return 0;
}

// The table of the daemon's services, and its registration on the bus.
#ifndef SERVICE_TABLE_H
#define SERVICE_TABLE_H

#include "bus_handler.h"
#include "dbus_socket_common.h"
#include "quon_mcu_services.h"

// The handler of one service; the kind in the service's name says which member is set.
union service_handler {
    method_handler* method;
    signal_handler* signal;

    constexpr service_handler() : method(nullptr) {}
    constexpr service_handler(method_handler* handler) : method(handler) {}
    constexpr service_handler(signal_handler* handler) : signal(handler) {}
};

struct bus_service {
    const char* name;  // shorter than DBUS_NAME_SIZE; begins with "method" or "signal"
    service_handler handler;
};

// In registration order, followed by an empty entry that is not used.
// NOLINTNEXTLINE(bugprone-dynamic-static-initializers)
extern const bus_service quon_mcu_bus_services[QUON_MCU_SERVICE_COUNT + 1];

// Registers the first `count` services (at most DBUS_INTERFACE_MAX) of `table` under
// QUON_MCU_BUS_NAME. Returns 0, or -1 with a log line and everything released; `*handle` must then
// not be used.
int32_t quon_mcu_dbus_server_init(DbusInfo** handle, const bus_service* table, int32_t count);

// Removes the registration and clears `*handle`. Returns 0, or -1 with a log line and `*handle`
// unchanged.
int32_t quon_mcu_dbus_server_deinit(DbusInfo** handle);

#endif

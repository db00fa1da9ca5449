// The daemon's handlers by their services' names.
#pragma once

#include <stdexcept>
#include <string>

#include "service_table.h"

namespace quon::test {

inline const bus_service& service_named(const std::string& name) {
    for (int i = 0; i < QUON_MCU_SERVICE_COUNT; i++) {
        if (quon_mcu_bus_services[i].name == name) {
            return quon_mcu_bus_services[i];
        }
    }
    throw std::invalid_argument("no service " + name);
}

inline method_handler* method_named(const std::string& name) {
    return service_named("method.quon.mcu." + name).handler.method;
}

inline signal_handler* signal_named(const std::string& name) {
    return service_named("signal.quon.mcu." + name).handler.signal;
}

}  // namespace quon::test

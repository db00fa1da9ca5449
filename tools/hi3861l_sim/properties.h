// The chip's state as named values: listed by "state", read by "get", changed by "set" and the
// command-line options.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "simulator.h"

namespace quon::sim {

struct property {
    std::string name;
    std::string_view value_help;  // syntax of the value; empty: read-only
    std::function<std::string(simulator& sim)> get;
    std::function<void(simulator& sim, std::string_view value)> set;  // throws bad_value
    size_t octets = 0;                                                // length of a HEX value
    bool number = false;                                              // a decimal value
};

std::span<const property> properties();

// Throws bad_value for an unknown name.
const property& find_property(std::string_view name);

// Throws bad_value if the name is unknown, the value malformed, or the property read-only.
void set_property(simulator& sim, std::string_view name, std::string_view value);

}  // namespace quon::sim

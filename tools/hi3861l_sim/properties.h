// The chip's state as named values: what "state" lists, "get" reads, "set" and the command line's
// options change.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "simulator.h"

namespace quon::sim {

struct property {
    std::string name;
    std::string_view value_help;  // form of the value; empty: cannot be set
    std::function<std::string(simulator& sim)> get;
    std::function<void(simulator& sim, std::string_view value)> set;  // throws bad_value
    size_t octets = 0;                                                // of a HEX value
    bool number = false;                                              // a decimal one
};

std::span<const property> properties();

// Throws bad_value for an unknown name.
const property& find_property(std::string_view name);

// Throws bad_value when the name is unknown, the value malformed, or the property cannot be set.
void set_property(simulator& sim, std::string_view name, std::string_view value);

}  // namespace quon::sim

// The chip's state as named values: what "state" lists, "get" reads, "set" and the command line's
// options change.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "simulator.h"

namespace quon::sim {

struct property {
    std::string_view name;
    std::string_view value_help;  // form of the value; empty: cannot be set
    std::string (*get)(simulator& sim);
    void (*set)(simulator& sim, std::string_view value);  // throws bad_value
    size_t octets = 0;                                    // of a HEX value
};

std::span<const property> properties();

// Throws bad_value for an unknown name.
const property& find_property(std::string_view name);

// Throws bad_value when the name is unknown, the value malformed, or the property cannot be set.
void set_property(simulator& sim, std::string_view name, std::string_view value);

}  // namespace quon::sim

// This machine's network.
#pragma once

#include <string>

namespace quon::client {

// Texts in the form of get.wifi.info; empty: none.
struct interface_state {
    bool exists = false;
    bool is_up = false;
    std::string mac;
    std::string ip;
    std::string gateway;  // of the default route through it
};

// The interface's state from the kernel; does not block.
interface_state state_of_interface(const std::string& name);

}  // namespace quon::client

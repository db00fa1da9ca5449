// The network as this machine has it.
#pragma once

#include <string>

namespace quon::client {

// Texts as get.wifi.info has them; empty: none.
struct interface_state {
    bool exists = false;
    bool is_up = false;
    std::string mac;
    std::string ip;
    std::string gateway;  // of the default route through it
};

// The interface's state from the kernel; blocks for no one.
interface_state state_of_interface(const std::string& name);

}  // namespace quon::client

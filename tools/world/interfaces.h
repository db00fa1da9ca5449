// The interfaces of a fresh network namespace.
#pragma once

namespace quon::world {

bool bring_up_loopback();

// One end of a veth pair, otherwise a tap device, otherwise a dummy, whatever the kernel supports.
// Returns false if none can be created.
bool make_wlan0();

}  // namespace quon::world

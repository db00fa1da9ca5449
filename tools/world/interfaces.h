// The interfaces of a fresh network namespace.
#pragma once

namespace quon::world {

bool bring_up_loopback();

// One end of a veth pair, else a tap device, else a dummy, whichever the kernel has. Returns false
// when none can be made.
bool make_wlan0();

}  // namespace quon::world

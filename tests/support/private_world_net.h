// The interfaces of a fresh network namespace.
#pragma once

namespace quon::test {

// Brings lo up and makes wlan0: one end of a veth pair, else a tap device, else a dummy, whichever
// the kernel has. Returns false when none can be made.
bool make_private_interfaces();

}  // namespace quon::test

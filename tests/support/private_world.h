// Private namespaces for a test process and everything that it starts.
#pragma once

namespace quon::test {

// Moves this process into a network namespace with the interfaces lo (up) and wlan0, and a mount
// namespace with an empty /tmp and its own, empty /etc/resolv.conf. Call it first in main, before
// any thread exists; repeated calls do nothing. Works as root, and as a user where user namespaces
// are allowed. If the kernel refuses, it ends the process with a clear message and status 77, so
// that a test never touches the machine's own network or files.
//
// With QUON_WORLD=here in the environment, for a container that cannot create namespaces, it stays
// where it is, empties /etc/resolv.conf if that can be written (the calling script keeps its
// content) and, if QUON_WORLD_BEFORE names a list of /tmp, removes this user's files that are not
// on it. Refuses, with status 77, if there is a wlan0.
void enter_private_world();

}  // namespace quon::test

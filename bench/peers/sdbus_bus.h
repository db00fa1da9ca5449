// A bus of its own for the other side of a comparison, which listens at a socket's path.
#pragma once

#include <string>

#include "child.h"

namespace quon::bench {

// dbus-daemon, at once; it listens some milliseconds later.
Child start_dbus_daemon(const std::string& folder, const std::string& socket_path);
// dbus-broker with its launcher, on a socket that listens already.
Child start_dbus_broker(const std::string& folder, const std::string& socket_path);

}  // namespace quon::bench

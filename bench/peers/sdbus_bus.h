// A private bus for the other side of a comparison, listening at a socket's path.
#pragma once

#include <string>

#include "child.h"

namespace quon::bench {

// Starts dbus-daemon; it listens some milliseconds later.
Child start_dbus_daemon(const std::string& folder, const std::string& socket_path);
// Starts dbus-broker with its launcher, on a socket that is already listening.
Child start_dbus_broker(const std::string& folder, const std::string& socket_path);

}  // namespace quon::bench

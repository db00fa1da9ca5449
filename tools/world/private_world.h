// A private world for a process and everything that it starts: a network namespace with the
// interfaces lo (up) and wlan0, and a mount namespace with an empty /tmp and its own, empty
// /etc/resolv.conf.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quon::world {

// What the kernel refused, and why.
struct refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Moves this process there. Works as root, and as a user where user namespaces are allowed; inside,
// the process is root. Paths in `kept` below /tmp stay visible. Returns false if the kernel has no
// kind of interface to use as wlan0. Throws refused; the process may then be partly moved and must
// end. Must be called before any thread exists.
bool enter_private_world(const std::vector<std::string>& kept);

// The absolute paths among the words of a text, split at any of the separators.
std::vector<std::string> paths_in(std::string_view text, std::string_view separators);

}  // namespace quon::world

// How the chip link gets into a program's LD_PRELOAD.
#pragma once

#include <string>

namespace quon::sim {

// The library's path as an entry of LD_PRELOAD. The dynamic loader splits that variable at blanks
// and colons and expands '$' in it, so for a path that holds one of them this is a symbolic link to
// it, in a folder of the user's own that is made when it is missing and stays: under
// XDG_RUNTIME_DIR, /tmp, /var/tmp or /dev/shm. Throws std::runtime_error when the library cannot be
// read, or when none of these folders can be used.
std::string preload_entry(const std::string& library);

// LD_PRELOAD with the library in front of what the environment has there already.
std::string preload_list(const std::string& library);

}  // namespace quon::sim

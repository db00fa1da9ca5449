// How the chip link gets into a program's LD_PRELOAD.
#pragma once

#include <string>

namespace quon::sim {

// The library's path as an entry of LD_PRELOAD. The dynamic loader splits that variable at blanks
// and colons and expands '$' in it. For a path with one of these, this is a symbolic link to the
// library in a private folder of the user, created if necessary and kept, in XDG_RUNTIME_DIR, /tmp,
// /var/tmp or /dev/shm. Throws std::runtime_error if the library cannot be read or none of these
// folders can be used.
std::string preload_entry(const std::string& library);

// LD_PRELOAD with the library before the environment's entries.
std::string preload_list(const std::string& library);

}  // namespace quon::sim

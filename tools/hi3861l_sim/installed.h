// What stands beside this program, in the build tree and in an installation.
#pragma once

#include <string>

namespace quon::sim {

// The folder of the running program.
std::string program_folder();

// The chip link's preload library. Throws std::runtime_error when it is in none of its places.
std::string installed_chip_link();

// The daemon: beside this program, or in PATH and the folders of system programs. Throws
// std::runtime_error when it is in none of them.
std::string installed_daemon();

}  // namespace quon::sim

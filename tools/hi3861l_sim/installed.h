// Locates files relative to this program, in the build tree and in an installation.
#pragma once

#include <string>

namespace quon::sim {

// The folder of the running program.
std::string program_folder();

// The chip link's preload library. Throws std::runtime_error if it is not found.
std::string installed_chip_link();

// The daemon: next to this program, in PATH or in the folders of system programs. Throws
// std::runtime_error if it is not found.
std::string installed_daemon();

}  // namespace quon::sim

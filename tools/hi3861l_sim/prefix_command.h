// Commands that run another one: "exec OPTIONS [--] COMMAND...".
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quon::sim {

// Cuts the other command off the end of the program's words and returns it: what stands behind the
// options of `command` and, where there is one, a "--". Nothing is cut when `command` is not the
// first of the words.
std::vector<std::string> cut_command(const CLI::App& command, std::vector<std::string>& words);

}  // namespace quon::sim

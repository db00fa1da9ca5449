// Commands that run another command: "exec OPTIONS [--] COMMAND...".
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quon::sim {

// Removes the other command from the end of the program's arguments and returns it: what follows
// the options of `command` and a "--", if any. Removes nothing if `command` is not the first
// argument.
std::vector<std::string> cut_command(const CLI::App& command, std::vector<std::string>& words);

// Whether the word is an option of the command whose value is the next word.
bool takes_next_word(const CLI::App& command, const std::string& word);

// The program's command of this name, or null.
const CLI::App* command_named(const CLI::App& app, const std::string& name);

}  // namespace quon::sim

// Commands that run another one: "exec OPTIONS [--] COMMAND...".
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quon::sim {

// Cuts the other command off the end of the program's words and returns it: what follows the
// options of `command` and, where there is one, a "--". Nothing is cut when `command` is not the
// first of the words.
std::vector<std::string> cut_command(const CLI::App& command, std::vector<std::string>& words);

// Whether the word is an option of the command that has its value in the next word.
bool takes_next_word(const CLI::App& command, const std::string& word);

// The program's command of this name, or null.
const CLI::App* command_named(const CLI::App& app, const std::string& name);

}  // namespace quon::sim

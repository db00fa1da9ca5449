// Possible words at each place of the command line, for the shells' completion.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace quon::sim {

// All words that may replace the last of `words` (the program's arguments) and begin like it.
std::vector<std::string> completions(const CLI::App& app, std::vector<std::string> words);

// The completion script of a shell, "bash" or "zsh".
std::string completion_script(const std::string& shell);

}  // namespace quon::sim
